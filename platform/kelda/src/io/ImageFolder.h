#pragma once

#include <memory>
#include <string>

namespace kelda
{

/// A new folder of our own for the images that were embedded in an imported file. It goes, with all that is
/// in it, with the last reference, or else when the process ends.
class ImageFolder
{
public:
    static std::shared_ptr<ImageFolder> make(); ///< null: no folder can be made
    ~ImageFolder();
    ImageFolder(const ImageFolder&) = delete;
    ImageFolder& operator=(const ImageFolder&) = delete;

    const std::string& path() const { return _path; } ///< full
    bool isEmpty() const;

private:
    explicit ImageFolder(std::string path) : _path(std::move(path)) {}

    std::string _path;
};

} // namespace kelda
