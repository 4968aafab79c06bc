// The settings store over real files: reading rules, what a save writes, and what survives when
// the file is broken or can't be written.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "contacts/ConfigStore.h"
#include "platform/FaultInjection.h"
#include "platform/StatusCodes.h"
#include "support/TestSupport.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

struct FaultReset {
    ~FaultReset() { platform::faults::reset(); }
};

// Pugixml's parse status codes, as the store reports them.
constexpr std::uint32_t ParseFileNotFound = 1;
constexpr std::uint32_t ParseEndElementMismatch = 14;
constexpr std::uint32_t ParseNoDocumentElement = 16;

} // namespace

TEST(ConfigStore, ReadsEveryKeyWithTheBooleanRules)
{
    const fs::path file = freshFolder("config") / "KvxCfg.xml";
    writeText(file,
        "<?xml version=\"1.0\"?>\n<Configuration>\n"
        "\t<OwnerName>Ann &amp; Bo &lt;b&gt; \xF0\x9D\x84\x9E</OwnerName>\n"
        "\t<FirstTimeMinimized>true</FirstTimeMinimized>\n\t<DoNotMinimizeToTray>Yes</DoNotMinimizeToTray>\n"
        "\t<AutomaticallyAddToRecipients>no</AutomaticallyAddToRecipients>\n"
        "\t<DoNotCompletitionNotify>0</DoNotCompletitionNotify>\n\t<StartOnLogin></StartOnLogin>\n"
        "\t<Width>-42</Width>\n</Configuration>\n");
    ConfigStore store;
    const EngineStatus status = store.load(u16(file));
    EXPECT_TRUE(status.ok());
    EXPECT_EQ(status.code(), 0u);
    EXPECT_EQ(store.getString(ConfigKey::OwnerName), u"Ann & Bo <b> \U0001D11E");
    using namespace ConfigKey;
    for (const auto& [key, value] : { std::pair { FirstTimeMinimized, true }, { DoNotMinimizeToTray, true },
             { AutomaticallyAddToRecipients, false }, { DoNotCompletitionNotify, false }, { StartOnLogin, false },
             { std::u16string_view(u"Missing"), false } })
        EXPECT_EQ(store.getBool(key), value) << u8(std::u16string(key));
    EXPECT_EQ(store.getInt(u"Width"), -42);
    EXPECT_EQ(store.getInt(u"Missing"), 0);
    EXPECT_TRUE(store.getString(u"Missing").empty());

    // Flipping a value rewrites the file; the getters above added nothing to it.
    ASSERT_TRUE(store.setBool(FirstTimeMinimized, false));
    EXPECT_EQ(readText(file).find("Missing"), std::string::npos);
    EXPECT_NE(readText(file).find("<FirstTimeMinimized>false</FirstTimeMinimized>"), std::string::npos);
}

TEST(ConfigStore, EmptyFileBecomesTabIndentedUtf8OnFirstSave)
{
    const fs::path folder = freshFolder("config");
    const fs::path file = folder / "KvxCfg.xml";
    writeText(file, "");
    ConfigStore store;
    EXPECT_EQ(store.load(u16(file)).code(), 0u);
    // The root exists in memory only until the first change.
    EXPECT_TRUE(readText(file).empty());

    const std::u16string name = u"\u00C5sa \"Q\" 'x' <&> \U0001F600 \u65E5\u672C\ttab\nline";
    ASSERT_TRUE(store.setString(ConfigKey::OwnerName, name));
    ASSERT_TRUE(store.setInt(u"Count", 2147483647));
    EXPECT_EQ(readText(file),
        "<?xml version=\"1.0\"?>\n"
        "<Configuration>\n"
        "\t<OwnerName>\xC3\x85sa \"Q\" 'x' &lt;&amp;&gt; \xF0\x9F\x98\x80 "
        "\xE6\x97\xA5\xE6\x9C\xAC\ttab\nline</OwnerName>\n"
        "\t<Count>2147483647</Count>\n"
        "</Configuration>\n");
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    ConfigStore again;
    ASSERT_TRUE(again.load(u16(file)).ok());
    EXPECT_EQ(again.getString(ConfigKey::OwnerName), name);
}

TEST(ConfigStore, BrokenOrMissingFileGivesDefaultsAndIsNeverWritten)
{
    const fs::path folder = freshFolder("config");
    const fs::path good = folder / "good.xml";
    writeText(good, "<Configuration><StartOnLogin>true</StartOnLogin></Configuration>");

    struct Case {
        const char* content;
        std::uint32_t code;
    };
    // A truncated file, and stray text that pugixml reports like an empty file.
    for (const Case& broken : { Case { "<Configuration><OwnerName>x</Configuration>", ParseEndElementMismatch },
             Case { "not xml at all", ParseNoDocumentElement } }) {
        const fs::path file = folder / "KvxCfg.xml";
        writeText(file, broken.content);
        ConfigStore store;
        // Loaded once from a good file, so a reload that fails must also forget the old one.
        ASSERT_TRUE(store.load(u16(good)).ok());
        ASSERT_TRUE(store.getBool(ConfigKey::StartOnLogin));

        const EngineStatus status = store.load(u16(file));
        EXPECT_TRUE(status.ok());
        EXPECT_EQ(status.code(), broken.code);
        EXPECT_FALSE(store.getBool(ConfigKey::StartOnLogin));
        EXPECT_FALSE(store.setBool(ConfigKey::StartOnLogin, false));
        EXPECT_EQ(readText(file), broken.content);
        EXPECT_EQ(readText(good), "<Configuration><StartOnLogin>true</StartOnLogin></Configuration>");
    }

    ConfigStore missing;
    const EngineStatus status = missing.load(u16(folder / "absent.xml"));
    EXPECT_TRUE(status.ok());
    EXPECT_EQ(status.code(), ParseFileNotFound);
    EXPECT_FALSE(missing.setBool(ConfigKey::StartOnLogin, true));
    EXPECT_FALSE(fs::exists(folder / "absent.xml"));
    EXPECT_EQ(missing.save().code(), win::ERROR_FILE_INVALID);
}

TEST(ConfigStore, FailedSaveLeavesThePreviousFile)
{
    FaultReset resetFaults;
    const fs::path folder = freshFolder("config");
    const fs::path file = folder / "KvxCfg.xml";
    writeText(file, "");
    ConfigStore store;
    ASSERT_TRUE(store.load(u16(file)).ok());
    ASSERT_TRUE(store.setString(ConfigKey::OwnerName, u"Ann"));
    const std::string before = readText(file);

    using platform::faults::Kind;
    for (Kind kind : { Kind::Write, Kind::Sync, Kind::Rename }) {
        platform::faults::failAfter(kind, 0, win::ERROR_DISK_FULL);
        EXPECT_FALSE(store.setBool(ConfigKey::StartOnLogin, true));
        EXPECT_EQ(readText(file), before);
        // No half-written temporary is left beside the file.
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
        platform::faults::reset();
    }
    // The value stayed in memory and reaches the disk with the next save that works.
    EXPECT_TRUE(store.getBool(ConfigKey::StartOnLogin));
    ASSERT_TRUE(store.setString(ConfigKey::OwnerName, u"Bo"));
    ConfigStore again;
    ASSERT_TRUE(again.load(u16(file)).ok());
    EXPECT_TRUE(again.getBool(ConfigKey::StartOnLogin));
    EXPECT_EQ(again.getString(ConfigKey::OwnerName), u"Bo");
}
