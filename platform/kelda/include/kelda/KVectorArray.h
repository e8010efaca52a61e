#pragma once

#include "kelda/KArray.h"
#include "kelda/KVector.h"

class KVectorArray : public KArray<KVector>
{
public:
    using KArray<KVector>::KArray;
    KVectorArray() {}
};
