#pragma once
// MD5 of a file from its current position to its end, with progress.

#include <array>
#include <cstdint>
#include <memory>

#include "engine/EngineCallback.h"
#include "platform/NativeFile.h"

using Md5Digest = std::array<std::uint8_t, 16>;

// Null on a failed read, a bad handle, or a callback that answered 0 (even on the last block).
std::unique_ptr<Md5Digest> hashFile(platform::FileHandle handle, EngineCallback callback,
                                    KvxUtils::UserParameter* userParameter);
