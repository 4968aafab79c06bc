#pragma once
// The "system's last error": one thread-local Windows-style code that every failing platform
// call leaves behind, so that the engine can hand it on in an EngineStatus.

#include <cstdint>

namespace platform {

std::uint32_t lastError();
void setLastError(std::uint32_t code);

// One table maps errno values to the codes the rest of the program knows.
std::uint32_t codeFromErrno(int error);
// Sets the last error from errno (or the given value) and returns the stored code.
std::uint32_t setLastErrorFromErrno(int error);
std::uint32_t setLastErrorFromErrno();

}  // namespace platform
