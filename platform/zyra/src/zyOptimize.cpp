#include <zyOpenSGUtils/zyOptimize.h>

#include "zyForEachNode.h"
#include "zyTransformations.h"

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGSurface.h>
#include <OpenSG/OSGTransform.h>

#include <cmath>
#include <unordered_map>
#include <utility>
#include <vector>

// -- Scales -----------------------------------------------------------------------------------

namespace
{

// A scale along the axes that can be undone.
class AxisScale
{
public:
    explicit AxisScale(const osg::Vec3f& factors) : _factors(factors) {}

    // Not 1 in every component, and every component finite and not 0. (The vectors' own comparison has a
    // tolerance.)
    bool isWorthwhile() const
    {
        bool one = true;
        for (osg::UInt32 i = 0; i < 3; ++i) {
            if (!std::isfinite(_factors[i]) || _factors[i] == 0.0f || !std::isfinite(1.0f / _factors[i]))
                return false;
            one = one && _factors[i] == 1.0f;
        }
        return !one;
    }
    bool isUniform() const { return _factors[0] == _factors[1] && _factors[1] == _factors[2]; }
    // Whether normals keep their directions.
    bool keepsNormals() const { return isUniform() && _factors[0] > 0.0f; }

    float operator[](osg::UInt32 axis) const { return _factors[axis]; }

    // Scales a vector or a point; further components (a homogeneous w) stay.
    template <class Tuple>
    void apply(Tuple& tuple, osg::UInt32 axes = 3) const
    {
        for (osg::UInt32 i = 0; i < axes; ++i)
            tuple[i] *= _factors[i];
    }
    template <class Tuple>
    Tuple applied(Tuple tuple) const
    {
        apply(tuple);
        return tuple;
    }

    // S * M * S^-1. Elements whose factors cancel out stay bit for bit.
    osg::Matrix conjugated(osg::Matrix matrix) const
    {
        for (osg::UInt32 column = 0; column < 4; ++column) {
            for (osg::UInt32 row = 0; row < 4; ++row) {
                const double up = row < 3 ? _factors[row] : 1.0;
                const double down = column < 3 ? _factors[column] : 1.0;
                if (up != down)
                    matrix[column][row] = static_cast<float>(matrix[column][row] * up / down);
            }
        }
        return matrix;
    }

    // A normal, by the inverse transpose and back to its length.
    osg::Vec3f normal(const osg::Vec3f& n) const
    {
        const double x = double(n[0]) / _factors[0], y = double(n[1]) / _factors[1],
                     z = double(n[2]) / _factors[2];
        const double length = std::sqrt(x * x + y * y + z * z);
        if (!(length > 0.0))
            return n;
        const double before = std::sqrt(double(n[0]) * n[0] + double(n[1]) * n[1] + double(n[2]) * n[2]);
        const double f = before / length;
        return osg::Vec3f(static_cast<float>(x * f), static_cast<float>(y * f), static_cast<float>(z * f));
    }

private:
    osg::Vec3f _factors;
};

} // namespace

// -- Transformations --------------------------------------------------------------------------

static bool isIdentity(const osg::Quaternion& q)
{
    return q[0] == 0.0f && q[1] == 0.0f && q[2] == 0.0f;
}

