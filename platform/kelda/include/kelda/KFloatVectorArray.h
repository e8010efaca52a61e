#pragma once

#include "kelda/KArray.h"
#include "kelda/KFloatVector.h"

class KFloatVectorArray : public KArray<KFloatVector>
{
public:
    using KArray<KFloatVector>::KArray;
    KFloatVectorArray() {}
};
