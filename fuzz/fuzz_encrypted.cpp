#include "FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::entryFor("encrypted")(data, size);
    return 0;
}
