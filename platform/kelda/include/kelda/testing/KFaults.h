#pragma once

#include "kelda/KApi.h"
#include "kelda/KStatus.h"

#include <string>
#include <vector>

/// Lets a test make calls of the SDK fail. Operations are named "Class::function"; those that can fail on
/// demand ask KFaults::hit. While nothing is armed, asking is one load of a flag.
namespace KFaults
{

/// From the n-th call of the operation from now (1: the next one), `count` calls in a row fail. Again for the
/// same operation: replaces what was armed for it.
KELDA_API void failCall(const char* operation, unsigned n = 1, unsigned count = 1);
/// The same with another status than kFailure, for operations that answer one.
KELDA_API void failCallWith(KStatus::KStatusCode status, const char* operation, unsigned n = 1,
                            unsigned count = 1);
/// Counts calls from now on, without making any fail.
KELDA_API void watch();
/// Disarms everything, stops counting and forgets all counts.
KELDA_API void clear();
/// Calls of the operation since the first failCall() or watch() after clear().
KELDA_API unsigned calls(const char* operation);
/// The scripts that KGlobal::executeCommand was given in that time, in order; in between, "KFileIO::newFile"
/// for each call of that.
KELDA_API std::vector<std::string> script();

/// For the library: counts a call; true when it is to fail.
KELDA_API extern bool armed;
KELDA_API extern KStatus::KStatusCode status; ///< of the call that was made to fail last
KELDA_API bool hitSlow(const char* operation);
/// For the library: adds a line to script().
KELDA_API void noteSlow(const char* line);
inline void note(const char* line)
{
    if (armed)
        noteSlow(line);
}
inline bool hit(const char* operation)
{
    return armed && hitSlow(operation);
}

} // namespace KFaults
