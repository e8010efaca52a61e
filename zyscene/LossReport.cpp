#include "LossReport.h"

#include "CompareUses.h"
#include "JsonWriter.h"
#include "RunContext.h"
#include "Statistics.h"
#include "Text.h"
#include "WrittenMaterials.h"

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGLight.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSurface.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform3D.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyOpenSGUtils/zyOptimize.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace zyscene
{

const std::array<LossKind, lossCount> lossKinds = {{
    {"node-inactive", Issue::Warning, LossKind::Nodes,
     "inactive nodes are not written, nor what is below them"},
    {"node-coreless", Issue::Warning, LossKind::Nodes,
     "nodes without a core are not written, nor what is below them"},
    {"light", Issue::Warning, LossKind::Nodes, "lights are not written"},
    {"surface", Issue::Warning, LossKind::Nodes,
     "surfaces whose control points are not homogeneous become empty transforms"},
    {"surface-weights", Issue::Warning, LossKind::Nodes,
     "weights of surfaces are not written, which changes their shape"},
    {"surface-material", Issue::Warning, LossKind::Nodes,
     "materials, transforms and further uses of surfaces are not written as such"},
    {"core-unknown", Issue::Warning, LossKind::Nodes, "nodes with cores of other kinds are not written"},
    {"mesh-empty", Issue::Warning, LossKind::Nodes, "geometry without triangles becomes an empty transform"},
    {"points-lines", Issue::Warning, LossKind::Nodes, "points and lines are not written"},
    {"shear", Issue::Warning, LossKind::Nodes, "shear and projection of matrices are dropped"},
    {"transform-refused", Issue::Warning, LossKind::Nodes,
     "values of transforms that are not finite are not written"},
    {"rotation-orientation", Issue::Warning, LossKind::Nodes, "orientations of rotation axes are dropped"},
    {"rotation-coarse", Issue::Warning, LossKind::Nodes,
     "angles of rotations come back only as exact as w alone tells them"},
    {"children-moved", Issue::Warning, LossKind::Nodes,
     "the transform of a geometry moves the nodes below it, too"},
    {"switch-hidden", Issue::Warning, LossKind::Nodes,
     "switches are hidden as a whole: a child that is not chosen is not written"},
    {"switch-geometry", Issue::Warning, LossKind::Nodes,
     "geometry directly below a switch that does not choose it comes back shown"},
    {"colors", Issue::Warning, LossKind::Nodes, "colours of vertices are not written"},
    {"uv-set", Issue::Warning, LossKind::Nodes, "texture coordinates beyond the first are not written"},
    {"uv-components", Issue::Warning, LossKind::Nodes,
     "of texture coordinates only two components are written"},
    {"position-w", Issue::Warning, LossKind::Nodes, "the fourth component of positions is not written"},
    {"attachment", Issue::Warning, LossKind::Nodes, "attachments are not written"},
    {"material-group", Issue::Warning, LossKind::Nodes,
     "materials of groups do not take the place of those of geometry"},
    {"material-instance", Issue::Warning, LossKind::Nodes,
     "further uses of a geometry get the material of its first use"},
    {"material-passes", Issue::Warning, LossKind::Materials,
     "of materials made of others only the first is written"},
    {"material-default", Issue::Warning, LossKind::Materials,
     "materials without colours of their own get the modeller's"},
    {"material-measured", Issue::Warning, LossKind::Materials,
     "of measured materials only the analytic values are written"},
    {"material-refused", Issue::Warning, LossKind::Materials, "colours that are not finite are not written"},
    {"material-unlit", Issue::Warning, LossKind::Materials, "unlit materials come back lit"},
    {"material-emission", Issue::Warning, LossKind::Materials, "emission is not written"},
    {"material-back", Issue::Warning, LossKind::Materials, "colours of back faces are not written"},
    {"material-blend", Issue::Warning, LossKind::Materials,
     "blending comes back as what the alpha of colour and texture makes of it"},
    {"material-chunk", Issue::Warning, LossKind::Materials, "chunks of other classes are not written"},
    {"texture-further", Issue::Warning, LossKind::Materials, "textures beyond the first are not written"},
    {"texture-environment", Issue::Warning, LossKind::Materials,
     "texture environments other than modulate come back as modulate with white"},
    {"texture-matrix", Issue::Warning, LossKind::Materials,
     "matrices of texture coordinates are not written"},
    {"texture-sampling", Issue::Warning, LossKind::Materials,
     "filters and wrapping of textures are not written"},
    {"texture-format", Issue::Warning, LossKind::Materials, "images that PNG cannot hold are not written"},
    {"texture-name-collision", Issue::Warning, LossKind::Materials,
     "images of one name share the file of the first"},
    {"texgen-function", Issue::Warning, LossKind::Materials,
     "textures whose coordinates are generated other than object-linear are not connected"},
    {"texgen-further", Issue::Warning, LossKind::Materials,
     "third and fourth coordinates and beacons of texture generators are not written"},
    {"texgen-bent", Issue::Warning, LossKind::Materials, "the planes of texture generators come back bent"},
    {"texgen-unplaced", Issue::Warning, LossKind::Materials,
     "generated texture coordinates come back unplaced: a node has the name of their placement"},
    {"texgen-moved", Issue::Warning, LossKind::Nodes,
     "generated texture coordinates come back as those of the world"},
    {"group-kind", Issue::Note, LossKind::Nodes, "groups of other kinds become plain ones"},
    {"switch", Issue::Note, LossKind::Nodes, "switches become groups, what they do not show is hidden"},
    {"core-shared", Issue::Note, LossKind::Nodes, "cores of groups and transforms are no longer shared"},
    {"polygons", Issue::Note, LossKind::Nodes, "polygons and strips become separate triangles"},
    {"normals-made", Issue::Note, LossKind::Nodes,
     "geometry without normals comes back with those of its faces"},
    {"transform-flushed", Issue::Note, LossKind::Nodes,
     "with generated texture coordinates, geometry comes back in the world's"},
    {"name-changed", Issue::Note, LossKind::Nodes, "in names, what is no letter or digit becomes _"},
    {"name-missing", Issue::Note, LossKind::Nodes, "nodes without a name get one of the modeller's"},
    {"material-alpha", Issue::Note, LossKind::Materials,
     "alpha of materials that are not blended is not written"},
    {"texture-gain", Issue::Note, LossKind::Materials,
     "diffuse colours of textured materials become the gain of their texture"},
    {"material-name", Issue::Note, LossKind::Materials,
     "names of materials are made legal and different from others"},
}};

// -- What an export does with a node -----------------------------------------------------------------

namespace
{
constexpr double matrixTolerance =
    1e-5; // of the largest element, as for what comparisons call the same place
constexpr float rotationTolerance = 1e-5f;

enum class Fate { Dropped, Nothing, Mesh, Surface, Transform };

// Dropped nodes take along what is below them, for others the nearest object above stands in.
Fate fateOf(const osg::NodePtr& node)
{
    const osg::NodeCorePtr core = node->getCore();
    if (!node->getActive() || core == osg::NullFC)
        return Fate::Dropped;
    if (osg::SurfacePtr::dcast(core) != osg::NullFC) // a geometry, too
        return Fate::Surface;
    if (osg::GeometryPtr::dcast(core) != osg::NullFC)
        return Fate::Mesh;
    // Lights are groups, but nothing is made for them.
    return osg::GroupPtr::dcast(core) != osg::NullFC && osg::LightPtr::dcast(core) == osg::NullFC
               ? Fate::Transform
               : Fate::Nothing;
}

bool isSwitch(const osg::NodePtr& node)
{
    return osg::SwitchPtr::dcast(node->getCore()) != osg::NullFC;
}

// A switch hides what it does not show; when that has no object of its own, the object of the switch, and so
// also the child that it shows.
bool hidesItself(const osg::NodePtr& node)
{
    if (!isSwitch(node))
        return false;
    for (osg::UInt32 i = 0; i < node->getNChildren(); ++i) {
        if (!isShownByParent(node, i) && fateOf(node->getChild(i)) == Fate::Nothing)
            return true;
    }
    return false;
}

bool showsAChild(const osg::NodePtr& node)
{
    const osg::Int32 choice = osg::SwitchPtr::dcast(node->getCore())->getChoice();
    return choice >= 0 && static_cast<osg::UInt32>(choice) < node->getNChildren();
}

// The transform of a geometry is written as that of the node.
bool movesChildren(const osg::NodePtr& node)
{
    const osg::Transform3DPtr& own = osg::GeometryPtr::dcast(node->getCore())->getTransform();
    return own != osg::NullFC && node->getNChildren() != 0 && own->getMatrix() != osg::Matrix::identity();
}

// What remains of a matrix.
osg::Matrix withoutShear(const osg::Matrix& matrix)
{
    osg::Vec3f translation;
    osg::Vec3f scale;
    osg::Quaternion rotation;
    zyNodeUtils::decomposeMatrix(matrix, translation, rotation, scale);
    osg::Matrix result;
    result.setTransform(translation, rotation, scale);
    return result;
}

bool isFinite(const osg::Matrix& matrix)
{
    return std::all_of(matrix.getValues(), matrix.getValues() + 16,
                       [](osg::Real32 value) { return std::isfinite(value); });
}

bool hasShear(const osg::Matrix& matrix)
{
    if (matrix[0][3] != 0 || matrix[1][3] != 0 || matrix[2][3] != 0 || matrix[3][3] != 1)
        return true;
    const osg::Matrix kept = withoutShear(matrix);
    double largest = 0;
    double error = 0;
    for (osg::UInt32 c = 0; c < 3; ++c) {
        for (osg::UInt32 r = 0; r < 3; ++r) {
            largest = std::max<double>(largest, std::fabs(matrix[c][r]));
            error += std::fabs(double(matrix[c][r]) - double(kept[c][r]));
        }
    }
    return error > 9 * matrixTolerance * largest;
}

bool isSameRotation(const osg::Quaternion& a, const osg::Quaternion& b)
{
    osg::Matrix first;
    osg::Matrix second;
    a.getValue(first);
    b.getValue(second);
    return first.equals(second, rotationTolerance);
}

template <class VectorT>
bool isFinite(const VectorT& vector)
{
    return std::isfinite(vector[0]) && std::isfinite(vector[1]) && std::isfinite(vector[2]);
}

bool isFinite(const osg::Quaternion& rotation)
{
    return std::isfinite(rotation[0]) && std::isfinite(rotation[1]) && std::isfinite(rotation[2]) &&
           std::isfinite(rotation[3]);
}

// Rotations are written by axis and angle, the angle by w alone; none where that makes no number.
osg::Quaternion writtenRotation(const osg::Quaternion& rotation)
{
    const double x = rotation[0];
    const double y = rotation[1];
    const double z = rotation[2];
    const double w = rotation[3];
    const double length = std::sqrt(x * x + y * y + z * z);
    const double factor = std::sqrt(1 - w * w) / length;
    if (!isFinite(rotation) || !(length > 1e-6) || !std::isfinite(factor))
        return osg::Quaternion::identity();
    osg::Quaternion result;
    result.setValueAsQuat(static_cast<osg::Real32>(factor * x), static_cast<osg::Real32>(factor * y),
                          static_cast<osg::Real32>(factor * z), rotation[3]);
    return result;
}

bool hasRefusedValues(const osg::Transform3DPtr& transform)
{
    return !isFinite(transform->getTranslation()) || !isFinite(transform->getRotation()) ||
           !isFinite(transform->getRotationOrientation()) || !isFinite(transform->getRotatePivot()) ||
           !isFinite(transform->getRotatePivotTranslation()) || !isFinite(transform->getScale()) ||
           !isFinite(transform->getScalePivot()) || !isFinite(transform->getScalePivotTranslation()) ||
           !isFinite(transform->getShear());
}

// The orientation is set so that the rotation as a whole stays the same.
bool losesOrientation(const osg::Transform3DPtr& transform)
{
    const osg::Quaternion& orientation = transform->getRotationOrientation();
    return isFinite(orientation) && !isSameRotation(orientation, osg::Quaternion::identity());
}

bool isCoarse(const osg::Transform3DPtr& transform)
{
    const osg::Quaternion& rotation = transform->getRotation();
    return isFinite(rotation) && !isSameRotation(rotation, writtenRotation(rotation));
}

bool hasValues(const osg::FieldContainerPtr& property)
{
    const osg::Field* const values = valuesOf(property);
    return values != nullptr && values->getSize() != 0;
}

bool hasFurtherUVs(const osg::GeometryPtr& geometry)
{
    return hasValues(geometry->getTexCoords1()) || hasValues(geometry->getTexCoords2()) ||
           hasValues(geometry->getTexCoords3()) || hasValues(geometry->getTexCoords4()) ||
           hasValues(geometry->getTexCoords5()) || hasValues(geometry->getTexCoords6()) ||
           hasValues(geometry->getTexCoords7());
}

// Whether there are points or lines among the primitives of a geometry, or polygons of other kinds than
// triangles.
void lookAtPrimitives(const osg::GeometryPtr& geometry, bool& pointsOrLines, bool& polygons)
{
    const osg::Field* const types = valuesOf(geometry->getTypes());
    if (types == nullptr || types->getType().getElementSize() != 1)
        return;
    const auto* const type = static_cast<const osg::UInt8*>(types->getBlock());
    for (osg::UInt32 i = 0; i < types->getSize(); ++i) {
        pointsOrLines = pointsOrLines || type[i] < GL_TRIANGLES;
        polygons = polygons || type[i] > GL_TRIANGLES;
    }
}

// Two positions make no mesh, whatever the primitives say.
bool makesMesh(const osg::GeometryPtr& geometry)
{
    const osg::GeoPositionsPtr positions = geometry->getPositions();
    return positions != osg::NullFC && positions->getSize() > 2 && countPrimitives(geometry).triangles != 0;
}

// The materials of groups above a node. Drawn is the nearest one that there is, in place of a geometry's own;
// an export takes the nearest group, whether or not it has one, and only for geometry without.
struct Groups {
    osg::MaterialPtr drawn;
    osg::MaterialPtr written;

    void enter(const osg::NodePtr& node)
    {
        const osg::MaterialGroupPtr group = osg::MaterialGroupPtr::dcast(node->getCore());
        if (group == osg::NullFC)
            return;
        written = group->getMaterial();
        if (written != osg::NullFC)
            drawn = written;
    }
    osg::MaterialPtr drawnOf(const osg::GeometryPtr& geometry) const
    {
        const osg::MaterialPtr material = drawn != osg::NullFC ? drawn : geometry->getMaterial();
        return material != osg::NullFC ? material : osg::getDefaultMaterial();
    }
    osg::MaterialPtr writtenOf(const osg::GeometryPtr& geometry) const
    {
        const osg::MaterialPtr own = geometry->getMaterial();
        return WrittenMaterials::resolve(own != osg::NullFC ? own : written);
    }
};

// What meshes are written with, by the core of their geometry.
typedef std::unordered_map<const void*, osg::MaterialPtr> MeshMaterials;

// A use of a geometry that is written.
struct MeshUse {
    osg::NodePtr node;
    osg::MaterialPtr material;
    std::size_t top; ///< the node that it stands below, among those that become top-level objects
    bool moved;      ///< from where its coordinates alone would put it
};

// Calls for each use, depth first. Appends the nodes that become top-level objects.
template <class VisitT>
void forEachMeshUse(const osg::NodePtr& root, const MeshMaterials& materials, std::vector<osg::NodePtr>& tops,
                    VisitT visit)
{
    struct Open {
        osg::NodePtr node;
        WorldMatrix world; ///< of its parent
        bool isTop;        ///< if it becomes an object
    };
    const auto isMoving = [](const WorldMatrix& world) {
        return !world.equals(WorldMatrix::identity(), 1e-6);
    };
    std::vector<Open> open;
    if (root != osg::NullFC)
        open.push_back({root, WorldMatrix(), true});
    while (!open.empty()) {
        Open next = open.back();
        open.pop_back();
        const Fate fate = fateOf(next.node);
        if (fate == Fate::Dropped)
            continue;
        if (next.isTop && fate != Fate::Nothing) {
            tops.push_back(next.node);
            next.isTop = false;
        }
        const osg::NodeCorePtr core = next.node->getCore();
        next.world.mult(WorldMatrix(matrixOf(core)));
        const auto material = materials.find(core.getBaseCPtr());
        if (material != materials.end()) {
            const osg::Transform3DPtr own = osg::GeometryPtr::dcast(core)->getTransform();
            WorldMatrix world = next.world;
            if (own != osg::NullFC)
                world.mult(WorldMatrix(own->getMatrix()));
            visit(MeshUse{next.node, material->second, tops.size() - 1, isMoving(world)});
        }
        for (osg::UInt32 i = next.node->getNChildren(); i > 0; --i)
            open.push_back({next.node->getChild(i - 1), next.world, next.isTop});
    }
}

// Placements are called by number, the next one that is free at that time. An import finds them by name:
// those whose name a later node has as well are found by none.
void findUnplaced(const osg::NodePtr& root, const MeshMaterials& meshes, WrittenMaterials& materials)
{
    const bool any = std::any_of(materials.all().begin(), materials.all().end(),
                                 [](const WrittenMaterial& material) { return material.projected; });
    std::unordered_set<std::string> names;
    std::unordered_set<const void*> met;
    std::vector<std::pair<std::string, osg::MaterialPtr>> placements;
    unsigned int number = 1;
    std::vector<osg::NodePtr> open;
    if (root != osg::NullFC && any)
        open.push_back(root);
    while (!open.empty()) {
        const osg::NodePtr node = open.back();
        open.pop_back();
        const Fate fate = fateOf(node);
        if (fate == Fate::Dropped)
            continue;
        if (fate != Fate::Nothing)
            names.insert(legalName(zyNodeUtils::getName(node)));
        const auto mesh = meshes.find(node->getCore().getBaseCPtr());
        if (mesh != meshes.end() && materials.of(mesh->second).projected &&
            met.insert(mesh->second.getBaseCPtr()).second) {
            std::string name;
            do {
                name = "place3dTextureZYRA" + std::to_string(number++);
            } while (names.count(name) != 0);
            placements.emplace_back(name, mesh->second);
        }
        for (osg::UInt32 i = node->getNChildren(); i > 0; --i)
            open.push_back(node->getChild(i - 1));
    }
    for (const auto& placement : placements) {
        if (names.count(placement.first) != 0)
            materials.unplace(placement.second);
    }
}

// The top-level objects whose transformations an import pushes into the geometry: those with a projection,
// and all of them when one material projects in several.
std::vector<bool> flushedTops(const osg::NodePtr& root, const MeshMaterials& meshes,
                              const WrittenMaterials& materials, std::vector<osg::NodePtr>& tops)
{
    constexpr std::size_t several = static_cast<std::size_t>(-1);
    std::unordered_map<const void*, std::size_t> topsOf;
    const bool any = std::any_of(materials.all().begin(), materials.all().end(),
                                 [](const WrittenMaterial& material) { return material.projected; });
    if (!any)
        return {};
    forEachMeshUse(root, meshes, tops, [&](const MeshUse& use) {
        if (!materials.of(use.material).projected)
            return;
        std::size_t& top = topsOf.emplace(use.material.getBaseCPtr(), use.top).first->second;
        if (top != use.top)
            top = several;
    });
    std::vector<bool> flushed(tops.size(), false);
    for (const auto& entry : topsOf) {
        if (entry.second == several)
            flushed.assign(tops.size(), true);
        else
            flushed[entry.second] = true;
    }
    return flushed;
}

// -- Report ------------------------------------------------------------------------------------------

class Walk
{
public:
    using Entries = std::array<LossReport::Entry, lossCount>;

    explicit Walk(Entries& entries) : _entries(entries) {}

    void run(const osg::NodePtr& root);

private:
    struct Open {
        osg::NodePtr node;
        bool dropped;  ///< a node above is: it counts there
        Loss with;     ///< as what
        bool unchosen; ///< by the switch right above it
        Groups groups;
    };

    void note(Loss loss, const osg::NodePtr& node) { note(loss, zyNodeUtils::getName(node)); }
    void note(Loss loss, const std::string& name);
    void lookAt(const Open& open, Fate fate);
    void lookAtName(const osg::NodePtr& node);
    void lookAtAttachments(const osg::NodePtr& node);
    void lookAtSurface(const osg::NodePtr& node);
    void lookAtTransform(const osg::NodePtr& node);
    void lookAtComponents(const osg::NodePtr& node, const osg::Transform3DPtr& components);
    void lookAtGeometry(const Open& open);
    void lookAtMesh(const osg::NodePtr& node, const osg::GeometryPtr& geometry);
    void lookAtUse(const Open& open, const osg::GeometryPtr& geometry, bool first);
    void lookAtMaterials();
    void lookAtProjections(const osg::NodePtr& root);

    Entries& _entries;
    std::unordered_set<const void*> _cores;
    MeshMaterials _meshes;                     ///< resolved
    std::unordered_set<const void*> _wrappers; ///< materials made of others that have been looked at
    WrittenMaterials _materials;
};

void Walk::note(Loss loss, const std::string& name)
{
    LossReport::Entry& entry = _entries[static_cast<std::size_t>(loss)];
    ++entry.count;
    entry.names.push_back(name);
}

void Walk::run(const osg::NodePtr& root)
{
    std::vector<Open> open;
    if (root != osg::NullFC)
        open.push_back({root, false, Loss::Inactive, false, Groups()});
    while (!open.empty()) {
        Open next = open.back();
        open.pop_back();
        if (next.dropped) {
            ++_entries[static_cast<std::size_t>(next.with)].count;
        } else {
            const Fate fate = fateOf(next.node);
            next.dropped = fate == Fate::Dropped;
            if (next.dropped) {
                next.with = next.node->getActive() ? Loss::Coreless : Loss::Inactive;
                note(next.with, next.node);
            } else {
                lookAt(next, fate);
                next.groups.enter(next.node);
            }
        }
        const bool chooses = !next.dropped && isSwitch(next.node) && !hidesItself(next.node);
        for (osg::UInt32 i = next.node->getNChildren(); i > 0; --i)
            open.push_back({next.node->getChild(i - 1), next.dropped, next.with,
                            chooses && !isShownByParent(next.node, i - 1), next.groups});
    }
    findUnplaced(root, _meshes, _materials);
    lookAtMaterials();
    lookAtProjections(root);
}

void Walk::lookAt(const Open& open, Fate fate)
{
    const osg::NodePtr& node = open.node;
    lookAtAttachments(node);
    if (fate == Fate::Nothing) {
        const osg::NodeCorePtr core = node->getCore();
        note(osg::LightPtr::dcast(core) != osg::NullFC ? Loss::Light : Loss::UnknownCore, node);
        return;
    }
    lookAtName(node);
    if (fate == Fate::Mesh)
        lookAtGeometry(open);
    else if (fate == Fate::Surface)
        lookAtSurface(node);
    else
        lookAtTransform(node);
}

void Walk::lookAtName(const osg::NodePtr& node)
{
    const std::string name = zyNodeUtils::getName(node);
    if (name.empty())
        note(Loss::Unnamed, node);
    else if (legalName(name) != name)
        note(Loss::Renamed, node);
}

void Walk::lookAtAttachments(const osg::NodePtr& node)
{
    for (const auto& row : node->getSFAttachments()->getValue()) {
        if (row.second != osg::NullFC && osg::NamePtr::dcast(row.second) == osg::NullFC) {
            note(Loss::Attachment, node);
            return;
        }
    }
}

void Walk::lookAtSurface(const osg::NodePtr& node)
{
    const osg::SurfacePtr surface = osg::SurfacePtr::dcast(node->getCore());
    const osg::GeoPositions4fPtr points = osg::GeoPositions4fPtr::dcast(surface->getControlPoints());
    if (points == osg::NullFC) {
        note(Loss::Surface, node);
        return;
    }
    const auto& values = points->getField();
    if (std::any_of(values.begin(), values.end(), [](const osg::Pnt4f& point) { return point[3] != 1; }))
        note(Loss::SurfaceWeights, node);
    const osg::MaterialPtr material = surface->getMaterial();
    const bool plain = material == osg::NullFC || *material == *osg::getDefaultMaterial();
    const bool first = _cores.insert(surface.getBaseCPtr()).second;
    const osg::Transform3DPtr& own = surface->getTransform();
    const bool moved = own != osg::NullFC && own->getMatrix() != osg::Matrix::identity();
    if (!plain || moved || !first)
        note(Loss::SurfaceMaterial, node);
}

void Walk::lookAtTransform(const osg::NodePtr& node)
{
    const osg::NodeCorePtr core = node->getCore();
    const osg::TransformPtr transform = osg::TransformPtr::dcast(core);
    const osg::Transform3DPtr components = osg::Transform3DPtr::dcast(core);
    if (components != osg::NullFC) {
        lookAtComponents(node, components);
    } else if (transform != osg::NullFC) {
        if (!isFinite(transform->getMatrix()))
            note(Loss::Refused, node);
        else if (hasShear(transform->getMatrix()))
            note(Loss::Shear, node);
    } else if (isSwitch(node)) {
        note(Loss::Switch, node);
        if (showsAChild(node) && hidesItself(node))
            note(Loss::SwitchHidden, node);
    } else if (core->getTypeId() != osg::Group::getClassTypeId()) {
        note(Loss::Group, node);
    }
    if (!_cores.insert(core.getBaseCPtr()).second)
        note(Loss::SharedCore, node);
}

void Walk::lookAtComponents(const osg::NodePtr& node, const osg::Transform3DPtr& components)
{
    if (hasRefusedValues(components))
        note(Loss::Refused, node);
    if (losesOrientation(components))
        note(Loss::Orientation, node);
    if (isCoarse(components))
        note(Loss::Coarse, node);
}

void Walk::lookAtGeometry(const Open& open)
{
    const osg::NodePtr& node = open.node;
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(node->getCore());
    const osg::Transform3DPtr& own = geometry->getTransform();
    if (movesChildren(node))
        note(Loss::ChildrenMoved, node);
    if (!_cores.insert(geometry.getBaseCPtr()).second) {
        lookAtUse(open, geometry, false);
        return; // an instance
    }

    if (own != osg::NullFC)
        lookAtComponents(node, own);
    if (!makesMesh(geometry)) {
        lookAtMesh(node, geometry);
        return;
    }
    if (open.unchosen)
        note(Loss::SwitchGeometry, node);
    lookAtMesh(node, geometry);
    const osg::MaterialPtr material = open.groups.writtenOf(geometry);
    _meshes.emplace(geometry.getBaseCPtr(), material);
    _materials.add(material);
    lookAtUse(open, geometry, true);
}

// Whether what is drawn is what is written: of a further use, the material of the first one.
void Walk::lookAtUse(const Open& open, const osg::GeometryPtr& geometry, bool first)
{
    const auto mesh = _meshes.find(geometry.getBaseCPtr());
    const osg::MaterialPtr drawn = open.groups.drawnOf(geometry);
    if (mesh == _meshes.end() || drawn == mesh->second)
        return;
    const bool isWrapper = WrittenMaterials::resolve(drawn) == mesh->second;
    if (isWrapper && !_wrappers.insert(drawn.getBaseCPtr()).second)
        return;
    const MaterialLook& look = _materials.lookOf(drawn);
    const MaterialLook& written = _materials.lookOf(mesh->second);
    const bool differs = !differencesOf(look, written).empty();
    if (isWrapper) {
        const std::string name = zyMaterials::getName(drawn);
        if (differs)
            note(Loss::MaterialPasses, name.empty() ? zyMaterials::getName(mesh->second) : name);
        else if (look.name != written.name)
            note(Loss::MaterialRenamed, name);
    } else if (differs || look.name != written.name) {
        note(first ? Loss::MaterialGroup : Loss::MaterialInstance, open.node);
    }
}

void Walk::lookAtMaterials()
{
    _materials.finish();
    for (const WrittenMaterial& material : _materials.all()) {
        for (std::size_t i = 0; i < lossCount; ++i) {
            if (!material.losses[i])
                continue;
            note(static_cast<Loss>(i), zyMaterials::getName(material.source));
            if (static_cast<Loss>(i) == Loss::ImageName)
                _entries[i].details.push_back(material.imageOwner);
        }
    }
}

void Walk::lookAtMesh(const osg::NodePtr& node, const osg::GeometryPtr& geometry)
{
    bool pointsOrLines = false;
    bool polygons = false;
    lookAtPrimitives(geometry, pointsOrLines, polygons);
    if (pointsOrLines)
        note(Loss::PointsLines, node);
    if (!makesMesh(geometry)) {
        if (!pointsOrLines)
            note(Loss::EmptyMesh, node);
        return;
    }

    if (polygons)
        note(Loss::Polygons, node);
    if (hasValues(geometry->getColors()) || hasValues(geometry->getSecondaryColors()))
        note(Loss::Colors, node);
    if (hasFurtherUVs(geometry))
        note(Loss::FurtherUVs, node);
    if (hasValues(geometry->getTexCoords()) && geometry->getTexCoords()->getDimension() > 2)
        note(Loss::UVComponents, node);
    if (geometry->getPositions()->getDimension() > 3)
        note(Loss::PositionW, node);
    if (!hasValues(geometry->getNormals()))
        note(Loss::NormalsMade, node);
}

void Walk::lookAtProjections(const osg::NodePtr& root)
{
    std::vector<osg::NodePtr> tops;
    const std::vector<bool> flushed = flushedTops(root, _meshes, _materials, tops);
    if (flushed.empty())
        return;
    tops.clear();
    forEachMeshUse(root, _meshes, tops, [&](const MeshUse& use) {
        if (flushed[use.top] && use.moved)
            note(_materials.of(use.material).projected ? Loss::TexGenMoved : Loss::Flushed, use.node);
    });
}

std::string someOf(const LossReport::Entry& entry)
{
    constexpr std::size_t shown = 3;
    std::string text;
    for (std::size_t i = 0; i < std::min(shown, entry.names.size()); ++i) {
        text += i == 0 ? "" : ", ";
        text += entry.names[i].empty() ? "(unnamed)" : "'" + entry.names[i] + "'";
        if (i < entry.details.size())
            text += " has " + entry.details[i];
    }
    return entry.names.size() > shown ? text + ", ..." : text;
}
} // namespace

LossReport::LossReport(const osg::NodePtr& root)
{
    Walk(_entries).run(root);
}

void LossReport::report(RunContext& context, const std::string& file) const
{
    for (std::size_t i = 0; i < lossCount; ++i) {
        const LossKind& kind = lossKinds[i];
        const Entry& entry = _entries[i];
        if (entry.count == 0)
            continue;
        const bool ofNodes = kind.subject == LossKind::Nodes;
        context.report({kind.code, kind.severity, file,
                        ofNodes && entry.names.size() == 1 ? entry.names[0] : std::string(),
                        std::string(kind.what) + ": " + plural(entry.count, ofNodes ? "node" : "material") +
                            " (" + someOf(entry) + ")"});
    }
}

void LossReport::write(JsonWriter& json) const
{
    json.beginArray();
    for (std::size_t i = 0; i < lossCount; ++i) {
        const Entry& entry = _entries[i];
        if (entry.count == 0)
            continue;
        json.beginObject();
        json.member("code", lossKinds[i].code);
        json.member("severity", nameOf(lossKinds[i].severity));
        json.member("what", lossKinds[i].what);
        json.member("count", entry.count);
        json.key(lossKinds[i].subject == LossKind::Nodes ? "nodes" : "materials");
        json.beginArray(JsonWriter::OneLine);
        for (const std::string& name : entry.names)
            json.value(std::string_view(name));
        json.endArray();
        json.endObject();
    }
    json.endArray();
}

// -- The scene without what is lost ------------------------------------------------------------------

namespace
{
template <class VectorT>
VectorT finiteOr(const VectorT& value, const VectorT& otherwise)
{
    return isFinite(value) ? value : otherwise;
}

// What the modeller takes of the components. What it refuses stays as it was, and that is the default but for
// one: the pivot of the rotation, which comes before its translation, has already moved that.
void applyToComponents(const osg::Transform3DPtr& transform)
{
    if (!hasRefusedValues(transform) && !losesOrientation(transform) && !isCoarse(transform))
        return;
    const osg::Vec3f zero(0, 0, 0);
    const osg::CPEditor edit(transform);
    transform->setTranslation(finiteOr(transform->getTranslation(), zero));
    transform->setRotation(writtenRotation(transform->getRotation()));
    transform->setRotationOrientation(osg::Quaternion::identity());
    const osg::Vec3f pivot(finiteOr(transform->getRotatePivot(), osg::Pnt3f(0, 0, 0)));
    osg::Matrix turn;
    transform->getRotation().getValue(turn);
    osg::Vec3f turned;
    turn.mult(pivot, turned);
    transform->setRotatePivot(pivot);
    transform->setRotatePivotTranslation(finiteOr(transform->getRotatePivotTranslation(), turned - pivot));
    transform->setScale(finiteOr(transform->getScale(), osg::Vec3f(1, 1, 1)));
    transform->setScalePivot(finiteOr(transform->getScalePivot(), osg::Pnt3f(0, 0, 0)));
    transform->setScalePivotTranslation(finiteOr(transform->getScalePivotTranslation(), zero));
    transform->setShear(finiteOr(transform->getShear(), zero));
}

// Cores may be shared with nodes that lose nothing, and the matrix of some classes follows from other fields.
void replaceCore(const osg::NodePtr& node, const osg::NodeCorePtr& core)
{
    const osg::CPEditor edit(node, osg::Node::CoreFieldMask);
    node->setCore(core);
}

osg::NodeCorePtr makeTransform(const osg::Matrix& matrix)
{
    const osg::TransformPtr transform = osg::Transform::create();
    const osg::CPEditor edit(transform, osg::Transform::MatrixFieldMask);
    transform->setMatrix(matrix);
    return transform;
}

void applyToTransform(const osg::NodePtr& node)
{
    const osg::TransformPtr transform = osg::TransformPtr::dcast(node->getCore());
    const osg::Transform3DPtr components = osg::Transform3DPtr::dcast(node->getCore());
    if (components != osg::NullFC) {
        applyToComponents(components);
    } else if (transform != osg::NullFC) {
        if (!isFinite(transform->getMatrix()) || hasShear(transform->getMatrix()))
            replaceCore(node, makeTransform(withoutShear(transform->getMatrix())));
    } else if (hidesItself(node)) {
        replaceCore(node, osg::Switch::create()); // which shows nothing
    }
}

// Returns the node below which the children are afterwards.
osg::NodePtr applyToGeometry(const osg::NodePtr& node)
{
    const osg::Transform3DPtr own = osg::GeometryPtr::dcast(node->getCore())->getTransform();
    if (own != osg::NullFC)
        applyToComponents(own);
    if (!movesChildren(node))
        return node;
    const osg::NodePtr between = osg::makeNodeFor(makeTransform(own->getMatrix()));
    {
        const osg::CPEditor edit(between, osg::Node::ChildrenFieldMask);
        while (node->getNChildren() != 0)
            between->addChild(node->getChild(0));
    }
    const osg::CPEditor edit(node, osg::Node::ChildrenFieldMask);
    node->addChild(between);
    return between;
}

typedef std::unordered_set<const void*> Nodes;

// Shows the children that are in the set beside what the switch shows. The others get a switch of their own
// that shows nothing.
void showToo(const osg::NodePtr& node, const Nodes& shown)
{
    for (osg::UInt32 i = 0; i < node->getNChildren(); ++i) {
        const osg::NodePtr child = node->getChild(i);
        if (isShownByParent(node, i) || shown.count(child.getBaseCPtr()) != 0)
            continue;
        const osg::NodePtr hidden = osg::makeCoredNode<osg::Switch>();
        osg::addRefCP(child);
        {
            const osg::CPEditor edit(node, osg::Node::ChildrenFieldMask);
            node->replaceChild(i, hidden);
        }
        {
            const osg::CPEditor edit(hidden, osg::Node::ChildrenFieldMask);
            hidden->addChild(child);
        }
        osg::NodePtr held = child;
        osg::subRefCP(held);
    }
    replaceCore(node, osg::Group::create());
}

// Gives each geometry the material that comes back, and takes away those of groups.
class MaterialChange
{
public:
    explicit MaterialChange(const osg::NodePtr& root);

    /// As an import does where textures are projected.
    void flush(const osg::NodePtr& root);

private:
    void look(const osg::NodePtr& node, const Groups& groups);

    WrittenMaterials _materials;
    MeshMaterials _meshes;
    std::vector<osg::GeometryPtr> _geometries; ///< of the meshes
    std::vector<osg::NodePtr> _groups;
};

MaterialChange::MaterialChange(const osg::NodePtr& root)
{
    struct Open {
        osg::NodePtr node;
        Groups groups;
    };
    std::vector<Open> open;
    if (root != osg::NullFC)
        open.push_back({root, Groups()});
    while (!open.empty()) {
        Open next = open.back();
        open.pop_back();
        if (fateOf(next.node) == Fate::Dropped)
            continue;
        next.groups.enter(next.node);
        look(next.node, next.groups);
        for (osg::UInt32 i = next.node->getNChildren(); i > 0; --i)
            open.push_back({next.node->getChild(i - 1), next.groups});
    }

    findUnplaced(root, _meshes, _materials);
    _materials.finish();
    for (const osg::GeometryPtr& geometry : _geometries) {
        const osg::CPEditor edit(geometry, osg::Geometry::MaterialFieldMask);
        geometry->setMaterial(_materials.make(_meshes.at(geometry.getBaseCPtr())));
    }
    for (const osg::NodePtr& group : _groups)
        replaceCore(group, osg::Group::create());
}

// The first use of a core in depth-first order is the one that is written with its shape.
void MaterialChange::look(const osg::NodePtr& node, const Groups& groups)
{
    if (osg::MaterialGroupPtr::dcast(node->getCore()) != osg::NullFC)
        _groups.push_back(node);
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(node->getCore());
    if (geometry == osg::NullFC || _meshes.count(geometry.getBaseCPtr()) != 0 || !makesMesh(geometry))
        return;
    const osg::MaterialPtr material = groups.writtenOf(geometry);
    _geometries.push_back(geometry);
    _meshes.emplace(geometry.getBaseCPtr(), material);
    _materials.add(material);
}

void MaterialChange::flush(const osg::NodePtr& root)
{
    std::vector<osg::NodePtr> tops;
    const std::vector<bool> flushed = flushedTops(root, _meshes, _materials, tops);
    for (std::size_t i = 0; i < flushed.size(); ++i) {
        if (flushed[i])
            zyOptimize::flushTransformations(tops[i]);
    }
}
} // namespace

void applyLosses(const osg::NodePtr& root)
{
    struct Open {
        osg::NodePtr node;
        bool unchosen; ///< by the switch right above it
    };
    std::vector<Open> open;
    std::unordered_set<const void*> cores;
    std::vector<osg::NodePtr> switches;
    Nodes shown;
    MaterialChange materials(root);
    if (root != osg::NullFC)
        open.push_back({root, false});
    while (!open.empty()) {
        const Open next = open.back();
        open.pop_back();
        const osg::NodePtr& node = next.node;
        const bool chooses = isSwitch(node) && !hidesItself(node);
        osg::NodePtr parent = node;
        switch (fateOf(node)) {
        case Fate::Dropped:
            continue;
        case Fate::Transform:
            applyToTransform(node);
            break;
        case Fate::Mesh:
            if (cores.insert(node->getCore().getBaseCPtr()).second && next.unchosen &&
                makesMesh(osg::GeometryPtr::dcast(node->getCore()))) {
                shown.insert(node.getBaseCPtr());
                switches.push_back(node->getParent());
            }
            parent = applyToGeometry(node);
            break;
        case Fate::Surface: // its triangles are none that comparisons look at
        case Fate::Nothing:
            break;
        }
        // The first use of a core in depth-first order is the one that is written with its shape.
        for (osg::UInt32 i = parent->getNChildren(); i > 0; --i)
            open.push_back({parent->getChild(i - 1), chooses && !isShownByParent(parent, i - 1)});
    }
    for (const osg::NodePtr& node : switches) {
        if (isSwitch(node)) // each once
            showToo(node, shown);
    }
    materials.flush(root);
}

void applyMaterialLosses(const osg::NodePtr& root)
{
    MaterialChange change(root);
}

} // namespace zyscene
