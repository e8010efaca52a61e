#pragma once

#include "kelda/KArray.h"
#include "kelda/KFloatPoint.h"

class KFloatPointArray : public KArray<KFloatPoint>
{
public:
    using KArray<KFloatPoint>::KArray;
    KFloatPointArray() {}
};
