#include "platform/NativeFile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <cerrno>
#include <vector>

#include "platform/FaultInjection.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"
#include "platform/Utf.h"

namespace platform {

namespace {
// One write(2) of a megabyte makes the page cache take its pages as one large block, and where
// the memory manager has to fetch such blocks afresh (as in virtual machines that give freed
// memory back to their host) that costs up to ten times the copy itself. Pieces of 256 KiB
// stay on the fast path everywhere and cost only a few more system calls.
constexpr std::size_t MaxWritePiece = 256 * 1024;

bool writeAll(FileHandle handle, const void* buffer, std::size_t size);

int accessFlags(std::uint32_t disposition, std::uint32_t access)
{
    const bool reads = (access & win::GENERIC_READ) != 0;
    const bool writes = (access & win::GENERIC_WRITE) != 0;
    int flags = O_CLOEXEC | (reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY);
    // CREATE_ALWAYS empties an existing file after the open (see emptyIfNeeded), not through
    // O_TRUNC.
    if (disposition == win::CREATE_ALWAYS)
        flags |= O_CREAT;
    return flags;
}

// O_TRUNC on a file that is already empty, such as a fresh temporary, still counts on ext4 as
// replacing a file by truncation: its closing then pushes every block of the new content to the
// disk at once. For a temporary of a gigabyte that is written, read back and deleted within
// seconds, that is a gigabyte of needless disk traffic, so only a file with content is truncated.
bool emptyIfNeeded(int fd, std::uint32_t disposition, const struct stat& info)
{
    if (disposition != win::CREATE_ALWAYS || info.st_size == 0)
        return true;
    int result;
    do {
        result = ::ftruncate(fd, 0);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        setLastErrorFromErrno();
        ::close(fd);
        return false;
    }
    return true;
}
}  // namespace

namespace {
// The part every open shares: a usable name, the fault hook, the open itself (again after a
// signal) and the file's status, for the caller's own test of what it opened.
FileHandle openAndStat(const std::u16string& path, int flags, mode_t mode, struct stat& info, int folder = AT_FDCWD)
{
    if (path.empty() || path.find(u'\0') != std::u16string::npos) {
        setLastError(path.empty() ? win::ERROR_PATH_NOT_FOUND : win::ERROR_INVALID_NAME);
        return InvalidHandle;
    }
    if (faults::shouldFail(faults::Kind::Open))
        return InvalidHandle;
    const std::string native = toUtf8(path);
    int fd;
    do {
        fd = ::openat(folder, native.c_str(), flags, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        setLastErrorFromErrno();
        return InvalidHandle;
    }
    if (::fstat(fd, &info) != 0) {
        setLastErrorFromErrno();
        ::close(fd);
        return InvalidHandle;
    }
    return fd;
}
} // namespace

FileHandle openFile(const std::u16string& path, std::uint32_t disposition, std::uint32_t access, mode_t mode)
{
    struct stat info {};
    const int fd = openAndStat(path, accessFlags(disposition, access), mode, info);
    if (fd < 0)
        return InvalidHandle;
    if (S_ISDIR(info.st_mode)) {
        ::close(fd);
        setLastError(win::ERROR_ACCESS_DENIED);
        return InvalidHandle;
    }
    if (!emptyIfNeeded(fd, disposition, info))
        return InvalidHandle;
    return fd;
}

FileHandle openSourceFile(const std::u16string& path, std::int64_t* size, FileIdentity* identity, FileHandle folder)
{
    struct stat info {};
    const int fd = openAndStat(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0, info,
                               folder == InvalidHandle ? AT_FDCWD : folder);
    if (fd < 0)
        return InvalidHandle;
    if (!S_ISREG(info.st_mode)) {
        ::close(fd);
        setLastError(S_ISDIR(info.st_mode) ? win::ERROR_ACCESS_DENIED : win::ERROR_CANT_ACCESS_FILE);
        return InvalidHandle;
    }
    // Files of the kernel's own file systems (/proc, /sys) say they are empty and yet hold text.
    // The package stores a file at the size it has when opened, so such a file would arrive
    // empty without a word; it is refused by name instead. Only files that say they are empty
    // pay for the look.
    char probe = 0;
    if (info.st_size == 0 && ::pread(fd, &probe, 1, 0) == 1) {
        ::close(fd);
        setLastError(win::ERROR_CANT_ACCESS_FILE);
        return InvalidHandle;
    }
    // The flag only had to keep the open from blocking: a regular file reads the same with it.
    if (size)
        *size = static_cast<std::int64_t>(info.st_size);
    if (identity)
        *identity = FileIdentity {static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)};
    return fd;
}

bool setFileMode(FileHandle handle, mode_t mode)
{
    if (::fchmod(handle, mode) != 0) {
        setLastErrorFromErrno();
        return false;
    }
    return true;
}

FileHandle duplicateHandle(FileHandle handle)
{
    const int fd = ::fcntl(handle, F_DUPFD_CLOEXEC, 0);
    if (fd < 0)
        setLastErrorFromErrno();
    return fd;
}

std::size_t raiseOpenFileLimit()
{
    static std::once_flag once;
    static std::size_t inForce = 1024;
    std::call_once(once, [] {
        rlimit limit {};
        if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
            return;
        const rlim_t wanted = std::min<rlim_t>(limit.rlim_max, rlim_t(1) << 16);
        if (limit.rlim_cur < wanted) {
            rlimit raised = limit;
            raised.rlim_cur = wanted;
            if (::setrlimit(RLIMIT_NOFILE, &raised) == 0)
                limit.rlim_cur = wanted;
        }
        inForce = static_cast<std::size_t>(std::min<rlim_t>(limit.rlim_cur, rlim_t(1) << 16));
    });
    return inForce;
}

FileHandle reopenForReading(FileHandle handle)
{
    // Opening the descriptor's own entry reaches the very file even if its name has gone or
    // now stands for another one.
    const std::string self = "/proc/self/fd/" + std::to_string(handle);
    const int fd = ::open(self.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        setLastErrorFromErrno();
    return fd;
}

bool syncFile(FileHandle handle)
{
    if (::fsync(handle) != 0) {
        setLastErrorFromErrno();
        return false;
    }
    return true;
}

void startWriteback(FileHandle handle)
{
    ::sync_file_range(handle, 0, 0, SYNC_FILE_RANGE_WRITE);
}

bool isDirectory(const std::u16string& path)
{
    struct stat info {};
    return !path.empty() && ::stat(toUtf8(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool fileIdentity(const std::u16string& path, FileIdentity& identity, bool& directory)
{
    struct stat info {};
    if (path.empty() || ::stat(toUtf8(path).c_str(), &info) != 0)
        return false;
    identity = FileIdentity {static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)};
    directory = S_ISDIR(info.st_mode);
    return true;
}

EntryKind entryKindAt(FileHandle directory, const std::u16string& name, mode_t* mode)
{
    struct stat info {};
    if (::fstatat(directory, toUtf8(name).c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        setLastErrorFromErrno();
        return EntryKind::Missing;
    }
    if (mode)
        *mode = info.st_mode & 07777;
    if (S_ISREG(info.st_mode))
        return EntryKind::Regular;
    if (S_ISDIR(info.st_mode))
        return EntryKind::Directory;
    if (S_ISLNK(info.st_mode))
        return EntryKind::Link;
    return EntryKind::Other;
}

bool closeFile(FileHandle handle)
{
    if (handle < 0) {
        setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    // The descriptor is gone even when close reports EINTR, so it is never retried.
    if (::close(handle) != 0 && errno != EINTR) {
        setLastErrorFromErrno();
        return false;
    }
    return true;
}

bool deleteFile(const std::u16string& path)
{
    if (path.empty()) {
        setLastError(win::ERROR_PATH_NOT_FOUND);
        return false;
    }
    if (::unlink(toUtf8(path).c_str()) != 0) {
        setLastErrorFromErrno();
        return false;
    }
    return true;
}

bool readFile(FileHandle handle, void* buffer, std::size_t size, std::size_t& got)
{
    got = 0;
    if (handle < 0) {
        setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    if (faults::shouldFail(faults::Kind::Read))
        return false;
    auto* bytes = static_cast<unsigned char*>(buffer);
    while (got < size) {
        const ssize_t n = ::read(handle, bytes + got, size - got);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            setLastErrorFromErrno();
            return false;
        }
        if (n == 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    return true;
}

bool writeFile(FileHandle handle, const void* buffer, std::size_t size)
{
    if (handle < 0) {
        setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    if (faults::shouldFail(faults::Kind::Write))
        return false;
    return writeAll(handle, buffer, size);
}

namespace {
bool writeAll(FileHandle handle, const void* buffer, std::size_t size)
{
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(handle, bytes + done, std::min(size - done, MaxWritePiece));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            setLastErrorFromErrno();
            return false;
        }
        if (n == 0) {
            setLastError(win::ERROR_DISK_FULL);
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}
}  // namespace

bool copyRange(FileHandle from, std::int64_t offset, FileHandle to, std::size_t size, std::size_t& copied)
{
    copied = 0;
    if (from < 0 || to < 0) {
        setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    if (faults::shouldFail(faults::Kind::Read) || faults::shouldFail(faults::Kind::Write))
        return false;
    // The kernel copies page to page without a pass through this process, and may share the
    // blocks outright where the file system can.
    auto position = static_cast<off_t>(offset);
    bool inKernel = true;
    while (copied < size && inKernel) {
        const ssize_t n = ::copy_file_range(from, &position, to, nullptr, std::min(size - copied, MaxWritePiece * 4), 0);
        if (n > 0) {
            copied += static_cast<std::size_t>(n);
            continue;
        }
        if (n == 0)
            return true;  // the end of `from`
        if (errno == EINTR)
            continue;
        // Not between these two files (another file system, a special file): the plain way.
        if (copied == 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP))
            inKernel = false;
        else {
            setLastErrorFromErrno();
            return false;
        }
    }
    std::vector<unsigned char> buffer;
    while (copied < size) {
        buffer.resize(std::min(size - copied, MaxWritePiece));
        const ssize_t n = ::pread(from, buffer.data(), buffer.size(), position);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            setLastErrorFromErrno();
            return false;
        }
        if (n == 0)
            return true;
        if (!writeAll(to, buffer.data(), static_cast<std::size_t>(n)))
            return false;
        position += n;
        copied += static_cast<std::size_t>(n);
    }
    return true;
}

bool seekFile(FileHandle handle, std::int64_t distance, SeekFrom from, std::int64_t* newPosition)
{
    if (handle < 0) {
        setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    const int whence = from == SeekFrom::Begin ? SEEK_SET : from == SeekFrom::Current ? SEEK_CUR : SEEK_END;
    const off_t result = ::lseek(handle, static_cast<off_t>(distance), whence);
    if (result < 0) {
        if (errno == EINVAL)
            setLastError(win::ERROR_NEGATIVE_SEEK);
        else
            setLastErrorFromErrno();
        return false;
    }
    if (newPosition)
        *newPosition = static_cast<std::int64_t>(result);
    return true;
}

bool fileSize(FileHandle handle, std::int64_t& size)
{
    struct stat info {};
    if (handle < 0) {
        setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    if (::fstat(handle, &info) != 0) {
        setLastErrorFromErrno();
        return false;
    }
    size = static_cast<std::int64_t>(info.st_size);
    return true;
}

bool truncateFile(FileHandle handle, std::int64_t size)
{
    if (::ftruncate(handle, static_cast<off_t>(size)) != 0) {
        setLastErrorFromErrno();
        return false;
    }
    return true;
}


FileHandle openDirectory(const std::u16string& path)
{
    const int fd = ::open(toUtf8(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        setLastError(errno == ENOTDIR ? win::ERROR_DIRECTORY : codeFromErrno(errno));
    return fd;
}

FileHandle openDirectoryAt(FileHandle directory, const std::u16string& name)
{
    const int fd = ::openat(directory, toUtf8(name).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        setLastError(errno == ENOTDIR || errno == ELOOP ? win::ERROR_DIRECTORY : codeFromErrno(errno));
    return fd;
}

bool makeDirectoryAt(FileHandle directory, const std::u16string& name, mode_t mode)
{
    if (::mkdirat(directory, toUtf8(name).c_str(), mode) != 0) {
        setLastErrorFromErrno();
        return false;
    }
    return true;
}

FileHandle openFileAt(FileHandle directory, const std::u16string& name, std::uint32_t disposition,
                      std::uint32_t access, mode_t mode)
{
    if (faults::shouldFail(faults::Kind::Open))
        return InvalidHandle;
    int fd;
    do {
        fd = ::openat(directory, toUtf8(name).c_str(), accessFlags(disposition, access) | O_NOFOLLOW, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        // A symbolic link in the entry's place is refused, never followed.
        setLastError(errno == ELOOP ? win::ERROR_ACCESS_DENIED : codeFromErrno(errno));
        return InvalidHandle;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        setLastErrorFromErrno();
        ::close(fd);
        return InvalidHandle;
    }
    if (!S_ISREG(info.st_mode)) {
        ::close(fd);
        setLastError(win::ERROR_ACCESS_DENIED);
        return InvalidHandle;
    }
    if (!emptyIfNeeded(fd, disposition, info))
        return InvalidHandle;
    return fd;
}

}  // namespace platform
