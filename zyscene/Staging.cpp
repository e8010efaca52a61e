#include "Staging.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace zyscene
{

namespace
{
std::string reason(const std::string& what, int error)
{
    return what + ": " + std::generic_category().message(error);
}

// -- Signals -----------------------------------------------------------------------------------------

const int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

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

// The watch of this process. Changed only while the signals are blocked.
int watchPipe = -1; // its end is the sign to remove the folder
pid_t watchProcess = -1;

void endWatch()
{
    ::close(watchPipe);
    while (::waitpid(watchProcess, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// Without this the folder would be gone only some moments after the process.
void endWatchAndDie(int signal)
{
    endWatch();
    // Reset by SA_RESETHAND: the process ends as if nobody had listened, once the handler has returned.
    ::raise(signal);
}

void listenToSignals(bool listen)
{
    for (const int signal : endingSignals) {
        struct sigaction action;
        if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue; // started with nohup, for example
        std::memset(&action, 0, sizeof(action));
        action.sa_handler = listen ? &endWatchAndDie : SIG_DFL;
        action.sa_flags = SA_RESETHAND;
        ::sigaction(signal, &action, nullptr);
    }
}

// -- The watching process ----------------------------------------------------------------------------

// Takes the path of the folder from the pipe, waits for the pipe's end, and removes the folder.
[[noreturn]] void watchUntilEnd(int pipe)
{
    // With no hold on anybody's files: who waits for the end of the output does not wait for this process.
    ::dup2(pipe, STDIN_FILENO);
    ::close_range(STDIN_FILENO + 1, ~0U, 0);
    if (::chdir("/") != 0)
        ::_exit(1);

    std::string folder;
    char block[256];
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, block, sizeof(block));
        if (count > 0)
            folder.append(block, static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            break;
    }
    // A path that the other side could not finish begins no folder that it has used.
    if (!folder.empty() && folder.back() == '\n') {
        folder.pop_back();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    ::_exit(0);
}
} // namespace

FolderWatch::FolderWatch()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        _problem = reason("cannot be watched", errno);
        return;
    }
    const BlockSignals block;
    const pid_t child = ::fork();
    if (child == 0)
        watchUntilEnd(ends[0]);
    // In a group of its own, which no signal to ours reaches.
    ::setpgid(child, child);
    ::close(ends[0]);
    if (child < 0) {
        _problem = reason("cannot be watched", errno);
        ::close(ends[1]);
        return;
    }
    watchPipe = ends[1];
    watchProcess = child;
    listenToSignals(true);
}

FolderWatch::~FolderWatch()
{
    if (watchPipe < 0)
        return;
    const BlockSignals block;
    endWatch();
    listenToSignals(false);
    watchPipe = -1;
}

std::string FolderWatch::watch(const std::string& folder)
{
    const std::string line = folder + '\n';
    // A pipe takes a path at once.
    if (::write(watchPipe, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        return reason("cannot be watched", errno);
    return {};
}

// -- Files -------------------------------------------------------------------------------------------

namespace
{
namespace fs = std::filesystem;

// Returns errno, or 0.
int flushToDisk(const fs::path& path, int flags)
{
    const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int error = ::fsync(fd) != 0 ? errno : 0;
    ::close(fd);
    return error;
}

// Some file systems cannot flush folders; what is in place stays in place.
void flushFolder(const fs::path& path)
{
    flushToDisk(path, O_RDONLY | O_DIRECTORY);
}

// Returns errno, or 0.
int moveFile(const fs::path& from, const fs::path& to, bool replace)
{
    if (replace)
        return ::rename(from.c_str(), to.c_str()) != 0 ? errno : 0;
    // Both fail when the target exists, also one that has come into being since anybody looked. Not every
    // file system has the first, and not every one the second.
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno == EEXIST || ::link(from.c_str(), to.c_str()) != 0)
        return errno;
    ::unlink(from.c_str());
    return 0;
}

// A second name for a file, or a copy where the file system has no such thing. Returns errno, or 0.
int keepFile(const fs::path& file, const fs::path& kept)
{
    if (::link(file.c_str(), kept.c_str()) == 0)
        return 0;
    std::error_code error;
    fs::copy_file(file, kept, error);
    return error.value();
}

// Makes a written file ready to take the place of another: complete, on the disk, with its permissions.
std::string prepareFile(const fs::path& file, const fs::path& target)
{
    struct stat made;
    if (::lstat(file.c_str(), &made) != 0)
        return reason("was not written", errno);
    if (!S_ISREG(made.st_mode))
        return "was written as no regular file";
    if (made.st_size == 0)
        return "was written empty";

    struct stat old;
    if (::stat(target.c_str(), &old) == 0 && ::chmod(file.c_str(), old.st_mode & 07777) != 0)
        return reason("cannot take over the permissions", errno);
    if (const int error = flushToDisk(file, O_RDONLY))
        return reason("cannot be flushed", error);
    return {};
}

std::string ofTexture(const std::string& shown, const std::string& problem)
{
    return "texture '" + shown + "' " + problem;
}
} // namespace

// -- Staging -----------------------------------------------------------------------------------------

std::string StagedScene::obstacleTo(const std::string& target)
{
    const fs::path path = fs::absolute(target);
    std::error_code error;
    if (!fs::is_directory(path.parent_path(), error))
        return "there is no such folder";
    const fs::file_status status = fs::status(path, error);
    if (fs::exists(status) && status.type() != fs::file_type::regular)
        return "is there already and is no regular file";
    return std::string();
}

StagedScene::StagedScene(const std::string& target) : _target(fs::absolute(target).lexically_normal())
{
    std::error_code error;
    if (fs::is_symlink(_target, error)) {
        const fs::path real = fs::weakly_canonical(_target, error);
        if (!error)
            _target = real;
    }
}

std::string StagedScene::open()
{
    if (!_watch.problem().empty())
        return _watch.problem();
    const fs::path beside = _target.parent_path();
    std::string folder = (beside / ".zyscene-XXXXXX").string();
    {
        // The folder is either not there or watched.
        const BlockSignals block;
        if (::mkdtemp(folder.data()) == nullptr)
            return reason("cannot make a folder for it", errno);
        const std::string problem = _watch.watch(folder);
        if (!problem.empty()) {
            ::rmdir(folder.c_str());
            return problem;
        }
    }
    const fs::path made = fs::path(folder) / "new";
    _kept = fs::path(folder) / "old";
    for (const fs::path& path : {made, _kept}) {
        if (::mkdir(path.c_str(), 0700) != 0)
            return reason("cannot make a folder for it", errno);
    }

    const std::string name = _target.filename().string();
    const std::string stem = name.substr(0, name.size() - std::min<std::size_t>(name.size(), 3));
    _file = made / name;
    if (!stem.empty()) {
        _stagedTextures = made / stem;
        _textureFolder = beside / stem;
    }
    return {};
}

std::string StagedScene::findTextures()
{
    _textures.clear();
    std::error_code error;
    if (_stagedTextures.empty() || !fs::is_directory(_stagedTextures, error))
        return {};
    for (fs::directory_iterator entry(_stagedTextures, error), end; !error && entry != end;
         entry.increment(error)) {
        const fs::path name = entry->path().filename();
        _textures.push_back(
            {entry->path(), _textureFolder / name, {}, (_textureFolder.filename() / name).string()});
    }
    if (error)
        return reason("the texture folder cannot be read", error.value());
    std::sort(_textures.begin(), _textures.end(),
              [](const Texture& a, const Texture& b) { return a.shown < b.shown; });

    const fs::file_status there = fs::status(_textureFolder, error);
    _wholeFolder = there.type() == fs::file_type::not_found;
    if (!_wholeFolder && there.type() != fs::file_type::directory)
        return "'" + _textureFolder.filename().string() + "' is there already and is no folder for textures";
    return {};
}

std::string StagedScene::prepare()
{
    std::string problem = prepareFile(_file, _target);
    if (problem.empty())
        problem = findTextures();
    if (!problem.empty())
        return problem;
    for (const Texture& texture : _textures) {
        problem = prepareFile(texture.from, texture.to);
        if (!problem.empty())
            return ofTexture(texture.shown, problem);
    }
    if (!_textures.empty())
        flushFolder(_stagedTextures);
    return {};
}

std::string StagedScene::moveTextures(bool replace, std::size_t& moved)
{
    for (moved = 0; moved < _textures.size(); ++moved) {
        Texture& texture = _textures[moved];
        struct stat old;
        if (replace && ::lstat(texture.to.c_str(), &old) == 0) {
            if (S_ISDIR(old.st_mode))
                return ofTexture(texture.shown, reason("cannot be replaced", EISDIR));
            texture.kept = _kept / std::to_string(moved);
            if (const int error = keepFile(texture.to, texture.kept))
                return ofTexture(texture.shown, reason("cannot be replaced", error));
        }
        if (const int error = moveFile(texture.from, texture.to, replace))
            return ofTexture(texture.shown, reason("cannot be moved into place", error));
    }
    return {};
}

void StagedScene::moveTexturesBack(std::size_t moved)
{
    while (moved > 0) {
        const Texture& texture = _textures[--moved];
        if (texture.kept.empty())
            ::rename(texture.to.c_str(), texture.from.c_str());
        else
            ::rename(texture.kept.c_str(), texture.to.c_str());
    }
}

std::string StagedScene::moveAll(bool replace)
{
    const bool hasTextures = !_textures.empty();
    std::size_t moved = 0;
    std::string problem;
    if (hasTextures && _wholeFolder) {
        // A folder that came meanwhile is in the way, unless it is empty.
        if (const int error = moveFile(_stagedTextures, _textureFolder, true))
            return reason("the texture folder cannot be moved into place", error);
    } else if (hasTextures) {
        problem = moveTextures(replace, moved);
    }

    if (problem.empty()) {
        if (const int error = moveFile(_file, _target, replace))
            problem = reason("cannot be moved into place", error);
    }
    if (problem.empty())
        return {};
    if (hasTextures && _wholeFolder)
        ::rename(_textureFolder.c_str(), _stagedTextures.c_str());
    moveTexturesBack(moved);
    return problem;
}

std::string StagedScene::commit(bool replace)
{
    std::string problem = prepare();
    if (!problem.empty())
        return problem;
    {
        const BlockSignals block;
        problem = moveAll(replace);
    }
    if (!problem.empty())
        return problem;
    if (!_textures.empty())
        flushFolder(_textureFolder);
    flushFolder(_target.parent_path());
    return {};
}

} // namespace zyscene
