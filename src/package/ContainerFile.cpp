#include "package/ContainerFile.h"

#include <algorithm>
#include <cstring>

#include "crypto/HashFile.h"
#include "engine/ScopedFile.h"
#include "platform/LastError.h"
#include "platform/StreamPipeline.h"

namespace {
// The callbacks keep their 4096-byte granularity; the disk is read and written in far larger
// pieces, so that a large package costs few system calls.
constexpr std::int64_t ProgressBlock = 4096;
constexpr std::int64_t IoBlock = 256 * ProgressBlock;
static_assert(IoBlock == ContainerFile::GatheredFileLimit);
// No writer makes a name anywhere near this long (a path is at most a few thousand characters);
// refusing longer ones keeps a hostile name length from becoming a huge allocation.
constexpr std::uint32_t MaxNameBytes = 1 << 20;
// Room for a block of gathered small files and the one that fills it, with its header and name.
constexpr std::size_t StageCapacity = 2 * IoBlock + 64 * 1024;

EngineStatus lastErrorStatus() { return EngineStatus(platform::lastError(), SeverityError); }

std::vector<std::uint8_t> encodeName(const std::u16string& name)
{
    std::vector<std::uint8_t> bytes;
    if (name.empty())
        return bytes;
    bytes.reserve(name.size() * 2 + 2);
    for (char16_t unit : name) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    bytes.push_back(0);
    bytes.push_back(0);
    return bytes;
}

// The text up to the first 16-bit zero; an odd last byte has no unit and is ignored.
std::u16string decodeName(const std::vector<std::uint8_t>& bytes)
{
    std::u16string name;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const char16_t unit = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
        if (unit == 0)
            break;
        name += unit;
    }
    return name;
}
// An entry's header and name, as they stand before its data.
std::vector<std::uint8_t> entryPrefix(const std::u16string& name, std::uint32_t entryType, std::int64_t size)
{
    const std::vector<std::uint8_t> nameField = encodeName(name);
    EntryHeader header;
    header.entryType = entryType;
    header.nameBytes = static_cast<std::uint32_t>(nameField.size());
    header.dataSize = static_cast<std::uint64_t>(size);
    std::vector<std::uint8_t> prefix(EntryHeader::Size);
    header.toBytes(prefix.data());
    prefix.insert(prefix.end(), nameField.begin(), nameField.end());
    return prefix;
}

// Reports the progress blocks from `processed` up to `chunkEnd`, one callback each. The record
// points to the name only while a report runs, since the name may die before the next one. False
// at the first stop; `processed` then says how far the reports went.
bool reportBlocks(EngineCallback callback, std::uint32_t operation, std::int64_t total, std::int64_t& processed,
                  std::int64_t chunkEnd, KvxUtils::UserParameter* record, const std::u16string& name)
{
    while (processed < chunkEnd) {
        processed = std::min(processed + ProgressBlock, chunkEnd);
        if (!callback)
            continue;
        if (record)
            record->fileName = name.c_str();
        const int goOn = callback(operation, total, processed, record);
        if (record)
            record->fileName = nullptr;
        if (goOn == 0)
            return false;
    }
    return true;
}
}  // namespace

ContainerEntry::ContainerEntry(std::u16string name, platform::FileHandle sourceFile, std::uint32_t entryType)
    : name_(std::move(name)), sourceFile_(sourceFile), entryType_(entryType)
{
}

ContainerEntry::ContainerEntry(std::u16string name, platform::FileHandle containerHandle, std::int64_t dataOffset,
                               std::int64_t dataSize, std::uint32_t entryType)
    : name_(std::move(name)), containerHandle_(containerHandle), dataOffset_(dataOffset), dataSize_(dataSize),
      entryType_(entryType)
{
}

