#pragma once

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGSimpleMaterial.h>

OSG_BEGIN_NAMESPACE

/// The material of geometry that has none: one per process, unnamed, referenced by the library. Null before
/// osgInit.
OSG_PLATFORM_API MaterialPtr getDefaultMaterial();
/// The same, not lit.
OSG_PLATFORM_API MaterialPtr getDefaultUnlitMaterial();

/// Rectangle in the xy plane, centred at the origin, normal +z, in \a vertical strips of \a horizontal quads
/// (at least one each), with normals and texture coordinates 0..1 and the default material.
OSG_PLATFORM_API GeometryPtr makePlaneGeo(Real32 sizeX, Real32 sizeY, UInt16 horizontal, UInt16 vertical);
/// Box around the origin; the faces are +z -z +x -x +y -y, each as a plane divided by the numbers along its
/// sides.
OSG_PLATFORM_API GeometryPtr makeBoxGeo(Real32 sizeX, Real32 sizeY, Real32 sizeZ, UInt16 horizontal,
                                        UInt16 vertical, UInt16 depth);

/// New node around the geometry.
OSG_PLATFORM_API NodePtr makePlane(Real32 sizeX, Real32 sizeY, UInt16 horizontal, UInt16 vertical);
OSG_PLATFORM_API NodePtr makeBox(Real32 sizeX, Real32 sizeY, Real32 sizeZ, UInt16 horizontal, UInt16 vertical,
                                 UInt16 depth);

OSG_END_NAMESPACE
