#include "WriterTest.h"

#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGPointLight.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSwitch.h>

#include <kelda/KDagPath.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatVectorArray.h>
#include <kelda/KGlobal.h>
#include <kelda/KItDag.h>
#include <kelda/KObjectArray.h>
#include <kelda/KPlug.h>

#include <fstream>
#include <iterator>

// -- a core that the export does not know ----------------------------------------------------------

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Probe, NodeCorePtr)

class Probe : public NodeCore
{
    OSG_FIELD_CONTAINER(Probe, NodeCore)

protected:
    Probe() {}
    Probe(const Probe&) = default;
};

OSG_FIELD_CONTAINER_INST(Probe, nullptr)

OSG_END_NAMESPACE

// -- fixture ---------------------------------------------------------------------------------------

std::vector<osg::UInt32> WriterTest::writeProgress;
std::vector<osg::UInt32> WriterTest::readProgress;

WriterTest::WriterTest()
{
    writeProgress.clear();
    readProgress.clear();
    osg::SceneFileHandler::the()->setWriteProgressCB([](osg::UInt32 p) { writeProgress.push_back(p); });
    osg::SceneFileHandler::the()->setReadProgressCB([](osg::UInt32 p) { readProgress.push_back(p); }, false);
}

WriterTest::~WriterTest()
{
    osg::SceneFileHandler::the()->setWriteProgressCB(nullptr);
    osg::SceneFileHandler::the()->setReadProgressCB(nullptr, false);
}

osg::NodePtr WriterTest::keep(const osg::NodePtr& root)
{
    if (root != osg::NullFC)
        _graphs.emplace_back(new ScopedGraph(root));
    return root;
}

void WriterTest::build(const osg::NodePtr& root)
{
    zyKeldaWriterTestAccess(keep(root)).build();
}

LoaderTest::Printed WriterTest::exportTo(const osg::NodePtr& root, const std::string& name,
                                         const std::string& options)
{
    keep(root);
    return printedBy([&] { EXPECT_TRUE(zyKeldaWriter::write(root, inFolder(name), options)); });
}

osg::NodePtr WriterTest::roundTrip(const osg::NodePtr& root, const std::string& name)
{
    keep(root);
    osg::NodePtr result;
    printedBy([&] {
        if (osg::SceneFileHandler::the()->write(root, inFolder(name).c_str()))
            result = osg::SceneFileHandler::the()->read(inFolder(name).c_str());
    });
    return keep(result);
}

