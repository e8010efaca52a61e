#include "zyKeldaWriter.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGLight.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGState.h>
#include <OpenSG/OSGSurface.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTransform.h>
#include <OpenSG/OSGTransform3D.h>
#include <OpenSG/OSGTriangleIterator.h>

#include <kelda/KColor.h>
#include <kelda/KDoubleArray.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatPointArray.h>
#include <kelda/KFnDagNode.h>
#include <kelda/KFnMesh.h>
#include <kelda/KFnNurbsCurve.h>
#include <kelda/KFnNurbsCurveData.h>
#include <kelda/KFnNurbsSurface.h>
#include <kelda/KFnPhongShader.h>
#include <kelda/KFnSet.h>
#include <kelda/KFnTransform.h>
#include <kelda/KGlobal.h>
#include <kelda/KIntArray.h>
#include <kelda/KObjectArray.h>
#include <kelda/KPlug.h>
#include <kelda/KPlugArray.h>
#include <kelda/KPoint.h>
#include <kelda/KPointArray.h>
#include <kelda/KQuaternion.h>
#include <kelda/KTransformationMatrix.h>
#include <kelda/KTrimBoundaryArray.h>
#include <kelda/KVector.h>
#include <kelda/KVectorArray.h>

#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyUtils/zyFile.h>
#include <zyUtils/zyLog.h>

#include <algorithm>
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
    if (osg::SurfacePtr::dcast(core) != osg::NullFC) // a geometry, too
        current = convertNurbsSurface(node, current);
    else if (osg::GeometryPtr::dcast(core) != osg::NullFC)
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

// -- NURBS surface export --------------------------------------------------------------------------

namespace
{
void printError(const char* word)
{
    std::printf("Error: %s\n", word);
    std::fflush(stdout);
}

const char* wordOf(const KStatus& status)
{
    switch (status.statusCode()) {
    case KStatus::kFailure:
        return "kFailure";
    case KStatus::kInsufficientMemory:
        return "kInsufficientMemory";
    case KStatus::kInvalidParameter:
        return "kInvalidParameter";
    default:
        return "";
    }
}

// Number of control points for so many knots of the scene graph; 0 where there are too few.
std::size_t controlPointCount(std::size_t knots, osg::UInt32 degree)
{
    return knots > std::size_t(degree) + 1 ? knots - degree - 1 : 0;
}

// The knots between the first and the last one, which the SDK does not count.
template <class Knots>
void appendInnerKnots(KDoubleArray& to, const Knots& knots, std::size_t first, std::size_t count)
{
    for (std::size_t i = 1; i + 1 < count; ++i)
        to.append(knots[static_cast<osg::UInt32>(first + i)]);
}

// Deliberate: weights are not carried over. The points are projected, and the SDK's surface is not rational.
void projectPoints(KPointArray& cvs, const osg::MFPnt4f& points, std::size_t count)
{
    cvs.setLength(static_cast<unsigned int>(count));
    for (unsigned int i = 0; i < cvs.length(); ++i) {
        const osg::Pnt4f& p = points[i];
        const double w = p[3];
        cvs[i] = KPoint(p[0] / w, p[1] / w, p[2] / w, 1.0);
    }
}

// Walks through the arrays of a surface's trimming curves. Arrays that are too short for what the others say
// give curves with too few knots or points, which the SDK refuses.
class TrimCurves
{
public:
    explicit TrimCurves(const osg::SurfacePtr& surface) : _surface(surface) {}

    bool atEnd() const
    {
        return _curve >= _surface->getNumCurves() || _curve >= _surface->getDimensions().size() ||
               _curve >= _surface->getKnotLengths().size();
    }
    osg::UInt32 degree() const { return _surface->getDimensions(_curve); }
    void getKnots(KDoubleArray& knots) const
    {
        const std::size_t left = _surface->getKnots().size() - _knot;
        appendInnerKnots(knots, _surface->getKnots(), _knot, std::min(knotCount(), left));
    }
    // Deliberate: a stored point is not divided by its third value, which becomes the z that a curve in the
    // parameter plane does not have. Points of weight 1 come back as they are.
    void getPoints(KPointArray& points) const
    {
        const std::size_t left = _surface->getCurveControlPoints().size() - _point;
        const std::size_t count = std::min(pointCount(), left);
        for (std::size_t i = 0; i < count; ++i) {
            const osg::Pnt3f& p = _surface->getCurveControlPoints(static_cast<osg::UInt32>(_point + i));
            points.append(KPoint(p[0], p[1], p[2], 1.0));
        }
    }
    void next()
    {
        _point = std::min<std::size_t>(_point + pointCount(), _surface->getCurveControlPoints().size());
        _knot = std::min<std::size_t>(_knot + knotCount(), _surface->getKnots().size());
        ++_curve;
    }

private:
    std::size_t knotCount() const { return _surface->getKnotLengths(_curve); }
    std::size_t pointCount() const { return controlPointCount(knotCount(), degree()); }

