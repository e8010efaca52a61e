#pragma once

#include "kelda/KArray.h"
#include "kelda/KTime.h"

class KTimeArray : public KArray<KTime>
{
public:
    using KArray<KTime>::KArray;
    KTimeArray() {}
};
