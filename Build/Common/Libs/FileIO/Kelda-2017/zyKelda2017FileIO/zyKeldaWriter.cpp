#include "zyKeldaWriter.h"

#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGLight.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform.h>
#include <OpenSG/OSGTransform3D.h>
#include <OpenSG/OSGTriangleIterator.h>

#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatPointArray.h>
#include <kelda/KFnDagNode.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KIntArray.h>
#include <kelda/KPlug.h>
#include <kelda/KPoint.h>
#include <kelda/KQuaternion.h>
#include <kelda/KTransformationMatrix.h>
#include <kelda/KVector.h>
#include <kelda/KVectorArray.h>

#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyUtils/zyFile.h>
#include <zyUtils/zyLog.h>

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

// -- Options and members ---------------------------------------------------------------------------

static const char unitsKey[] = "units=";

zyKeldaWriter::zyKeldaWriter(const osg::NodePtr& node, const std::string& file, const std::string& optionText)
    : fileName(file), sceneFileName(zyFile::getFileName(file)), options(optionText),
      filePath(zyFile::getFilePath(file)), baseName(zyFile::getBaseName(file)), root(node), nodeCount(0),
      nodesDone(0), unit("Millimeter")
{
    // Deliberate: a plain search, so that "importunits=" counts as well. One option string serves import and
    // export.
    const std::string::size_type key = options.find(unitsKey);
    if (key == std::string::npos)
        return;
    unit.clear();
    for (std::string::size_type i = key + sizeof(unitsKey) - 1; i < options.size(); ++i) {
        if (!std::isalpha(static_cast<unsigned char>(options[i])))
            break;
        unit += options[i];
    }
}

zyKeldaWriter::zyKeldaWriter(const zyKeldaWriter& other) = default;
zyKeldaWriter& zyKeldaWriter::operator=(const zyKeldaWriter& other) = default;

// Deliberate: only the first entry's function set is deleted, one small object for each further geometry core
// is lost with every export. tests/lsan.supp names the place where they are made.
zyKeldaWriter::~zyKeldaWriter()
{
    if (!sharedMeshes.empty())
        delete sharedMeshes.begin()->second;
}

// -- Export driver ---------------------------------------------------------------------------------

bool zyKeldaWriter::write(const osg::NodePtr& node, const std::string& fileName, const std::string& options)
{
    if (fileName.empty())
        return false;
    zyKeldaWriter writer(node, fileName, options);
    writer.write();
    return true; // deliberate: a failed save is told by the log alone
}

bool zyKeldaWriter::write()
{
    osg::SceneFileHandler::the()->updateWriteProgress(0);
    std::printf("writing kelda '%s'\n", fileName.c_str());

    countNodes(root);
    convertScenegraph(root, KObject::kNullObj);
    setWorkingUnit(); // after the scene is built: it only labels the file, no value is rescaled
    saveScene();
    clearScene();

    // Deliberate: hosts wait for the end of an export on the read progress.
    osg::SceneFileHandler::the()->updateReadProgress(100);
    return true;
}

void zyKeldaWriter::countNodes(const osg::NodePtr& node)
{
    std::vector<osg::NodePtr> open(1, node);
    while (!open.empty()) {
        const osg::NodePtr next = open.back();
        open.pop_back();
        if (next == osg::NullFC)
            continue;
        ++nodeCount;
        for (osg::UInt32 i = 0; i < next->getNChildren(); ++i)
            open.push_back(next->getChild(i));
    }
}

void zyKeldaWriter::setWorkingUnit()
{
    struct Unit {
        const char* name;
        const char* keyword;
    };
    static const Unit units[] = {
        {"Inch", "inch"},
        {"Foot", "foot"},
        {"Yard", "yard"},
        {"Mile", "mile"},
        {"Meter", "meter"},
        {"Kilometer", "kilometer"},
        {"Millimeter", "millimeter"},
        {"Centimeter", "centimeter"},
    };

    std::string keyword = unit; // whatever else was asked for goes to the command as it is
    for (const Unit& known : units) {
        if (unit == known.name) {
            keyword = known.keyword;
            break;
        }
    }

    std::printf("Setting working linear unit to '%s'.\n", keyword.c_str());
    const std::string command = "currentUnit -linear \"" + keyword + "\";";
    if (KGlobal::executeCommand(command, false, false) == KStatus::kFailure)
        std::printf("Couldn't set working linear unit!\n");
}