EngineStatus ContainerEntry::extractTo(platform::FileHandle target)
{
    if (target == platform::InvalidHandle || containerHandle_ == platform::InvalidHandle || dataSize_ == 0)
        return EngineStatus(win::ERROR_INVALID_HANDLE, SeverityError);

    // Nothing here needs the bytes themselves, so the kernel copies them: no pass through this
    // process, and no copy at all where the file system can share blocks.
    // The walk of the entries made sure the data lies within the package.
    EngineStatus status;
    std::int64_t processed = 0;
    while (processed < dataSize_ && status.ok()) {
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(dataSize_ - processed, IoBlock));
        std::size_t got = 0;
        if (!platform::copyRange(containerHandle_, dataOffset_ + processed, target, want, got)) {
            status = lastErrorStatus();
            break;
        }
        if (got < want) {
            // The package ends before the entry does.
            status = EngineStatus(0, SeverityError);
            break;
        }
        const std::int64_t chunkEnd = processed + static_cast<std::int64_t>(got);
        if (!reportBlocks(callback_, OpExtractFile, dataSize_, processed, chunkEnd, userParameter_, name_)) {
            status = EngineStatus(win::ERROR_CANCELLED, SeverityError);
            // The target keeps exactly the blocks that were reported as copied.
            std::int64_t end = 0;
            if (platform::seekFile(target, 0, platform::SeekFrom::Current, &end)) {
                const std::int64_t keep = end - (chunkEnd - processed);
                platform::truncateFile(target, keep);
                platform::seekFile(target, keep, platform::SeekFrom::Begin);
            }
        }
    }
    return status;
}

EngineStatus ContainerEntry::reportCopy()
{
    if (containerHandle_ == platform::InvalidHandle || dataSize_ == 0)
        return EngineStatus(win::ERROR_INVALID_HANDLE, SeverityError);
    std::int64_t processed = 0;
    if (!reportBlocks(callback_, OpExtractFile, dataSize_, processed, dataSize_, userParameter_, name_))
        return EngineStatus(win::ERROR_CANCELLED, SeverityError);
    return EngineStatus();
}

void setEntriesCallback(ContainerEntryList& list, EngineCallback callback, KvxUtils::UserParameter* userParameter)
{
    for (ContainerEntry& entry : list) {
        entry.setCallback(callback);
        entry.setUserParameter(userParameter);
    }
}

void ContainerFile::setCallback(EngineCallback callback, KvxUtils::UserParameter* userParameter)
{
    callback_ = callback;
    userParameter_ = userParameter;
}

EngineStatus ContainerFile::openForWrite(platform::FileHandle handle, std::uint32_t containerType)
{
    if (handle == platform::InvalidHandle)
        return EngineStatus(win::ERROR_INVALID_HANDLE, SeverityError);
    file_ = handle;
    containerType_ = containerType;
    if (!platform::seekFile(file_, ContainerHeader::Size, platform::SeekFrom::Begin))
        return lastErrorStatus();
    writing_ = 1;
    return EngineStatus();
}

EngineStatus ContainerFile::addEntry(ContainerEntry& entry)
{
    if (file_ == platform::InvalidHandle || entry.sourceFile() == platform::InvalidHandle)
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);

    std::int64_t size = entry.sourceSize();
    if (size < 0 && !platform::fileSize(entry.sourceFile(), size))
        size = 0;

    const std::vector<std::uint8_t> prefix = entryPrefix(entry.name(), entry.type(), size);

    EngineStatus status;
    if (size > 0) {
        status = copyData(entry, prefix, size);
    } else if (!stage(prefix.data(), prefix.size())) {
        status = lastErrorStatus();
    }
    if (status.ok())
        ++entryCount_;
    return status;
}

EngineStatus ContainerFile::addEntry(const std::u16string& name, std::uint32_t entryType, const std::uint8_t* data,
                                     std::size_t size)
{
    if (file_ == platform::InvalidHandle || (size > 0 && !data))
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    std::vector<std::uint8_t> bytes = entryPrefix(name, entryType, static_cast<std::int64_t>(size));
    bytes.insert(bytes.end(), data, data + size);
    if (!put(bytes.data(), bytes.size()))
        return lastErrorStatus();
    ++entryCount_;
    return EngineStatus();
}

EngineStatus ContainerFile::beginEntry(const std::u16string& name, std::uint32_t entryType, std::int64_t size)
{
    if (file_ == platform::InvalidHandle || size < 0)
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    const std::vector<std::uint8_t> prefix = entryPrefix(name, entryType, size);
    if (!put(prefix.data(), prefix.size()))
        return lastErrorStatus();
    ++entryCount_;
    return EngineStatus();
}

