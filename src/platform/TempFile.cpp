#include "platform/TempFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <atomic>
#include <fstream>
#include <mutex>
#include <random>
#include <vector>

#include "platform/FaultInjection.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"
#include "platform/Profile.h"
#include "platform/Utf.h"

namespace platform {

namespace {
    std::string randomSuffix()
    {
        static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        thread_local std::mt19937_64 generator(std::random_device {}());
        std::string suffix;
        for (int i = 0; i < 6; ++i)
            suffix += letters[generator() % (sizeof letters - 1)];
        return suffix;
    }

    bool sameFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

    // True if `name` in `directory` is still the file open as `fd`.
    bool nameIsFile(FileHandle directory, const std::string& name, FileHandle fd)
    {
        struct stat byName { };
        struct stat byHandle { };
        return ::fstatat(directory, name.c_str(), &byName, AT_SYMLINK_NOFOLLOW) == 0 && ::fstat(fd, &byHandle) == 0
            && sameFile(byName, byHandle);
    }

    std::string procPath(FileHandle fd) { return "/proc/self/fd/" + std::to_string(fd); }

    // Gives the unnamed file open as `fd` the name `name` in `directory`. Linking the handle
    // itself saves the kernel a look-up through /proc (a sixth of the cost of a small extracted
    // file); kernels before 6.10 allow that only to privileged processes and answer ENOENT, and
    // then /proc serves.
    int linkUnnamed(FileHandle fd, FileHandle directory, const char* name)
    {
        static std::atomic<bool> handleLinks {true};
        if (handleLinks.load(std::memory_order_relaxed)) {
            if (::linkat(fd, "", directory, name, AT_EMPTY_PATH) == 0)
                return 0;
            if (errno != ENOENT)
                return -1;
        }
        if (::linkat(AT_FDCWD, procPath(fd).c_str(), directory, name, AT_SYMLINK_FOLLOW) != 0)
            return -1;
        handleLinks.store(false, std::memory_order_relaxed);
        return 0;
    }

    // The folder open as `directory`, with a trailing separator; empty if /proc can't tell.
    std::string folderOf(FileHandle directory)
    {
        char buffer[4096];
        const ssize_t length = ::readlink(procPath(directory).c_str(), buffer, sizeof buffer - 1);
        if (length <= 0 || buffer[0] != '/')
            return {};
        std::string folder(buffer, static_cast<std::size_t>(length));
        if (folder.back() != '/')
            folder += '/';
        return folder;
    }

    // The folder of records of named temporaries: "<profile>/temporaries/", 0700.
    std::string recordFolder()
    {
        std::string folder = toUtf8(dataDirectory()) + "temporaries";
        if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
            return {};
        return folder + '/';
    }

    std::string recordName(const struct stat& info)
    {
        return std::to_string(static_cast<unsigned long long>(info.st_dev)) + '-'
            + std::to_string(static_cast<unsigned long long>(info.st_ino));
    }

