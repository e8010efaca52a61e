#include "OSGDefaultMaterials.h"
#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGFieldContainerFactory.h>

OSG_BEGIN_NAMESPACE

SystemState GlobalSystemState = Startup;

bool osgInit(Int32, Char8**, UInt16, UInt16, UInt16, bool, bool, bool)
{
    // Prototypes are made when they are first needed; a static object may have asked for a class's type
    // before.
    GlobalSystemState = Running;
    return true;
}

bool osgExit()
{
    if (GlobalSystemState == Running) {
        GlobalSystemState = Shutdown;
        releaseDefaultMaterials();
        FieldContainerFactory::the()->releasePrototypes();
    }
    return true;
}

OSG_END_NAMESPACE
