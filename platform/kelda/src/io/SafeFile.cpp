#include "io/SafeFile.h"

#include "kelda/testing/KFaults.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelda
{

namespace
{

constexpr size_t kBufferSize = 1 << 20;
constexpr int kNameTries = 100;

std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

SafeFile::~SafeFile()
{
    if (_file >= 0)
        ::close(_file);
    if (!_temporary.empty())
        ::unlink(_temporary.c_str());
}

bool SafeFile::fail(const std::string& what, int code)
{
    if (_error.empty())
        _error = what + ": " + std::strerror(code);
    return false;
}

bool SafeFile::open(const std::string& path)
{
    _target = path;
    mode_t mode = 0;
    struct stat old;
    if (::stat(path.c_str(), &old) == 0) {
        if (S_ISDIR(old.st_mode))
            return fail("cannot be written", EISDIR);
        if (!S_ISREG(old.st_mode)) {
            _error = "cannot be written: it is not a regular file";
            return false;
        }
        // Renaming over a write-protected file would work; who protected it did not mean that.
        if (::access(path.c_str(), W_OK) != 0)
            return fail("cannot be written", errno);
        mode = old.st_mode & 07777;
        if (char* real = ::realpath(path.c_str(), nullptr)) {
            _target = real;
            std::free(real);
        }
    }
    _folder = folderOf(_target);
#ifdef O_TMPFILE
    if (::access("/proc/self/fd", X_OK) == 0) // the way to give the file a name later
        _file = ::open(_folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
#endif
    if (_file < 0) {
        for (int i = 0; i < kNameTries && _file < 0; ++i) {
            _temporary = _target + ".saving-" + std::to_string(::getpid()) + "-" + std::to_string(i);
            _file = ::open(_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (_file < 0 && errno != EEXIST)
                break;
        }
        if (_file < 0) {
            const int code = errno;
            _temporary.clear();
            return fail("cannot be written", code);
        }
    }
    if (mode != 0 && ::fchmod(_file, mode) != 0)
        return fail("cannot be given the permissions of the old file", errno);
    _buffer.reserve(kBufferSize);
    return true;
}

bool SafeFile::give(const char* bytes, size_t count)
{
    while (count > 0) {
        if (KFaults::hit("KFileIO::write"))
            return fail("cannot be written", ENOSPC);
        const ssize_t written = ::write(_file, bytes, count);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return fail("cannot be written", written < 0 ? errno : EIO);
        bytes += written;
        count -= static_cast<size_t>(written);
    }
    return true;
}

bool SafeFile::flush()
{
    const bool done = give(_buffer.data(), _buffer.size());
    _buffer.clear();
    return done;
}

bool SafeFile::write(const void* bytes, size_t count)
{
    const char* from = static_cast<const char*>(bytes);
    if (_buffer.size() + count > kBufferSize && !flush())
        return false;
    if (count >= kBufferSize)
        return give(from, count);
    _buffer.append(from, count);
    return true;
}

bool SafeFile::commit()
{
    if (!flush())
        return false;
    if (KFaults::hit("KFileIO::flush"))
        return fail("cannot be flushed to the disk", EIO);
    if (::fsync(_file) != 0)
        return fail("cannot be flushed to the disk", errno);
    if (KFaults::hit("KFileIO::rename"))
        return fail("cannot be replaced", EACCES);
    if (_temporary.empty()) {
        // A nameless file cannot take the place of another one; it is given a name, and that is renamed.
        const std::string self = "/proc/self/fd/" + std::to_string(_file);
        int code = EEXIST;
        for (int i = 0; i < kNameTries && code == EEXIST; ++i) {
            _temporary = _target + ".saving-" + std::to_string(::getpid()) + "-" + std::to_string(i);
            code = ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, _temporary.c_str(), AT_SYMLINK_FOLLOW) == 0
                       ? 0
                       : errno;
        }
        if (code != 0) {
            _temporary.clear();
            return fail("cannot be replaced", code);
        }
    }
    if (::rename(_temporary.c_str(), _target.c_str()) != 0)
        return fail("cannot be replaced", errno);
    _temporary.clear();
    ::close(_file);
    _file = -1;
    // The new name reaches the disk with the folder. The file is in place whatever comes of it.
    const int folder = ::open(_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
    return true;
}

} // namespace kelda
