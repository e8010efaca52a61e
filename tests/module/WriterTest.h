#pragma once

// What the tests of the export share: the way into the writer's insides, and small scene graphs.

#include "LoaderTest.h"

#include <zyKeldaWriter.h>

#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGTransform3D.h>

#include <kelda/KFnTransform.h>
#include <kelda/testing/KFaults.h>

/// The one friend of zyKeldaWriter.
class zyKeldaWriterTestAccess
{
public:
    explicit zyKeldaWriterTestAccess(const osg::NodePtr& root = osg::NullFC,
                                     const std::string& fileName = "scene.ka",
                                     const std::string& options = "")
        : writer(root, fileName, options)
    {
    }

    bool write() { return writer.write(); }
    void countNodes(const osg::NodePtr& node) { writer.countNodes(node); }
    void convertScenegraph(const osg::NodePtr& node, const KObject& parent)
    {
        writer.convertScenegraph(node, parent);
    }
    KObject convertTransform(const osg::NodePtr& node, const KObject& parent)
    {
        return writer.convertTransform(node, parent);
    }
    KObject convertGeometry(const osg::NodePtr& node, const KObject& parent)
    {
        return writer.convertGeometry(node, parent);
    }
    KObject convertNurbsSurface(const osg::NodePtr& node, const KObject& parent)
    {
        return writer.convertNurbsSurface(node, parent);
    }
    void convertMaterial(const KFnMesh& mesh, const osg::NodePtr& node)
    {
        writer.convertMaterial(mesh, node);
    }
    KObject findShadingEngine(const KObject& shader) { return writer.findShadingEngine(shader); }
    bool setVisible(const KFnDagNode& fn, bool visible) { return writer.setVisible(fn, visible); }
    std::string keldafied(std::string name)
    {
        writer.keldafyName(name);
        return name;
    }
    /// The walk without the rest of the driver: the SDK's scene stays to be looked at.
    void build()
    {
        countNodes(writer.root);
        convertScenegraph(writer.root, KObject::kNullObj);
    }

    auto& fileName() { return writer.fileName; }
    auto& sceneFileName() { return writer.sceneFileName; }
    auto& optionString() { return writer.options; }
    auto& filePath() { return writer.filePath; }
    auto& baseName() { return writer.baseName; }
    auto& root() { return writer.root; }
    auto& materialSets() { return writer.materialSets; }
    auto& usedShaderNames() { return writer.usedShaderNames; }
    auto& sharedMeshes() { return writer.sharedMeshes; }
    auto& nodeCount() { return writer.nodeCount; }
    auto& nodesDone() { return writer.nodesDone; }
    auto& unit() { return writer.unit; }

    zyKeldaWriter writer;
};

/// Graphs that live as long as the test, and recorded progress.
class WriterTest : public LoaderTest
{
protected:
    WriterTest();
    ~WriterTest() override;

    /// Keeps a graph, with whatever is built from it, until the test is over.
    osg::NodePtr keep(const osg::NodePtr& root);
    /// Walks the graph into the SDK's scene.
    void build(const osg::NodePtr& root);
    /// Runs the whole export to a file in the test's folder.
    Printed exportTo(const osg::NodePtr& root, const std::string& name, const std::string& options = "");
    /// The graph written through the handler to a file of that name and read back; null when either fails.
    osg::NodePtr roundTrip(const osg::NodePtr& root, const std::string& name);
    /// Content of a file in the test's folder; "" when there is none.
    std::string contentOf(const std::string& name) const;
    /// What stands directly below the world.
    std::vector<std::string> topNames() const;

    static std::vector<osg::UInt32> writeProgress;
    static std::vector<osg::UInt32> readProgress;

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

// -- small graphs ----------------------------------------------------------------------------------

typedef std::vector<osg::NodePtr> Children;

osg::NodePtr nodeWith(const osg::NodeCorePtr& core, const std::string& name, const Children& children = {});
osg::NodePtr groupNode(const std::string& name, const Children& children = {});
osg::NodePtr switchNode(const std::string& name, osg::Int32 choice, const Children& children);
osg::NodePtr matrixNode(const std::string& name, const osg::Matrix& matrix, const Children& children = {});
/// A core that is neither drawn nor a group.
osg::NodePtr probeNode(const std::string& name, const Children& children = {}); ///< of an unknown core
osg::NodePtr lampNode(const std::string& name, const Children& children = {});

/// All components that a transform core keeps.
struct Components {
    osg::Vec3f translation{0, 0, 0};
    osg::Quaternion rotation;
    osg::Quaternion rotationOrientation;
    osg::Vec3f rotatePivot{0, 0, 0};
    osg::Vec3f rotatePivotTranslation{0, 0, 0};
    osg::Vec3f scale{1, 1, 1};
    osg::Vec3f scalePivot{0, 0, 0};
    osg::Vec3f scalePivotTranslation{0, 0, 0};
    osg::Vec3f shear{0, 0, 0};
};
/// Values that are all different from the defaults; the orientation is none.
Components someComponents();
osg::Transform3DPtr transform3D(const Components& components);
osg::NodePtr transform3DNode(const std::string& name, const Components& components,
                             const Children& children = {});

/// A geometry in plain arrays; what is empty becomes no property.
struct Shape {
    std::vector<osg::UInt8> types;
    std::vector<osg::UInt32> lengths;
    std::vector<osg::Pnt3f> positions;
    std::vector<osg::Vec3f> normals;
    std::vector<osg::Vec2f> texCoords;
    std::vector<osg::UInt32> indices;
    std::vector<osg::UInt16> mapping;
};
/// One triangle with normals, texture coordinates and indices.
Shape triangle();
/// One quad with the same.
Shape quad();
osg::GeometryPtr makeGeometry(const Shape& shape);
osg::NodePtr shapeNode(const std::string& name, const Shape& shape);

// -- what a test looks at --------------------------------------------------------------------------

KFnTransform transformAt(const std::string& path);
KFnMesh meshAt(const std::string& path);
bool exists(const std::string& path);
bool isShown(const std::string& path);
std::vector<osg::Pnt3f> pointsOf(const KFnMesh& mesh);
/// Names of the shading groups that an instance of a shape belongs to.
std::vector<std::string> setsOf(const std::string& path);
/// One for each corner of each face.
std::vector<osg::Vec3f> normalsOf(const KFnMesh& mesh);
std::vector<osg::Vec2f> uvsOf(const KFnMesh& mesh);
