#include <OpenSG/OSGGeometry.h>

#include <OpenSG/OSGFaceIterator.h>
#include <OpenSG/OSGPrimitiveIterator.h>
#include <OpenSG/OSGTriangleIterator.h>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(Geometry, nullptr)

const UInt16 Geometry::MapPosition;
const UInt16 Geometry::MapNormal;
const UInt16 Geometry::MapColor;
const UInt16 Geometry::MapSecondaryColor;
const UInt16 Geometry::MapTexCoords;
const UInt16 Geometry::MapTexCoords1;
const UInt16 Geometry::MapTexCoords2;
const UInt16 Geometry::MapTexCoords3;
const UInt16 Geometry::MapTexCoords4;
const UInt16 Geometry::MapTexCoords5;
const UInt16 Geometry::MapTexCoords6;
const UInt16 Geometry::MapTexCoords7;
const UInt16 Geometry::MapEmpty;

Int16 Geometry::calcMappingIndex(UInt16 attribute) const
{
    for (UInt32 i = _mfIndexMapping.size(); i-- > 0;) {
        if (_mfIndexMapping[i] & attribute) {
            return Int16(i);
        }
    }
    return -1;
}

GeometryPtr Geometry::clone() const
{
    const GeometryPtr copy = GeometryPtr::dcast(shallowCopy());
    const CPEditor edit(copy);
    const FieldContainerType& type = getType();
    for (const UInt32 id : type.getHoldingFields()) {
        if (id == MaterialFieldId) {
            continue;
        }
        Field& field = *copy->getField(id);
        const FieldContainerPtr shared = field.getContainer(0);
        if (shared) {
            const FieldContainerPtr own = shared->shallowCopy();
            copy->acquire(own, true);
            field.setContainer(own);
            copy->release(shared, true);
        }
    }
    if (getTransform()) {
        const Transform3DPtr own = Transform3DPtr::dcast(getTransform()->shallowCopy());
        copy->setTransform(own);
    }
    return copy;
}

const Char8* Geometry::mapType(UInt8 type)
{
    static const Char8* const names[] = {
        "GL_POINTS",         "GL_LINES",        "GL_LINE_LOOP", "GL_LINE_STRIP", "GL_TRIANGLES",
        "GL_TRIANGLE_STRIP", "GL_TRIANGLE_FAN", "GL_QUADS",     "GL_QUAD_STRIP", "GL_POLYGON"};
    return type < sizeof(names) / sizeof(names[0]) ? names[type] : "Unknown Primitive";
}

// -- Volume -----------------------------------------------------------------------------------

/// Extends \a box by \a count points, of which \a point gives one.
template <class PointT>
static void extendByAll(BoxVolume& box, UInt32 count, const PointT& point)
{
    if (count == 0) {
        return;
    }
    Pnt3f low = point(0);
    Pnt3f high = low;
    for (UInt32 i = 1; i < count; ++i) {
        const Pnt3f p = point(i);
        for (UInt32 axis = 0; axis < 3; ++axis) {
            low[axis] = osgMin(low[axis], p[axis]);
            high[axis] = osgMax(high[axis], p[axis]);
        }
    }
    box.extendBy(low);
    box.extendBy(high);
}

void Geometry::adjustVolume(Volume& volume)
{
    const GeoPositionsPtr& positions = getPositions();
    if (!positions) {
        return;
    }
    BoxVolume box;
    const GeoPositions3fPtr common = GeoPositions3fPtr::dcast(positions);
    if (common) {
        const MFPnt3f& points = common->getField();
        extendByAll(box, points.size(), [&points](UInt32 i) { return points[i]; });
    } else {
        extendByAll(box, positions->getSize(), [&positions](UInt32 i) { return positions->getValue(i); });
    }
    if (getTransform()) {
        box.transform(getTransform()->getMatrix());
    }
    volume.extendBy(box);
}

void Geometry::changed(BitVector mask, UInt32 origin)
{
    const BitVector shape =
        TypesFieldMask | LengthsFieldMask | PositionsFieldMask | IndicesFieldMask | IndexMappingFieldMask;
    if (mask & shape) {
        invalidateVolume();
    }
    Inherited::changed(mask, origin);
}

// -- Iteration --------------------------------------------------------------------------------

PrimitiveIterator Geometry::beginPrimitives() const
{
    return PrimitiveIterator(GeometryPtr(*this));
}

TriangleIterator Geometry::beginTriangles() const
{
    return TriangleIterator(GeometryPtr(*this));
}

FaceIterator Geometry::beginFaces() const
{
    return FaceIterator(GeometryPtr(*this));
}

OSG_END_NAMESPACE
