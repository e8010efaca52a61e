// Arms the faults of a program that is run by a test, before its main() begins.

#include "Faults.h"

#include <kelda/testing/KFaults.h>

#include <cstdlib>

namespace
{
struct ArmFaults {
    ArmFaults()
    {
        if (const char* step = std::getenv("FAULT_KILL"))
            Faults::killAtStep(std::atoi(step));
        if (const char* step = std::getenv("FAULT_FAIL"))
            Faults::failStep(std::atoi(step));
        if (const char* operation = std::getenv("FAULT_SDK"))
            KFaults::failCall(operation);
    }
} const armFaults;
} // namespace
