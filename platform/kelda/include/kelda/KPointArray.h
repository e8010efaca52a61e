#pragma once

#include "kelda/KArray.h"
#include "kelda/KPoint.h"

class KPointArray : public KArray<KPoint>
{
public:
    using KArray<KPoint>::KArray;
    KPointArray() {}
};
