#pragma once

#include "kelda/KArray.h"
#include "kelda/KPlug.h"

class KPlugArray : public KArray<KPlug>
{
public:
    using KArray<KPlug>::KArray;
    KPlugArray() {}
};
