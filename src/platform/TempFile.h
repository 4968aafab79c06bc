#pragma once
// Temporary files of the engine: unique, empty, private from birth, named "KVX…" in $TMPDIR.

#include <string>

namespace platform {

// $TMPDIR if set and not empty, else /tmp; with no trailing separator.
std::u16string tempDirectory();

// Creates a new empty file with mode 0600 and gives its path. False, with the last error set,
// if no file could be made.
bool createTempFile(std::u16string& path);

}  // namespace platform