void ContainerFile::digestWritten(const std::uint8_t* data, std::size_t size)
{
    if (running_)
        running_->update(data, size);
}

EngineStatus ContainerFile::endEntry(const std::u16string& name, std::int64_t size)
{
    std::int64_t processed = 0;
    EngineStatus status;
    if (!reportBlocks(callback_, OpWriteFile, size, processed, size, userParameter_, name))
        status.setSeverity(SeverityStopped);
    return status;
}

EngineStatus ContainerFile::addEntry(ContainerEntry& entry, const std::uint8_t* content)
{
    const std::int64_t size = entry.sourceSize();
    if (file_ == platform::InvalidHandle || size < 0 || size >= GatheredFileLimit || (size > 0 && !content))
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    const std::vector<std::uint8_t> prefix = entryPrefix(entry.name(), entry.type(), size);
    if (!stage(prefix.data(), prefix.size()) || (size > 0 && !stage(content, static_cast<std::size_t>(size))))
        return lastErrorStatus();
    EngineStatus status;
    std::int64_t processed = 0;
    if (!reportBlocks(entry.callback(), OpWriteFile, size, processed, size, userParameter_, entry.name()))
        status.setSeverity(SeverityStopped);
    if (status.ok())
        ++entryCount_;
    return status;
}

EngineStatus ContainerFile::copyData(ContainerEntry& entry, const std::vector<std::uint8_t>& prefix, std::int64_t size)
{
    const platform::FileHandle source = entry.sourceFile();
    // Files smaller than a block are gathered with their headers and names, and many of them go
    // out in one write. A larger one is read and written on a second thread ahead of the
    // reports, and this one only hashes what went by.
    const bool gather = size < IoBlock;
    if (!gather && !put(prefix.data(), prefix.size()))
        return lastErrorStatus();
    // `size` is what the file system gave a moment ago; a file that shrinks since is caught below.
    platform::ReadAhead reader(source, static_cast<std::size_t>(IoBlock), static_cast<std::uint64_t>(size), true,
                               gather ? platform::InvalidHandle : file_);

    EngineStatus status;
    std::int64_t processed = 0;
    const EngineCallback callback = entry.callback();
    // One copy of the name serves every report of this entry.
    const std::u16string nameCopy = entry.name();
    while (processed < size && status.ok()) {
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(size - processed, IoBlock));
        const std::uint8_t* block = nullptr;
        std::size_t got = 0;
        if (!reader.next(block, got)) {
            status = lastErrorStatus();
            break;
        }
        if (got < want) {
            // The file shrank while it was copied; the entry's size would no longer match its data.
            status = EngineStatus(win::ERROR_HANDLE_EOF, SeverityError);
            break;
        }
        if (gather) {
            if (!stage(prefix.data(), prefix.size()) || !stage(block, got)) {
                status = lastErrorStatus();
                break;
            }
        } else if (running_) {
            running_->update(block, got);
        }
        const std::int64_t chunkEnd = processed + static_cast<std::int64_t>(got);
        if (!reportBlocks(callback, OpWriteFile, size, processed, chunkEnd, userParameter_, nameCopy))
            status.setSeverity(SeverityStopped);
    }
    return status;
}

void ContainerFile::expectEntries(std::uint32_t count)
{
    if (writing_ != 1 || entryCount_ != 0)
        return;
    running_ = std::make_unique<RunningMd5>();
    expectedEntries_ = count;
    // The digest begins at the container type; the header's fields from there on are known now.
    ContainerHeader header;
    header.containerType = containerType_;
    header.version = version_;
    header.entryCount = count;
    std::uint8_t bytes[ContainerHeader::Size];
    header.toBytes(bytes);
    running_->update(bytes + HashedRangeStart, ContainerHeader::Size - HashedRangeStart);
}

