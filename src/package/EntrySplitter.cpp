#include "package/EntrySplitter.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

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
// Packages of fewer entries make their files as they go; a thread would cost more than it saves.
constexpr std::uint32_t ManyEntries = 64;
// How many files are made ahead of the entries that take them.
constexpr std::size_t FilesAhead = 64;

std::unique_ptr<platform::PrivateTemp> newEntryFile(platform::FileHandle folder, const std::u16string& folderPath)
{
    auto file = std::make_unique<platform::PrivateTemp>();
    // Only an unnamed file will do: a named one would show in the folder before the check. It is
    // made with the mode of a new file, which is what it keeps where its name is free.
    if (!file->create(folder, folderPath, platform::HiddenTempPrefix, platform::NewUserFileMode) || file->isNamed())
        return nullptr;
    return file;
}
}  // namespace

// Makes the unnamed files for the entries ahead of them, on a thread of its own, at most `most`
// of them and never more than FilesAhead waiting. The files have no name, so making them early
// changes nothing of what the folder shows; those never taken vanish with the maker.
class FileMaker {
public:
    FileMaker(platform::FileHandle folder, const std::u16string& folderPath, std::size_t most)
        : folder_(platform::duplicateHandle(folder)), folderPath_(folderPath), left_(most)
    {
        if (folder_ == platform::InvalidHandle)
            throw std::system_error(std::make_error_code(std::errc::too_many_files_open));
        try {
            thread_ = std::thread(&FileMaker::run, this);
        } catch (...) {
            platform::closeFile(folder_);
            throw;
        }
    }
    ~FileMaker()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
        }
        changed_.notify_all();
        thread_.join();
        ready_.clear();
        platform::closeFile(folder_);
    }
    FileMaker(const FileMaker&) = delete;
    FileMaker& operator=(const FileMaker&) = delete;

    // The next file; null once no more can or may be made.
    std::unique_ptr<platform::PrivateTemp> take()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return !ready_.empty() || done_; });
        if (ready_.empty())
            return nullptr;
        auto file = std::move(ready_.front());
        ready_.pop_front();
        lock.unlock();
        changed_.notify_all();
        return file;
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        while (left_ > 0) {
            changed_.wait(lock, [this] { return ready_.size() < FilesAhead || stop_; });
            if (stop_)
                break;
            lock.unlock();
            auto file = newEntryFile(folder_, folderPath_);
            lock.lock();
            if (!file)
                break;
            ready_.push_back(std::move(file));
            --left_;
            changed_.notify_all();
        }
        done_ = true;
        changed_.notify_all();
    }

    platform::FileHandle folder_;
    std::u16string folderPath_;
    std::size_t left_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::unique_ptr<platform::PrivateTemp>> ready_;
    bool stop_ = false;
    bool done_ = false;
    std::thread thread_;
};

EntrySplitter::EntrySplitter(platform::FileHandle inner, platform::FileHandle folder, const std::u16string& folderPath,
                             std::size_t mostFiles)
    : inner_(inner), folder_(folder), folderPath_(folderPath), mostFiles_(folder == platform::InvalidHandle ? 0 : mostFiles)
{
}

EntrySplitter::~EntrySplitter() = default;

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
    auto file = maker_ ? maker_->take() : newEntryFile(folder_, folderPath_);
    if (!file) {
        mostFiles_ = 0;
        maker_.reset();
        return;
    }
    current_ = file.get();
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
                if (part_ == Part::EntryHeader && entriesLeft_ >= ManyEntries && mostFiles_ >= ManyEntries) {
                    // Without a thread the files are made here, as for a small package.
                    try {
                        maker_ = std::make_unique<FileMaker>(folder_, folderPath_,
                                                             std::min<std::size_t>(mostFiles_, entriesLeft_));
                    } catch (const std::exception&) {
                    }
                }
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
    // Files made for entries that never came go now, not with the splitter.
    maker_.reset();
    std::int64_t length = 0;
    if (!flushInner() || !platform::fileSize(inner_, length))
        return false;
    return length >= innerEnd_ || platform::truncateFile(inner_, innerEnd_);
}
