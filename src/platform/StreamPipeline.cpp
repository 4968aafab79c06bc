#include "platform/StreamPipeline.h"

#include <algorithm>

#include "platform/LastError.h"

namespace platform {

namespace {
constexpr std::size_t Depth = 4;
// Below this many bytes a stream is handled on the caller's thread.
constexpr std::uint64_t ThreadThreshold = 8u << 20;

// A package of thousands of files makes a reader per file. Fresh buffers for each would come
// from the system and go back to it every time, at the price of a page fault per page touched;
// the buffers of a finished reader are kept for the next one on the same thread instead.
struct SpareBuffer {
    std::unique_ptr<std::uint8_t[]> bytes;
    std::size_t capacity = 0;
};
thread_local std::vector<SpareBuffer> spareBuffers;

std::unique_ptr<std::uint8_t[]> takeBuffer(std::size_t wanted, std::size_t& capacity)
{
    for (auto it = spareBuffers.begin(); it != spareBuffers.end(); ++it) {
        if (it->capacity >= wanted) {
            capacity = it->capacity;
            auto bytes = std::move(it->bytes);
            spareBuffers.erase(it);
            return bytes;
        }
    }
    capacity = wanted;
    return std::make_unique_for_overwrite<std::uint8_t[]>(wanted);
}

void giveBack(std::unique_ptr<std::uint8_t[]> bytes, std::size_t capacity)
{
    if (!bytes)
        return;
    if (spareBuffers.size() < Depth) {
        spareBuffers.push_back({std::move(bytes), capacity});
        return;
    }
    // Keep the largest ones.
    auto smallest = std::min_element(spareBuffers.begin(), spareBuffers.end(),
                                     [](const SpareBuffer& a, const SpareBuffer& b) { return a.capacity < b.capacity; });
    if (smallest->capacity < capacity)
        *smallest = {std::move(bytes), capacity};
}
// Tells a pipeline's thread to stop and waits for it; nothing if it never started.
void stopAndJoin(std::thread& thread, std::mutex& lock, bool& stopping, std::condition_variable& changed)
{
    if (!thread.joinable())
        return;
    {
        std::lock_guard guard(lock);
        stopping = true;
    }
    changed.notify_all();
    thread.join();
}
}  // namespace

ReadAhead::ReadAhead(FileHandle handle, std::size_t blockSize, std::uint64_t limit, bool limitIsAvailable,
                     FileHandle copyTo)
    : handle_(handle), copyTo_(copyTo), blockSize_(blockSize), remaining_(limit)
{
    std::int64_t size = 0;
    std::int64_t position = 0;
    std::uint64_t left = limit;
    if (!limitIsAvailable && fileSize(handle, size) && seekFile(handle, 0, SeekFrom::Current, &position))
        left = std::min<std::uint64_t>(limit, size > position ? static_cast<std::uint64_t>(size - position) : 0);
    threaded_ = left >= ThreadThreshold;
    // A short stream needs no more than its own length.
    capacity_ = static_cast<std::size_t>(std::min<std::uint64_t>(blockSize_, std::max<std::uint64_t>(left, 1)));
    slots_.resize(threaded_ ? Depth : 1);
    for (Slot& slot : slots_)
        slot.bytes = takeBuffer(capacity_, slot.capacity);
    if (threaded_)
        reader_ = std::thread(&ReadAhead::run, this);
}

ReadAhead::~ReadAhead()
{
    stopAndJoin(reader_, lock_, stopping_, changed_);
    for (Slot& slot : slots_)
        giveBack(std::move(slot.bytes), slot.capacity);
}

bool ReadAhead::readInto(Slot& slot)
{
    // Never more than a slot holds; the slots of a short stream hold all of it.
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(capacity_, remaining_));
    std::size_t got = 0;
    slot.failed = !readFile(handle_, slot.bytes.get(), want, got);
    if (!slot.failed && got > 0 && copyTo_ != InvalidHandle)
        slot.failed = !writeFile(copyTo_, slot.bytes.get(), got);
    slot.error = slot.failed ? lastError() : 0;
    slot.size = got;
    remaining_ -= got;
    // A short block ends the stream; so does reaching the limit, with a last empty block unless
    // this one was already short.
    return slot.failed || got < blockSize_;
}

void ReadAhead::run()
{
    for (;;) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return stopping_ || produced_ - consumed_ < slots_.size() - 1; });
        if (stopping_)
            return;
        Slot& slot = slots_[produced_ % slots_.size()];
        guard.unlock();
        const bool last = readInto(slot);
        guard.lock();
        ++produced_;
        finished_ = last;
        changed_.notify_all();
        if (last)
            return;
    }
}