void zySetComponents(const osg::Transform3DPtr& transform, const osg::Matrix& matrix)
{
    double q[3][3] = {}; // columns
    double r[3][3] = {};
    for (osg::UInt32 j = 0; j < 3; ++j) {
        double v[3] = {matrix[j][0], matrix[j][1], matrix[j][2]};
        const double whole = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        for (osg::UInt32 i = 0; i < j; ++i) {
            r[i][j] = q[i][0] * v[0] + q[i][1] * v[1] + q[i][2] * v[2];
            for (osg::UInt32 k = 0; k < 3; ++k)
                v[k] -= r[i][j] * q[i][k];
        }
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        if (length > whole * 1e-12 && length > 0.0) {
            r[j][j] = length;
            for (osg::UInt32 k = 0; k < 3; ++k)
                q[j][k] = v[k] / length;
            continue;
        }
        // Nothing is left: any direction does, as long as it is perpendicular to the ones before.
        double best = 0.0;
        for (osg::UInt32 axis = 0; axis < 3; ++axis) {
            double candidate[3] = {};
            candidate[axis] = 1.0;
            for (osg::UInt32 i = 0; i < j; ++i) {
                for (osg::UInt32 k = 0; k < 3; ++k)
                    candidate[k] -= q[i][axis] * q[i][k];
            }
            const double size = std::sqrt(candidate[0] * candidate[0] + candidate[1] * candidate[1] +
                                          candidate[2] * candidate[2]);
            if (size > best + 0.1) {
                best = size;
                for (osg::UInt32 k = 0; k < 3; ++k)
                    q[j][k] = candidate[k] / size;
            }
        }
    }
    const double handedness = q[2][0] * (q[0][1] * q[1][2] - q[0][2] * q[1][1]) +
                              q[2][1] * (q[0][2] * q[1][0] - q[0][0] * q[1][2]) +
                              q[2][2] * (q[0][0] * q[1][1] - q[0][1] * q[1][0]);
    if (handedness < 0.0) {
        r[2][2] = -r[2][2];
        for (osg::UInt32 k = 0; k < 3; ++k)
            q[2][k] = -q[2][k];
    }

    osg::Matrix rotation;
    for (osg::UInt32 j = 0; j < 3; ++j) {
        for (osg::UInt32 k = 0; k < 3; ++k)
            rotation[j][k] = static_cast<float>(q[j][k]);
    }
    const auto shear = [&](int i, int j) {
        return r[j][j] == 0.0 ? 0.0f : static_cast<float>(r[i][j] / r[j][j]);
    };
    const osg::Vec3f none;
    transform->setShear(osg::Vec3f(shear(0, 1), shear(0, 2), shear(1, 2)));
    transform->setRotationAsQuaternion(osg::Quaternion(rotation));
    transform->setRotationOrientationAsQuaternion(osg::Quaternion());
    transform->setRotatePivot(none);
    transform->setRotatePivotTranslation(none);
    transform->setScale(
        osg::Vec3f(static_cast<float>(r[0][0]), static_cast<float>(r[1][1]), static_cast<float>(r[2][2])));
    transform->setScalePivot(none);
    transform->setScalePivotTranslation(none);
    transform->setTranslation(osg::Vec3f(matrix[3][0], matrix[3][1], matrix[3][2]));
}

static void scaleTransform3D(const osg::Transform3DPtr& transform, const AxisScale& scale)
{
    const osg::CPEditor edit(transform);
    const bool turns = !isIdentity(transform->getRotationAsQuaternion()) ||
                       !isIdentity(transform->getRotationOrientationAsQuaternion());
    if (turns && !scale.isUniform()) {
        zySetComponents(transform, scale.conjugated(transform->getMatrix()));
        return;
    }
    if (!scale.isUniform()) {
        osg::Vec3f shear = transform->getShear(); // xy, xz, yz
        shear[0] *= scale[0] / scale[1];
        shear[1] *= scale[0] / scale[2];
        shear[2] *= scale[1] / scale[2];
        transform->setShear(shear);
    }
    transform->setRotatePivot(scale.applied(transform->getRotatePivot()));
    transform->setRotatePivotTranslation(scale.applied(transform->getRotatePivotTranslation()));
    transform->setScalePivot(scale.applied(transform->getScalePivot()));
    transform->setScalePivotTranslation(scale.applied(transform->getScalePivotTranslation()));
    transform->setTranslation(scale.applied(transform->getTranslation()));
}

// `core` is a transformation.
static void scaleTransform(const osg::NodeCorePtr& core, const AxisScale& scale)
{
    if (const auto transform3D = osg::Transform3DPtr::dcast(core)) {
        scaleTransform3D(transform3D, scale);
    } else if (const auto component = osg::ComponentTransformPtr::dcast(core)) {
        const osg::CPEditor edit(component);
        component->setTranslation(scale.applied(component->getTranslation()));
        component->setCenter(scale.applied(component->getCenter()));
    } else {
        const auto transform = osg::TransformPtr::dcast(core);
        const osg::CPEditor edit(transform, osg::Transform::MatrixFieldMask);
        transform->setMatrix(scale.conjugated(transform->getMatrix()));
    }
}

osg::TransformPtr zyPlainTransform(const osg::ComponentTransformPtr& core)
{
    const osg::TransformPtr plain = osg::Transform::create();
    const osg::CPEditor edit(plain);
    plain->setMatrix(core->getMatrix());
    for (const auto& attachment : core->getSFAttachments()->getValue())
        plain->addAttachment(attachment.second, static_cast<osg::UInt16>(attachment.first & 0xffff));
    return plain;
}

// -- Properties -------------------------------------------------------------------------------

