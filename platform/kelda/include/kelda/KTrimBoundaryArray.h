#pragma once

#include "kelda/KObjectArray.h"

/// Trim boundaries: of each the data objects of its curves, end to start.
class KTrimBoundaryArray : public KArray<KObjectArray>
{
public:
    using KArray<KObjectArray>::KArray;
    KTrimBoundaryArray() {}
};
