#pragma once

#include "zyKelda2017FileIOExport.h"

#include <OpenSG/OSGAction.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGTransform3D.h>

#include <kelda/KDagPath.h>

#include <zyOpenSGUtils/zyNodePtr.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

class KFnDagNode;
class KFnTransform;
class KObject;
class KPlug;

/// One import of one Kelda scene file into an OpenSG subtree.
///
/// The object holds all state of the import and is destroyed when it is over. Scene-graph handles are stored
/// as they are, without references of their own: the graph below the root keeps what it needs.
class ZYKELDA2017FILEIO_API zyKeldaLoader
{
public:
    /// Imports a scene file.
    /// @param fileName path of the scene file, either separator
    /// @param options  words of the form key=value, joined by anything
    /// @return the import root with reference count 0; a null node when the name is empty or the file cannot
    /// be opened
    static osg::NodePtr read(const std::string& fileName, const std::string& options);

    zyKeldaLoader(const std::string& fileName, const std::string& options);
    zyKeldaLoader(const zyKeldaLoader& other);
    zyKeldaLoader& operator=(const zyKeldaLoader& other);
    virtual ~zyKeldaLoader();

    /// Makes a switch node for a DAG transform and records it in the list of switches. Not called by the
    /// walk.
    /// @return the switch node, or a null node when the path is no transform
    osg::NodePtr convertSwitch(const KDagPath& path);

private:
    friend class zyKeldaLoaderTestAccess;

    /// Hash of a name, eight bytes at a time: full path names are long, and there is one for each node.
    struct NameHash {
        std::size_t operator()(const std::string& name) const;
    };
    typedef std::unordered_map<std::string, osg::NodePtr, NameHash> NodesByName;

    struct NameRecord {
        std::string name;
        osg::FieldContainerPtr container;
    };
    struct PlanarProjection {
        osg::MaterialPtr material;
        std::string placement; ///< name of the place3dTexture node; empty where there is none
    };
    class Images;
    /// Names of texture files by texture-coordinate index; those of one index in the order in which they were
    /// found.
    typedef std::multimap<osg::UInt32, std::string> Textures;
    struct SwitchRecord {
        osg::NodePtr switchNode;
        osg::NodePtr transformNode; ///< made for the same DAG path; not yet part of the graph
    };

    // -- The import, in running order --------------------------------------------------------------
    osg::NodePtr read();
    bool openScene(bool inSceneDir);
    void addShadowScene();
    void createNoShadowMeshList();
    void calcUnit();
    void stripHistory();
    void loadMaterialLibrary();
    void createRoot();
    void walkScenegraph();
    void postProcessSwitches();
    void postProcessTexGens();
    void postProcessAddUnitScale();
    void postProcessShadow();
    void unloadMaterialLibrary();
    void postProcessLights();

    // -- Scene walk --------------------------------------------------------------------------------
    osg::UInt32 countNodes();
    bool isVisible(const KFnDagNode& fn);
    osg::NodePtr getOSGNode(const KDagPath& path);
    void addOSGNode(const KDagPath& path, const osg::NodePtr& node);
    void addNode(const KDagPath& path, const KFnDagNode& fn, const osg::NodePtr& node, bool visible,
                 bool rememberPath, bool quiet, bool& rememberedFlag, KDagPath& rememberedPath);
    void walkPath(const KDagPath& visited, bool& rememberedFlag, KDagPath& rememberedPath);
    KDagPath foldTransform(const KDagPath& shape, const KFnDagNode& fn, bool visible, bool& rememberedFlag,
                           KDagPath& rememberedPath);

    /// Deletes a node of the SDK's scene by name and empties the undo queue. Not called by the walk.
    void deleteKeldaNode(const std::string& name);

    // -- Converters --------------------------------------------------------------------------------
    osg::NodePtr convertTransform(const KDagPath& path);
    void initTransform3D(const osg::Transform3DPtr& core, const KFnTransform& fn);
    osg::NodePtr convertMesh(const KDagPath& path);
    osg::NodePtr convertNurbsSurface(const KDagPath& path);
    osg::NodePtr convertLight(const KDagPath& path);
    void convertAnimCurve(const KObject& node, const char* attribute);
    void outputAnimCurve(const KObject& curve);

