#pragma once
// Owner of one OS file handle with the parameters it was opened with. The handle leaves only by
// release(), which is how a ContainerFile is fed.

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "platform/NativeFile.h"

class ScopedFile {
public:
    explicit ScopedFile(platform::FileHandle handle = platform::InvalidHandle) : handle_(handle) {}
    ~ScopedFile();
    ScopedFile(const ScopedFile&) = delete;
    ScopedFile& operator=(const ScopedFile&) = delete;

    // Disposition before access, as the engine's callers pass them. `mode` applies to a file
    // that the call creates.
    bool open(const std::u16string& path, std::uint32_t disposition, std::uint32_t accessMode,
              std::uint32_t shareMode, mode_t mode = platform::UserFileMode);
    bool isOpen() const { return handle_ != platform::InvalidHandle; }
    platform::FileHandle handle() const { return handle_; }
    const std::u16string& path() const { return path_; }
    std::uint32_t shareMode() const { return shareMode_; }
    std::uint32_t accessMode() const { return accessMode_; }
    std::uint32_t disposition() const { return disposition_; }

    // Returns whether a close was made and worked; resets the object in every case.
    bool close(bool closeHandle = true);
    // Deletes the file by name, but only if its handle closed cleanly.
    bool closeAndDelete();
    platform::FileHandle release();
    // Takes ownership of a handle opened elsewhere (a folder walked without following links);
    // closes what the object held before.
    void adopt(platform::FileHandle handle);

private:
    void reset();

    platform::FileHandle handle_;
    std::u16string path_;
    std::uint32_t shareMode_ = 0;
    std::uint32_t accessMode_ = 0;
    std::uint32_t disposition_ = 0;
};

// Puts a file's position back where it was at construction.
class FilePositionGuard {
public:
    explicit FilePositionGuard(platform::FileHandle handle);
    ~FilePositionGuard();
    FilePositionGuard(const FilePositionGuard&) = delete;
    FilePositionGuard& operator=(const FilePositionGuard&) = delete;

private:
    platform::FileHandle handle_;
    std::int64_t position_ = 0;
    bool known_ = false;
};
