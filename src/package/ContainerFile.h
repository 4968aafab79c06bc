#pragma once
// Reader and writer of the package format on an open file handle. Knows nothing of encryption:
// both layers of an encrypted package are plain ContainerFile objects.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "crypto/HashFile.h"
#include "package/ContainerFormat.h"
#include "engine/EngineCallback.h"
#include "engine/EngineStatus.h"
#include "platform/NativeFile.h"
#include "platform/StreamPipeline.h"

// One stored item: on the writing side a source file, on the reading side a stretch of a package.
// Neither handle is owned.
class ContainerEntry {
public:
    ContainerEntry(std::u16string name, platform::FileHandle sourceFile, std::uint32_t entryType);
    ContainerEntry(std::u16string name, platform::FileHandle containerHandle, std::int64_t dataOffset,
                   std::int64_t dataSize, std::uint32_t entryType);

    // Copies the entry's data to the current position of `target`; the package's position is kept.
    EngineStatus extractTo(platform::FileHandle target);
    // The reports extractTo makes, with its answer to a stop, for data that is read straight from
    // the package instead of being copied out first.
    EngineStatus reportCopy();

    std::u16string name() const { return name_; }
    std::uint32_t type() const { return entryType_; }
    std::int64_t size() const { return dataSize_; }
    std::int64_t dataOffset() const { return dataOffset_; }
    platform::FileHandle sourceFile() const { return sourceFile_; }
    // The source's size where the caller knows it already (-1: ask the file). The source is read
    // from its current position.
    std::int64_t sourceSize() const { return sourceSize_; }
    void setSourceSize(std::int64_t size) { sourceSize_ = size; }
    EngineCallback callback() const { return callback_; }
    KvxUtils::UserParameter* userParameter() const { return userParameter_; }
    void setCallback(EngineCallback callback) { callback_ = callback; }
    void setUserParameter(KvxUtils::UserParameter* userParameter) { userParameter_ = userParameter; }

private:
    std::u16string name_;
    platform::FileHandle sourceFile_ = platform::InvalidHandle;
    platform::FileHandle containerHandle_ = platform::InvalidHandle;
    std::int64_t dataOffset_ = 0;
    std::int64_t dataSize_ = 0;
    std::int64_t sourceSize_ = -1;
    std::uint32_t entryType_ = EntryTypeData;
    EngineCallback callback_ = nullptr;
    KvxUtils::UserParameter* userParameter_ = nullptr;
};

using ContainerEntryList = std::vector<ContainerEntry>;

// The index of a package as extraction reads it: a few bytes for each entry and all names in one
// arena, so that a hostile index of millions of entries costs little more than its own size.
class ContainerIndex {
public:
    std::size_t size() const { return items_.size(); }
    // The entry as an object of its own, reading from the package the index was read from.
    ContainerEntry entry(std::size_t index) const;
    // Bytes the index holds on to.
    std::size_t memoryUse() const { return items_.capacity() * sizeof(Item) + names_.capacity() * sizeof(char16_t); }
    void clear();

private:
    friend class ContainerFile;
    // The names lie one after another in the arena, so each one ends where the next begins.
    struct Item {
        std::int64_t dataOffset;
        std::int64_t dataSize;
        std::uint32_t nameStart;
        std::uint32_t entryType;
    };
    std::vector<Item> items_;
    std::u16string names_;
    platform::FileHandle file_ = platform::InvalidHandle;
};

// Gives both to every entry of the list.
void setEntriesCallback(ContainerEntryList& list, EngineCallback callback, KvxUtils::UserParameter* userParameter);

class ContainerFile {
public:
    ContainerFile() = default;
    ContainerFile(const ContainerFile&) = delete;
    ContainerFile& operator=(const ContainerFile&) = delete;

