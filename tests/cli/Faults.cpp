#include "Faults.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
int stepCount = 0;
int killStep = 0;
int failingStep = 0;

// Whether the step is to fail; errno is set then.
bool failsStep()
{
    ++stepCount;
    if (stepCount == killStep)
        ::raise(SIGKILL);
    if (stepCount != failingStep)
        return false;
    errno = ENOSPC;
    return true;
}

template <class FunctionT>
FunctionT* next(FunctionT*, const char* name)
{
    return reinterpret_cast<FunctionT*>(::dlsym(RTLD_NEXT, name));
}
} // namespace

namespace Faults
{

void killAtStep(int n)
{
    stepCount = 0;
    killStep = n;
}

void failStep(int n)
{
    stepCount = 0;
    failingStep = n;
}

int steps()
{
    return stepCount;
}

} // namespace Faults

// -- In place of the C library's ---------------------------------------------------------------------

#define ZY_STEP extern "C" __attribute__((visibility("default")))

ZY_STEP int fsync(int fd)
{
    return failsStep() ? -1 : next(&fsync, "fsync")(fd);
}

ZY_STEP int rename(const char* from, const char* to) noexcept
{
    return failsStep() ? -1 : next(&rename, "rename")(from, to);
}

ZY_STEP int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                      unsigned int flags) noexcept
{
    return failsStep() ? -1 : next(&renameat2, "renameat2")(fromFolder, from, toFolder, to, flags);
}

ZY_STEP int link(const char* from, const char* to) noexcept
{
    return failsStep() ? -1 : next(&link, "link")(from, to);
}

ZY_STEP int mkdir(const char* path, mode_t mode) noexcept
{
    return failsStep() ? -1 : next(&mkdir, "mkdir")(path, mode);
}

ZY_STEP int chmod(const char* path, mode_t mode) noexcept
{
    return failsStep() ? -1 : next(&chmod, "chmod")(path, mode);
}

ZY_STEP char* mkdtemp(char* pattern) noexcept
{
    return failsStep() ? nullptr : next(&mkdtemp, "mkdtemp")(pattern);
}
