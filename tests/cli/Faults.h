#pragma once

/// Makes calls by which files come into place fail, or end the process: fsync, rename, link, mkdir, chmod and
/// their kin, of this program and of all its libraries, each one a step. Link Faults.cpp into a program and
/// its definitions stand before those of the C library.
///
/// A program that is run by a test takes them from its environment:
/// - FAULT_KILL=n: the process is killed at its n-th step;
/// - FAULT_FAIL=n: the n-th step fails, as on a full disk;
/// - FAULT_SDK=operation: the next call of an operation of the SDK fails (KFaults).
namespace Faults
{

/// The process is killed instead of its n-th step from now; 0: never.
void killAtStep(int n);
/// The n-th step from now fails with ENOSPC; 0: none.
void failStep(int n);
/// Steps since then.
int steps();

} // namespace Faults
