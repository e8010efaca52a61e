#pragma once

#include <OpenSG/OSGFieldContainer.h>
