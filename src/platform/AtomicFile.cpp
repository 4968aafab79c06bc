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

bool writeFileAtomically(const std::u16string& path, std::string_view content, mode_t mode)
{
    if (path.empty()) {
        setLastError(win::ERROR_PATH_NOT_FOUND);
        return false;
    }
    const std::string target = toUtf8(path);
    const std::string folder = folderOf(target);
    const auto slash = target.find_last_of('/');
    std::string pattern = folder + "/." + (slash == std::string::npos ? target : target.substr(slash + 1)) + ".XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');

    const int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) {
        setLastErrorFromErrno();
        return false;
    }
    bool ok = mode == 0600 || ::fchmod(fd, mode) == 0;
    if (!ok)
        setLastErrorFromErrno();
    ok = ok && writeFile(fd, content.data(), content.size());
    if (ok && faults::shouldFail(faults::Kind::Sync)) {
        ok = false;
    } else if (ok && ::fsync(fd) != 0) {
        setLastErrorFromErrno();
        ok = false;
    }
    if (::close(fd) != 0 && ok) {
        setLastErrorFromErrno();
        ok = false;
    }
    if (ok && faults::shouldFail(faults::Kind::Rename))
        ok = false;
    else if (ok && ::rename(name.data(), target.c_str()) != 0) {
        setLastErrorFromErrno();
        ok = false;
    }
    if (!ok) {
        const std::uint32_t reason = lastError();
        ::unlink(name.data());
        setLastError(reason);
        return false;
    }
    syncFolder(folder);
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
