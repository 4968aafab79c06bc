#include "platform/Profile.h"

#include <cstdlib>
#include <mutex>

#include "engine/AppConstants.h"
#include "platform/AtomicFile.h"
#include "platform/Utf.h"

namespace platform {
namespace {
std::mutex overrideLock;
std::u16string profileOverride;
}  // namespace

void setProfileDirectory(const std::u16string& folder)
{
    std::lock_guard guard(overrideLock);
    profileOverride = folder;
    while (profileOverride.size() > 1 && profileOverride.back() == u'/')
        profileOverride.pop_back();
}

}  // namespace platform

std::u16string dataDirectory()
{
    std::u16string folder;
    {
        std::lock_guard guard(platform::overrideLock);
        folder = platform::profileOverride;
    }
    if (folder.empty()) {
        // Qt ignores a relative XDG_DATA_HOME, and so do we.
        const char* xdg = std::getenv("XDG_DATA_HOME");
        std::u16string base;
        if (xdg && *xdg == '/') {
            base = platform::fromUtf8(xdg);
        } else {
            const char* home = std::getenv("HOME");
            base = platform::fromUtf8(home && *home ? home : "/tmp") + u"/.local/share";
        }
        while (base.size() > 1 && base.back() == u'/')
            base.pop_back();
        folder = base + u'/' + std::u16string(AppName);
    }
    // A new account may not have ~/.local/share yet; make every missing level, privately.
    for (std::size_t slash = folder.find(u'/', 1); slash != std::u16string::npos; slash = folder.find(u'/', slash + 1))
        platform::makePrivateDirectory(folder.substr(0, slash));
    platform::makePrivateDirectory(folder);
    return folder + u'/';
}

std::u16string configPath() { return dataDirectory() + std::u16string(ConfigFileName); }

std::u16string recipientsPath() { return dataDirectory() + std::u16string(RecipientsFileName); }
