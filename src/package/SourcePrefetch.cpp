#include "package/SourcePrefetch.h"

#include "engine/ScopedFile.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"

namespace {
// How far the reading may run ahead: enough to cover the hashing of a few hundred small files,
// little enough to keep memory small.
constexpr std::size_t MostFilesAhead = 256;
constexpr std::size_t MostBytesAhead = 8u << 20;
// Each side sleeps until the other has done a batch: waking the other for every small file
// would cost more than reading it.
constexpr std::size_t Batch = 32;
}  // namespace

SourcePrefetch::SourcePrefetch(const FileSet& files, std::int64_t smallFile, std::optional<platform::FileIdentity> avoid)
    : files_(files), smallFile_(smallFile), avoid_(avoid)
{
    reader_ = std::thread(&SourcePrefetch::run, this);
}

SourcePrefetch::~SourcePrefetch()
{
    {
        std::lock_guard guard(lock_);
        stopping_ = true;
    }
    changed_.notify_all();
    reader_.join();
    for (const Source& source : ready_) {
        if (source.handle != platform::InvalidHandle)
            platform::closeFile(source.handle);
    }
}

void SourcePrefetch::run()
{
    // The folder of the files before, open: the set keeps the files of a folder together, so
    // each is opened by its name in it.
    std::u16string folderPath;
    ScopedFile folder;
    for (const std::u16string& path : files_) {
        Source source;
        source.path = path;
        const auto slash = path.rfind(NativeSeparator);
        if (slash != std::u16string::npos && slash > 0 && path.compare(0, slash, folderPath) != 0) {
            folder.close();
            folderPath = path.substr(0, slash);
            folder.adopt(platform::openDirectory(folderPath));
        } else if (slash == std::u16string::npos || slash == 0) {
            folder.close();
            folderPath.clear();
        }
        // Only regular files are read, and the open never waits: a FIFO would hold it for ever,
        // out of reach of a stop, and a device would never end. A folder that can't be opened
        // leaves the whole path to the open, which then says why.
        const bool inFolder = folder.isOpen() && slash != std::u16string::npos && slash + 1 < path.size();
        platform::FileIdentity identity;
        source.handle = inFolder
            ? platform::openSourceFile(path.substr(slash + 1), &source.size, &identity, folder.handle())
            : platform::openSourceFile(path, &source.size, &identity);
        if (source.handle == platform::InvalidHandle) {
            source.openError = platform::lastError();
        } else if (avoid_ && identity == *avoid_) {
            source.avoided = true;
            platform::closeFile(source.handle);
            source.handle = platform::InvalidHandle;
        } else if (source.size < smallFile_) {
            source.content.resize(static_cast<std::size_t>(source.size));
            std::size_t got = 0;
            if (!platform::readFile(source.handle, source.content.data(), source.content.size(), got))
                source.readError = platform::lastError();
            else if (got < source.content.size())
                source.readError = win::ERROR_HANDLE_EOF;
            platform::closeFile(source.handle);
            source.handle = platform::InvalidHandle;
        }
        std::unique_lock guard(lock_);
        if (!stopping_ && (ready_.size() >= MostFilesAhead || readyBytes_ >= MostBytesAhead)) {
            producerWaiting_ = true;
            changed_.wait(guard, [this] {
                return stopping_ || (ready_.size() < MostFilesAhead / 2 && readyBytes_ < MostBytesAhead / 2);
            });
            producerWaiting_ = false;
        }
        if (stopping_) {
            if (source.handle != platform::InvalidHandle)
                platform::closeFile(source.handle);
            return;
        }
        readyBytes_ += source.content.size();
        ready_.push_back(std::move(source));
        if (consumerWaiting_ && (ready_.size() >= Batch || readyBytes_ >= MostBytesAhead / 2))
            changed_.notify_all();
    }
    std::lock_guard guard(lock_);
    done_ = true;
    changed_.notify_all();
}

bool SourcePrefetch::next(Source& source)
{
    std::unique_lock guard(lock_);
    if (ready_.empty() && !done_) {
        consumerWaiting_ = true;
        changed_.wait(guard, [this] { return ready_.size() >= Batch || readyBytes_ >= MostBytesAhead / 2 || done_; });
        consumerWaiting_ = false;
    }
    if (ready_.empty())
        return false;
    source = std::move(ready_.front());
    ready_.pop_front();
    readyBytes_ -= source.content.size();
    if (producerWaiting_ && ready_.size() < MostFilesAhead / 2 && readyBytes_ < MostBytesAhead / 2)
        changed_.notify_all();
    return true;
}