std::string WriterTest::contentOf(const std::string& name) const
{
    std::ifstream file(inFolder(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<std::string> WriterTest::topNames() const
{
    std::vector<std::string> names;
    for (KItDag it; !it.isDone(); it.prune(), it.next()) {
        KDagPath path;
        it.getPath(path);
        names.push_back(KFnDagNode(path).name().asUTF8());
    }
    return names;
}

// -- small graphs ----------------------------------------------------------------------------------

osg::NodePtr nodeWith(const osg::NodeCorePtr& core, const std::string& name, const Children& children)
{
    const osg::NodePtr node = osg::Node::create();
    const osg::CPEditor edit(node);
    node->setCore(core);
    if (!name.empty())
        osg::setName(node, name.c_str());
    for (const osg::NodePtr& child : children)
        node->addChild(child);
    return node;
}

osg::NodePtr groupNode(const std::string& name, const Children& children)
{
    return nodeWith(osg::Group::create(), name, children);
}

osg::NodePtr switchNode(const std::string& name, osg::Int32 choice, const Children& children)
{
    const osg::SwitchPtr core = osg::Switch::create();
    {
        const osg::CPEditor edit(core);
        core->setChoice(choice);
    }
    return nodeWith(core, name, children);
}

osg::NodePtr matrixNode(const std::string& name, const osg::Matrix& matrix, const Children& children)
{
    const osg::TransformPtr core = osg::Transform::create();
    {
        const osg::CPEditor edit(core);
        core->setMatrix(matrix);
    }
    return nodeWith(core, name, children);
}

osg::NodePtr probeNode(const std::string& name, const Children& children)
{
    return nodeWith(osg::Probe::create(), name, children);
}

osg::NodePtr lampNode(const std::string& name, const Children& children)
{
    return nodeWith(osg::PointLight::create(), name, children);
}

Components someComponents()
{
    Components c;
    c.translation.setValues(1, 2, 3);
    c.rotation.setValueAsAxisDeg(0, 1, 0, 30);
    c.rotatePivot.setValues(4, 5, 6);
    c.rotatePivotTranslation.setValues(0.5f, 0.25f, 0.125f);
    c.scale.setValues(2, 3, 4);
    c.scalePivot.setValues(-1, -2, -3);
    c.scalePivotTranslation.setValues(7, 8, 9);
    c.shear.setValues(0.1f, 0.2f, 0.3f);
    return c;
}

osg::Transform3DPtr transform3D(const Components& c)
{
    const osg::Transform3DPtr core = osg::Transform3D::create();
    const osg::CPEditor edit(core);
    core->setTranslation(c.translation);
    core->setRotationAsQuaternion(c.rotation);
    core->setRotationOrientationAsQuaternion(c.rotationOrientation);
    core->setRotatePivot(c.rotatePivot);
    core->setRotatePivotTranslation(c.rotatePivotTranslation);
    core->setScale(c.scale);
    core->setScalePivot(c.scalePivot);
    core->setScalePivotTranslation(c.scalePivotTranslation);
    core->setShear(c.shear);
    return core;
}

osg::NodePtr transform3DNode(const std::string& name, const Components& components, const Children& children)
{
    return nodeWith(transform3D(components), name, children);
}

Shape triangle()
{
    Shape shape;
    shape.types = {GL_TRIANGLES};
    shape.lengths = {3};
    shape.positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    shape.normals = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    shape.texCoords = {{0.25f, 0}, {1, 0.5f}, {0, 0.75f}};
    shape.indices = {0, 1, 2};
    return shape;
}

Shape quad()
{
    Shape shape;
    shape.types = {GL_QUADS};
    shape.lengths = {4};
    shape.positions = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    shape.normals = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {-1, 0, 0}};
    shape.texCoords = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    shape.indices = {0, 1, 2, 3};
    return shape;
}

template <class Property, class Values>
static typename Property::PtrT makeProperty(const Values& values)
{
    const typename Property::PtrT property = Property::create();
    const osg::CPEditor edit(property);
    property->getField().assign(values.begin(), values.end());
    return property;
}

osg::GeometryPtr makeGeometry(const Shape& shape)
{
    const osg::GeometryPtr geometry = osg::Geometry::create();
    const osg::CPEditor edit(geometry);
    geometry->setTypes(makeProperty<osg::GeoPTypesUI8>(shape.types));
    geometry->setLengths(makeProperty<osg::GeoPLengthsUI32>(shape.lengths));
    if (!shape.positions.empty())
        geometry->setPositions(makeProperty<osg::GeoPositions3f>(shape.positions));
    if (!shape.normals.empty())
        geometry->setNormals(makeProperty<osg::GeoNormals3f>(shape.normals));
    if (!shape.texCoords.empty())
        geometry->setTexCoords(makeProperty<osg::GeoTexCoords2f>(shape.texCoords));
    if (!shape.indices.empty())
        geometry->setIndices(makeProperty<osg::GeoIndicesUI32>(shape.indices));
    geometry->getIndexMapping().assign(shape.mapping.begin(), shape.mapping.end());
    geometry->setMaterial(osg::getDefaultMaterial());
    return geometry;
}

osg::NodePtr shapeNode(const std::string& name, const Shape& shape)
{
    return nodeWith(makeGeometry(shape), name);
}

// -- what a test looks at --------------------------------------------------------------------------

KFnTransform transformAt(const std::string& path)
{
    KStatus status;
    const KFnTransform fn(pathOf(path), &status);
    EXPECT_FALSE(status.error()) << path;
    return fn;
}

KFnMesh meshAt(const std::string& path)
{
    KStatus status;
    const KFnMesh fn(pathOf(path), &status);
    EXPECT_FALSE(status.error()) << path;
    return fn;
}

bool exists(const std::string& path)
{
    KDagPath found;
    return !KGlobal::findPath(path.c_str(), found).error();
}

bool isShown(const std::string& path)
{
    bool shown = false;
    EXPECT_FALSE(KFnDagNode(pathOf(path)).findPlug("visibility").getValue(shown).error()) << path;
    return shown;
}

std::vector<osg::Pnt3f> pointsOf(const KFnMesh& mesh)
{
    KFloatPointArray points;
    EXPECT_FALSE(mesh.getPoints(points).error());
    std::vector<osg::Pnt3f> result;
    for (unsigned i = 0; i < points.length(); ++i)
        result.emplace_back(points[i].x, points[i].y, points[i].z);
    return result;
}

std::vector<std::string> setsOf(const std::string& path)
{
    KObjectArray sets;
    KObjectArray components;
    const KDagPath shape = pathOf(path);
    EXPECT_FALSE(
        KFnDagNode(shape).getConnectedSetsAndMembers(shape.instanceNumber(), sets, components, true).error());
    std::vector<std::string> names;
    for (unsigned i = 0; i < sets.length(); ++i)
        names.push_back(KFnDependencyNode(sets[i]).name().asUTF8());
    return names;
}

std::vector<osg::Vec3f> normalsOf(const KFnMesh& mesh)
{
    KFloatVectorArray normals;
    KIntArray counts;
    KIntArray ids;
    EXPECT_FALSE(mesh.getNormals(normals).error());
    EXPECT_FALSE(mesh.getNormalIds(counts, ids).error());
    std::vector<osg::Vec3f> result;
    for (unsigned i = 0; i < ids.length(); ++i) {
        const KFloatVector& n = normals[static_cast<unsigned>(ids[i])];
        result.emplace_back(n.x, n.y, n.z);
    }
    return result;
}

std::vector<osg::Vec2f> uvsOf(const KFnMesh& mesh)
{
    KFloatArray us;
    KFloatArray vs;
    KIntArray counts;
    KIntArray ids;
    EXPECT_FALSE(mesh.getUVs(us, vs).error());
    EXPECT_FALSE(mesh.getAssignedUVs(counts, ids).error());
    std::vector<osg::Vec2f> result;
    for (unsigned i = 0; i < ids.length(); ++i)
        result.emplace_back(us[static_cast<unsigned>(ids[i])], vs[static_cast<unsigned>(ids[i])]);
    return result;
}
