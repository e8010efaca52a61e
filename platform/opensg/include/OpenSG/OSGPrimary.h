#pragma once

#include <OpenSG/OSGConfig.h>

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGFieldContainer.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGFieldContainerType.h>
#include <OpenSG/OSGFieldDescription.h>
#include <OpenSG/OSGFieldTraits.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMField.h>
#include <OpenSG/OSGSField.h>