    // -- Materials ---------------------------------------------------------------------------------
    KObject findShader(const KObject& shadingGroup);
    osg::MaterialPtr getOSGMaterial(const KDagPath& path, const KObject& shadingGroup);
    Textures collectTextures(const KPlug& color, const osg::ChunkMaterialPtr& material, float opacity);
    osg::UInt32 textureCoordIndex(const KObject& file);
    void addTexture(const osg::ChunkMaterialPtr& material, const std::string& fileTextureName,
                    osg::UInt32 entry, osg::UInt32 entries);
    std::string resolveTexture(const std::string& fileTextureName) const;
    void addPlacement(const osg::ChunkMaterialPtr& material, const KPlug& color);
    void makeShadowMaterial(const osg::ChunkMaterialPtr& material);

    // -- Texture generators ------------------------------------------------------------------------
    osg::Matrix placementMatrix(const std::string& placement) const;
    osg::NodePtr getLocalRoot(const std::vector<zyNodePtr>& nodes) const;
    osg::NodePtr topmostTransform(const osg::NodePtr& node) const;

    // -- Shadow geometry ---------------------------------------------------------------------------
    void getSharedGeometries(const osg::NodePtr& node);
    void createShadowMergeMaterials();
    osg::MaterialPtr mergeMaterial(const osg::ChunkMaterialPtr& main, const osg::ChunkMaterialPtr& shadow);
    void correctShadowBlendMode();

    /// For a traversal: multiplies what is a place in a transformation by the unit scale. Not called by the
    /// import, which leaves units to the host.
    osg::Action::ResultE getTtransformsCB(osg::NodePtr& node);

    std::string _fullFileName; ///< path as the host passed it
    std::string _fileName; ///< name with suffix; what the SDK is given, beside _filePath as current directory
    std::string _options;  ///< option string as passed
    std::string _filePath; ///< directory of the scene file
    std::string _baseName; ///< name without directory and suffix
    std::string _materialLibraryFile; ///< path of the local material library, always joined by a backslash

    osg::NodePtr _root; ///< import root; null until createRoot()
    osg::NodePtr
        _materialLibraryRoot; ///< referenced between loadMaterialLibrary() and unloadMaterialLibrary()
    std::map<std::string, osg::MaterialPtr>
        _libraryMaterials; ///< materials of the library and of the shaders converted so far, by name

    std::vector<NameRecord> _nameRecords;             ///< filled by no step of the import
    std::vector<PlanarProjection> _planarProjections; ///< materials whose texture is projected
    NodesByName _nodes;                               ///< full DAG path name to the node made for it
    NodesByName _transformsByName;                    ///< partial DAG path name to node, transform cores only
    std::map<std::string, unsigned int>
        _uvSetIndices; ///< UV set name to its index in the mesh that named it first

    bool _multitextureEnvCombiner;     ///< option "multitextureEnvCombiner=true"
    bool _forceGrayscaleShadowTexture; ///< cleared by option "forceGrayscaleShadowTexture=false"
    bool _autoLoadShadowGeometry; ///< cleared by option "autoLoadShadowGeometry=false" or a missing companion
                                  ///< file
    bool _shadowGeometry;         ///< option "shadowGeometry=true"
    bool _shadowMerge;            ///< cleared by option "shadowMerge=false"
    bool _useLocalMaterialLibrary; ///< option "useLocalMaterialLibrary=true"

    std::set<osg::NodePtr> _lights;               ///< light nodes made by the import
    std::vector<SwitchRecord> _switches;          ///< appended by convertSwitch()
    std::set<osg::GeometryPtr> _sharedGeometries; ///< geometry cores used by several nodes
    std::set<std::string> _noShadowMeshes;        ///< full DAG path names of the main scene's meshes
    std::vector<osg::GeometryPtr> _geometries;    ///< every geometry core made, in order of creation
    std::string _importUnits;                     ///< letters behind "importunits="
    float _unitScale;                             ///< target units per centimetre; 1 until calcUnit() has run

    std::shared_ptr<Images> _images; ///< texture files read so far; copies of the object share them
};
