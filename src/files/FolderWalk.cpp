#include "files/FolderWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <vector>

#include "platform/LastError.h"
#include "platform/Utf.h"

namespace {

enum class Kind { File, Folder, LinkedFolder, NotAFile };

Kind kindOf(int directory, const dirent& entry)
{
    unsigned char type = entry.d_type;
    struct stat info {};
    if (type == DT_UNKNOWN) {
        if (::fstatat(directory, entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            return Kind::NotAFile;
        type = S_ISLNK(info.st_mode) ? DT_LNK : S_ISDIR(info.st_mode) ? DT_DIR : S_ISREG(info.st_mode) ? DT_REG : DT_FIFO;
    }
    switch (type) {
    case DT_REG:
        return Kind::File;
    case DT_DIR:
        return Kind::Folder;
    case DT_LNK:
        if (::fstatat(directory, entry.d_name, &info, 0) != 0)
            return Kind::NotAFile;
        return S_ISREG(info.st_mode) ? Kind::File : S_ISDIR(info.st_mode) ? Kind::LinkedFolder : Kind::NotAFile;
    default:
        return Kind::NotAFile;
    }
}

} // namespace

bool walkFolder(const std::u16string& top, LeftOut& leftOut, const std::function<bool(const std::u16string&)>& onFile,
                const std::function<bool(const std::u16string&, std::uint32_t)>& onUnreadable,
                const std::atomic<bool>* stop)
{
    std::string start = platform::toUtf8(top);
    while (start.size() > 1 && start.back() == '/')
        start.pop_back();
    std::vector<std::string> pending {start};
    while (!pending.empty()) {
        const std::string folder = std::move(pending.back());
        pending.pop_back();
        const int directory = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR* listing = directory >= 0 ? ::fdopendir(directory) : nullptr;
        if (!listing) {
            const std::uint32_t code = platform::setLastErrorFromErrno();
            if (directory >= 0)
                ::close(directory);
            if (!onUnreadable(platform::fromUtf8(folder), code))
                return false;
            continue;
        }
        const std::string prefix = folder == "/" ? folder : folder + '/';
        std::vector<std::string> subfolders;
        bool goOn = true;
        while (goOn) {
            if (stop && stop->load(std::memory_order_relaxed)) {
                goOn = false;
                break;
            }
            errno = 0;
            const dirent* entry = ::readdir(listing);
            if (!entry)
                break;
            const std::string name = entry->d_name;
            if (name == "." || name == "..")
                continue;
            switch (kindOf(::dirfd(listing), *entry)) {
            case Kind::File:
                goOn = onFile(platform::fromUtf8(prefix + name));
                break;
            case Kind::Folder:
                subfolders.push_back(prefix + name);
                break;
            case Kind::LinkedFolder:
                ++leftOut.linkedFolders;
                break;
            case Kind::NotAFile:
                ++leftOut.notFiles;
                break;
            }
        }
        const int readError = errno;
        ::closedir(listing);
        if (!goOn)
            return false;
        if (readError != 0 && !onUnreadable(platform::fromUtf8(folder), platform::codeFromErrno(readError)))
            return false;
        // Depth first, in the order the folder listed them.
        pending.insert(pending.end(), subfolders.rbegin(), subfolders.rend());
    }
    return true;
}

std::string leftOutText(const LeftOut& leftOut)
{
    auto count = [](std::size_t n, const char* one, const char* many) {
        return std::to_string(n) + ' ' + (n == 1 ? one : many);
    };
    std::string text;
    if (leftOut.linkedFolders)
        text = count(leftOut.linkedFolders, "link to a folder", "links to folders");
    if (leftOut.notFiles) {
        text += text.empty() ? "" : " and ";
        text += count(leftOut.notFiles, "item that is not a file (a socket, FIFO, device or broken link)",
                      "items that are not files (sockets, FIFOs, devices or broken links)");
    }
    if (!text.empty())
        text += leftOut.linkedFolders + leftOut.notFiles == 1 ? " was left out" : " were left out";
    return text;
}