bool ContainerFile::stage(const std::uint8_t* data, std::size_t size)
{
    if (running_)
        running_->update(data, size);
    if (!stager_) {
        // The writes of gathered files go out on a thread of their own while this one reads and
        // hashes the next files.
        stager_ = std::make_unique<platform::WriteBehind>(file_, StageCapacity, UINT64_MAX);
        stageBuffer_ = stager_->acquire();
        stagedBytes_ = 0;
    }
    if (!stageBuffer_)
        return false;  // an earlier write failed; the last error says why
    if (stagedBytes_ + size > StageCapacity) {
        if (stagedBytes_ > 0 && !commitStaged())
            return false;
        if (size > StageCapacity)
            return stager_->finish() && platform::writeFile(file_, data, size);
    }
    std::memcpy(stageBuffer_ + stagedBytes_, data, size);
    stagedBytes_ += size;
    return stagedBytes_ < static_cast<std::size_t>(IoBlock) || commitStaged();
}

bool ContainerFile::commitStaged()
{
    const bool committed = stager_->commit(stagedBytes_);
    stagedBytes_ = 0;
    stageBuffer_ = committed ? stager_->acquire() : nullptr;
    return committed;
}

bool ContainerFile::flushStaged()
{
    if (!stager_)
        return true;
    return (stagedBytes_ == 0 || commitStaged()) && stager_->finish();
}

bool ContainerFile::put(const std::uint8_t* data, std::size_t size)
{
    if (!flushStaged() || !platform::writeFile(file_, data, size))
        return false;
    if (running_)
        running_->update(data, size);
    return true;
}

EngineStatus ContainerFile::finish()
{
    if (!flushStaged())
        return lastErrorStatus();
    ContainerHeader header;
    header.magic = magic_;
    header.containerType = containerType_;
    header.version = version_;
    header.entryCount = entryCount_;
    std::uint8_t bytes[ContainerHeader::Size];
    header.toBytes(bytes);
    if (!platform::seekFile(file_, 0, platform::SeekFrom::Begin) || !platform::writeFile(file_, bytes, sizeof bytes))
        return lastErrorStatus();
    std::optional<Md5Digest> early;
    Md5Digest taken {};
    if (running_ && entryCount_ == expectedEntries_ && running_->finish(taken))
        early = taken;
    running_.reset();
    const EngineStatus hashed = digestOf(file_, early, hash_);
    if (!hashed.ok())
        return hashed;
    if (!platform::seekFile(file_, 4, platform::SeekFrom::Begin) || !platform::writeFile(file_, hash_.data(), hash_.size()))
        return lastErrorStatus();
    return EngineStatus();
}

EngineStatus ContainerFile::digestOf(platform::FileHandle handle, const std::optional<Md5Digest>& known,
                                     Md5Digest& digest)
{
    if (known) {
        // The digest was taken on the way; the reports still come, so that the hashing shows
        // and can be stopped as it could be if the file were read again.
        std::int64_t total = 0;
        if (!platform::fileSize(handle, total))
            return lastErrorStatus();
        if (!reportHashProgress(total, total - HashedRangeStart, callback_, userParameter_))
            return EngineStatus(win::NTE_BAD_HASH, SeverityError);
        digest = *known;
        return EngineStatus();
    }
    if (!platform::seekFile(handle, HashedRangeStart, platform::SeekFrom::Begin))
        return lastErrorStatus();
    const auto computed = hashFile(handle, callback_, userParameter_);
    if (!computed)
        return EngineStatus(win::NTE_BAD_HASH, SeverityError);
    digest = *computed;
    return EngineStatus();
}

EngineStatus ContainerFile::close()
{
    EngineStatus status;
    if (writing_ == 1 && entryCount_ > 0)
        status = finish();
    if (file_ != platform::InvalidHandle)
        platform::closeFile(file_);
    writing_ = 0;
    stager_.reset();
    stageBuffer_ = nullptr;
    stagedBytes_ = 0;
    running_.reset();
    expectedEntries_ = 0;
    file_ = platform::InvalidHandle;
    callback_ = nullptr;
    userParameter_ = nullptr;
    entryCount_ = 0;
    containerType_ = ContainerTypePlain;
    hash_.fill(0);
    return status;
}

