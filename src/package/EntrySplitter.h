#pragma once
// Takes an inner package as it is decrypted. The data of each entry goes straight into an
// unnamed file of its own in the extraction folder; everything else goes into the inner
// package's temporary, which keeps a hole where such an entry's data would be. Once both digests
// have matched, each entry's file is linked to its name and its data is never copied. The files
// have no name before then, so nothing unverified ever shows in the user's folder.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/NativeFile.h"
#include "platform/TempFile.h"

class EntrySplitter {
public:
    // `inner`: the inner package's temporary, written from its current position. `folder`: the
    // extraction folder, open (InvalidHandle: everything goes to `inner`). At most `mostFiles`
    // entries get files of their own; the data of the others goes to `inner` as before.
    EntrySplitter(platform::FileHandle inner, platform::FileHandle folder, const std::u16string& folderPath,
                  std::size_t mostFiles);
    EntrySplitter(const EntrySplitter&) = delete;
    EntrySplitter& operator=(const EntrySplitter&) = delete;

    // Takes the next bytes of the inner package; false, with the last error set, if a write
    // failed. `folderFailed` then says whether it was a write in the extraction folder.
    bool write(const std::uint8_t* data, std::size_t size);
    bool folderFailed() const { return folderFailed_; }
    // Keeps only the header, the entry headers and the names in `inner`: the data of every entry
    // (and anything behind a header that isn't one) becomes a hole, so a check of the package
    // writes none of its content anywhere. To be called before the first write.
    void discardData() { discard_ = true; }
    // After the last bytes: gives the inner temporary its full length.
    bool finish();

    struct Entry {
        std::int64_t size = 0;
        std::unique_ptr<platform::PrivateTemp> file;
    };
    // The entries that have files of their own, by the offset of their data in the inner package.
    using Entries = std::map<std::int64_t, Entry>;
    Entries& entries() { return entries_; }

private:
    enum class Part { Header, EntryHeader, Name, Data, Rest };
    bool toInner(const std::uint8_t* data, std::size_t size);
    // Writes what waits in the buffer for the inner temporary.
    bool flushInner();
    // Gathers header bytes; true once `want` of them are there.
    bool gather(const std::uint8_t*& data, std::size_t& size, std::size_t want);
    void startData();
    void endEntry();

    platform::FileHandle inner_;
    platform::FileHandle folder_;
    std::u16string folderPath_;
    std::size_t mostFiles_;
    Part part_ = Part::Header;
    std::vector<std::uint8_t> pending_;
    std::uint32_t entriesLeft_ = 0;
    std::uint64_t nameLeft_ = 0;
    std::uint64_t dataLeft_ = 0;
    std::int64_t position_ = 0;    // of the next byte, in the inner package
    std::int64_t innerEnd_ = 0;    // how far the inner temporary has been written or skipped
    std::int64_t innerAt_ = 0;     // its file position
    // Bytes for the inner temporary, written together from `bufferStart_`: an entry's header and
    // name would otherwise cost two writes and a seek of their own.
    std::vector<std::uint8_t> buffer_;
    std::int64_t bufferStart_ = 0;
    platform::PrivateTemp* current_ = nullptr;
    platform::WritebackPacer writeback_;  // of the current entry's file
    bool folderFailed_ = false;
    bool discard_ = false;
    Entries entries_;
};
