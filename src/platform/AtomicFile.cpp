#include "platform/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "platform/FaultInjection.h"
#include "platform/LastError.h"
#include "platform/NativeFile.h"
#include "platform/StatusCodes.h"
#include "platform/Utf.h"

namespace platform {

namespace {
std::string folderOf(const std::string& path)
{
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

void syncFolder(const std::string& folder)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}
}  // namespace

bool createSiblingTempFile(const std::u16string& target, std::u16string& path, mode_t mode)
{
    if (target.empty()) {
        setLastError(win::ERROR_PATH_NOT_FOUND);
        return false;
    }
    if (faults::shouldFail(faults::Kind::Open))
        return false;
    const std::string native = toUtf8(target);
    const auto slash = native.find_last_of('/');
    const std::string pattern = folderOf(native) + "/." + (slash == std::string::npos ? native : native.substr(slash + 1))
        + ".XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) {
        setLastErrorFromErrno();
        return false;
    }
    if (mode != 0600 && ::fchmod(fd, mode) != 0) {
        setLastErrorFromErrno();
        ::close(fd);
        ::unlink(name.data());
        return false;
    }
    ::close(fd);
    path = fromUtf8(name.data());
    return true;
}

bool replaceFile(const std::u16string& from, const std::u16string& to)
{
    if (faults::shouldFail(faults::Kind::Rename))
        return false;
    const std::string source = toUtf8(from);
    const std::string target = toUtf8(to);
    // Renaming over an existing file makes ext4 push all of the new file to the disk before the
    // rename, which for a large package costs seconds of disk writing. Exchanging the two names
    // is just as atomic and spares that; the earlier file then goes under the temporary name.
    struct stat existing {};
    bool exchanged = false;
    if (::lstat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode))
        exchanged = ::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0;
    if (!exchanged && ::rename(source.c_str(), target.c_str()) != 0) {
        setLastErrorFromErrno();
        return false;
    }
    if (exchanged)
        ::unlink(source.c_str());
    syncFolder(folderOf(target));
    return true;
}

bool writeFileAtomically(const std::u16string& path, std::string_view content, mode_t mode)
{
    std::u16string temporary;
    if (!createSiblingTempFile(path, temporary, mode))
        return false;
    const FileHandle fd = openFile(temporary, win::OPEN_EXISTING, win::GENERIC_WRITE, mode);
    bool ok = fd != InvalidHandle && writeFile(fd, content.data(), content.size());
    if (ok && faults::shouldFail(faults::Kind::Sync)) {
        ok = false;
    } else if (ok && ::fsync(fd) != 0) {
        setLastErrorFromErrno();
        ok = false;
    }
    if (fd != InvalidHandle && !closeFile(fd))
        ok = false;
    ok = ok && replaceFile(temporary, path);
    if (!ok) {
        const std::uint32_t reason = lastError();
        ::unlink(toUtf8(temporary).c_str());
        setLastError(reason);
        return false;
    }
    return true;
}

bool readWholeFile(const std::u16string& path, std::string& content)
{
    content.clear();
    const FileHandle fd = openFile(path, win::OPEN_EXISTING, win::GENERIC_READ);
    if (fd == InvalidHandle)
        return false;
    char buffer[65536];
    bool ok = true;
    for (;;) {
        std::size_t got = 0;
        if (!readFile(fd, buffer, sizeof buffer, got)) {
            ok = false;
            break;
        }
        content.append(buffer, got);
        if (got < sizeof buffer)
            break;
    }
    closeFile(fd);
    return ok;
}

bool makePrivateDirectory(const std::u16string& path, mode_t mode)
{
    const std::string native = toUtf8(path);
    if (::mkdir(native.c_str(), mode) == 0)
        return true;
    if (errno == EEXIST) {
        struct stat info {};
        if (::stat(native.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
            return true;
        setLastError(win::ERROR_DIRECTORY);
        return false;
    }
    setLastErrorFromErrno();
    return false;
}

}  // namespace platform
