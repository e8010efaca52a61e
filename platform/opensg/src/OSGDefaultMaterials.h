#pragma once

#include <OpenSG/OSGConfig.h>

OSG_BEGIN_NAMESPACE

/// Gives up the library's references to the default materials.
void releaseDefaultMaterials();

OSG_END_NAMESPACE
