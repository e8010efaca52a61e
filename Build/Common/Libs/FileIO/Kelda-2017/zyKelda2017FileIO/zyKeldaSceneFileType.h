#pragma once

#include "zyKelda2017FileIOExport.h"

#include <OpenSG/OSGSceneFileType.h>

#include <string>

/// The scene file type "Kelda Scene": the module's only contact with the host's scene file handling.
///
/// The single instance registers the suffixes "kb" and "ka" with osg::SceneFileHandler while the module is
/// loaded. The Kelda SDK is started by the first request, not by loading.
class ZYKELDA2017FILEIO_API zyKeldaSceneFileType : public osg::SceneFileType
{
public:
    static zyKeldaSceneFileType& the();

    const osg::Char8* getName() const override;
    ~zyKeldaSceneFileType() override;

    /// Imports the named scene file with the options that the host stored for "kb".
    /// @param stream   not touched: the SDK opens the file itself, by name
    /// @param fileName path of the scene file
    /// @return the import root with reference count 0, or a null node when the file cannot be opened
    osg::NodePtr read(std::istream& stream, const osg::Char8* fileName) const override;

    /// Exports a subtree as the named scene file with the options that the host stored for "kb".
    /// @param node     root of the subtree; a null node makes an empty scene
    /// @param stream   not written to: the SDK saves the file itself, by name
    /// @param fileName path of the scene file
    /// @return false when the name is empty; a failed save shows only in the host's log
    bool write(const osg::NodePtr& node, std::ostream& stream, const osg::Char8* fileName) const override;

protected:
    zyKeldaSceneFileType(const osg::Char8* suffixArray[], osg::UInt16 suffixByteCount, bool override,
                         osg::UInt32 overridePriority, osg::UInt32 flags);

private:
    void initializeKelda() const;
    std::string storedOptions() const;

    static const osg::Char8* _suffixA[];
    static zyKeldaSceneFileType _the;

    mutable bool _keldaInitialized; ///< true once the SDK has started; a failed start leaves it false
};
