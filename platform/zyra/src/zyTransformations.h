#ifndef ZYTRANSFORMATIONS_H
#define ZYTRANSFORMATIONS_H

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGTransform3D.h>

/// Sets components that compose to `matrix`, without pivots: the rotation and the upper triangle of its QR
/// factors. Columns may be zero, but no other dependence is expected of what was composed of such components.
/// An edit of all fields must be open.
void zySetComponents(const osg::Transform3DPtr& transform, const osg::Matrix& matrix);

/// A new plain transformation with the matrix and the attachments of `core`.
osg::TransformPtr zyPlainTransform(const osg::ComponentTransformPtr& core);

#endif
