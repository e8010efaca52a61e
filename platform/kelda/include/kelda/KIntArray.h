#pragma once

#include "kelda/KArray.h"

class KIntArray : public KArray<int>
{
public:
    using KArray<int>::KArray;
    KIntArray() {}
};
