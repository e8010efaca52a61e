#pragma once

#include <OpenSG/OSGGroup.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Transform, GroupPtr)

/// A group in a system of its own; the matrix takes points from there to the parent's system.
class OSG_PLATFORM_API Transform : public Group
{
    OSG_FIELD_CONTAINER(Transform, Group)

    OSG_SFIELD(3, Matrix, matrix, Matrix, )

    void accumulateMatrix(Matrix& result) override;
    void adjustVolume(Volume& volume) override;
    void changed(BitVector mask, UInt32 origin) override;

protected:
    Transform() {}
    Transform(const Transform&) = default;
};

OSG_END_NAMESPACE
