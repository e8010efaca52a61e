#include <OpenSG/OSGPathHandler.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>

OSG_BEGIN_NAMESPACE

namespace
{

constexpr const Char8* separators = "/\\";

bool isReadableFile(const std::string& path)
{
    std::error_code error;
    return !std::filesystem::is_directory(path, error) && std::ifstream(path, std::ios::binary).is_open();
}

bool isAbsolute(const std::string& name)
{
    return !name.empty() && name[0] == '/';
}

// Replaces a leading "~" by the user's home and a leading "$NAME" or "${NAME}" by the variable's value. A
// variable that does not exist stays as text.
std::string expandStart(const std::string& name)
{
    std::string variable;
    std::size_t rest = 0;
    if (name[0] == '~' && (name.size() == 1 || name[1] == '/' || name[1] == '\\')) {
        variable = "HOME";
        rest = 1;
    } else if (name[0] == '$') {
        const bool braced = name.size() > 1 && name[1] == '{';
        rest = braced ? 2 : 1;
        while (rest < name.size() && (std::isalnum(static_cast<UChar8>(name[rest])) || name[rest] == '_'))
            variable += name[rest++];
        if (braced) {
            if (rest == name.size() || name[rest] != '}')
                return name;
            ++rest;
        }
    }
    const Char8* const value = variable.empty() ? nullptr : std::getenv(variable.c_str());
    return value != nullptr ? value + name.substr(rest) : name;
}

} // namespace

PathHandler::~PathHandler() = default;

// -- Search -----------------------------------------------------------------------------------------

std::string PathHandler::findFile(const Char8* fileName) const
{
    if (fileName == nullptr || *fileName == '\0')
        return std::string();

    // A file whose name really holds a backslash comes before the one that is meant if it is a separator.
    const std::string literal = expandStart(fileName), native = nativeName(fileName);
    const std::string* const spellings[] = {&literal, &native};
    for (const std::string* name : spellings) {
        if (isAbsolute(*name)) {
            if (isReadableFile(*name))
                return *name;
            continue;
        }
        if (!_basePath.empty() && isReadableFile(_basePath + *name))
            return _basePath + *name;
        for (const std::string& path : _paths)
            if (isReadableFile(path + *name))
                return path + *name;
    }
    return std::string();
}

// -- Directories ------------------------------------------------------------------------------------

void PathHandler::push_frontPath(const Char8* pathList)
{
    PathList paths = split(pathList);
    _paths.splice(_paths.begin(), paths);
}

void PathHandler::push_backPath(const Char8* pathList)
{
    PathList paths = split(pathList);
    _paths.splice(_paths.end(), paths);
}

// The directory is entered as one path: it may hold the characters that separate paths in a list.
void PathHandler::push_frontCurrentDir()
{
    std::error_code error;
    const std::string dir = std::filesystem::current_path(error).string();
    if (!error)
        _paths.push_front(dir == "/" ? dir : dir + '/');
}

void PathHandler::push_backCurrentDir()
{
    std::error_code error;
    const std::string dir = std::filesystem::current_path(error).string();
    if (!error)
        _paths.push_back(dir == "/" ? dir : dir + '/');
}

void PathHandler::subPath(const Char8* pathList)
{
    for (const std::string& path : split(pathList))
        _paths.remove(path);
}

void PathHandler::clearPathList()
{
    _paths.clear();
}

PathHandler::PathList PathHandler::split(const Char8* pathList)
{
    PathList paths;
    std::string path;
    for (const Char8* ch = pathList != nullptr ? pathList : "";; ++ch) {
        if (*ch != '\0' && *ch != ':' && *ch != ';') {
            path += *ch;
            continue;
        }
        if (!path.empty()) {
            path = nativeName(path.c_str());
            if (path.back() != '/')
                path += '/';
            paths.push_back(path);
            path.clear();
        }
        if (*ch == '\0')
            return paths;
    }
}

// -- Base file --------------------------------------------------------------------------------------

void PathHandler::setBaseFile(const Char8* fileName)
{
    const std::string path = extractPath(fileName);
    _basePath = path.empty() ? "./" : nativeName(path.c_str());
}

const Char8* PathHandler::getBaseFile() const
{
    return _basePath.c_str();
}

void PathHandler::clearBaseFile()
{
    _basePath.clear();
}

// -- Names ------------------------------------------------------------------------------------------

std::string PathHandler::extractPath(const Char8* fileName)
{
    const std::string name(fileName != nullptr ? fileName : "");
    return name.substr(0, name.find_last_of(separators) + 1);
}

std::string PathHandler::nativeName(const Char8* fileName)
{
    if (fileName == nullptr || *fileName == '\0')
        return std::string();
    std::string name = expandStart(fileName);
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

OSG_END_NAMESPACE
