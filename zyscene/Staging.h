#pragma once

#include <filesystem>
#include <string>

namespace zyscene
{

/// A file in the making: it is written into a folder beside its target, under its final name, and moved into
/// place when it is whole. Until then the old file stays as it is. The folder goes away with the object, and
/// also when the process is ended by SIGINT, SIGTERM or SIGHUP. One at a time.
class StagedFile
{
public:
    /// @param target the file to be made; a symbolic link is followed, so that it is not the link that is
    /// replaced
    explicit StagedFile(const std::string& target);
    ~StagedFile();
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    /// Makes the folder.
    /// @return an empty text, or why it cannot be made
    std::string open();

    /// Absolute path to write to; valid after open().
    std::string path() const { return _file.string(); }

    /// Flushes the written file to the disk and moves it to its target, whose permissions it takes over.
    /// @param replace whether an existing target may be replaced
    /// @return an empty text, or why the target is not the new file; the old one is whole then
    std::string commit(bool replace);

private:
    void remove();

    std::filesystem::path _target;
    std::filesystem::path _folder; ///< empty while there is none
    std::filesystem::path _file;
};

} // namespace zyscene
