#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "TestSupport.h"
#include "platform/FaultInjection.h"
#include "platform/LastError.h"
#include "platform/NativeFile.h"
#include "platform/Profile.h"
#include "platform/StatusCodes.h"
#include "platform/TempFile.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {
std::set<std::string> namesIn(const fs::path& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

mode_t modeOf(platform::FileHandle handle)
{
    struct stat info { };
    EXPECT_EQ(::fstat(handle, &info), 0);
    return info.st_mode & 07777;
}
} // namespace

TEST(PrivateTemp, HasNoNameIsPrivateAndLeavesNoTrace)
{
    const fs::path tmp = std::getenv("TMPDIR");
    const auto before = namesIn(tmp);
    platform::PrivateTemp temp;
    ASSERT_TRUE(temp.createInTempDirectory());
    EXPECT_FALSE(temp.isNamed());
    EXPECT_EQ(namesIn(tmp), before);
    EXPECT_EQ(modeOf(temp.handle()), 0600u);
    EXPECT_EQ(u8(temp.name()).rfind("KVX", 0), 0u);
    // Its path, by which a decrypted inner package is opened again, is the package engine's test.

    temp.discard();
    EXPECT_FALSE(temp.isOpen());
    EXPECT_EQ(namesIn(tmp), before);
}

// Publishing over an earlier file (replaced, never written through, even behind a hard link) is
// the package engine's extraction tests' own.
TEST(PrivateTemp, OnlyRecordedTemporariesThatNobodyHoldsAreSwept)
{
    platform::setProfileDirectory(u16(freshFolder("profile")));
    const fs::path folder = freshFolder("sweep");
    // The user's own files, however much their names look like ours, are never touched.
    const std::set<std::string> mine { "KVX-budget-2025.csv", ".KVXnotes.txt", "KVXreport.kvx", ".KVXab12cd" };
    for (const std::string& name : mine)
        writeText(folder / name, "mine");
    const int directory = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(directory, 0);
    auto makeNamed = [&](platform::PrivateTemp& temp) {
        platform::faults::failAfter(platform::faults::Kind::Unnamed, 0, win::ERROR_NOT_SUPPORTED);
        const bool made = temp.create(directory, u16(folder), platform::HiddenTempPrefix);
        platform::faults::reset();
        return made && temp.isNamed() && platform::writeFile(temp.handle(), "plain", 5);
    };
    // A run that dies leaves its named temporary behind, with its record.
    const pid_t child = ::fork();
    if (child == 0) {
        platform::PrivateTemp orphan;
        ::_exit(makeNamed(orphan) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    platform::PrivateTemp living;
    ASSERT_TRUE(makeNamed(living));
    const std::string livingName = fs::path(u8(living.path())).filename().string();
    ASSERT_EQ(namesIn(folder).size(), mine.size() + 2);

    EXPECT_EQ(platform::sweepStaleTemporaries(u16(folder), platform::HiddenTempPrefix), 1);
    std::set<std::string> expected = mine;
    expected.insert(livingName);
    EXPECT_EQ(namesIn(folder), expected);
    // A sweep of another folder or prefix takes nothing.
    EXPECT_EQ(platform::sweepStaleTemporaries(u16(folder), platform::TempPrefix), 0);
    living.discard();
    EXPECT_EQ(namesIn(folder), mine);
    EXPECT_EQ(platform::sweepStaleTemporaries(u16(folder), platform::HiddenTempPrefix), 0);
    EXPECT_EQ(namesIn(folder), mine);
    ::close(directory);
    platform::setProfileDirectory(u"");
}
