#pragma once

#include <OpenSG/OSGGeoProperty.h>
