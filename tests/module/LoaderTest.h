#pragma once

// What the tests of the import share: the way into the loader's insides, captured messages, and small scenes.

#include "Graphs.h"

#include <zyKeldaLoader.h>

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGNode.h>

#include <kelda/KFloatPointArray.h>
#include <kelda/KFnDagNode.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnTransform.h>
#include <kelda/KIntArray.h>
#include <kelda/KObject.h>
#include <kelda/KVector.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The one friend of zyKeldaLoader.
class zyKeldaLoaderTestAccess
{
public:
    explicit zyKeldaLoaderTestAccess(const std::string& fileName = "scene.kb",
                                     const std::string& options = "")
        : loader(fileName, options)
    {
    }

    osg::NodePtr read() { return loader.read(); }
    void createRoot() { loader.createRoot(); }
    void walkScenegraph() { loader.walkScenegraph(); }
    void calcUnit() { loader.calcUnit(); }
    void createNoShadowMeshList() { loader.createNoShadowMeshList(); }
    void loadMaterialLibrary() { loader.loadMaterialLibrary(); }
    void unloadMaterialLibrary() { loader.unloadMaterialLibrary(); }
    void postProcessLights() { loader.postProcessLights(); }
    void postProcessSwitches() { loader.postProcessSwitches(); }
    void postProcessTexGens() { loader.postProcessTexGens(); }
    osg::NodePtr getLocalRoot(const std::vector<zyNodePtr>& nodes) { return loader.getLocalRoot(nodes); }
    void postProcessShadow() { loader.postProcessShadow(); }
    void getSharedGeometries(const osg::NodePtr& node) { loader.getSharedGeometries(node); }
    osg::Action::ResultE getTtransformsCB(osg::NodePtr& node) { return loader.getTtransformsCB(node); }
    osg::UInt32 countNodes() { return loader.countNodes(); }
    bool isVisible(const KFnDagNode& fn) { return loader.isVisible(fn); }
    osg::NodePtr getOSGNode(const KDagPath& path) { return loader.getOSGNode(path); }
    void addOSGNode(const KDagPath& path, const osg::NodePtr& node) { loader.addOSGNode(path, node); }
    osg::NodePtr convertTransform(const KDagPath& path) { return loader.convertTransform(path); }
    osg::NodePtr convertMesh(const KDagPath& path) { return loader.convertMesh(path); }
    osg::NodePtr convertNurbsSurface(const KDagPath& path) { return loader.convertNurbsSurface(path); }
    osg::NodePtr convertLight(const KDagPath& path) { return loader.convertLight(path); }
    void convertAnimCurve(const KObject& node, const char* attribute)
    {
        loader.convertAnimCurve(node, attribute);
    }
    void outputAnimCurve(const KObject& curve) { loader.outputAnimCurve(curve); }
    KObject findShader(const KObject& shadingGroup) { return loader.findShader(shadingGroup); }
    osg::MaterialPtr getOSGMaterial(const KDagPath& path, const KObject& shadingGroup)
    {
        return loader.getOSGMaterial(path, shadingGroup);
    }
    void initTransform3D(const osg::Transform3DPtr& core, const KFnTransform& fn)
    {
        loader.initTransform3D(core, fn);
    }

    struct Remembered {
        bool flag = true; ///< what the call finds, so that a call that leaves it alone is noticed
        KDagPath path;
    };
    Remembered addNode(const KDagPath& path, const KFnDagNode& fn, const osg::NodePtr& node, bool visible,
                       bool rememberPath, bool quiet)
    {
        Remembered result;
        loader.addNode(path, fn, node, visible, rememberPath, quiet, result.flag, result.path);
        return result;
    }

    void deleteKeldaNode(const std::string& name) { loader.deleteKeldaNode(name); }

    /// Root and walk over the SDK's present scene, without the rest of the driver.
    osg::NodePtr walk()
    {
        createRoot();
        walkScenegraph();
        return loader._root;
    }

    auto& fullFileName() { return loader._fullFileName; }
    auto& fileName() { return loader._fileName; }
    auto& optionString() { return loader._options; }
    auto& filePath() { return loader._filePath; }
    auto& baseName() { return loader._baseName; }
    auto& materialLibraryFile() { return loader._materialLibraryFile; }
    auto& root() { return loader._root; }
    auto& materialLibraryRoot() { return loader._materialLibraryRoot; }
    auto& libraryMaterials() { return loader._libraryMaterials; }
    auto& nameRecords() { return loader._nameRecords; }
    auto& planarProjections() { return loader._planarProjections; }
    auto& nodes() { return loader._nodes; }
    auto& transformsByName() { return loader._transformsByName; }
    auto& uvSetIndices() { return loader._uvSetIndices; }
    auto& multitextureEnvCombiner() { return loader._multitextureEnvCombiner; }
    auto& forceGrayscaleShadowTexture() { return loader._forceGrayscaleShadowTexture; }
    auto& autoLoadShadowGeometry() { return loader._autoLoadShadowGeometry; }
    auto& shadowGeometry() { return loader._shadowGeometry; }
    auto& shadowMerge() { return loader._shadowMerge; }
    auto& useLocalMaterialLibrary() { return loader._useLocalMaterialLibrary; }
    auto& lights() { return loader._lights; }
    auto& switches() { return loader._switches; }
    auto& sharedGeometries() { return loader._sharedGeometries; }
    auto& noShadowMeshes() { return loader._noShadowMeshes; }
    auto& geometries() { return loader._geometries; }
    auto& importUnits() { return loader._importUnits; }
    auto& unitScale() { return loader._unitScale; }

