#pragma once

#include "kelda/KArray.h"

class KFloatArray : public KArray<float>
{
public:
    using KArray<float>::KArray;
    KFloatArray() {}
};
