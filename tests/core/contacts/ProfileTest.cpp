// Where the profile lives: the same rules as the toolkit's generic data location, so that the
// GUI and the command-line tool find one profile, and private folders from the start.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "support/TestSupport.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

// Sets or clears one environment variable for the length of a scope.
struct ScopedEnv {
    ScopedEnv(const char* name, const char* value)
        : name(name)
        , old(getenv(name) ? std::optional<std::string>(getenv(name)) : std::nullopt)
    {
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
    const char* name;
    std::optional<std::string> old;
};

unsigned modeOf(const fs::path& path)
{
    struct stat info { };
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
}

} // namespace

TEST(Profile, FollowsTheXdgDataLocation)
{
    platform::setProfileDirectory(u"");
    const fs::path base = freshFolder("xdg");

    {
        ScopedEnv xdg("XDG_DATA_HOME", (base / "data/").c_str());
        EXPECT_EQ(dataDirectory(), u16(base / "data" / "Halvoren") + u"/");
        EXPECT_EQ(configPath(), u16(base / "data" / "Halvoren" / "KvxCfg.xml"));
        EXPECT_EQ(recipientsPath(), u16(base / "data" / "Halvoren" / "RecipientsList.xml"));
        EXPECT_EQ(modeOf(base / "data" / "Halvoren"), 0700u);
    }
    {
        // Without XDG_DATA_HOME the home folder, cleaned, and every missing level made privately.
        ScopedEnv xdg("XDG_DATA_HOME", "");
        ScopedEnv home("HOME", (base.string() + "/x/../home//").c_str());
        EXPECT_EQ(dataDirectory(), u16(base / "home" / ".local" / "share" / "Halvoren") + u"/");
        EXPECT_EQ(modeOf(base / "home" / ".local"), 0700u);
        EXPECT_EQ(modeOf(base / "home" / ".local" / "share" / "Halvoren"), 0700u);
    }

    platform::setProfileDirectory(u16(base / "chosen"));
    EXPECT_EQ(configPath(), u16(base / "chosen" / "KvxCfg.xml"));
    EXPECT_EQ(modeOf(base / "chosen"), 0700u);
    platform::setProfileDirectory(u"");
}
