#ifndef ZYFILE_H
#define ZYFILE_H

#include <zyUtils/zyUtilsApi.h>

#include <functional>
#include <string>

/// File names and the few file-system operations that go with them.
///
/// Every operation understands both separators, "/" and "\", on every system. The name operations only look
/// at the text: they never touch the file system and never fail. None of the operations throws for a bad
/// name.
///
/// A name is taken apart like this:
///
///     D:\scenes/car.v2.kb   file path "D:\scenes", file name "car.v2.kb", base name "car.v2", extension "kb"
///
/// The suffix begins behind the last dot of the file name. A dot at the beginning of the name begins no
/// suffix, nor does one of "..": ".profile" has the base name ".profile" and no extension. "car." has the
/// base name "car" and no extension.
class ZYUTILS_API zyFile
{
public:
    /// @name Taking names apart
    /// @{

    /// The name with its suffix and without its directory; "" when `name` ends in a separator.
    static std::string getFileName(const std::string& name);

    /// The directory without its final separator; "." for a name without directory. The root stays a root:
    /// "/" for "/car.kb", "D:\" for "D:\car.kb". A colon without a separator behind it is a letter like any
    /// other.
    static std::string getFilePath(const std::string& name);

    /// The name without directory and without suffix.
    static std::string getBaseName(const std::string& name);

    /// The suffix without its dot, in the letter case it was written in; "" when there is none.
    static std::string getExtension(const std::string& name);

    /// @}
    /// @name Separators
    /// @{

    /// `name` with every "/" written as "\".
    static std::string convertSeparators(std::string name);

    /// `name` with every "\" written as "/".
    static std::string convertToUnixSeparators(std::string name);

    /// `name` as this system's own calls understand it. This is the one place where that translation happens;
    /// call it where a file is opened, not where a name is put together.
    ///
    /// Where "\" is a letter like any other in file names, a name that exists as it is spelt is returned
    /// unchanged. Otherwise as many "\" as possible, counted from the left, stay letters while the rest
    /// become "/", as long as the name then exists; for a name that does not exist yet the same holds for its
    /// directory, and the separator in front of the file name is "/". When nothing of it exists every "\"
    /// becomes "/".
    static std::string toSystemPath(const std::string& name);

    /// @}
    /// @name File system
    /// @{

    /// True when there is a file or directory `name`. A symbolic link counts as what it leads to.
    /// @param directoryOnly  only a directory counts.
    /// @param nonEmptyOnly   a file without content does not count, nor does a directory without entries.
    static bool exists(const std::string& name, bool directoryOnly = false, bool nonEmptyOnly = false);

    /// What exists() was asked for, and what it answered.
    typedef std::function<void(const std::string& name, bool there)> ExistsObserver;

    /// Sets who is told of every exists(), for a host that shows where a file was looked for; an empty one
    /// tells nobody. Not to be set while other threads call exists().
    /// @return the former one
    static ExistsObserver setExistsObserver(ExistsObserver observer);

    /// The process's current directory; "" when it has been deleted or cannot be read.
    static std::string getCurrentDir();

    /// Makes `dir` the process's current directory. An empty name changes nothing and is a success.
    /// @return false, with nothing changed, when that is not possible.
    static bool setCurrentDir(const std::string& dir);

    /// Creates the directory `dir`. Its parent must exist: a misspelt path shall not leave a trail of
    /// folders.
    /// @return true when the directory exists afterwards, also when it did before.
    static bool createDir(const std::string& dir);

    /// @}
};

#endif
