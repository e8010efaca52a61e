#pragma once

namespace zyscene
{

/// How a run ended. Scripts depend on the numbers: never renumber.
enum class ExitCode {
    Done = 0,
    Failed = 1,    ///< unreadable input, failed save
    Usage = 2,     ///< arguments that make no sense, or a suffix without a format; no file was opened
    Different = 3, ///< what was compared differs
    PartlyDone = 4 ///< several files: some done, some failed
};

} // namespace zyscene
