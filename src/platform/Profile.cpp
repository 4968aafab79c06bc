#include "platform/Profile.h"

#include <cstdlib>
#include <mutex>
#include <vector>

#include "platform/AtomicFile.h"
#include "platform/Utf.h"

namespace platform {
namespace {
std::mutex overrideLock;
std::u16string profileOverride;

void stripTrailingSeparators(std::u16string& path)
{
    while (path.size() > 1 && path.back() == u'/')
        path.pop_back();
}

// Lexical clean-up of a path, the way the toolkit cleans the home folder: no empty or "."
// components, ".." folded into its parent, no trailing separator.
std::u16string cleanPath(const std::u16string& path)
{
    const bool absolute = !path.empty() && path.front() == u'/';
    std::vector<std::u16string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(u'/', start);
        if (end == std::u16string::npos)
            end = path.size();
        const std::u16string part = path.substr(start, end - start);
        if (part == u"..") {
            if (!parts.empty() && parts.back() != u"..")
                parts.pop_back();
            else if (!absolute)
                parts.push_back(part);
        } else if (!part.empty() && part != u".") {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::u16string cleaned = absolute ? u"/" : u"";
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0)
            cleaned += u'/';
        cleaned += parts[i];
    }
    return cleaned.empty() ? u"." : cleaned;
}

// The generic data location as Qt 6 computes it on Linux: a non-empty XDG_DATA_HOME is taken as
// it stands (Qt 6.4 does not reject a relative one, so neither do we, or the GUI and the
// command-line tool could disagree), else the cleaned home folder, "/" when HOME is unset or
// empty, plus ".local/share".
std::u16string genericDataLocation()
{
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg && *xdg) {
        std::u16string base = fromUtf8(xdg);
        stripTrailingSeparators(base);
        return base;
    }
    const char* home = std::getenv("HOME");
    std::u16string base = cleanPath(fromUtf8(home && *home ? home : "/"));
    stripTrailingSeparators(base);
    return (base == u"/" ? u"" : base) + u"/.local/share";
}
} // namespace

void setProfileDirectory(const std::u16string& folder)
{
    std::lock_guard guard(overrideLock);
    profileOverride = folder;
    stripTrailingSeparators(profileOverride);
}

} // namespace platform

std::u16string dataDirectory()
{
    std::u16string folder;
    {
        std::lock_guard guard(platform::overrideLock);
        folder = platform::profileOverride;
    }
    if (folder.empty()) {
        folder = platform::genericDataLocation();
        if (folder != u"/")
            folder += u'/';
        folder += platform::ProfileFolderName;
    }
    // A new account may not have ~/.local/share yet; make every missing level, privately.
    for (std::size_t slash = folder.find(u'/', 1); slash != std::u16string::npos; slash = folder.find(u'/', slash + 1))
        platform::makePrivateDirectory(folder.substr(0, slash));
    platform::makePrivateDirectory(folder);
    return folder + u'/';
}