void zyKeldaWriter::saveScene()
{
    // Deliberate: two letter cases, no more. "Ka" makes a binary file.
    const std::string suffix = zyFile::getExtension(fileName);
    const char* type = suffix == "ka" || suffix == "KA" ? "keldaAscii" : "keldaBinary";
    if (KFileIO::saveAs(zyFile::convertToUnixSeparators(fileName), type, false).error())
        zyLog::error("KFileIO::saveAs: couldn't export kelda file '%s'!", fileName.c_str());
}

void zyKeldaWriter::clearScene()
{
    KGlobal::executeCommand("delete -ch", false, false);
    if (KFileIO::newFile(true).error())
        std::printf("Couldn't call new scene!");
    KGlobal::executeCommand("flushUndo", false, false);
}

// -- Scene-graph walk ------------------------------------------------------------------------------

void zyKeldaWriter::convertScenegraph(const osg::NodePtr& node, KObject parent)
{
    // One entry for each node between the start and the one that is being converted: graphs may be deeper
    // than the stack.
    struct Level {
        osg::NodePtr node;
        KObject object; ///< parent of what is made for the children
        osg::UInt32 nextChild;
    };
    std::vector<Level> levels;

    if (convertNode(node, parent))
        levels.push_back(Level{node, parent, 0});
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.nextChild == level.node->getNChildren()) {
            levels.pop_back();
            continue;
        }
        const osg::NodePtr child = level.node->getChild(level.nextChild++);
        KObject object = level.object;
        if (convertNode(child, object))
            levels.push_back(Level{child, object, 0});
    }
}

// Converts one node without its children. `current` is the object of the nearest converted ancestor, and
// becomes that of the node if it makes one. False: the children are left out.
bool zyKeldaWriter::convertNode(const osg::NodePtr& node, KObject& current)
{
    if (node == osg::NullFC)
        return false;

    // Nodes below inactive ones are never visited, but were counted: the progress then stops short of 100.
    ++nodesDone;
    const float done = static_cast<float>(nodesDone) / static_cast<float>(nodeCount) * 100.0f;
    osg::SceneFileHandler::the()->updateWriteProgress(static_cast<osg::UInt32>(done));

    const osg::NodeCorePtr core = node->getCore();
    if (!node->getActive() || core == osg::NullFC)
        return false;

    // Transforms are groups, too. Any other core (a camera, ...) makes nothing. Deliberate: nor does a light,
    // although the scene graph counts it among the groups.
    if (osg::GeometryPtr::dcast(core) != osg::NullFC)
        current = convertGeometry(node, current);
    else if (osg::GroupPtr::dcast(core) != osg::NullFC && osg::LightPtr::dcast(core) == osg::NullFC)
        current = convertTransform(node, current);

    // For each node, so that the queue never grows with the scene.
    KGlobal::executeCommand("flushUndo", false, false);

    hideUnchosen(node, current);
    return true;
}

void zyKeldaWriter::hideUnchosen(const osg::NodePtr& node, const KObject& current)
{
    const osg::NodePtr parent = node->getParent();
    if (parent == osg::NullFC)
        return;
    const osg::SwitchPtr parentSwitch = osg::SwitchPtr::dcast(parent->getCore());
    if (parentSwitch == osg::NullFC)
        return;

    const osg::Int32 choice = parentSwitch->getChoice();
    const bool nothing = choice == osg::Switch::NONE;
    const bool other = choice >= 0 && (static_cast<osg::UInt32>(choice) >= parent->getNChildren() ||
                                       parent->getChild(static_cast<osg::UInt32>(choice)) != node);
    // Deliberate: a child that makes no object of its own (a light) hides what was made for the switch, and
    // with it all of the switch's children.
    if (nothing || other)
        setVisible(KFnDagNode(current), false);
}

// -- Transforms ------------------------------------------------------------------------------------

