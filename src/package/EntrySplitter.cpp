#include "package/EntrySplitter.h"

#include <algorithm>

#include "package/ContainerFormat.h"
#include "platform/LastError.h"

namespace {
// The reader of the index refuses longer names; so stops the splitting.
constexpr std::uint64_t MaxNameBytes = 1 << 20;
// The buffer for the inner temporary is written when it holds this much. A hole left for an
// entry's data that is no longer than SmallHole is filled with zeros in the buffer instead,
// which reads the same as a hole and keeps the writes together.
constexpr std::size_t InnerBuffer = 64 << 10;
constexpr std::int64_t SmallHole = 4096;
}  // namespace

EntrySplitter::EntrySplitter(platform::FileHandle inner, platform::FileHandle folder, const std::u16string& folderPath,
                             std::size_t mostFiles)
    : inner_(inner), folder_(folder), folderPath_(folderPath), mostFiles_(folder == platform::InvalidHandle ? 0 : mostFiles)
{
}

bool EntrySplitter::toInner(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return true;
    if (!buffer_.empty()) {
        const std::int64_t gap = innerEnd_ - (bufferStart_ + static_cast<std::int64_t>(buffer_.size()));
        if (gap <= SmallHole)
            buffer_.resize(buffer_.size() + static_cast<std::size_t>(gap));
        else if (!flushInner())
            return false;
    }
    if (buffer_.empty())
        bufferStart_ = innerEnd_;
    if (buffer_.empty() && size >= InnerBuffer) {
        // Large data is written as it comes, not copied first.
        if (innerAt_ != innerEnd_ && !platform::seekFile(inner_, innerEnd_, platform::SeekFrom::Begin))
            return false;
        if (!platform::writeFile(inner_, data, size))
            return false;
        innerEnd_ += static_cast<std::int64_t>(size);
        innerAt_ = innerEnd_;
        return true;
    }
    buffer_.insert(buffer_.end(), data, data + size);
    innerEnd_ += static_cast<std::int64_t>(size);
    return buffer_.size() < InnerBuffer || flushInner();
}

bool EntrySplitter::flushInner()
{
    if (buffer_.empty())
        return true;
    // A hole left for an entry's data is passed over before the next bytes are written.
    if (innerAt_ != bufferStart_ && !platform::seekFile(inner_, bufferStart_, platform::SeekFrom::Begin))
        return false;
    if (!platform::writeFile(inner_, buffer_.data(), buffer_.size()))
        return false;
    innerAt_ = bufferStart_ + static_cast<std::int64_t>(buffer_.size());
    buffer_.clear();
    return true;
}

bool EntrySplitter::gather(const std::uint8_t*& data, std::size_t& size, std::size_t want)
{
    const std::size_t take = std::min(size, want - pending_.size());
    pending_.insert(pending_.end(), data, data + take);
    data += take;
    size -= take;
    return pending_.size() == want;
}

void EntrySplitter::startData()
{
    part_ = Part::Data;
    if (dataLeft_ == 0) {
        endEntry();
        return;
    }
    if (entries_.size() >= mostFiles_)
        return;
    auto file = std::make_unique<platform::PrivateTemp>();
    // Only an unnamed file will do: a named one would show in the folder before the check. It is
    // made with the mode of a new file, which is what it keeps where its name is free.
    if (!file->create(folder_, folderPath_, platform::HiddenTempPrefix, platform::NewUserFileMode) || file->isNamed()) {
        mostFiles_ = 0;
        return;
    }
    current_ = file.get();
    writeback_ = {};
    entries_[position_] = Entry {static_cast<std::int64_t>(dataLeft_), std::move(file)};
}

void EntrySplitter::endEntry()
{
    current_ = nullptr;
    part_ = --entriesLeft_ > 0 ? Part::EntryHeader : Part::Rest;
}

bool EntrySplitter::write(const std::uint8_t* data, std::size_t size)
{
    while (size > 0) {
        const std::uint8_t* start = data;
        switch (part_) {
        case Part::Header:
        case Part::EntryHeader: {
            const bool whole = gather(data, size, part_ == Part::Header ? ContainerHeader::Size : EntryHeader::Size);
            if (!toInner(start, static_cast<std::size_t>(data - start)))
                return false;
            position_ += data - start;
            if (!whole)
                break;
            if (part_ == Part::Header) {
                const ContainerHeader header = ContainerHeader::fromBytes(pending_.data());
                entriesLeft_ = header.entryCount;
                part_ = header.magic == ContainerMagic && entriesLeft_ > 0 ? Part::EntryHeader : Part::Rest;
            } else {
                const EntryHeader header = EntryHeader::fromBytes(pending_.data());
                nameLeft_ = header.nameBytes;
                dataLeft_ = header.dataSize;
                part_ = header.magic == ContainerMagic && nameLeft_ <= MaxNameBytes ? Part::Name : Part::Rest;
                if (part_ == Part::Name && nameLeft_ == 0)
                    startData();
            }
            pending_.clear();
            break;
        }
        case Part::Name: {
            const auto take = static_cast<std::size_t>(std::min<std::uint64_t>(size, nameLeft_));
            if (!toInner(data, take))
                return false;
            data += take;
            size -= take;
            position_ += static_cast<std::int64_t>(take);
            nameLeft_ -= take;
            if (nameLeft_ == 0)
                startData();
            break;
        }
        case Part::Data: {
            const auto take = static_cast<std::size_t>(std::min<std::uint64_t>(size, dataLeft_));
            if (current_) {
                if (!platform::writeFile(current_->handle(), data, take)) {
                    folderFailed_ = true;
                    return false;
                }
                innerEnd_ += static_cast<std::int64_t>(take);  // a hole in the inner package
                // A large file goes to the disk as it comes: where it replaces an older one, the
                // rename over it would otherwise wait while the file system writes out all of it.
                writeback_.wrote(current_->handle(), take);
            } else if (discard_) {
                innerEnd_ += static_cast<std::int64_t>(take);
            } else if (!toInner(data, take)) {
                return false;
            }
            data += take;
            size -= take;
            position_ += static_cast<std::int64_t>(take);
            dataLeft_ -= take;
            if (dataLeft_ == 0)
                endEntry();
            break;
        }
        case Part::Rest:
            if (discard_)
                innerEnd_ += static_cast<std::int64_t>(size);
            else if (!toInner(data, size))
                return false;
            position_ += static_cast<std::int64_t>(size);
            size = 0;
            break;
        }
    }
    return true;
}

bool EntrySplitter::finish()
{
    std::int64_t length = 0;
    if (!flushInner() || !platform::fileSize(inner_, length))
        return false;
    return length >= innerEnd_ || platform::truncateFile(inner_, innerEnd_);
}
