#include "files/FileSet.h"

#include <sys/stat.h>

#include "platform/Utf.h"

namespace {

// Deliberately exact where the rules were written for a file system that ignores case: here
// `Photos/` and `photos/` are two folders, and matching one as the other would show, remove or
// leave behind the other folder's files.
bool isBelow(const std::u16string& entry, const std::u16string& folder)
{
    return entry.size() >= folder.size() && entry.compare(0, folder.size(), folder) == 0;
}

} // namespace

std::set<std::u16string> deriveRoots(const FileSet& files)
{
    std::set<std::u16string> roots;
    std::u16string remembered;
    bool first = true;
    for (const std::u16string& entry : files) {
        const auto separator = entry.find(NativeSeparator);
        std::u16string root = separator == std::u16string::npos ? std::u16string() : entry.substr(0, separator + 1);
        if (first || root != remembered) {
            roots.insert(root);
            remembered = std::move(root);
            first = false;
        }
    }
    return roots;
}

ChildMap listChildren(const std::u16string& folder, const FileSet& files)
{
    ChildMap children;
    const std::size_t n = folder.size();
    if (n == 0)
        return children;
    // An exact prefix sorts its entries next to each other, so only they are looked at.
    for (auto it = files.lower_bound(folder); it != files.end() && isBelow(*it, folder); ++it) {
        const std::u16string& entry = *it;
        const auto own = entry.find(NativeSeparator, n - 1);
        if (own == std::u16string::npos)
            continue;
        const auto next = entry.find(NativeSeparator, own + 1);
        if (next == std::u16string::npos)
            children[entry.substr(own + 1)] = true;
        else
            children[entry.substr(own + 1, next - own - 1)] = false;
    }
    return children;
}

void removeFile(const std::u16string& path, FileSet& files) { files.erase(path); }

void removeTree(const std::u16string& folder, FileSet& files)
{
    auto it = files.lower_bound(folder);
    while (it != files.end() && isBelow(*it, folder))
        it = files.erase(it);
}

std::vector<std::u16string> splitTreePath(const std::u16string& path)
{
    std::vector<std::u16string> parts;
    std::size_t start = 0;
    for (;;) {
        const auto separator = path.find(NativeSeparator, start);
        if (separator == std::u16string::npos) {
            parts.push_back(path.substr(start));
            break;
        }
        parts.push_back(path.substr(start, separator - start));
        start = separator + 1;
    }
    parts[0] += NativeSeparator;
    return parts;
}

std::u16string sourceAtPackagePath(const FileSet& files, const std::u16string& packagePath)
{
    struct stat package {};
    if (::stat(platform::toUtf8(packagePath).c_str(), &package) != 0)
        return {};
    for (const std::u16string& path : files) {
        struct stat source {};
        if (::stat(platform::toUtf8(path).c_str(), &source) == 0 && source.st_dev == package.st_dev
            && source.st_ino == package.st_ino)
            return path;
    }
    return {};
}

std::u16string nameRootFor(const std::u16string& addedPath)
{
    std::u16string path = addedPath;
    while (path.size() > 1 && path.back() == NativeSeparator)
        path.pop_back();
    const auto last = path.rfind(NativeSeparator);
    return last == std::u16string::npos ? std::u16string() : path.substr(0, last + 1);
}
