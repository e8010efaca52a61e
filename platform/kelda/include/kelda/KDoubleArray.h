#pragma once

#include "kelda/KArray.h"

class KDoubleArray : public KArray<double>
{
public:
    using KArray<double>::KArray;
    KDoubleArray() {}
};
