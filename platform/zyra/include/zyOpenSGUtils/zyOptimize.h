#ifndef ZYOPTIMIZE_H
#define ZYOPTIMIZE_H

#include <zyOpenSGUtils/zyOpenSGUtilsApi.h>

#include <OpenSG/OSGNode.h>

/// Operations that move transformations through a scene without changing what it draws.
class ZYOPENSGUTILS_API zyOptimize
{
public:
    /// Takes the scale out of the `osg::Transform3D` core of `root` and pushes it down through everything
    /// below. Afterwards the scene draws the same, in the same place and size, and the root's scale is (1, 1,
    /// 1).
    ///
    /// With S the root's scale, its matrix A*S becomes A and everything below it is expressed in coordinates
    /// that are S times the former ones:
    ///
    /// - The matrix M of each transformation below becomes S*M*S^-1. For a uniform scale that leaves
    ///   rotation, scale and shear as they are, bit for bit, and multiplies by the scale: the translation
    ///   column of a plain `osg::Transform`; `translation` and `center` of an `osg::ComponentTransform`;
    ///   `translation`, `rotatePivot`, `rotatePivotTranslation`, `scalePivot` and `scalePivotTranslation` of
    ///   an `osg::Transform3D`. For a non-uniform scale the result is exact too: an `osg::Transform3D` gets
    ///   new components, with its pivots folded into the translation where it rotates; an
    ///   `osg::ComponentTransform`, which cannot hold the result, is replaced by an `osg::Transform`.
    /// - The transformation of a drawable is treated the same way.
    /// - Positions of geometry and control points are multiplied by S (homogeneous ones keep their w).
    /// Normals stay as they are
    ///   for a uniform positive scale; otherwise they are multiplied by S^-1 and brought back to their
    ///   length.
    /// - The root's `scalePivot` becomes S*scalePivot, its `scalePivotTranslation` takes up the rest.
    ///
    /// Cores, drawable transformations and properties that are shared stay shared and are scaled once. Those
    /// that are also used outside the subtree are cloned first; the clone is shared by all users inside.
    ///
    /// Nothing happens when `root` is null, has no `osg::Transform3D` core, or its scale is (1, 1, 1), not
    /// finite or not invertible (a component is 0).
    static void flushSelectedTransformationScales(const osg::NodePtr& root);

    /// Pushes the transformations at and below `root` into the geometry: afterwards the scene draws the same,
    /// and all geometry at and below `root` has its coordinates in the system of the root's parent (a root
    /// without parent: of the world).
    ///
    /// - Positions are multiplied by the product of the matrices above them, that of `root` included, and by
    ///   the drawable's own transformation, which goes; control points of surfaces likewise. Flat positions
    ///   become `GeoPositions3f`; homogeneous ones keep their w. Corners keep their order, also where a
    ///   matrix mirrors: on the screen they turn the way they did.
    /// - Normals are multiplied by the inverse transpose and brought back to their length.
    /// - Position and direction of an `osg::Light` at or below `root` keep their place, that is, they follow
    ///   what happens to the system of its beacon, or, without one, of its own node.
    /// - A transformation with geometry or lights below it becomes the identity, of the same type. One with
    ///   neither keeps its place: it takes up what stood above it, and what is below it stays. An
    ///   `osg::ComponentTransform` that cannot hold the result is replaced by an `osg::Transform`.
    /// - A matrix that is not finite or that projects cannot be pushed. It is treated like one without
    ///   geometry.
    ///
    /// Cores and properties that are shared stay shared where they come to the same result; for each further
    /// result, and where they are also used outside, they are cloned once.
    ///
    /// Texture coordinates that a material generates from object coordinates are generated from the new ones
    /// from then on: deliberately, it is to have one system for them that transformations are flushed.
    static void flushTransformations(const osg::NodePtr& root);
};

#endif
