#ifndef ZYGEOMETRYREPAIR_H
#define ZYGEOMETRYREPAIR_H

#include <OpenSG/OSGGeometry.h>

#include <string>

/// What was wrong with one geometry, counted.
struct zyGeometryDamage {
    // primitives dropped
    unsigned int tooShort = 0;
    unsigned int collapsed = 0; ///< polygons with fewer than three different positions
    unsigned int beyondEnd = 0;
    unsigned int unknownType = 0;
    unsigned int triangles = 0; ///< that the dropped primitives would have given
    // everything else
    unsigned int indicesCorrected = 0;
    unsigned int surplusTypes = 0;
    unsigned int surplusLengths = 0;
    unsigned int surplusCorners = 0;

    unsigned int droppedPrimitives() const { return tooShort + collapsed + beyondEnd + unknownType; }
    unsigned int repairs() const
    {
        return droppedPrimitives() + indicesCorrected + surplusTypes + surplusLengths + surplusCorners;
    }
    /// For people: each kind of damage and how often it was met.
    std::string description() const;
};

/// Repairs one geometry; zyNodeUtils::repairGeometry() says what counts as damage.
/// @return false when the geometry is sound: then it was only read.
bool zyRepairGeometry(const osg::GeometryPtr& geo, zyGeometryDamage& damage);

#endif
