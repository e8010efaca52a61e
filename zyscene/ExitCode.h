#pragma once

namespace zyscene
{

/// How a run ended. Scripts depend on the numbers: never renumber.
enum class ExitCode {
    Done = 0,
    Failed = 1,    ///< unreadable input, failed save
    Usage = 2,     ///< wrong usage, or a suffix that nobody handles; nothing was touched
    PartlyDone = 4 ///< several files: some done, some failed
};

} // namespace zyscene
