#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <list>
#include <string>

OSG_BEGIN_NAMESPACE

/// Finds files: beside a base file first, then in a list of directories. Either separator, '/' or '\', works
/// in names; a leading "~" or "$VARIABLE" is expanded.
class OSG_PLATFORM_API PathHandler
{
public:
    virtual ~PathHandler();

    /// Path of the first file of this name that can be opened; directories do not count. An absolute name is
    /// looked for as it is; a relative one is put behind each directory as it is. "" if there is none.
    virtual std::string findFile(const Char8* fileName) const;

    /// \param pathList  directories, separated by ':' or ';'
    virtual void push_frontPath(const Char8* pathList);
    virtual void push_backPath(const Char8* pathList);
    void push_frontCurrentDir();
    void push_backCurrentDir();
    /// Takes the directories out of the list.
    virtual void subPath(const Char8* pathList);
    virtual void clearPathList();

    /// Keeps the directory of the file, "./" if the name has none.
    virtual void setBaseFile(const Char8* fileName);
    /// The directory kept, with a separator at its end; "" if there is none.
    virtual const Char8* getBaseFile() const;
    virtual void clearBaseFile();

    /// Directory part of a name with its separator; "" if there is none.
    static std::string extractPath(const Char8* fileName);
    /// The name as this system spells it: every '\' becomes '/', and what may stand at its start is expanded.
    static std::string nativeName(const Char8* fileName);

private:
    typedef std::list<std::string> PathList;

    static PathList split(const Char8* pathList);

    PathList _paths; ///< each with a separator at its end
    std::string _basePath;
};

OSG_END_NAMESPACE
