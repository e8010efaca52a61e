#pragma once

#include "kelda/KArray.h"
#include "kelda/KObject.h"

class KObjectArray : public KArray<KObject>
{
public:
    using KArray<KObject>::KArray;
    KObjectArray() {}
};