    void recordSwitch(const osg::NodePtr& switchNode, const osg::NodePtr& transformNode)
    {
        loader._switches.push_back(zyKeldaLoader::SwitchRecord{switchNode, transformNode});
    }
    void recordProjection(const osg::MaterialPtr& material, const std::string& placement)
    {
        loader._planarProjections.push_back(zyKeldaLoader::PlanarProjection{material, placement});
    }

    zyKeldaLoader loader;
};

/// What was said on one of the four channels.
struct Message {
    std::string channel; ///< "log.info", "log.warning", "log.error" or "sdk"
    std::string text;
};

/// A fresh SDK scene without armed faults, a folder of its own, and everything that the host log and the SDK
/// say.
class LoaderTest : public testing::Test
{
protected:
    LoaderTest();
    ~LoaderTest() override;

    /// Texts said on one channel, in order.
    std::vector<std::string> said(const std::string& channel) const;
    void forgetMessages() { messages.clear(); }

    /// What a call prints to standard output and standard error.
    struct Printed {
        std::string out;
        std::string err;
    };
    template <class Call>
    Printed printedBy(Call call)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        call();
        Printed printed;
        std::fflush(stdout);
        std::fflush(stderr);
        printed.out = testing::internal::GetCapturedStdout();
        printed.err = testing::internal::GetCapturedStderr();
        return printed;
    }

    /// Reads with a loader and has a change of the graph made once while its scene is walked.
    osg::NodePtr readChanging(zyKeldaLoaderTestAccess& loader, const std::function<void()>& change);

    /// Path of a file in the test's own folder, which is removed afterwards.
    std::string inFolder(const std::string& name) const { return folder + "/" + name; }
    /// Saves the SDK's scene there; the suffix decides the form.
    std::string saveScene(const std::string& name);

    std::string folder;
    std::vector<Message> messages;

private:
    unsigned int _logSink;
};

// -- small scenes ----------------------------------------------------------------------------------

KObject makeTransform(const char* name, const KObject& parent = KObject::kNullObj);
/// A transform that is moved by (x, y, z).
KObject makeMovedTransform(const char* name, double x, double y, double z,
                           const KObject& parent = KObject::kNullObj);
/// A unit quad in the xy plane below the transform, in initialShadingGroup, with one UV set.
KObject makeQuad(const char* name, const KObject& transform);
/// A strip of `faces` quads, without normals and UVs, in no shading group.
KObject makeStrip(const char* name, const KObject& transform, int faces);
/// Puts one face range of one instance of a shape into a set that is made when it is not there.
void assign(const std::string& shapePath, const std::string& set, int firstFace, int lastFace);
/// The same for all of the shape.
void assignWhole(const std::string& shapePath, const std::string& set);
/// Makes the transform one more parent of the child.
void addInstance(const KObject& transform, const KObject& child);
void setVisibility(const KObject& node, bool visible);
KDagPath pathOf(const std::string& name);
KObject nodeOf(const std::string& name);
/// Runs one command and expects it to succeed.
void run(const std::string& command);
/// A shader of that type with a shading group that has its name and "SG" behind it.
KObject makeShader(const std::string& type, const std::string& name);
/// A file texture; what it shows is up to the caller to connect.
KObject makeFile(const std::string& name, const std::string& fileTextureName);
void setNumber(const KObject& node, const char* attribute, double value);

// -- small images ----------------------------------------------------------------------------------

/// An image of one row, 8 bits for each channel, with a reference count of 0.
osg::ImagePtr makeImage(osg::Image::PixelFormat format, const std::vector<osg::UInt8>& bytes);
/// The same as a file, with the format that the suffix says.
void writeImage(const std::string& path, osg::Image::PixelFormat format,
                const std::vector<osg::UInt8>& bytes);
std::vector<osg::UInt8> bytesOf(const osg::ImagePtr& image);

// -- what a test looks at --------------------------------------------------------------------------

std::string nameOf(const osg::NodePtr& node);
std::vector<std::string> childNames(const osg::NodePtr& node);
/// The node reached by child names from `root`; null when one is missing.
osg::NodePtr nodeAt(const osg::NodePtr& root, const std::vector<std::string>& names);
osg::GeometryPtr geometryOf(const osg::NodePtr& node);
osg::Transform3DPtr transformOf(const osg::NodePtr& node);
std::vector<osg::UInt32> indicesOf(const osg::GeometryPtr& geometry);
std::vector<osg::UInt16> mappingOf(const osg::GeometryPtr& geometry);
bool hasShadowMark(const osg::NodePtr& node);
/// Classes of a material's chunks, in order.
std::vector<std::string> chunkTypes(const osg::ChunkMaterialPtr& material);
/// The n-th chunk of a class that a material has; null when there is none.
template <class Chunk>
auto findChunk(const osg::ChunkMaterialPtr& material, int n = 0) -> decltype(Chunk::create())
{
    return decltype(Chunk::create())::dcast(material->find(Chunk::getClassType(), n));
}
/// Whether a container of that id is still there.
bool isAlive(osg::UInt32 id);
