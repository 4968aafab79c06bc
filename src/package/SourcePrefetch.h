#pragma once
// Opens and reads the files of a new package ahead, in order, on a second thread. A package of
// many small files costs four system calls per file (open, status, read, close); they now run
// beside the hashing and the writing of the files before them instead of between them. A large
// file is only opened: its copy streams as before.

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "files/FileSet.h"
#include "platform/NativeFile.h"

class SourcePrefetch {
public:
    struct Source {
        std::u16string path;
        // Why the file could not be opened as a source; 0 if it was.
        std::uint32_t openError = 0;
        // Open for the caller to copy and close; InvalidHandle if the content was read already.
        platform::FileHandle handle = platform::InvalidHandle;
        // The size at the open.
        std::int64_t size = 0;
        // The whole content of a file read ahead, and why reading it failed (0: it didn't). A
        // file that shrank since the open fails with ERROR_HANDLE_EOF.
        std::vector<std::uint8_t> content;
        std::uint32_t readError = 0;
        // The file is the one `avoid` named: it is neither read nor kept open.
        bool avoided = false;
    };

    // Files smaller than this are read ahead whole. A file that is `avoid` (the package being
    // replaced, say) is told as such; the look costs nothing, since every file is looked at as it
    // is opened.
    SourcePrefetch(const FileSet& files, std::int64_t smallFile, std::optional<platform::FileIdentity> avoid = {});
    // Stops reading ahead; files handed out stay the caller's, those not yet taken are closed.
    ~SourcePrefetch();
    SourcePrefetch(const SourcePrefetch&) = delete;
    SourcePrefetch& operator=(const SourcePrefetch&) = delete;

    // The next file in the set's order; false after the last.
    bool next(Source& source);

private:
    void run();

    const FileSet& files_;
    const std::int64_t smallFile_;
    const std::optional<platform::FileIdentity> avoid_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Source> ready_;
    std::size_t readyBytes_ = 0;
    bool done_ = false;
    bool stopping_ = false;
    bool producerWaiting_ = false;
    bool consumerWaiting_ = false;
    std::thread reader_;
};
