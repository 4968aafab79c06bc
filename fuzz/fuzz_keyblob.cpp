#include "FuzzEntries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::entryFor("keyblob")(data, size);
    return 0;
}