template <class Field>
static void scaleField(Field& field, const AxisScale& scale, osg::UInt32 axes)
{
    for (auto& value : field)
        scale.apply(value, axes);
}

static void scalePositions(const osg::GeoPositionsPtr& positions, const AxisScale& scale)
{
    const osg::CPEditor edit(positions);
    if (const auto p3 = osg::GeoPositions3fPtr::dcast(positions)) {
        scaleField(p3->getField(), scale, 3);
    } else if (const auto p4 = osg::GeoPositions4fPtr::dcast(positions)) {
        scaleField(p4->getField(), scale, 3);
    } else if (const auto p2 = osg::GeoPositions2fPtr::dcast(positions)) {
        scaleField(p2->getField(), scale, 2);
    } else {
        for (osg::UInt32 i = 0; i < positions->size(); ++i)
            positions->setValue(scale.applied(positions->getValue(i)), i);
    }
}

static void scaleNormals(const osg::GeoNormalsPtr& normals, const AxisScale& scale)
{
    const osg::CPEditor edit(normals);
    if (const auto n3 = osg::GeoNormals3fPtr::dcast(normals)) {
        for (osg::Vec3f& normal : n3->getField())
            normal = scale.normal(normal);
    } else {
        for (osg::UInt32 i = 0; i < normals->size(); ++i)
            normals->setValue(scale.normal(normals->getValue(i)), i);
    }
}

// -- Flush ------------------------------------------------------------------------------------

namespace
{

// Pushes one scale into everything below a node.
class ScaleFlush
{
public:
    explicit ScaleFlush(const AxisScale& scale) : _scale(scale) {}

    void run(const osg::NodePtr& root);

private:
    // What happens to something that may be shared.
    struct Shared {
        int inside = 0;               // uses below the root by what is not cloned itself
        osg::FieldContainerPtr after; // what takes its place, possibly itself; null until it is scaled
    };
    typedef std::unordered_map<const osg::FieldContainer*, Shared> SharedMap;

    static bool carriesScale(const osg::NodeCorePtr& core);
    bool staysInPlace(const osg::NodeCorePtr& core, const Shared& shared) const;
    void countUses(const osg::DrawablePtr& drawable);
    osg::NodeCorePtr scaledCore(const osg::NodeCorePtr& core);
    void scaleDrawable(const osg::DrawablePtr& drawable);

    template <class Handle, class Scale>
    Handle scaledOnce(const Handle& handle, Scale scaleIt);

