#include "FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::entryFor("certificate")(data, size);
    return 0;
}
