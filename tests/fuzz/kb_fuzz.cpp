#include "fuzzScene.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count)
{
    fuzzScene(bytes, count, "keldaAscii");
    return 0;
}