namespace
{
KVector toKVector(const osg::Vec3f& v)
{
    return KVector(v[0], v[1], v[2]);
}

KPoint toKPoint(const osg::Pnt3f& p)
{
    return KPoint(p[0], p[1], p[2], 1.0);
}

// Through axis and angle. Deliberate: the angle comes from w alone, which is not clamped, and goes through
// degrees with single-precision constants. Rotations of less than some thousandths of a radian are as coarse
// as w is.
KQuaternion toKQuaternion(const osg::Quaternion& q)
{
    const double x = q[0], y = q[1], z = q[2], w = q[3];
    const double length = std::sqrt(x * x + y * y + z * z);
    if (!(length > 1e-6))
        return KQuaternion(0.0, KVector(0.0, 0.0, 1.0));
    const double degrees = 2.0 * std::acos(w) / 6.2831855f * 360.0;
    return KQuaternion(degrees * 2.0 * 3.1415927f / 360.0, KVector(x / length, y / length, z / length));
}

// All components of a transform core, for the transform of its node or of the drawable that it belongs to.
void setComponents(KFnTransform& fn, const osg::Transform3DPtr& core)
{
    const osg::Vec3f& coreScale = core->getScale();
    const osg::Vec3f& coreShear = core->getShear();
    const double scale[3] = {coreScale[0], coreScale[1], coreScale[2]};
    const double shear[3] = {coreShear[0], coreShear[1], coreShear[2]};

    fn.setTranslation(toKVector(core->getTranslation()), KSpace::kTransform);
    fn.setRotation(toKQuaternion(core->getRotationAsQuaternion()), KSpace::kTransform);
    // Deliberate: balanced, and after the rotation. The SDK takes the orientation back out of the rotation,
    // so that both together turn as the core's rotation does alone.
    fn.setRotateOrientation(toKQuaternion(core->getRotationOrientationAsQuaternion()), KSpace::kTransform,
                            true);
    // What balancing the pivots puts into the pivot translations is replaced by the core's own.
    fn.setRotatePivot(toKPoint(core->getRotatePivot()), KSpace::kTransform, true);
    fn.setRotatePivotTranslation(toKVector(core->getRotatePivotTranslation()), KSpace::kTransform);
    fn.setScalePivot(toKPoint(core->getScalePivot()), KSpace::kTransform, true);
    fn.setScalePivotTranslation(toKVector(core->getScalePivotTranslation()), KSpace::kTransform);
    fn.setScale(scale);
    fn.setShear(shear);
}

// Translation, rotation and scale of a matrix; its shear and projective part are dropped.
KTransformationMatrix decompose(const osg::Matrix& matrix)
{
    osg::Vec3f translation;
    osg::Quaternion rotation;
    osg::Vec3f factors;
    zyNodeUtils::decomposeMatrix(matrix, translation, rotation, factors);

    const double scale[3] = {factors[0], factors[1], factors[2]};
    KTransformationMatrix result;
    result.setRotationQuaternion(rotation[0], rotation[1], rotation[2], rotation[3]);
    result.setTranslation(toKVector(translation), KSpace::kTransform);
    result.setScale(scale, KSpace::kTransform);
    return result;
}
} // namespace

// No status is looked at: below a transform that could not be made the children come to stand below the
// world.
KObject zyKeldaWriter::convertTransform(const osg::NodePtr& node, KObject parent)
{
    KFnTransform fn;
    const osg::Transform3DPtr components = osg::Transform3DPtr::dcast(node->getCore());
    if (components != osg::NullFC) {
        KObject transform = createTransform(fn, node, parent);
        setComponents(fn, components);
        return transform;
    }

    KTransformationMatrix matrix; // groups and switches stay at the identity
    const osg::TransformPtr core = osg::TransformPtr::dcast(node->getCore());
    if (core != osg::NullFC)
        matrix = decompose(core->getMatrix());
    KObject transform = createTransform(fn, node, parent);
    fn.set(matrix);
    return transform;
}

// Makes a transform, attaches the function set to it and gives it the node's name, made legal.
KObject zyKeldaWriter::createTransform(KFnTransform& fn, const osg::NodePtr& node, const KObject& parent)
{
    KObject transform = fn.create(parent);
    std::string name = zyNodeUtils::getName(node);
    keldafyName(name);
    fn.setName(name);
    return transform;
}

// -- Mesh export -----------------------------------------------------------------------------------

