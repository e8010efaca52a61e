#pragma once

#include "kelda/KArray.h"

class KUintArray : public KArray<unsigned>
{
public:
    using KArray<unsigned>::KArray;
    KUintArray() {}
};