    osg::SurfacePtr _surface;
    osg::UInt32 _curve = 0;
    std::size_t _point = 0; ///< first one of the curve
    std::size_t _knot = 0;  ///< likewise
};

// The present curve as data for the SDK. Null, with a message, when there can be no data; data that hold
// nothing, with a message, when the SDK refuses the curve: the trimming then fails as a whole.
KObject makeTrimCurve(const TrimCurves& curves)
{
    KStatus status;
    const KObject data = KFnNurbsCurveData().create(&status);
    if (status.error()) {
        std::printf("Error. ");
        std::fflush(stdout);
        return data; // without an owner the curve would become a shape of the scene
    }
    KPointArray points;
    KDoubleArray knots;
    curves.getPoints(points);
    curves.getKnots(knots);
    KFnNurbsCurve curve;
    curve.create(points, knots, curves.degree(), KFnNurbsCurve::kOpen, true, false, data, &status);
    if (status.error())
        printError(wordOf(status));
    return data;
}

void trimSurface(KFnNurbsSurface& target, const osg::SurfacePtr& surface)
{
    KTrimBoundaryArray boundaries;
    TrimCurves curves(surface);
    for (osg::UInt32 loop = 0; loop < surface->getCurvesPerLoop().size() && !curves.atEnd(); ++loop) {
        KObjectArray boundary;
        for (osg::UInt32 i = 0; i < surface->getCurvesPerLoop(loop) && !curves.atEnd(); ++i, curves.next())
            boundary.append(makeTrimCurve(curves));
        boundaries.append(boundary);
    }
    const KStatus status = target.trimWithBoundaries(boundaries, false, 0.001, 1e-5, false);
    if (status.error())
        printError(status.statusCode() == KStatus::kFailure ? "kFailure" : "unknown");
}
} // namespace

// Neither material nor local transform is exported for surfaces, and every node gets a surface of its own.
KObject zyKeldaWriter::convertNurbsSurface(const osg::NodePtr& node, KObject parent)
{
    if (node == osg::NullFC || node->getCore() == osg::NullFC)
        return parent;
    const osg::SurfacePtr surface = osg::SurfacePtr::dcast(node->getCore());
    if (surface == osg::NullFC)
        return parent;

    KFnTransform fn;
    KObject transform = createTransform(fn, node, parent);
    const osg::GeoPositions4fPtr points = osg::GeoPositions4fPtr::dcast(surface->getControlPoints());
    if (points == osg::NullFC)
        return transform; // it stays empty

    const std::size_t countU = controlPointCount(surface->getKnotsU().size(), surface->getDimU());
    const std::size_t countV = controlPointCount(surface->getKnotsV().size(), surface->getDimV());
    // Where points are missing, the SDK gets those that there are and refuses the surface.
    const std::size_t stored = points->getField().size();
    KPointArray cvs;
    projectPoints(cvs, points->getField(), countV > 0 && countU > stored / countV ? stored : countU * countV);
    KDoubleArray knotsU;
    KDoubleArray knotsV;
    appendInnerKnots(knotsU, surface->getKnotsU(), 0, surface->getKnotsU().size());
    appendInnerKnots(knotsV, surface->getKnotsV(), 0, surface->getKnotsV().size());

    KFnNurbsSurface target;
    KStatus status;
    target.create(cvs, knotsU, knotsV, surface->getDimU(), surface->getDimV(), KFnNurbsSurface::kOpen,
                  KFnNurbsSurface::kOpen, false, transform, &status);
    if (status.error())
        printError((std::string(wordOf(status)) + (*wordOf(status) != '\0' ? "." : "")).c_str());
    if (surface->getNumCurves() != 0)
        trimSurface(target, surface);
    return transform;
}