EngineStatus ContainerFile::verify(platform::FileHandle handle, ContainerHeader& header, bool checkDigest)
{
    const std::optional<Md5Digest> known = knownDigest_;
    knownDigest_.reset();
    FilePositionGuard guard(handle);
    std::uint8_t bytes[ContainerHeader::Size];
    std::size_t got = 0;
    if (!platform::readFile(handle, bytes, sizeof bytes, got))
        return lastErrorStatus();
    // The read itself went well, so whatever the last error holds is left over from elsewhere.
    if (got < sizeof bytes)
        return EngineStatus(win::ERROR_HANDLE_EOF, SeverityError);
    header = ContainerHeader::fromBytes(bytes);
    if (header.magic != ContainerMagic || header.entryCount == 0)
        return EngineStatus(win::ERROR_BAD_FORMAT, SeverityError);
    if (!checkDigest)
        return EngineStatus();
    Md5Digest digest {};
    const EngineStatus hashed = digestOf(handle, known, digest);
    if (!hashed.ok())
        return hashed;
    if (digest != header.hash)
        return EngineStatus(win::ERROR_BAD_FORMAT, SeverityError);
    return EngineStatus();
}

EngineStatus ContainerFile::openForRead(platform::FileHandle handle)
{
    if (handle == platform::InvalidHandle)
        return EngineStatus(win::ERROR_INVALID_HANDLE, SeverityError);
    ContainerHeader header;
    EngineStatus status = verify(handle, header, true);
    if (!status.ok()) {
        if (userParameter_) {
            userParameter_->status = status;
            userParameter_->fileName = nullptr;
        }
        if (callback_)
            callback_(OpError, 0, 0, userParameter_);
        platform::closeFile(handle);
        return status;
    }
    adopt(handle, header);
    return status;
}

EngineStatus ContainerFile::openForReadAhead(platform::FileHandle handle)
{
    if (handle == platform::InvalidHandle)
        return EngineStatus(win::ERROR_INVALID_HANDLE, SeverityError);
    ContainerHeader header;
    const EngineStatus status = verify(handle, header, false);
    if (!status.ok()) {
        platform::closeFile(handle);
        return status;
    }
    adopt(handle, header);
    return status;
}

void ContainerFile::adopt(platform::FileHandle handle, const ContainerHeader& header)
{
    file_ = handle;
    hash_ = header.hash;
    containerType_ = header.containerType;
    version_ = header.version;
    entryCount_ = header.entryCount;
}

namespace {
// Reads the index front to back in large pieces: an index of millions of small entries would
// otherwise cost three system calls per entry.
class IndexReader {
public:
    IndexReader(platform::FileHandle file, std::int64_t position) : file_(file), position_(position) {}

    bool read(std::uint8_t* out, std::size_t size)
    {
        while (size > 0) {
            if (start_ == buffer_.size() && !fill())
                return false;
            const std::size_t take = std::min(size, buffer_.size() - start_);
            std::memcpy(out, buffer_.data() + start_, take);
            start_ += take;
            position_ += static_cast<std::int64_t>(take);
            out += take;
            size -= take;
        }
        return true;
    }
    void skip(std::int64_t distance)
    {
        const auto left = static_cast<std::int64_t>(buffer_.size() - start_);
        if (distance <= left) {
            start_ += static_cast<std::size_t>(distance);
        } else {
            buffer_.clear();
            start_ = 0;
        }
        position_ += distance;
    }
    std::int64_t position() const { return position_; }

private:
    bool fill()
    {
        buffer_.resize(Piece);
        std::size_t got = 0;
        if (!platform::seekFile(file_, position_, platform::SeekFrom::Begin)
            || !platform::readFile(file_, buffer_.data(), buffer_.size(), got) || got == 0) {
            buffer_.clear();
            start_ = 0;
            return false;
        }
        buffer_.resize(got);
        start_ = 0;
        return true;
    }

    static constexpr std::size_t Piece = 64 * 1024;
    platform::FileHandle file_;
    std::int64_t position_;
    std::vector<std::uint8_t> buffer_;
    std::size_t start_ = 0;
};
}  // namespace

ContainerEntry ContainerIndex::entry(std::size_t index) const
{
    const Item& item = items_.at(index);
    const std::size_t nameEnd = index + 1 < items_.size() ? items_[index + 1].nameStart : names_.size();
    return ContainerEntry(names_.substr(item.nameStart, nameEnd - item.nameStart), file_, item.dataOffset,
                          item.dataSize, item.entryType);
}