    const AxisScale _scale;
    SharedMap _cores;
    SharedMap _parts; // properties and transformations of drawables
};

bool ScaleFlush::carriesScale(const osg::NodeCorePtr& core)
{
    return osg::TransformPtr::dcast(core) != osg::NullFC || osg::DrawablePtr::dcast(core) != osg::NullFC;
}

bool ScaleFlush::staysInPlace(const osg::NodeCorePtr& core, const Shared& shared) const
{
    return static_cast<int>(core->getParents().size()) == shared.inside;
}

void ScaleFlush::countUses(const osg::DrawablePtr& drawable)
{
    if (drawable->getTransform() != osg::NullFC)
        ++_parts[drawable->getTransform().getCPtr()].inside;
    const osg::GeometryPtr geo = osg::GeometryPtr::dcast(drawable);
    if (geo == osg::NullFC)
        return;
    if (geo->getPositions() != osg::NullFC)
        ++_parts[geo->getPositions().getCPtr()].inside;
    if (geo->getNormals() != osg::NullFC)
        ++_parts[geo->getNormals().getCPtr()].inside;
    const osg::SurfacePtr surface = osg::SurfacePtr::dcast(geo);
    if (surface != osg::NullFC && surface->getControlPoints() != osg::NullFC)
        ++_parts[surface->getControlPoints().getCPtr()].inside;
}

// The scaled form of something that drawables refer to: itself where only those inside do, otherwise one
// clone for all.
template <class Handle, class Scale>
Handle ScaleFlush::scaledOnce(const Handle& handle, Scale scaleIt)
{
    Shared& shared = _parts[handle.getCPtr()];
    if (shared.after == osg::NullFC) {
        shared.after =
            handle.getRefCount() > shared.inside ? handle->shallowCopy() : osg::FieldContainerPtr(handle);
        scaleIt(Handle::dcast(shared.after), _scale);
    }
    return Handle::dcast(shared.after);
}

void ScaleFlush::scaleDrawable(const osg::DrawablePtr& drawable)
{
    const osg::CPEditor edit(drawable);
    if (const osg::Transform3DPtr transform = drawable->getTransform())
        drawable->setTransform(scaledOnce(transform, scaleTransform3D));
    const osg::GeometryPtr geo = osg::GeometryPtr::dcast(drawable);
    if (geo == osg::NullFC)
        return;
    if (const osg::GeoPositionsPtr positions = geo->getPositions())
        geo->setPositions(scaledOnce(positions, scalePositions));
    const osg::GeoNormalsPtr normals = geo->getNormals();
    if (normals != osg::NullFC && !_scale.keepsNormals())
        geo->setNormals(scaledOnce(normals, scaleNormals));
    const osg::SurfacePtr surface = osg::SurfacePtr::dcast(geo);
    if (surface != osg::NullFC && surface->getControlPoints() != osg::NullFC)
        surface->setControlPoints(scaledOnce(surface->getControlPoints(), scalePositions));
}

osg::NodeCorePtr ScaleFlush::scaledCore(const osg::NodeCorePtr& core)
{
    Shared& shared = _cores[core.getCPtr()];
    if (shared.after != osg::NullFC)
        return osg::NodeCorePtr::dcast(shared.after);

    const osg::ComponentTransformPtr component = osg::ComponentTransformPtr::dcast(core);
    if (component != osg::NullFC && !_scale.isUniform()) {
        shared.after = zyPlainTransform(component);
        scaleTransform(osg::NodeCorePtr::dcast(shared.after), _scale);
        return osg::NodeCorePtr::dcast(shared.after);
    }
    shared.after = staysInPlace(core, shared) ? osg::FieldContainerPtr(core) : core->shallowCopy();
    const osg::NodeCorePtr after = osg::NodeCorePtr::dcast(shared.after);
    if (const auto drawable = osg::DrawablePtr::dcast(after))
        scaleDrawable(drawable);
    else
        scaleTransform(after, _scale);
    return after;
}

void ScaleFlush::run(const osg::NodePtr& root)
{
    std::vector<osg::NodePtr> nodes;
    zyForEachNode(root, [&](const osg::NodePtr& node) {
        const osg::NodeCorePtr core = node->getCore();
        if (node == root || core == osg::NullFC || !carriesScale(core))
            return;
        nodes.push_back(node);
        ++_cores[core.getCPtr()].inside;
    });
    for (const osg::NodePtr& node : nodes) {
        // Each drawable once, by the first of its parents: where it stays in place all of them are inside.
        const osg::DrawablePtr drawable = osg::DrawablePtr::dcast(node->getCore());
        if (drawable != osg::NullFC && drawable->getParents()[0] == node &&
            staysInPlace(drawable, _cores[drawable.getCPtr()]))
            countUses(drawable);
    }

    // Drawables first: a transformation that is also the core of a node is still unscaled when it is cloned
    // for them.
    for (const bool drawables : {true, false}) {
        for (const osg::NodePtr& node : nodes) {
            const osg::NodeCorePtr core = node->getCore();
            if ((osg::DrawablePtr::dcast(core) != osg::NullFC) != drawables)
                continue;
            const osg::NodeCorePtr after = scaledCore(core);
            if (after != core) {
                const osg::CPEditor edit(node, osg::Node::CoreFieldMask);
                node->setCore(after);
            }
        }
    }
}

} // namespace

void zyOptimize::flushSelectedTransformationScales(const osg::NodePtr& root)
{
    if (root == osg::NullFC)
        return;
    osg::Transform3DPtr core = osg::Transform3DPtr::dcast(root->getCore());
    if (core == osg::NullFC)
        return;
    const AxisScale scale(core->getScale());
    if (!scale.isWorthwhile())
        return;

    if (core->getParents().size() > 1) {
        core = osg::Transform3DPtr::dcast(core->shallowCopy());
        const osg::CPEditor edit(root, osg::Node::CoreFieldMask);
        root->setCore(core);
    }
    {
        // T(t) T(p) SH S T(-p) = T(t + p - S p) T(S p) SH T(-S p) S, so that nothing but S goes down.
        const osg::CPEditor edit(core);
        const osg::Pnt3f pivot = core->getScalePivot();
        const osg::Pnt3f scaledPivot = scale.applied(pivot);
        core->setScalePivotTranslation(core->getScalePivotTranslation() + (pivot - scaledPivot));
        core->setScalePivot(scaledPivot);
        core->setScale(osg::Vec3f(1.0f, 1.0f, 1.0f));
    }
    ScaleFlush(scale).run(root);
}
