#pragma once

#include <OpenSG/OSGTransform.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(ComponentTransform, TransformPtr)

/// A transform given by components. Its matrix is made from them, as Matrix::setTransform(translation,
/// rotation, scale, scaleOrientation, center) does, when an edit of any of them ends.
class OSG_PLATFORM_API ComponentTransform : public Transform
{
    OSG_FIELD_CONTAINER(ComponentTransform, Transform)

    OSG_SFIELD(4, Center, center, Vec3f, 0, 0, 0)
    OSG_SFIELD(5, Rotation, rotation, Quaternion, )
    OSG_SFIELD(6, Scale, scale, Vec3f, 1, 1, 1)
    OSG_SFIELD(7, ScaleOrientation, scaleOrientation, Quaternion, )
    OSG_SFIELD(8, Translation, translation, Vec3f, 0, 0, 0)

    void changed(BitVector mask, UInt32 origin) override;

protected:
    ComponentTransform() {}
    ComponentTransform(const ComponentTransform&) = default;

private:
    using Transform::setMatrix;
};

OSG_END_NAMESPACE
