#pragma once

#include "zyKelda2017FileIOExport.h"

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGNode.h>

#include <kelda/KObject.h>

#include <map>
#include <set>
#include <string>

class KFnDagNode;
class KFnMesh;
class KFnTransform;

/// One export of an OpenSG subtree as a Kelda scene file.
///
/// The object holds all state of the export and is destroyed when it is over. Scene-graph handles are stored
/// as they are, without references of their own: the caller keeps the subtree alive.
class ZYKELDA2017FILEIO_API zyKeldaWriter
{
public:
    /// Exports a subtree. The SDK's scene is used for it and is empty afterwards.
    /// @param node     root of the subtree, exported itself; a null node makes an empty scene
    /// @param fileName path of the scene file, either separator; suffix "ka" or "KA": the ASCII form, any
    ///                 other: the binary one. The directory must exist
    /// @param options  words of the form key=value, joined by anything; "units=" names the working unit
    /// @return false when the name is empty, otherwise true: a failed save shows only in the host's log
    static bool write(const osg::NodePtr& node, const std::string& fileName, const std::string& options);

    zyKeldaWriter(const osg::NodePtr& node, const std::string& fileName, const std::string& options);
    /// Copies member by member. What is in `sharedMeshes` stays with the original, so only a writer that has
    /// not run may be copied.
    zyKeldaWriter(const zyKeldaWriter& other);
    zyKeldaWriter& operator=(const zyKeldaWriter& other);
    virtual ~zyKeldaWriter();

private:
    friend class zyKeldaWriterTestAccess;

    // -- The export, in running order --------------------------------------------------------------
    bool write();
    void countNodes(const osg::NodePtr& node);
    void convertScenegraph(const osg::NodePtr& node, KObject parent);
    void setWorkingUnit();
    void saveScene();
    void clearScene();

    // -- Scene-graph walk --------------------------------------------------------------------------
    bool convertNode(const osg::NodePtr& node, KObject& current);
    void hideUnchosen(const osg::NodePtr& node, const KObject& current);

    // -- Converters --------------------------------------------------------------------------------
    KObject convertTransform(const osg::NodePtr& node, KObject parent);
    KObject convertGeometry(const osg::NodePtr& node, KObject parent);
    KObject convertNurbsSurface(const osg::NodePtr& node, KObject parent);
    void convertMaterial(const KFnMesh& mesh, const osg::NodePtr& node);

    // -- Materials ---------------------------------------------------------------------------------
    std::string newShaderName(const osg::MaterialPtr& material);
    KObject findShadingEngine(const KObject& shader);
    std::string exportImage(const osg::ImagePtr& image);

    // -- Operations that the converters share ------------------------------------------------------
    KObject createTransform(KFnTransform& fn, const osg::NodePtr& node, const KObject& parent);
    bool setVisible(const KFnDagNode& dagNode, bool visible);
    void keldafyName(std::string& name);

    std::string fileName;      ///< path as the caller passed it
    std::string sceneFileName; ///< name with suffix, without directory
    std::string options;       ///< option string as passed
    std::string filePath;      ///< directory of the scene file
    std::string baseName;      ///< name without directory and suffix

    osg::NodePtr root;                                 ///< the subtree to export; may be null
    std::map<osg::MaterialPtr, KObject> materialSets;  ///< shading group made for a material; null where
                                                       ///< it could not be found
    std::set<std::string> usedShaderNames;             ///< shader names given out in this export
    std::map<osg::GeometryPtr, KFnMesh*> sharedMeshes; ///< mesh made for a geometry core, for instancing; the
                                                       ///< destructor deletes the first function set only
    osg::UInt32 nodeCount;                             ///< nodes of the subtree; 0 until countNodes() has run
    osg::UInt32 nodesDone;                             ///< nodes visited by the walk so far
    std::string unit;                                  ///< working unit as the options name it
};