void ContainerIndex::clear()
{
    items_.clear();
    items_.shrink_to_fit();
    names_.clear();
    names_.shrink_to_fit();
    file_ = platform::InvalidHandle;
}

EngineStatus ContainerFile::readIndex(ContainerIndex& index)
{
    index.clear();
    if (file_ == platform::InvalidHandle || entryCount_ == 0)
        return EngineStatus(win::ERROR_INVALID_HANDLE, SeverityError);

    const EngineStatus badFormat(win::ERROR_BAD_FORMAT, SeverityError);
    auto fail = [&] {
        index.clear();
        return badFormat;
    };

    std::int64_t fileLength = 0;
    if (!platform::fileSize(file_, fileLength))
        return fail();
    // Every entry takes at least its 20 header bytes, so a count the file can't hold is refused
    // before anything is allocated for it; so is one whose index alone would pass the limit.
    if (static_cast<std::uint64_t>(entryCount_) * EntryHeader::Size
            > static_cast<std::uint64_t>(fileLength - static_cast<std::int64_t>(ContainerHeader::Size))
        || static_cast<std::uint64_t>(entryCount_) * sizeof(ContainerIndex::Item) > indexLimit_)
        return fail();
    try {
        index.items_.reserve(entryCount_);
    } catch (const std::bad_alloc&) {
        return fail();
    }
    const std::size_t itemBytes = index.items_.capacity() * sizeof(ContainerIndex::Item);

    IndexReader reader(file_, ContainerHeader::Size);
    std::vector<std::uint8_t> field;
    for (std::uint32_t i = 0; i < entryCount_; ++i) {
        std::uint8_t bytes[EntryHeader::Size];
        if (!reader.read(bytes, sizeof bytes))
            return fail();
        const EntryHeader header = EntryHeader::fromBytes(bytes);
        if (header.magic != ContainerMagic)
            return fail();

        ContainerIndex::Item item {};
        item.nameStart = static_cast<std::uint32_t>(index.names_.size());
        if (header.nameBytes > 0) {
            // A name can't be longer than what is left of the file; checking first keeps a hostile
            // length from turning into a huge allocation.
            if (header.nameBytes > MaxNameBytes
                || header.nameBytes > static_cast<std::uint64_t>(fileLength - reader.position()))
                return fail();
            field.resize(header.nameBytes);
            if (!reader.read(field.data(), field.size()))
                return fail();
            const std::u16string name = decodeName(field);
            // The arena grows by half at a time, and never past the limit.
            const std::size_t needed = index.names_.size() + name.size();
            if (itemBytes + needed * sizeof(char16_t) > indexLimit_)
                return fail();
            if (needed > index.names_.capacity()) {
                const std::size_t grown = std::max(needed, index.names_.capacity() + index.names_.capacity() / 2);
                const std::size_t room = (indexLimit_ - itemBytes) / sizeof(char16_t);
                try {
                    index.names_.reserve(std::min(grown, room));
                } catch (const std::bad_alloc&) {
                    return fail();
                }
            }
            index.names_ += name;
        }
        if (header.dataSize > static_cast<std::uint64_t>(fileLength - reader.position()))
            return fail();
        item.dataOffset = reader.position();
        item.dataSize = static_cast<std::int64_t>(header.dataSize);
        item.entryType = header.entryType;
        index.items_.push_back(item);
        reader.skip(item.dataSize);
    }
    index.file_ = file_;
    return EngineStatus();
}

EngineStatus ContainerFile::readEntries(ContainerEntryList& list)
{
    ContainerIndex index;
    const EngineStatus status = readIndex(index);
    if (!status.ok())
        return status;
    const std::size_t firstNew = list.size();
    try {
        list.reserve(firstNew + index.size());
        for (std::size_t i = 0; i < index.size(); ++i)
            list.push_back(index.entry(i));
    } catch (const std::bad_alloc&) {
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(firstNew), list.end());
        return EngineStatus(win::ERROR_BAD_FORMAT, SeverityError);
    }
    return EngineStatus();
}
