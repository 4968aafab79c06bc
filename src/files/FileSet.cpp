#include "files/FileSet.h"

namespace {
// Folds the letters of the scripts a file name commonly uses, one UTF-16 unit at a time, so that
// matching does not depend on the process's locale.
char16_t foldCase(char16_t unit)
{
    if (unit >= u'A' && unit <= u'Z')
        return static_cast<char16_t>(unit + 32);
    if (unit < 0xC0)
        return unit;
    if ((unit >= 0xC0 && unit <= 0xDE && unit != 0xD7) || (unit >= 0x391 && unit <= 0x3AB && unit != 0x3A2)
        || (unit >= 0x410 && unit <= 0x42F))
        return static_cast<char16_t>(unit + 32);
    if (unit >= 0x400 && unit <= 0x40F)
        return static_cast<char16_t>(unit + 80);
    if (unit >= 0x100 && unit <= 0x17F && unit != 0x130 && unit != 0x131 && unit != 0x138 && unit != 0x149
        && unit != 0x178 && unit != 0x17F) {
        // Latin Extended-A pairs capitals and small letters on even and odd units, with the
        // pairs shifted by one between U+0139 and U+0148 and from U+0179 on.
        const bool shifted = (unit >= 0x139 && unit <= 0x148) || unit >= 0x179;
        const bool capital = shifted ? (unit % 2 == 1) : (unit % 2 == 0);
        return capital ? static_cast<char16_t>(unit + 1) : unit;
    }
    return unit;
}
}  // namespace

bool startsWithIgnoringCase(const std::u16string& text, const std::u16string& prefix)
{
    if (text.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (foldCase(text[i]) != foldCase(prefix[i]))
            return false;
    }
    return true;
}

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
    for (const std::u16string& entry : files) {
        if (entry.size() <= n - 1 || !startsWithIgnoringCase(entry, folder))
            continue;
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
    for (auto it = files.begin(); it != files.end();) {
        if (startsWithIgnoringCase(*it, folder))
            it = files.erase(it);
        else
            ++it;
    }
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
