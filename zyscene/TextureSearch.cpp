#include "TextureSearch.h"

#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGSceneFileHandler.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace zyscene
{

// -- In place of the path handler --------------------------------------------------------------------

namespace
{
// The handler that was set by somebody; null while the built-in one is in use.
osg::PathHandler* handlerOfScenes()
{
    osg::PathHandler* const current = osg::SceneFileHandler::the()->getPathHandler();
    osg::SceneFileHandler::the()->setPathHandler(nullptr);
    osg::PathHandler* const builtIn = osg::SceneFileHandler::the()->getPathHandler();
    return current != builtIn ? current : nullptr;
}
} // namespace

TextureSearch::TextureSearch(const std::string& scene, const std::vector<std::string>& folders)
    : _directory(std::filesystem::path(scene).parent_path().string()), _folders(folders), _paths(*this),
      _formerOfScenes(handlerOfScenes()), _formerOfImages(osg::ImageFileHandler::the().getPathHandler())
{
    _paths.push_frontCurrentDir();
    _paths.setBaseFile(scene.c_str());
    osg::SceneFileHandler::the()->setPathHandler(&_paths);
    osg::ImageFileHandler::the().setPathHandler(&_paths);
    _formerObserver = zyFile::setExistsObserver([this](const std::string& name, bool there) {
        if (!there)
            _notThere.push_back(name);
    });
}

TextureSearch::~TextureSearch()
{
    zyFile::setExistsObserver(std::move(_formerObserver));
    osg::ImageFileHandler::the().setPathHandler(_formerOfImages);
    osg::SceneFileHandler::the()->setPathHandler(_formerOfScenes);
}

std::string TextureSearch::Paths::findFile(const osg::Char8* fileName) const
{
    const std::string path = osg::PathHandler::findFile(fileName);
    if (!path.empty() || fileName == nullptr) {
        _search._notThere.clear();
        _search._lastIsMissing = false;
        return path;
    }
    return _search.findElsewhere(fileName);
}

// -- Search ------------------------------------------------------------------------------------------

std::string TextureSearch::findElsewhere(const std::string& name)
{
    const std::vector<std::string> tried = takeTried(name);
    const std::string file = zyFile::getFileName(name);
    const std::string folder = zyFile::getFileName(zyFile::getFilePath(name));
    for (const std::string& further : _folders) {
        for (const std::string& path : {further + "/" + file, further + "/" + folder + "/" + file}) {
            std::error_code error;
            if (!std::filesystem::is_regular_file(path, error))
                continue;
            _lastIsMissing = false;
            if (_knownRelinked.insert(tried.front()).second)
                _relinked.push_back({tried.front(), further});
            return path;
        }
    }
    _lastIsMissing = true;
    if (_knownMissing.insert(tried).second)
        _missing.push_back({tried.front(), tried});
    return std::string();
}

// The places of an image that were looked at before it was given up: up to three, of the same file name, and
// the one that was to be opened untested.
std::vector<std::string> TextureSearch::takeTried(const std::string& name)
{
    constexpr std::ptrdiff_t tested = 3;
    const std::string file = zyFile::getFileName(name);
    auto first = _notThere.end();
    while (first != _notThere.begin() && _notThere.end() - first < tested &&
           zyFile::getFileName(*(first - 1)) == file)
        --first;
    std::vector<std::string> tried;
    std::transform(first, _notThere.end(), std::back_inserter(tried),
                   [this](const std::string& place) { return shown(place); });
    if (first == _notThere.end() || _notThere.back() != name)
        tried.push_back(shown(name));
    _notThere.clear();
    return tried;
}

// What lies in the scene's folder, relative to it: the same scene says the same wherever it lies.
std::string TextureSearch::shown(const std::string& name) const
{
    const std::string place = zyFile::convertToUnixSeparators(name);
    const std::string directory = zyFile::convertToUnixSeparators(_directory) + "/";
    if (place.compare(0, directory.size(), directory) != 0)
        return name;
    return name.substr(std::min(name.find_first_not_of("/\\", directory.size()), name.size()));
}

} // namespace zyscene