// -- Material export -------------------------------------------------------------------------------

namespace
{
// Deliberate: both count for as long as the module is loaded, over all exports of the process.
unsigned int shaderSuffix = 1;
unsigned int untitledTexture = 1;

// What a node is drawn with: its own material or that of the nearest material group above it, resolved to the
// one that carries the look. A group without a material hides those further up.
osg::MaterialPtr materialOf(const osg::NodePtr& node)
{
    osg::MaterialPtr material = zyNodeUtils::getMaterial(node);
    for (osg::NodePtr above = node->getParent(); material == osg::NullFC && above != osg::NullFC;
         above = above->getParent()) {
        const osg::MaterialGroupPtr group = osg::MaterialGroupPtr::dcast(above->getCore());
        if (group != osg::NullFC) {
            material = group->getMaterial();
            break;
        }
    }
    if (material == osg::NullFC)
        material = osg::getDefaultMaterial();
    material = zyMaterials::getRealMaterial(material);
    return material != osg::NullFC ? material : osg::getDefaultMaterial();
}

void addToSet(const KObject& group, const KFnMesh& mesh)
{
    KStatus status;
    KFnSet set(group, &status);
    if (status != KStatus::kFailure && set.addMember(mesh.object()) == KStatus::kFailure)
        std::printf("Couldn't add member!\n");
}

// The chunks of a material's state that the export looks at. Holds the state, and with it the chunks.
class StateChunks
{
public:
    explicit StateChunks(const osg::ChunkMaterialPtr& material) : _state(material->makeState())
    {
        osg::addRefCP(_state);
        for (osg::UInt32 i = 0; i < _state->getChunks().size(); ++i) {
            const osg::StateChunkPtr chunk = _state->getChunks(i);
            takeFirst(colors, chunk);
            takeFirst(blend, chunk);
            takeFirst(texture, chunk);
            takeFirst(texGen, chunk);
        }
    }
    ~StateChunks() { osg::subRefCP(_state); }
    StateChunks(const StateChunks&) = delete;
    StateChunks& operator=(const StateChunks&) = delete;

    osg::MaterialChunkPtr colors; ///< null where there is none, as all of them
    osg::BlendChunkPtr blend;
    osg::TextureChunkPtr texture;
    osg::TexGenChunkPtr texGen;

private:
    template <class ChunkPtr>
    static void takeFirst(ChunkPtr& first, const osg::StateChunkPtr& chunk)
    {
        if (first == osg::NullFC)
            first = ChunkPtr::dcast(chunk);
    }

