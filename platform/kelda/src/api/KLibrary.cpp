#include "kelda/KLibrary.h"

#include "api/Api.h"
#include "command/Interpreter.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace kelda
{

static bool up = false;

bool isUp()
{
    return up;
}

} // namespace kelda

using namespace kelda;

// -- Crash handlers -------------------------------------------------------------------------------

namespace
{

const int kSignals[] = {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGBUS};
constexpr size_t kSignalCount = sizeof kSignals / sizeof *kSignals;

struct sigaction previous[kSignalCount];
bool handlersInstalled = false;
char crashLine[256]; // composed beforehand: a handler must not allocate
size_t crashLineLength = 0;

void onCrash(int signal, siginfo_t*, void*)
{
    if (write(STDERR_FILENO, crashLine, crashLineLength) < 0) {
        // There is nowhere left to say so.
    }
    for (size_t i = 0; i < kSignalCount; ++i)
        if (kSignals[i] == signal)
            sigaction(signal, &previous[i], nullptr);
    // Blocked until this handler returns, then it goes to whoever was there before.
    raise(signal);
}

void installHandlers(const char* applicationName)
{
    const char* name = applicationName && *applicationName ? applicationName : "unnamed application";
    std::string line = "Kelda: fatal signal in \"" + std::string(name).substr(0, 200) + "\"\n";
    crashLineLength = line.size();
    std::memcpy(crashLine, line.data(), line.size());
    for (size_t i = 0; i < kSignalCount; ++i) {
        struct sigaction action;
        std::memset(&action, 0, sizeof action);
        action.sa_sigaction = onCrash;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigemptyset(&action.sa_mask);
        sigaction(kSignals[i], &action, &previous[i]);
    }
    handlersInstalled = true;
}

/// Puts the former handlers back, except where somebody has taken our place since.
void removeHandlers()
{
    for (size_t i = 0; handlersInstalled && i < kSignalCount; ++i) {
        struct sigaction present;
        if (sigaction(kSignals[i], nullptr, &present) == 0 && (present.sa_flags & SA_SIGINFO) != 0 &&
            present.sa_sigaction == onCrash)
            sigaction(kSignals[i], &previous[i], nullptr);
    }
    handlersInstalled = false;
}

} // namespace

// -- Start and end --------------------------------------------------------------------------------

KStatus KLibrary::initialize(const char* applicationName, bool)
{
    if (up)
        return KStatus::kSuccess;
    if (KFaults::hit("KLibrary::initialize"))
        return KStatus::kFailure;
    Scene::current().clear();
    UndoQueue::current().clear();
    const char* off = std::getenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS");
    if (!off || std::strcmp(off, "1") != 0)
        installHandlers(applicationName);
    up = true;
    return KStatus::kSuccess;
}

void KLibrary::cleanup()
{
    if (!up)
        return;
    removeHandlers();
    UndoQueue::current().clear();
    Scene::current().clear();
    up = false;
}

bool KLibrary::isInitialized()
{
    return up;
}
