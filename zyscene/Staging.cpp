#include "Staging.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zyscene
{

namespace
{
// -- Clean-up on signals -----------------------------------------------------------------------------

const int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// What the signal handler removes. Written only while the signals are blocked.
char stagedFile[4096];
char stagedFolder[4096];

void removeAndDie(int signal)
{
    ::unlink(stagedFile);
    ::rmdir(stagedFolder);
    // Reset by SA_RESETHAND: the process ends as if nobody had listened, once the handler has returned.
    ::raise(signal);
}

class BlockSignals
{
public:
    BlockSignals()
    {
        sigset_t set;
        sigemptyset(&set);
        for (const int signal : endingSignals)
            sigaddset(&set, signal);
        ::sigprocmask(SIG_BLOCK, &set, &_former);
    }
    ~BlockSignals() { ::sigprocmask(SIG_SETMASK, &_former, nullptr); }
    BlockSignals(const BlockSignals&) = delete;
    BlockSignals& operator=(const BlockSignals&) = delete;

private:
    sigset_t _former;
};

void listenToSignals(bool listen)
{
    for (const int signal : endingSignals) {
        struct sigaction action;
        if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue; // started with nohup, for example
        std::memset(&action, 0, sizeof(action));
        action.sa_handler = listen ? &removeAndDie : SIG_DFL;
        action.sa_flags = SA_RESETHAND;
        ::sigaction(signal, &action, nullptr);
    }
}

// -- Files -------------------------------------------------------------------------------------------

std::string reason(const char* what, int error)
{
    return std::string(what) + ": " + std::generic_category().message(error);
}

// Returns errno, or 0.
int flushToDisk(const char* path, int flags)
{
    const int fd = ::open(path, flags | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int error = ::fsync(fd) != 0 ? errno : 0;
    ::close(fd);
    return error;
}

int moveFile(const char* from, const char* to, bool replace)
{
    if (replace)
        return ::rename(from, to) != 0 ? errno : 0;
    // Both fail when the target exists, also one that has come into being since anybody looked. Not every
    // file system has the first, and not every one the second.
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno == EEXIST || ::link(from, to) != 0)
        return errno;
    ::unlink(from);
    return 0;
}
} // namespace

StagedFile::StagedFile(const std::string& target)
    : _target(std::filesystem::absolute(target).lexically_normal())
{
    std::error_code error;
    if (std::filesystem::is_symlink(_target, error)) {
        const std::filesystem::path real = std::filesystem::weakly_canonical(_target, error);
        if (!error)
            _target = real;
    }
}

StagedFile::~StagedFile()
{
    remove();
}

std::string StagedFile::open()
{
    std::string pattern = (_target.parent_path() / ".zyscene-XXXXXX").string();
    const std::size_t length = pattern.size() + 1 + _target.filename().string().size();
    if (length >= sizeof(stagedFile))
        return reason("cannot make a folder for it", ENAMETOOLONG);

    const BlockSignals block;
    if (::mkdtemp(pattern.data()) == nullptr)
        return reason("cannot make a folder for it", errno);
    _folder = pattern;
    _file = _folder / _target.filename();
    std::strcpy(stagedFolder, _folder.c_str());
    std::strcpy(stagedFile, _file.c_str());
    listenToSignals(true);
    return {};
}

std::string StagedFile::commit(bool replace)
{
    struct stat made;
    if (::stat(_file.c_str(), &made) != 0)
        return reason("was not written", errno);
    if (made.st_size == 0)
        return "was written empty";

    struct stat old;
    if (::stat(_target.c_str(), &old) == 0 && ::chmod(_file.c_str(), old.st_mode & 07777) != 0)
        return reason("cannot take over the permissions", errno);
    if (const int error = flushToDisk(_file.c_str(), O_RDONLY))
        return reason("cannot be flushed", error);
    if (const int error = moveFile(_file.c_str(), _target.c_str(), replace))
        return reason("cannot be moved into place", error);
    // The new file is in place; that its folder cannot be flushed, as on some file systems, does not undo
    // that.
    flushToDisk(_target.parent_path().c_str(), O_RDONLY | O_DIRECTORY);
    return {};
}

void StagedFile::remove()
{
    if (_folder.empty())
        return;
    const BlockSignals block;
    std::error_code ignored;
    std::filesystem::remove_all(_folder, ignored);
    listenToSignals(false);
    _folder.clear();
}

} // namespace zyscene
