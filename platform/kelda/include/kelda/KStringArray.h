#pragma once

#include "kelda/KArray.h"
#include "kelda/KString.h"

class KStringArray : public KArray<KString>
{
public:
    using KArray<KString>::KArray;
    KStringArray() {}
};