namespace
{
// Compared exactly: what is nearly the identity is kept.
bool isIdentity(const osg::Transform3DPtr& transform)
{
    return transform->getMatrix().equals(osg::Matrix::identity(), 0.0f);
}

// What is odd about the properties; the export goes on.
void reportProperties(const osg::GeometryPtr& geometry, const std::string& nodeName)
{
    const osg::UInt32 count = geometry->getPositions()->size();
    if (geometry->getIndices() == osg::NullFC || geometry->getIndices()->size() == 0)
        std::printf("Mesh has no valid indices: %s", nodeName.c_str());
    if (osg::GeoPositions3fPtr::dcast(geometry->getPositions()) == osg::NullFC)
        std::printf("Mesh has no valid positions: %s", nodeName.c_str());
    const osg::GeoNormals3fPtr normals = osg::GeoNormals3fPtr::dcast(geometry->getNormals());
    if (normals != osg::NullFC && normals->size() != count)
        std::printf("Mesh has no valid normals: %s", nodeName.c_str());
    const osg::GeoTexCoords2fPtr texCoords = osg::GeoTexCoords2fPtr::dcast(geometry->getTexCoords());
    if (texCoords != osg::NullFC && texCoords->size() != count)
        std::printf("Mesh has no valid texCoords: %s", nodeName.c_str());
}

// A mesh of separate triangles as the SDK takes it: corner i of the geometry's triangles is vertex i.
struct TriangleArrays {
    KFloatPointArray vertices;
    KIntArray counts;   ///< 3 for each triangle
    KIntArray connects; ///< 0, 1, 2, ...
    KVectorArray normals;
    KFloatArray us;
    KFloatArray vs;
    bool hasNormals = false;
    bool hasTexCoords = false;
};

osg::UInt32 countTriangles(const osg::GeometryPtr& geometry)
{
    osg::UInt32 count = 0;
    const osg::TriangleIterator end = geometry->endTriangles();
    for (osg::TriangleIterator it = geometry->beginTriangles(); it != end; ++it)
        ++count;
    return count;
}

void fillTriangles(TriangleArrays& arrays, const osg::GeometryPtr& geometry, osg::UInt32 triangles)
{
    const osg::UInt32 corners = 3 * triangles;
    arrays.hasNormals = geometry->getNormals() != osg::NullFC && geometry->getNormals()->size() > 0;
    arrays.hasTexCoords = geometry->getTexCoords() != osg::NullFC && geometry->getTexCoords()->size() > 0;

    arrays.vertices.setLength(corners);
    arrays.counts.setLength(triangles);
    arrays.connects.setLength(corners);
    if (arrays.hasNormals)
        arrays.normals.setLength(corners);
    if (arrays.hasTexCoords) {
        arrays.us.setLength(corners);
        arrays.vs.setLength(corners);
    }

    KFloatPoint* vertex = arrays.vertices.data();
    int* count = arrays.counts.data();
    int* connect = arrays.connects.data();
    KVector* normal = arrays.normals.data();
    float* u = arrays.us.data();
    float* v = arrays.vs.data();
    int corner = 0;
    const osg::TriangleIterator end = geometry->endTriangles();
    for (osg::TriangleIterator it = geometry->beginTriangles(); it != end; ++it) {
        *count++ = 3;
        for (osg::Int32 k = 0; k < 3; ++k) {
            const osg::Pnt3f position = it.getPosition(k);
            *vertex++ = KFloatPoint(position[0], position[1], position[2], 1.0f);
            *connect++ = corner++;
            if (arrays.hasNormals) {
                const osg::Vec3f n = it.getNormal(k);
                *normal++ = KVector(n[0], n[1], n[2]);
            }
            if (arrays.hasTexCoords) {
                const osg::Vec2f uv = it.getTexCoords(k);
                *u++ = uv[0];
                *v++ = uv[1];
            }
        }
    }
}

// Gives a mesh its normals and texture coordinates. Each array is freed as soon as the SDK has it.
void setAttributes(KFnMesh& mesh, TriangleArrays& arrays, const std::string& nodeName)
{
    if (arrays.hasNormals) {
        if (mesh.setVertexNormals(arrays.normals, arrays.connects, KSpace::kObject).error())
            std::printf("Couldn't create normals for mesh '%s'\n", nodeName.c_str());
        arrays.normals.clear();
    }
    if (arrays.hasTexCoords) {
        if (mesh.setUVs(arrays.us, arrays.vs).error())
            std::printf("Couldn't set texture coordinates for mesh '%s'\n", nodeName.c_str());
        arrays.us.clear();
        arrays.vs.clear();
        // UV i belongs to corner i as well.
        if (mesh.assignUVs(arrays.counts, arrays.connects).error())
            std::printf("Couldn't assign texture coordinates for mesh '%s'\n", nodeName.c_str());
    }
}

// The function set of a mesh that may be instanced later. Most of them outlive the writer (see its
// destructor): a function of its own, and never inlined, tells a leak checker exactly these from all else.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
std::unique_ptr<KFnMesh>
newSharedMesh()
{
    return std::unique_ptr<KFnMesh>(new KFnMesh);
}

// Makes the mesh of a geometry below the transform. Null, with a message, when the SDK refuses it: a geometry
// of points and lines has no triangle.
std::unique_ptr<KFnMesh> createMesh(const osg::GeometryPtr& geometry, const KObject& transform,
                                    const std::string& nodeName)
{
    std::unique_ptr<KFnMesh> mesh = newSharedMesh();
    KStatus status;
    TriangleArrays arrays;
    const osg::UInt32 triangles = countTriangles(geometry);
    if (triangles <= INT_MAX / 3) {
        fillTriangles(arrays, geometry, triangles);
        mesh->create(static_cast<int>(arrays.vertices.length()), static_cast<int>(triangles), arrays.vertices,
                     arrays.counts, arrays.connects, transform, &status);
    } else {
        status = KStatus::kInsufficientMemory; // the SDK counts vertices as int
    }
    if (status.error()) {
        std::printf("Couldn't create mesh '%s'\n", nodeName.c_str());
        return nullptr;
    }

    arrays.vertices.clear();
    setAttributes(*mesh, arrays, nodeName);
    mesh->updateSurface();
    return mesh;
}
} // namespace

