#pragma once

#include <OpenSG/OSGPathHandler.h>
#include <zyUtils/zyFile.h>

#include <set>
#include <string>
#include <vector>

namespace zyscene
{

/// Finds images in further folders while a scene is read, and keeps account of those that were found nowhere.
///
/// It stands in for the scene graph's path handler, which is asked for each image file that is opened: the
/// module looks at the places it knows first, as without it, and what is found afterwards becomes part of the
/// scene as if it had been at the last of these. What the module looked for before is told by zyFile. One at
/// a time.
class TextureSearch
{
public:
    /// A file that was found nowhere.
    struct Missing {
        std::string name;               ///< as the scene names it
        std::vector<std::string> tried; ///< in order; in the scene's folder relative to it
    };
    /// A file that was found in a further folder.
    struct Relinked {
        std::string name;
        std::string folder; ///< as it was given
    };

    /// @param scene   absolute path of the scene file
    /// @param folders looked into in this order: for the file itself, then for it in a folder that is called
    ///                as the one in its name
    TextureSearch(const std::string& scene, const std::vector<std::string>& folders);
    ~TextureSearch();
    TextureSearch(const TextureSearch&) = delete;
    TextureSearch& operator=(const TextureSearch&) = delete;

    /// Each file once, in the order in which they were asked for.
    const std::vector<Missing>& missing() const { return _missing; }
    const std::vector<Relinked>& relinked() const { return _relinked; }
    /// Whether the last file that was asked for was found nowhere.
    bool lastIsMissing() const { return _lastIsMissing; }

private:
    class Paths : public osg::PathHandler
    {
    public:
        explicit Paths(TextureSearch& search) : _search(search) {}
        std::string findFile(const osg::Char8* fileName) const override;

    private:
        TextureSearch& _search;
    };

    std::string findElsewhere(const std::string& name);
    std::vector<std::string> takeTried(const std::string& name);
    std::string shown(const std::string& name) const;

    const std::string _directory; ///< of the scene
    const std::vector<std::string> _folders;
    Paths _paths;
    osg::PathHandler* _formerOfScenes;
    osg::PathHandler* _formerOfImages;
    zyFile::ExistsObserver _formerObserver;
    std::vector<std::string> _notThere; ///< what was asked for since the last image file
    bool _lastIsMissing = false;
    std::vector<Missing> _missing;
    std::vector<Relinked> _relinked;
    std::set<std::vector<std::string>> _knownMissing;
    std::set<std::string> _knownRelinked;
};

} // namespace zyscene