    osg::StatePtr _state;
};

template <class Color>
KColor toKColor(const Color& color)
{
    return KColor(color[0], color[1], color[2], 1.0f);
}

void setTransparency(KFnPhongShader& shader, float transparency)
{
    shader.setTransparency(KColor(transparency, transparency, transparency, 1.0f));
}

void setColors(KFnPhongShader& shader, const osg::UBRDFMaterialPtr& material)
{
    shader.setAmbientColor(toKColor(material->getAnalyticAmbient()));
    shader.setColor(toKColor(material->getAnalyticDiffuse()));
    shader.setSpecularColor(toKColor(material->getAnalyticSpecular()));
    shader.setCosPower(material->getAnalyticShininess());
    setTransparency(shader, material->getAnalyticTransparency());
}

void setColors(KFnPhongShader& shader, const StateChunks& chunks)
{
    if (chunks.colors == osg::NullFC)
        return;
    shader.setAmbientColor(toKColor(chunks.colors->getAmbient()));
    shader.setColor(toKColor(chunks.colors->getDiffuse()));
    shader.setSpecularColor(toKColor(chunks.colors->getSpecular()));
    shader.setCosPower(chunks.colors->getShininess());
    // Deliberate: the diffuse coefficient is not set; a shader's default counts.
    // What is not blended is drawn opaque, whatever its alpha.
    const float transparency = 1.0f - chunks.colors->getDiffuse()[3];
    if (transparency > 0.0f && chunks.blend != osg::NullFC)
        setTransparency(shader, transparency);
}

void connectPlugs(const std::string& source, const std::string& destination)
{
    const std::string command = "connectAttr -f ( \"" + source + "\" ) ( \"" + destination + "\")";
    if (KGlobal::executeCommand(command, false, false) == KStatus::kFailure)
        std::printf("Couldn't call '%s'!\n", command.c_str());
}

// Makes the shading group of a shader, named after it.
void createShadingGroup(const std::string& shader)
{
    const std::string command =
        "sets -renderable true -noSurfaceShader true -empty -name \"" + shader + "SG\"";
    if (KGlobal::executeCommand(command, false, false) == KStatus::kFailure)
        std::printf("Couldn't call sets -renderable ...\n");
    connectPlugs(shader + ".outColor", shader + "SG.surfaceShader");
}

// Makes a node and gives it a name that the SDK numbers; answers the name.
std::string createNode(KFnDependencyNode& fn, const char* type, const char* nameTemplate)
{
    fn.create(type);
    fn.setName(nameTemplate);
    return fn.name().asUTF8();
}

template <class Value>
void setValue(const KFnDependencyNode& fn, const char* attribute, const Value& value)
{
    fn.findPlug(attribute).setValue(value);
}

// Where an object-linear generator projects from, as the matrix of a 3D placement, whose cube spans -1 to +1.
osg::Matrix placementMatrix(const osg::Vec4f& s, const osg::Vec4f& t)
{
    // The generator has no third axis. Deliberate: always this one. The placement is exact where it is at
    // right angles to the other two, which are so to each other: with s in the xz plane and t along y, and
    // with both in the yz plane unless s.y = s.z.
    osg::Matrix matrix(s[0], s[1], s[2], s[3] - 0.5f, //
                       t[0], t[1], t[2], t[3] - 0.5f, //
                       s[1] - s[2], 0.0f, s[0], 0.0f, //
                       0.0f, 0.0f, 0.0f, 1.0f);
    matrix.invert(); // a generator that cannot be inverted: the identity
    osg::Matrix half;
    half.setScale(0.5f);
    matrix.mult(half);
    return matrix;
}

void createPlacement(const std::string& projection, const osg::TexGenChunkPtr& texGen)
{
    // Mirroring is in the signs of all three scales.
    osg::Vec3f translation;
    osg::Quaternion rotation;
    osg::Vec3f scale;
    zyNodeUtils::decomposeMatrix(placementMatrix(texGen->getGenFuncSPlane(), texGen->getGenFuncTPlane()),
                                 translation, rotation, scale);
    osg::Matrix turned;
    rotation.getValue(turned);
    osg::Vec3f degrees;
    zyNodeUtils::cnvMatToEul(turned, degrees);

    static const char* const translate[] = {"translateX", "translateY", "translateZ"};
    static const char* const scales[] = {"scaleX", "scaleY", "scaleZ"};
    static const char* const rotate[] = {"rotateX", "rotateY", "rotateZ"};
    KFnDependencyNode fn;
    const std::string name = createNode(fn, "place3dTexture", "place3dTextureZYRA#");
    for (osg::UInt32 i = 0; i < 3; ++i)
        setValue(fn, translate[i], double(translation[i]));
    for (osg::UInt32 i = 0; i < 3; ++i)
        setValue(fn, scales[i], double(scale[i]));
    for (osg::UInt32 i = 0; i < 3; ++i)
        setValue(fn, rotate[i], double(degrees[i]) * 3.1415927 / 180.0);
    connectPlugs(name + ".worldInverseMatrix[0]", projection + ".placementMatrix");
}

void createProjection(const std::string& file, const std::string& shader, const osg::TexGenChunkPtr& texGen)
{
    KFnDependencyNode fn;
    const std::string projection = createNode(fn, "projection", "projectionZYRA#");
    connectPlugs(projection + ".outColor", shader + ".color");
    connectPlugs(file + ".outColor", projection + ".image");
    createPlacement(projection, texGen);
}

// Makes a file texture, without the name of its image.
KFnDependencyNode createFileTexture(const StateChunks& chunks)
{
    KFnDependencyNode fn;
    createNode(fn, "file", "fileZYRA#");
    if (chunks.texture->getEnvMode() == GL_MODULATE && chunks.colors != osg::NullFC) {
        const osg::Color4f& diffuse = chunks.colors->getDiffuse();
        setValue(fn, "colorGainR", diffuse[0]);
        setValue(fn, "colorGainG", diffuse[1]);
        setValue(fn, "colorGainB", diffuse[2]);
    }
    return fn;
}

void connectTexture(const std::string& file, const std::string& shader, const osg::TexGenChunkPtr& texGen)
{
    if (texGen == osg::NullFC)
        connectPlugs(file + ".outColor", shader + ".color");
    else if (texGen->getGenFuncS() == GL_OBJECT_LINEAR && texGen->getGenFuncT() == GL_OBJECT_LINEAR)
        createProjection(file, shader, texGen);
    else
        std::printf("texgen func not supported!\n");
}
} // namespace

