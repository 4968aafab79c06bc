#include "engine/ScopedFile.h"

ScopedFile::~ScopedFile()
{
    if (isOpen())
        platform::closeFile(handle_);
    reset();
}

bool ScopedFile::open(const std::u16string& path, std::uint32_t disposition, std::uint32_t accessMode,
                      std::uint32_t shareMode, mode_t mode)
{
    path_ = path;
    disposition_ = disposition;
    accessMode_ = accessMode;
    shareMode_ = shareMode;
    handle_ = platform::openFile(path, disposition, accessMode, mode);
    return isOpen();
}

bool ScopedFile::close(bool closeHandle)
{
    bool closed = false;
    if (closeHandle && isOpen())
        closed = platform::closeFile(handle_);
    reset();
    return closed;
}

bool ScopedFile::closeAndDelete()
{
    const std::u16string copy = path_;
    const bool wasOpen = isOpen();
    const bool closed = close(true);
    if (!wasOpen || !closed)
        return false;
    return platform::deleteFile(copy);
}

platform::FileHandle ScopedFile::release()
{
    const platform::FileHandle handle = handle_;
    reset();
    return handle;
}

void ScopedFile::adopt(platform::FileHandle handle)
{
    close(true);
    handle_ = handle;
}

void ScopedFile::reset()
{
    handle_ = platform::InvalidHandle;
    path_.clear();
    shareMode_ = accessMode_ = disposition_ = 0;
}

FilePositionGuard::FilePositionGuard(platform::FileHandle handle) : handle_(handle)
{
    if (handle_ != platform::InvalidHandle)
        known_ = platform::seekFile(handle_, 0, platform::SeekFrom::Current, &position_);
}

FilePositionGuard::~FilePositionGuard()
{
    if (handle_ != platform::InvalidHandle && known_)
        platform::seekFile(handle_, position_, platform::SeekFrom::Begin);
}
