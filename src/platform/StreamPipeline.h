#pragma once
// Sequential reading ahead and writing behind on a second thread, so that the disk works while
// the caller hashes or encrypts: on a machine with two cores a pass over a large package then
// costs about its arithmetic, not its arithmetic plus its system calls. Streams shorter than
// a few blocks are read and written directly, since a thread would cost more than it saves.
//
// The calls go through readFile and writeFile, in the same order as a plain loop makes them, so
// the last error and the fault injection behave as they would without the second thread.

#include <condition_variable>
#include <cstddef>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/NativeFile.h"

namespace platform {

class ReadAhead {
public:
    // Reads `handle` from its current position in blocks of `blockSize` bytes, up to `limit`
    // bytes or the end of the file. A caller that knows the file holds at least `limit` bytes
    // from here says so with `limitIsAvailable`, which spares two system calls per stream.
    // With `copyTo`, every block is also written there, at its current position, before it is
    // handed out: a plain copy then costs the caller no system call at all, and the caller only
    // looks at the bytes (to hash them, say). A failed write fails the block like a failed read.
    ReadAhead(FileHandle handle, std::size_t blockSize, std::uint64_t limit = UINT64_MAX, bool limitIsAvailable = false,
              FileHandle copyTo = InvalidHandle);
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // The next block, in order. A block shorter than `blockSize` is the last one (it may be
    // empty). False if the read failed; the last error then says why.
    bool next(const std::uint8_t*& data, std::size_t& size);

private:
    struct Slot {
        std::unique_ptr<std::uint8_t[]> bytes;
        std::size_t capacity = 0;  // of `bytes`, which may be more than the stream needs
        std::size_t size = 0;
        bool failed = false;
        std::uint32_t error = 0;
    };
    bool readInto(Slot& slot);
    void run();

    FileHandle handle_;
    FileHandle copyTo_;
    std::size_t blockSize_;
    std::size_t capacity_;  // of each slot: no more than the stream can hold
    std::uint64_t remaining_;
    bool threaded_;
    std::vector<Slot> slots_;
    std::size_t consumed_ = 0;  // slots handed out so far (the consumer's count)
    std::size_t produced_ = 0;  // slots filled so far (the reader's count)
    bool finished_ = false;     // the reader has filled its last slot
    bool stopping_ = false;
    std::mutex lock_;
    std::condition_variable changed_;
    std::thread reader_;
};

class WriteBehind {
public:
    // Writes to `handle` in the order of commit; `expectedSize` decides whether a thread pays.
    WriteBehind(FileHandle handle, std::size_t blockCapacity, std::uint64_t expectedSize);
    // The same into something other than one file: the sink takes every block in order and
    // answers false, with the last error set, if it could not.
    using Sink = std::function<bool(const std::uint8_t* data, std::size_t size)>;
    WriteBehind(Sink sink, std::size_t blockCapacity, std::uint64_t expectedSize);
    ~WriteBehind();
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;

    // Something that sees every block, in order, on a thread of its own beside the writing one
    // (in a stream too short for threads: just before the block is written). A digest of the
    // output then costs neither the caller's thread nor the writes. Set it before the first
    // commit; a block is given back for filling once both have done with it.
    using Observer = std::function<void(const std::uint8_t* data, std::size_t size)>;
    void observe(Observer observer);
    // A buffer of `blockCapacity` bytes to fill; valid until the matching commit.
    std::uint8_t* acquire();
    // Hands the filled buffer on. False once any write has failed.
    bool commit(std::size_t size);
    // Waits for every write; false (with the last error set) if any failed.
    bool finish();

private:
    void run();
    void runObserver();
    // Blocks that the writer and the observer have both finished with.
    std::size_t released() const { return observer_ && threaded_ ? std::min(written_, observed_) : written_; }

    Sink sink_;
    std::size_t capacity_;
    bool threaded_;
    Observer observer_;
    // Left unfilled: a short stream touches only the pages it writes.
    std::vector<std::unique_ptr<std::uint8_t[]>> slots_;
    std::vector<std::size_t> sizes_;
    std::size_t committed_ = 0;
    std::size_t written_ = 0;
    std::size_t observed_ = 0;
    bool failed_ = false;
    std::uint32_t error_ = 0;
    bool stopping_ = false;
    std::mutex lock_;
    std::condition_variable changed_;
    std::thread writer_;
    std::thread observerThread_;
};

}  // namespace platform