// Puts a mesh into the shading group of its material, which is made for the first mesh that has it.
void zyKeldaWriter::convertMaterial(const KFnMesh& mesh, const osg::NodePtr& node)
{
    const osg::MaterialPtr material = materialOf(node);
    const auto known = materialSets.find(material);
    if (known != materialSets.end()) {
        addToSet(known->second, mesh);
        return;
    }

    KFnPhongShader shader;
    const KObject shaderObject = shader.create(true);
    shader.setName(newShaderName(material));
    const std::string name = shader.name().asUTF8(); // the SDK has the last word
    usedShaderNames.insert(name);

    const osg::UBRDFMaterialPtr measured = osg::UBRDFMaterialPtr::dcast(material);
    const osg::ChunkMaterialPtr chunked = osg::ChunkMaterialPtr::dcast(material);
    if (measured != osg::NullFC) { // is made of chunks as well, but they say less
        setColors(shader, measured);
        createShadingGroup(name);
    } else if (chunked != osg::NullFC) {
        const StateChunks chunks(chunked);
        setColors(shader, chunks);
        createShadingGroup(name);
        if (chunks.texture != osg::NullFC && chunks.texture->getImage() != osg::NullFC) {
            const KFnDependencyNode file = createFileTexture(chunks);
            setValue(file, "fileTextureName", KString(exportImage(chunks.texture->getImage())));
            connectTexture(file.name().asUTF8(), name, chunks.texGen);
        }
    } else {
        createShadingGroup(name);
    }

    // Recorded also when it is null: further meshes of the material then join no group.
    const KObject group = findShadingEngine(shaderObject);
    materialSets[material] = group;
    if (!group.isNull())
        addToSet(group, mesh);
}

// The legal form of a material's name, with numbers behind it for as long as this export has given it out.
std::string zyKeldaWriter::newShaderName(const osg::MaterialPtr& material)
{
    std::string name = zyMaterials::getName(material);
    keldafyName(name);
    while (usedShaderNames.find(name) != usedShaderNames.end())
        name += std::to_string(shaderSuffix++);
    return name;
}

KObject zyKeldaWriter::findShadingEngine(const KObject& shader)
{
    const KPlug color = KFnDependencyNode(shader).findPlug("outColor");
    KPlugArray connected;
    if (color.isNull() || !color.connectedTo(connected, false, true))
        return KObject::kNullObj;
    for (unsigned int i = 0; i < connected.length(); ++i) {
        const KObject node = connected[i].node();
        if (node.hasFn(KFn::kShadingEngine))
            return node;
    }
    return KObject::kNullObj;
}

// Writes an image as PNG into the folder beside the scene that has the scene's name; answers the path that
// the scene file is to hold. A file that is there is left alone, so that images of one base name share the
// first one's.
std::string zyKeldaWriter::exportImage(const osg::ImagePtr& image)
{
    std::string file = zyFile::getFileName(image->getName());
    if (file.empty())
        file = "texture" + std::to_string(untitledTexture++);
    else
        file = zyFile::getBaseName(file);
    file += ".png";

    // Without the dot and the two letters behind it, whatever they are.
    const std::string folder =
        sceneFileName.size() < 3 ? sceneFileName : sceneFileName.substr(0, sceneFileName.size() - 3);
    const std::string fullFolder = filePath + "\\" + folder;
    if (!zyFile::exists(fullFolder))
        zyFile::createDir(fullFolder);
    const std::string fullFile = fullFolder + "\\" + file;
    if (!zyFile::exists(fullFile))
        osg::ImageFileHandler::the()->write(image, fullFile.c_str());
    return folder + "/" + file;
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
