#include "graph/FileNames.h"

#include <algorithm>
#include <sys/stat.h>

namespace kelda
{

std::string fileBeside(const std::string& other, const std::string& name)
{
    const size_t slash = other.rfind('/');
    if (name.empty() || name[0] == '/' || slash == std::string::npos)
        return name;
    const auto isFile = [](const std::string& path) {
        struct stat about;
        return ::stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode);
    };
    std::string path = other.substr(0, slash + 1) + name;
    if (isFile(path))
        return path;
    std::replace(path.begin() + static_cast<std::ptrdiff_t>(slash) + 1, path.end(), '\\', '/');
    return name.find('\\') != std::string::npos && isFile(path) ? path : name;
}

} // namespace kelda
