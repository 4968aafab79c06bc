#include "FuzzEntries.h"

// One libFuzzer program per reader; FUZZ_TARGET names the one this program drives.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fuzzing::Entry entry = fuzzing::entryFor(FUZZ_TARGET);
    entry(data, size);
    return 0;
}