    void setCallback(EngineCallback callback, KvxUtils::UserParameter* userParameter);
    // Takes the handle of an empty file; the 32 header bytes are written at close.
    EngineStatus openForWrite(platform::FileHandle handle, std::uint32_t containerType);
    // Takes the handle of a file positioned at 0 and verifies magic, entry count and digest. On
    // failure the handle is closed and the failure is reported through OpError first.
    EngineStatus openForRead(platform::FileHandle handle);
    // Like openForRead, but checks only the header's magic and entry count, not the digest, and
    // makes no report: for reading ahead on a second thread while the first checks the digest.
    // Nothing read this way may be used before that check has passed.
    EngineStatus openForReadAhead(platform::FileHandle handle);
    // For a file that the caller has just written and hashed from offset 20 on: the next
    // openForRead compares the header with this digest instead of reading the file again. It
    // still reports the hashing, and a stop there fails the open as it would otherwise.
    void expectDigest(const Md5Digest& digest) { knownDigest_ = digest; }
    EngineStatus addEntry(ContainerEntry& entry);
    // The same for a source whose content (of the entry's source size) was read already: with
    // the same reports and stops.
    EngineStatus addEntry(ContainerEntry& entry, const std::uint8_t* content);
    // Files below this size are gathered with others into one write; the caller may read them
    // whole beforehand.
    static constexpr std::int64_t GatheredFileLimit = 1 << 20;
    // An entry whose data is already in memory; a small one, so no reports and no stop.
    EngineStatus addEntry(const std::u16string& name, std::uint32_t entryType, const std::uint8_t* data,
                          std::size_t size);
    // For data that the caller writes itself, straight after, at the current end of the package:
    // beginEntry writes the entry's header and name for `size` bytes of data, digestWritten takes
    // the data into the running digest as it goes out (from any one thread, in order), and
    // endEntry makes the reports that addEntry would have made for it.
    EngineStatus beginEntry(const std::u16string& name, std::uint32_t entryType, std::int64_t size);
    void digestWritten(const std::uint8_t* data, std::size_t size);
    EngineStatus endEntry(const std::u16string& name, std::int64_t size);
    // A writer that knows how many entries it will add says so before the first one. The digest
    // is then taken while the entries are written, and close has no second pass over the file to
    // make; if the count turns out different, close hashes the file as usual.
    void expectEntries(std::uint32_t count);
    // Appends one entry for each entry of the package; on any failure the list is emptied.
    EngineStatus readEntries(ContainerEntryList& list);
    // Reads the index compactly. An index that would take more memory than the limit is refused
    // as a package that isn't valid (ERROR_BAD_FORMAT); on any failure the index is empty.
    EngineStatus readIndex(ContainerIndex& index);
    // The most memory one index may take; the default is generous for any real package.
    static constexpr std::size_t DefaultIndexLimit = std::size_t(256) << 20;
    void setIndexLimit(std::size_t bytes) { indexLimit_ = bytes; }
    // Writes header and digest if anything was written, then closes the handle.
    EngineStatus close();

    std::uint32_t containerType() const { return containerType_; }
    std::uint32_t entryCount() const { return entryCount_; }
    platform::FileHandle handle() const { return file_; }
    const std::array<std::uint8_t, 16>& hash() const { return hash_; }

private:
    EngineStatus finish();
    // MD5 of the file from offset 20 on, with its reports: the one given if there is one, else
    // read from the file.
    EngineStatus digestOf(platform::FileHandle handle, const std::optional<Md5Digest>& known, Md5Digest& digest);
    // Reads the header (and, with `checkDigest`, hashes the file against it); the position is kept.
    EngineStatus verify(platform::FileHandle handle, ContainerHeader& header, bool checkDigest);
    void adopt(platform::FileHandle handle, const ContainerHeader& header);
    EngineStatus copyData(ContainerEntry& entry, const std::vector<std::uint8_t>& prefix, std::int64_t size);
    // Writes at the end of the package (after what is staged) and feeds the running digest.
    bool put(const std::uint8_t* data, std::size_t size);
    // Adds to what goes out in the next write, which is made once a block has gathered.
    bool stage(const std::uint8_t* data, std::size_t size);
    bool commitStaged();
    // Writes out all that is staged and waits for it.
    bool flushStaged();

    std::uint32_t magic_ = ContainerMagic;
    std::array<std::uint8_t, 16> hash_ {};
    std::uint32_t containerType_ = 0;
    std::uint32_t version_ = ContainerVersion;
    std::uint32_t entryCount_ = 0;
    platform::FileHandle file_ = platform::InvalidHandle;
    std::uint32_t writing_ = 0;
    EngineCallback callback_ = nullptr;
    KvxUtils::UserParameter* userParameter_ = nullptr;
    std::unique_ptr<RunningMd5> running_;
    std::uint32_t expectedEntries_ = 0;
    std::optional<Md5Digest> knownDigest_;
    std::unique_ptr<platform::WriteBehind> stager_;
    std::uint8_t* stageBuffer_ = nullptr;
    std::size_t stagedBytes_ = 0;
    std::size_t indexLimit_ = DefaultIndexLimit;
};
