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

// The reports hashFile makes for `length` bytes of a file of `total` bytes, for a digest that
// was taken while the bytes were written. False at a stop, with the last error set to 1223.
bool reportHashProgress(std::int64_t total, std::int64_t length, EngineCallback callback,
                        KvxUtils::UserParameter* userParameter);

// MD5 over bytes as they go by.
class RunningMd5 {
public:
    RunningMd5();
    ~RunningMd5();
    RunningMd5(const RunningMd5&) = delete;
    RunningMd5& operator=(const RunningMd5&) = delete;

    // False if the digest can't be computed; the object is then unusable.
    bool ok() const { return ok_; }
    void update(const void* data, std::size_t size);
    // The digest of everything given; false if any step failed.
    bool finish(Md5Digest& digest);

private:
    struct Context;
    std::unique_ptr<Context> context_;
    bool ok_ = false;
};
