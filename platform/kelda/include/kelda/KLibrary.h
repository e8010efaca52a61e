#pragma once

#include "kelda/KApi.h"
#include "kelda/KStatus.h"

/// Starts and ends the SDK. Before initialize() has succeeded every call of the SDK fails with
/// kNotInitialized.
class KELDA_API KLibrary
{
public:
    /// Makes an empty scene and installs crash handlers: on SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT one
    /// line that names the application goes to standard error, then the handler that was there before takes
    /// over. No handlers when the environment says KELDA_DEBUG_NO_SIGNAL_HANDLERS=1. A second call succeeds
    /// and does nothing. The working directory and the standard streams stay as they are whatever
    /// `keepEnvironment` is; the argument is there for programs that must insist on it.
    static KStatus initialize(const char* applicationName, bool keepEnvironment = false);
    /// Deletes the scene and takes the crash handlers away; initialize() may be called again.
    static void cleanup();
    static bool isInitialized();
};
