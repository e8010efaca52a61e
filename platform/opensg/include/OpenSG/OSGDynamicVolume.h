#pragma once

#include <OpenSG/OSGBoxVolume.h>

OSG_BEGIN_NAMESPACE

/// The volume of a node. It stands for the volume it contains, which is a box; the states of both are one.
class OSG_PLATFORM_API DynamicVolume : public BoxVolume
{
public:
    enum Type { BOX_VOLUME = 0, SPHERE_VOLUME = 1 };

    DynamicVolume() {}
    explicit DynamicVolume(const BoxVolume& box) : BoxVolume(box) {}

    Type getType() const { return BOX_VOLUME; }
    BoxVolume& getInstance() { return *this; }
    const BoxVolume& getInstance() const { return *this; }
};

OSG_END_NAMESPACE
