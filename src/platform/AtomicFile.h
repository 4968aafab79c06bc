#pragma once
// Whole-file replacement that a crash or a full disk cannot half-do: the new content goes to a
// temporary file in the same folder, is flushed, and is renamed over the old file.

#include <sys/types.h>

#include <string>
#include <string_view>

namespace platform {

// A new empty file beside `target` (same folder, hidden name derived from it), so that it can
// later be renamed over the target in one step. Created with `mode` in the same call.
bool createSiblingTempFile(const std::u16string& target, std::u16string& path, mode_t mode = 0600);
// Renames `from` over `to`, then flushes the folder so that the rename survives a crash.
bool replaceFile(const std::u16string& from, const std::u16string& to);

bool writeFileAtomically(const std::u16string& path, std::string_view content, mode_t mode = 0600);

// Reads a whole file into `content`; false with the last error set if it cannot be read.
bool readWholeFile(const std::u16string& path, std::string& content);

// Creates one folder level with the given mode; true if it exists afterwards as a folder.
bool makePrivateDirectory(const std::u16string& path, mode_t mode = 0700);

}  // namespace platform
