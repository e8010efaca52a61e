#include "LossReport.h"

#include "CompareUses.h"
#include "JsonWriter.h"
#include "RunContext.h"
#include "Statistics.h"
#include "Text.h"

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGLight.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform3D.h>
#include <zyOpenSGUtils/zyNodeUtils.h>

#include <algorithm>
#include <cmath>
#include <unordered_set>

namespace zyscene
{

const std::array<LossKind, lossCount> lossKinds = {{
    {"node-inactive", Issue::Warning, "inactive nodes are not written, nor what is below them"},
    {"node-coreless", Issue::Warning, "nodes without a core are not written, nor what is below them"},
    {"light", Issue::Warning, "lights are not written"},
    {"surface", Issue::Warning, "surfaces are not written"},
    {"core-unknown", Issue::Warning, "nodes with cores of other kinds are not written"},
    {"mesh-empty", Issue::Warning, "geometry without triangles becomes an empty transform"},
    {"points-lines", Issue::Warning, "points and lines are not written"},
    {"shear", Issue::Warning, "shear and projection of matrices are dropped"},
    {"transform-refused", Issue::Warning, "values of transforms that are not finite are not written"},
    {"rotation-orientation", Issue::Warning, "orientations of rotation axes are dropped"},
    {"rotation-coarse", Issue::Warning, "angles of rotations come back only as exact as w alone tells them"},
    {"children-moved", Issue::Warning, "the transform of a geometry moves the nodes below it, too"},
    {"switch-hidden", Issue::Warning,
     "switches are hidden as a whole: a child that is not chosen is not written"},
    {"switch-geometry", Issue::Warning,
     "geometry directly below a switch that does not choose it comes back shown"},
    {"material", Issue::Warning, "materials are not written"},
    {"colors", Issue::Warning, "colours of vertices are not written"},
    {"uv-set", Issue::Warning, "texture coordinates beyond the first are not written"},
    {"uv-components", Issue::Warning, "of texture coordinates only two components are written"},
    {"position-w", Issue::Warning, "the fourth component of positions is not written"},
    {"attachment", Issue::Warning, "attachments are not written"},
    {"group-kind", Issue::Note, "groups of other kinds become plain ones"},
    {"switch", Issue::Note, "switches become groups, what they do not show is hidden"},
    {"core-shared", Issue::Note, "cores of groups and transforms are no longer shared"},
    {"polygons", Issue::Note, "polygons and strips become separate triangles"},
    {"normals-made", Issue::Note, "geometry without normals comes back with those of its faces"},
    {"name-changed", Issue::Note, "in names, what is no letter or digit becomes _"},
    {"name-missing", Issue::Note, "nodes without a name get one of the modeller's"},
}};

// -- What an export does with a node -----------------------------------------------------------------

namespace
{
constexpr double matrixTolerance =
    1e-5; // of the largest element, as for what comparisons call the same place
constexpr float rotationTolerance = 1e-5f;

enum class Fate { Dropped, Nothing, Mesh, Transform };

// Dropped nodes take along what is below them, for others the nearest object above stands in.
Fate fateOf(const osg::NodePtr& node)
{
    const osg::NodeCorePtr core = node->getCore();
    if (!node->getActive() || core == osg::NullFC)
        return Fate::Dropped;
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

bool isDefault(const osg::MaterialPtr& material)
{
    return material == osg::NullFC || material == osg::getDefaultMaterial() ||
           *material == *osg::getDefaultMaterial();
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
    };

    void note(Loss loss, const osg::NodePtr& node);
    void lookAt(const osg::NodePtr& node, Fate fate, bool unchosen);
    void lookAtName(const osg::NodePtr& node);
    void lookAtAttachments(const osg::NodePtr& node);
    void lookAtTransform(const osg::NodePtr& node);
    void lookAtComponents(const osg::NodePtr& node, const osg::Transform3DPtr& components);
    void lookAtGeometry(const osg::NodePtr& node, bool unchosen);
    void lookAtMesh(const osg::NodePtr& node, const osg::GeometryPtr& geometry);

    Entries& _entries;
    std::unordered_set<const void*> _cores;
};

void Walk::note(Loss loss, const osg::NodePtr& node)
{
    LossReport::Entry& entry = _entries[static_cast<std::size_t>(loss)];
    ++entry.count;
    entry.nodes.push_back(zyNodeUtils::getName(node));
}

void Walk::run(const osg::NodePtr& root)
{
    std::vector<Open> open;
    if (root != osg::NullFC)
        open.push_back({root, false, Loss::Inactive, false});
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
                lookAt(next.node, fate, next.unchosen);
            }
        }
        const bool chooses = !next.dropped && isSwitch(next.node) && !hidesItself(next.node);
        for (osg::UInt32 i = next.node->getNChildren(); i > 0; --i)
            open.push_back({next.node->getChild(i - 1), next.dropped, next.with,
                            chooses && !isShownByParent(next.node, i - 1)});
    }
}

void Walk::lookAt(const osg::NodePtr& node, Fate fate, bool unchosen)
{
    lookAtAttachments(node);
    if (fate == Fate::Nothing) {
        const osg::NodeCorePtr core = node->getCore();
        note(isKindOf(core, "Surface")                   ? Loss::Surface
             : osg::LightPtr::dcast(core) != osg::NullFC ? Loss::Light
                                                         : Loss::UnknownCore,
             node);
        return;
    }
    lookAtName(node);
    if (fate == Fate::Mesh)
        lookAtGeometry(node, unchosen);
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
        const osg::MaterialGroupPtr materials = osg::MaterialGroupPtr::dcast(core);
        if (materials != osg::NullFC && !isDefault(materials->getMaterial()))
            note(Loss::Material, node);
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

void Walk::lookAtGeometry(const osg::NodePtr& node, bool unchosen)
{
    const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(node->getCore());
    const osg::Transform3DPtr& own = geometry->getTransform();
    if (movesChildren(node))
        note(Loss::ChildrenMoved, node);
    if (!_cores.insert(geometry.getBaseCPtr()).second)
        return; // an instance

    if (own != osg::NullFC)
        lookAtComponents(node, own);
    if (unchosen && makesMesh(geometry))
        note(Loss::SwitchGeometry, node);
    lookAtMesh(node, geometry);
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
    if (!isDefault(geometry->getMaterial()))
        note(Loss::Material, node);
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

std::string someOf(const std::vector<std::string>& nodes)
{
    constexpr std::size_t shown = 3;
    std::string text;
    for (std::size_t i = 0; i < std::min(shown, nodes.size()); ++i) {
        text += i == 0 ? "" : ", ";
        text += nodes[i].empty() ? "(unnamed)" : "'" + nodes[i] + "'";
    }
    return nodes.size() > shown ? text + ", ..." : text;
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
        context.report(
            {kind.code, kind.severity, file, entry.nodes.size() == 1 ? entry.nodes[0] : std::string(),
             std::string(kind.what) + ": " + plural(entry.count, "node") + " (" + someOf(entry.nodes) + ")"});
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
        json.key("nodes");
        json.beginArray(JsonWriter::OneLine);
        for (const std::string& node : entry.nodes)
            json.value(std::string_view(node));
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
}

} // namespace zyscene