    // Writes the record of the file open as `fd`, whose path is `path`; answers the record's
    // path, or empty when no record could be written (the file is then never swept).
    std::string writeRecord(FileHandle fd, const std::string& path)
    {
        struct stat info { };
        const std::string folder = recordFolder();
        if (folder.empty() || ::fstat(fd, &info) != 0)
            return {};
        const std::string record = folder + recordName(info);
        const int out = ::open(record.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (out < 0)
            return {};
        const std::string text = path + '\n';
        const bool written = ::write(out, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        ::close(out);
        if (!written) {
            ::unlink(record.c_str());
            return {};
        }
        return record;
    }

    void dropRecord(std::string& record)
    {
        if (!record.empty())
            ::unlink(record.c_str());
        record.clear();
    }
} // namespace

std::u16string tempDirectory()
{
    const char* value = std::getenv("TMPDIR");
    std::string dir = value && *value ? value : "/tmp";
    while (dir.size() > 1 && dir.back() == '/')
        dir.pop_back();
    return fromUtf8(dir);
}

std::u16string temporaryName() { return fromUtf8(TempPrefix + randomSuffix()); }

bool PrivateTemp::create(FileHandle directory, const std::u16string& folderPath, const char* prefix, mode_t unnamedMode)
{
    discard();
    if (faults::shouldFail(faults::Kind::Open))
        return false;
    int fd;
    do {
        fd = ::openat(directory, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, unnamedMode);
    } while (fd < 0 && errno == EINTR);
    if (fd >= 0 && faults::shouldFail(faults::Kind::Unnamed)) {
        ::close(fd);
        fd = -1;
        errno = EOPNOTSUPP;
    }
    if (fd >= 0) {
        // Code that takes names (the cipher, the key envelope) reaches the file through /proc;
        // without /proc the file has to have a name after all. Once /proc has served, it is
        // there for the life of the process.
        static std::atomic<bool> procServes {false};
        if (procServes.load(std::memory_order_relaxed) || ::access(procPath(fd).c_str(), R_OK | W_OK) == 0) {
            procServes.store(true, std::memory_order_relaxed);
            handle_ = fd;
            path_ = fromUtf8(procPath(fd));
            name_ = fromUtf8(TempPrefix + randomSuffix());
            return true;
        }
        ::close(fd);
    } else if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
        // A missing or unwritable folder: the named way would fail the same.
        setLastErrorFromErrno();
        return false;
    }

    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string name = prefix + randomSuffix();
        fd = ::openat(directory, name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0) {
            if (errno == EEXIST || errno == EINTR)
                continue;
            setLastErrorFromErrno();
            return false;
        }
        // The lock says "alive" to a sweeping run. A sweeper that took the name between the
        // create and the lock has deleted it; then the name no longer leads here.
        while (::flock(fd, LOCK_EX) != 0 && errno == EINTR) { }
        if (!nameIsFile(directory, name, fd)) {
            ::close(fd);
            continue;
        }
        handle_ = fd;
        linkName_ = name;
        std::string folder = toUtf8(folderPath);
        if (folder.empty() || folder.back() != '/')
            folder += '/';
        path_ = fromUtf8(folder + name);
        record_ = writeRecord(fd, folder + name);
        name_ = fromUtf8(name[0] == '.' ? name.substr(1) : name);
        directory_ = ::fcntl(directory, F_DUPFD_CLOEXEC, 0);
        return true;
    }
    setLastError(win::ERROR_FILE_EXISTS);
    return false;
}

bool PrivateTemp::createInTempDirectory()
{
    const std::u16string folder = tempDirectory();
    const int directory = ::open(toUtf8(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) {
        setLastErrorFromErrno();
        return false;
    }
    const bool made = create(directory, folder, TempPrefix);
    const std::uint32_t reason = lastError();
    ::close(directory);
    setLastError(reason);
    return made;
}

bool PrivateTemp::readyToPublish() const
{
    if (!isOpen()) {
        setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    return !faults::shouldFail(faults::Kind::Rename);
}

bool PrivateTemp::publish(FileHandle directory, const std::u16string& name)
{
    if (!readyToPublish())
        return false;
    const std::string target = toUtf8(name);
    if (isNamed()) {
        if (::renameat(directory, linkName_.c_str(), directory, target.c_str()) != 0) {
            setLastErrorFromErrno();
            return false;
        }
        // The user's file now: no sweep may ever take it.
        linkName_.clear();
        dropRecord(record_);
        discard();
        return true;
    }
    if (linkUnnamed(handle_, directory, target.c_str()) == 0) {
        discard();
        return true;
    }
    if (errno != EEXIST) {
        setLastErrorFromErrno();
        return false;
    }
    // An earlier file has the name: the new one gets a name of its own first and then takes the
    // earlier one's place in one rename, so that nothing is ever written through the old file
    // (nor through a hard link to it elsewhere).
    // The lock covers that name of its own: a sweep leaves it alone while we live. The record
    // lets a later run take the name away should we die between the link and the rename.
    ::flock(handle_, LOCK_EX | LOCK_NB);
    const std::string folder = folderOf(directory);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string hidden = HiddenTempPrefix + randomSuffix();
        std::string record = folder.empty() ? std::string() : writeRecord(handle_, folder + hidden);
        if (linkUnnamed(handle_, directory, hidden.c_str()) != 0) {
            const bool taken = errno == EEXIST;
            const std::uint32_t reason = setLastErrorFromErrno();
            dropRecord(record);
            if (taken)
                continue;
            setLastError(reason);
            return false;
        }
        if (::renameat(directory, hidden.c_str(), directory, target.c_str()) != 0) {
            const std::uint32_t reason = setLastErrorFromErrno();
            ::unlinkat(directory, hidden.c_str(), 0);
            dropRecord(record);
            setLastError(reason);
            return false;
        }
        dropRecord(record);
        discard();
        return true;
    }
    setLastError(win::ERROR_FILE_EXISTS);
    return false;
}

bool PrivateTemp::publishIfFree(FileHandle directory, const std::u16string& name)
{
    if (!readyToPublish())
        return false;
    const std::string target = toUtf8(name);
    const bool done = isNamed()
        ? ::renameat2(directory, linkName_.c_str(), directory, target.c_str(), RENAME_NOREPLACE) == 0
        : linkUnnamed(handle_, directory, target.c_str()) == 0;
    if (!done) {
        if (errno == EEXIST)
            setLastError(win::ERROR_ALREADY_EXISTS);
        else
            setLastErrorFromErrno();
        return false;
    }
    if (isNamed()) {
        linkName_.clear();
        dropRecord(record_);
    }
    discard();
    return true;
}

void PrivateTemp::discard()
{
    if (!linkName_.empty() && directory_ != InvalidHandle)
        ::unlinkat(directory_, linkName_.c_str(), 0);
    dropRecord(record_);
    if (handle_ != InvalidHandle)
        ::close(handle_);
    if (directory_ != InvalidHandle)
        ::close(directory_);
    handle_ = directory_ = InvalidHandle;
    linkName_.clear();
    path_.clear();
    name_.clear();
}

int sweepStaleTemporaries(const std::u16string& folder, const char* prefix)
{
    const std::string records = recordFolder();
    DIR* stream = records.empty() ? nullptr : ::opendir(records.c_str());
    if (!stream)
        return 0;
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(stream)) {
        if (entry->d_name[0] != '.')
            names.push_back(entry->d_name);
    }
    ::closedir(stream);

    std::string inFolder = toUtf8(folder);
    if (inFolder.empty() || inFolder.back() != '/')
        inFolder += '/';
    const std::string start = inFolder + prefix;
    int swept = 0;
    for (const std::string& name : names) {
        const std::string record = records + name;
        std::ifstream in(record);
        std::string path;
        if (!std::getline(in, path))
            continue;
        // Records of other folders wait for the sweep of their own folder.
        if (path.compare(0, start.size(), start) != 0 || path.find('/', inFolder.size()) != std::string::npos)
            continue;
        const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) {
            if (errno == ENOENT)
                ::unlink(record.c_str());
            continue;
        }
        struct stat info { };
        const bool same = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == ::geteuid()
            && recordName(info) == name;
        if (!same) {
            // Something else has the name now; the temporary it recorded is long gone.
            ::close(fd);
            ::unlink(record.c_str());
            continue;
        }
        // A living owner holds the lock; its temporary is left alone.
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            struct stat now { };
            if (::lstat(path.c_str(), &now) == 0 && now.st_dev == info.st_dev && now.st_ino == info.st_ino
                && ::unlink(path.c_str()) == 0)
                ++swept;
            ::unlink(record.c_str());
        }
        ::close(fd);
    }
    return swept;
}

mode_t currentUmask()
{
    // umask(2) can only be read by setting it, which races with other threads creating files;
    // /proc says it without a change.
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("Umask:", 0) == 0)
            return static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8) & 0777);
    }
    static std::mutex guard;
    const std::lock_guard<std::mutex> lock(guard);
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return mask;
}

} // namespace platform
