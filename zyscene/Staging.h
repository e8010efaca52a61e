#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zyscene
{

/// Sees to it that a folder goes away with this process, however it ends: the watch is a small process of its
/// own, which waits for the end of this one. One at a time.
///
/// It shares memory with this process as it was when the watch began, so begin it before there is much.
class FolderWatch
{
public:
    FolderWatch();
    /// Removes the folder, and returns when that is done.
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// Why there is no watch; empty when there is one.
    const std::string& problem() const { return _problem; }

    /// The folder to be removed: an absolute path.
    /// @return an empty text, or why it is not watched
    std::string watch(const std::string& folder);

private:
    std::string _problem;
};

/// A scene file and its texture folder in the making: they are written into a folder beside the target, under
/// their final names, and moved into place when they are whole. Until then the old ones stay as they are.
/// The folder goes away with the object or with the process.
///
/// Textures are in a folder beside the scene, called like the scene file without its suffix: dot and two
/// letters.
class StagedScene
{
public:
    /// @param target the file to be made; a symbolic link is followed, so that it is not the link that is
    /// replaced
    explicit StagedScene(const std::string& target);
    StagedScene(const StagedScene&) = delete;
    StagedScene& operator=(const StagedScene&) = delete;

    /// Looks whether a file can be made there: the folder exists, and what has its name is a regular file.
    /// @return an empty text, or what stands in the way
    static std::string obstacleTo(const std::string& target);

    /// Makes the folder.
    /// @return an empty text, or why it cannot be made
    std::string open();

    /// Absolute path to write the scene to; valid after open().
    std::string path() const { return _file.string(); }
    /// The folder that this is in.
    std::string folder() const { return _file.parent_path().string(); }

    /// Flushes what was written to the disk and moves it to its place, the scene file last. Files that are
    /// replaced pass on their permissions. Files beside them stay, also those in the texture folder that
    /// were not written anew.
    /// @param replace whether existing files may be replaced
    /// @return an empty text, or why nothing has changed
    std::string commit(bool replace);

private:
    struct Texture {
        std::filesystem::path from;
        std::filesystem::path to;
        std::filesystem::path kept; ///< the file that was there; empty: none
        std::string shown;          ///< "car/wood.png"
    };

    std::string prepare();
    std::string findTextures();
    std::string moveTextures(bool replace, std::size_t& moved);
    void moveTexturesBack(std::size_t moved);
    std::string moveAll(bool replace);

    FolderWatch _watch;
    std::filesystem::path _target;
    std::filesystem::path _file;
    std::filesystem::path _kept; ///< folder for what is replaced
    std::filesystem::path _stagedTextures;
    std::filesystem::path _textureFolder;
    bool _wholeFolder = false; ///< there is no texture folder yet: it comes into place as a whole
    std::vector<Texture> _textures;
};

} // namespace zyscene