bool ReadAhead::next(const std::uint8_t*& data, std::size_t& size)
{
    data = nullptr;
    size = 0;
    if (!threaded_) {
        if (finished_)
            return true;
        Slot& slot = slots_[0];
        finished_ = readInto(slot);
        data = slot.bytes.get();
        size = slot.size;
        return !slot.failed;
    }
    std::unique_lock guard(lock_);
    // Asking for the next block gives the previous one back to the reader.
    changed_.wait(guard, [this] { return produced_ > consumed_ || (finished_ && produced_ == consumed_); });
    if (produced_ == consumed_)
        return true;  // past the last block
    Slot& slot = slots_[consumed_ % slots_.size()];
    ++consumed_;
    changed_.notify_all();
    if (slot.failed) {
        setLastError(slot.error);
        return false;
    }
    data = slot.bytes.get();
    size = slot.size;
    return true;
}

WriteBehind::WriteBehind(FileHandle handle, std::size_t blockCapacity, std::uint64_t expectedSize)
    : WriteBehind([handle](const std::uint8_t* data, std::size_t size) { return writeFile(handle, data, size); },
                  blockCapacity, expectedSize)
{
}

WriteBehind::WriteBehind(Sink sink, std::size_t blockCapacity, std::uint64_t expectedSize)
    : sink_(std::move(sink)), capacity_(blockCapacity), threaded_(expectedSize >= ThreadThreshold)
{
    const std::size_t depth = threaded_ ? Depth : 1;
    slots_.resize(depth);
    sizes_.resize(depth);
    for (auto& slot : slots_)
        slot = std::make_unique_for_overwrite<std::uint8_t[]>(capacity_);
    if (threaded_)
        writer_ = std::thread(&WriteBehind::run, this);
}

WriteBehind::~WriteBehind()
{
    stopAndJoin(writer_, lock_, stopping_, changed_);
    stopAndJoin(observerThread_, lock_, stopping_, changed_);
}

void WriteBehind::observe(Observer observer)
{
    observer_ = std::move(observer);
    if (threaded_ && observer_ && !observerThread_.joinable())
        observerThread_ = std::thread(&WriteBehind::runObserver, this);
}

void WriteBehind::runObserver()
{
    for (;;) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return stopping_ || committed_ > observed_; });
        if (committed_ == observed_)
            return;  // stopping with nothing left to see
        const std::size_t index = observed_ % slots_.size();
        const std::size_t size = sizes_[index];
        guard.unlock();
        if (size > 0)
            observer_(slots_[index].get(), size);
        guard.lock();
        ++observed_;
        changed_.notify_all();
    }
}

std::uint8_t* WriteBehind::acquire()
{
    if (!threaded_)
        return slots_[0].get();
    std::unique_lock guard(lock_);
    // One slot stays with the writer while it writes; the caller may fill any other.
    changed_.wait(guard, [this] { return committed_ - released() < slots_.size() - 1 || failed_; });
    return slots_[committed_ % slots_.size()].get();
}

bool WriteBehind::commit(std::size_t size)
{
    if (!threaded_) {
        if (failed_)
            return false;
        if (size > 0 && observer_)
            observer_(slots_[0].get(), size);
        if (size > 0 && !sink_(slots_[0].get(), size)) {
            failed_ = true;
            error_ = lastError();
        }
        return !failed_;
    }
    std::lock_guard guard(lock_);
    if (failed_) {
        setLastError(error_);
        return false;
    }
    sizes_[committed_ % slots_.size()] = size;
    ++committed_;
    changed_.notify_all();
    return true;
}

void WriteBehind::run()
{
    for (;;) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return stopping_ || committed_ > written_; });
        if (committed_ == written_)
            return;  // stopping with nothing left to write
        const std::size_t index = written_ % slots_.size();
        const std::size_t size = sizes_[index];
        const bool alreadyFailed = failed_;
        guard.unlock();
        bool ok = true;
        std::uint32_t error = 0;
        if (!alreadyFailed && size > 0) {
            ok = sink_(slots_[index].get(), size);
            error = ok ? 0 : lastError();
        }
        guard.lock();
        if (!ok && !failed_) {
            failed_ = true;
            error_ = error;
        }
        ++written_;
        changed_.notify_all();
    }
}

bool WriteBehind::finish()
{
    if (threaded_) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return written_ == committed_ && released() == committed_; });
    }
    if (failed_)
        setLastError(error_);
    return !failed_;
}

}  // namespace platform
