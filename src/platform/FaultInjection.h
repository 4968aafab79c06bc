#pragma once
// Faults on demand, for the tests that prove what is left on disk when a call fails. Each kind
// counts down across all threads; when its count reaches zero that one call fails with the code.

#include <cstdint>

namespace platform::faults {

// Unnamed: the file system refuses unnamed temporaries, as some do, so named ones are made.
enum class Kind { Open, Read, Write, Rename, Sync, Unnamed, Count };

// The call after `callsToPass` successful calls of this kind fails with `code`; only once unless
// `sticky` is set, in which case every later call fails as well.
void failAfter(Kind kind, int callsToPass, std::uint32_t code, bool sticky = false);
void reset();

// Used by the platform layer: true if this call is to fail; the last error is then set.
bool shouldFail(Kind kind);

}  // namespace platform::faults
