#pragma once

#include <OpenSG/OSGIDString.h>
#include <OpenSG/OSGNodePtr.h>

#include <iosfwd>
#include <list>
#include <string>

OSG_BEGIN_NAMESPACE

/// A form of scene files, known by the suffixes of their names. Constructing an object registers it with the
/// SceneFileHandler, destroying it takes it out again; it is usually a static variable of the library that
/// implements it.
class OSG_PLATFORM_API SceneFileType
{
public:
    enum Flags { OSG_READ_SUPPORTED = 1, OSG_WRITE_SUPPORTED = 2 };

    SceneFileType(const SceneFileType&) = delete;
    SceneFileType& operator=(const SceneFileType&) = delete;

    /// Readable name of the form.
    virtual const Char8* getName() const = 0;

    /// Takes this type out of the lists of its suffixes. Entries of other types stay: a plug-in that is
    /// unloaded must not take them with it.
    virtual ~SceneFileType();

    /// Suffixes in lower case, without dots.
    virtual std::list<IDString>& suffixList();

    /// Reads a scene. Null if it cannot be read, and by default.
    ///
    /// \param in                   at its start; at its end already if the file is empty
    /// \param fileNameOrExtension  full path of the file, or the extension given with a stream
    /// \return root with reference count 0
    virtual NodePtr read(std::istream& in, const Char8* fileNameOrExtension) const;
    /// Tried when read() gave nothing. Null by default.
    virtual NodePtr readFile(const Char8* fileName) const;
    /// Writes \a node and what is below. False if it failed, and by default.
    ///
    /// \param fileNameOrExtension  the file's name as the caller gave it, or the extension given with a
    /// stream
    virtual bool write(const NodePtr& node, std::ostream& out, const Char8* fileNameOrExtension) const;
    /// Tried when write() failed. False by default.
    virtual bool writeFile(const NodePtr& node, const Char8* fileName) const;

    /// Options of this object. Those that the SceneFileHandler keeps for each suffix are apart.
    void setOptions(const Char8* options);
    /// Never null.
    const Char8* getOptions() const { return _options.c_str(); }

    bool doOverride() const { return _override; }
    UInt32 getOverridePriority() const { return _overridePriority; }
    UInt32 getFlags() const { return _flags; }
    /// Writes name and suffixes to the log.
    void print() const;

protected:
    /// \param suffixArray      suffixes without dots
    /// \param suffixByteCount  sizeof the array, not the number of its entries
    /// \param override         whether the type is put before others that have one of its suffixes
    /// \param overridePriority among types that override, the one with the highest is used
    SceneFileType(const Char8* suffixArray[], UInt16 suffixByteCount, bool override, UInt32 overridePriority,
                  UInt32 flags = OSG_READ_SUPPORTED);

private:
    std::list<IDString> _suffixes;
    std::string _options;
    bool _override;
    UInt32 _overridePriority;
    UInt32 _flags;
};

OSG_END_NAMESPACE
