#include <zyUtils/zyFile.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

static const char separators[] = "/\\";

static bool isSeparator(char c)
{
    return c == '/' || c == '\\';
}

// The length of "D:" in front of an absolute name, 0 when there is none.
static std::size_t driveLength(const std::string& name)
{
    if (name.size() < 3 || name[1] != ':' || !isSeparator(name[2]))
        return 0;
    const char c = name[0];
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ? 2 : 0;
}

// Where the file name begins.
static std::size_t fileNameBegin(const std::string& name)
{
    const std::size_t separator = name.find_last_of(separators);
    return separator == std::string::npos ? 0 : separator + 1;
}

// Where the suffix's dot stands in a file name without directory; npos when there is no suffix.
static std::size_t suffixDot(const std::string& fileName)
{
    const std::size_t dot = fileName.rfind('.');
    const std::size_t firstOther = fileName.find_first_not_of('.');
    return dot == std::string::npos || firstOther == std::string::npos || dot < firstOther ? std::string::npos
                                                                                           : dot;
}

// -- Taking names apart -----------------------------------------------------------------------

std::string zyFile::getFileName(const std::string& name)
{
    return name.substr(fileNameBegin(name));
}

std::string zyFile::getFilePath(const std::string& name)
{
    const std::size_t drive = driveLength(name);
    std::size_t end = fileNameBegin(name);
    if (end == 0)
        return ".";
    // Of "a//b" the directory is "a"; what is only a root keeps one separator.
    while (end > drive && isSeparator(name[end - 1]))
        --end;
    if (end == drive)
        ++end;
    return name.substr(0, end);
}

std::string zyFile::getBaseName(const std::string& name)
{
    std::string result = getFileName(name);
    const std::size_t dot = suffixDot(result);
    if (dot != std::string::npos)
        result.resize(dot);
    return result;
}

std::string zyFile::getExtension(const std::string& name)
{
    const std::string fileName = getFileName(name);
    const std::size_t dot = suffixDot(fileName);
    return dot == std::string::npos ? std::string() : fileName.substr(dot + 1);
}

// -- Separators -------------------------------------------------------------------------------

std::string zyFile::convertSeparators(std::string name)
{
    std::replace(name.begin(), name.end(), '/', '\\');
    return name;
}

std::string zyFile::convertToUnixSeparators(std::string name)
{
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

#if defined(_WIN32)

std::string zyFile::toSystemPath(const std::string& name)
{
    return name;
}

#else

static bool existsAsSpelt(const std::string& name)
{
    std::error_code ignored;
    return fs::exists(fs::status(name, ignored));
}

// Turns "\" into "/" from the right until `name` exists.
static bool resolveExisting(std::string& name)
{
    std::string candidate = name;
    while (!existsAsSpelt(candidate)) {
        const std::size_t backslash = candidate.rfind('\\');
        if (backslash == std::string::npos)
            return false;
        candidate[backslash] = '/';
    }
    name.swap(candidate);
    return true;
}

std::string zyFile::toSystemPath(const std::string& name)
{
    // Longer names exist nowhere: asking for each of their separators would only cost time.
    const std::size_t longestName = 4096;
    if (name.find('\\') == std::string::npos)
        return name;
    if (name.size() > longestName)
        return convertToUnixSeparators(name);

    std::string result = name;
    if (resolveExisting(result))
        return result;

    const std::size_t separator = name.find_last_of(separators);
    std::string directory = name.substr(0, separator);
    if (directory.empty() || !resolveExisting(directory))
        return convertToUnixSeparators(name);
    return directory + '/' + name.substr(separator + 1);
}

#endif

// -- File system ------------------------------------------------------------------------------

static bool isThere(const std::string& name, bool directoryOnly, bool nonEmptyOnly)
{
    const fs::path path(zyFile::toSystemPath(name));
    std::error_code failed;
    const fs::file_status status = fs::status(path, failed);
    if (!fs::exists(status))
        return false;
    const bool isDirectory = fs::is_directory(status);
    if (directoryOnly && !isDirectory)
        return false;
    if (nonEmptyOnly && (isDirectory || fs::is_regular_file(status)))
        return !fs::is_empty(path, failed) && !failed;
    return true;
}

static zyFile::ExistsObserver& existsObserver()
{
    static zyFile::ExistsObserver observer;
    return observer;
}

zyFile::ExistsObserver zyFile::setExistsObserver(ExistsObserver observer)
{
    existsObserver().swap(observer);
    return observer;
}

bool zyFile::exists(const std::string& name, bool directoryOnly, bool nonEmptyOnly)
{
    const bool there = !name.empty() && isThere(name, directoryOnly, nonEmptyOnly);
    if (existsObserver())
        existsObserver()(name, there);
    return there;
}

std::string zyFile::getCurrentDir()
{
    std::error_code failed;
    const fs::path dir = fs::current_path(failed);
    return failed ? std::string() : dir.string();
}

bool zyFile::setCurrentDir(const std::string& dir)
{
    if (dir.empty())
        return true;
    std::error_code failed;
    fs::current_path(toSystemPath(dir), failed);
    return !failed;
}

bool zyFile::createDir(const std::string& dir)
{
    if (dir.empty())
        return false;
    std::error_code failed;
    const fs::path path(toSystemPath(dir));
    return fs::create_directory(path, failed) || fs::is_directory(path, failed);
}