KObject zyKeldaWriter::convertGeometry(const osg::NodePtr& node, KObject parent)
{
    if (node == osg::NullFC || node->getCore() == osg::NullFC)
        return parent;
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(node->getCore());
    if (geometry == osg::NullFC)
        return parent;

    KFnTransform fn;
    KObject transform = createTransform(fn, node, parent);
    const osg::Transform3DPtr local = geometry->getTransform();
    if (local != osg::NullFC && !isIdentity(local))
        setComponents(fn, local);

    const auto shared = sharedMeshes.find(geometry);
    if (shared != sharedMeshes.end()) {
        // The instance comes below a transform of its own, and that one below the node's.
        fn.addChild(shared->second->duplicate(true, true), KFnDagNode::kNextPos, false);
        return transform;
    }

    // Two positions make no triangle: the transform stays empty.
    if (geometry->getPositions() == osg::NullFC || geometry->getPositions()->size() <= 2)
        return transform;

    std::string name = zyNodeUtils::getName(node);
    reportProperties(geometry, name);
    std::unique_ptr<KFnMesh> made = createMesh(geometry, transform, name);
    if (!made)
        return transform;

    KFnMesh*& mesh = sharedMeshes[geometry];
    mesh = made.release();
    keldafyName(name);
    mesh->setName(name); // a shape may have the name of its transform
    convertMaterial(*mesh, node);
    return transform;
}

// -- Material export -------------------------------------------------------------------------------

// Every mesh joins the default shading group: what is in no group is not drawn.
void zyKeldaWriter::convertMaterial(const KFnMesh& mesh, const osg::NodePtr&)
{
    const KString command = "sets -edit -forceElement initialShadingGroup \"" + mesh.partialPathName() + "\"";
    if (KGlobal::executeCommand(command, false, false) == KStatus::kFailure)
        std::printf("Couldn't add member!\n");
}

// -- Operations that the converters share ----------------------------------------------------------

bool zyKeldaWriter::setVisible(const KFnDagNode& dagNode, bool visible)
{
    if (dagNode.isIntermediateObject())
        return false;
    KStatus status;
    KPlug plug = dagNode.findPlug("visibility", &status);
    if (status.error())
        return false;
    plug.setValue(visible);
    return true;
}

// Deliberate: a leading digit is replaced, not prefixed ("3door": "_door"), and nothing is made unique.
void zyKeldaWriter::keldafyName(std::string& name)
{
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    if (!name.empty() && isDigit(name[0]))
        name[0] = '_';
    for (char& c : name) {
        if (!isLetter(c) && !isDigit(c))
            c = '_';
    }
}
