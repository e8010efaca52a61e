#include "io/ImageFolder.h"

#include <cstdlib>
#include <filesystem>
#include <set>
#include <unistd.h>

namespace kelda
{

namespace
{

namespace fs = std::filesystem;

void removeAll(const std::string& path)
{
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

/// The folders that there are. The scene is never destroyed, so what it still keeps when the process ends
/// goes from here.
class Register
{
public:
    ~Register()
    {
        if (::getpid() != _owner)
            return; // a copy of the process that ends earlier
        for (const std::string& path : _paths)
            removeAll(path);
    }
    void add(const std::string& path) { _paths.insert(path); }
    void remove(const std::string& path) { _paths.erase(path); }

private:
    const pid_t _owner = ::getpid();
    std::set<std::string> _paths;
};

Register& folders()
{
    static Register all;
    return all;
}

} // namespace

std::shared_ptr<ImageFolder> ImageFolder::make()
{
    std::error_code error;
    const fs::path above = fs::temp_directory_path(error);
    std::string path = (above / "kelda-images-XXXXXX").string();
    if (error || !::mkdtemp(&path[0]))
        return nullptr;
    folders().add(path);
    return std::shared_ptr<ImageFolder>(new ImageFolder(path));
}

ImageFolder::~ImageFolder()
{
    removeAll(_path);
    folders().remove(_path);
}

bool ImageFolder::isEmpty() const
{
    std::error_code error;
    return fs::is_empty(_path, error) || error;
}

} // namespace kelda
