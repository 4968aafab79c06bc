#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "TestSupport.h"
#include "core/package/Reports.h"
#include "crypto/HashFile.h"
#include "engine/EngineStatus.h"
#include "engine/ScopedFile.h"
#include "platform/AtomicFile.h"
#include "platform/CrashGuard.h"
#include "platform/ErrorText.h"
#include "platform/FaultInjection.h"
#include "platform/LastError.h"
#include "platform/TempFile.h"
#include "platform/Utf.h"

using namespace testing_support;
namespace fs = std::filesystem;

TEST(EngineStatus, OkDependsOnSeverityAloneAndEveryCodeHasWords)
{
    EngineStatus failedWithoutCode(0, SeverityError);
    EXPECT_FALSE(failedWithoutCode.ok());
    EXPECT_TRUE(failedWithoutCode.message().empty());
    EXPECT_EQ(failedWithoutCode.lookUps(), 0u);

    EngineStatus parseCode(7, SeveritySuccess);
    EXPECT_TRUE(parseCode.ok());
    EXPECT_FALSE(parseCode.message().empty());

    // A damaged digest reads to the user as a damaged package, not as a cryptographic failure.
    EXPECT_EQ(platform::userText(win::NTE_BAD_HASH), platform::userText(win::ERROR_BAD_FORMAT));
    // Every code the errno map can produce has words; unknown errno values fall back to strerror.
    for (int error = 1; error < 134; ++error) {
        const std::uint32_t code = platform::codeFromErrno(error);
        EXPECT_FALSE(platform::errorText(code).empty()) << "errno " << error;
    }
}

// A handle handed on with release() and the codes of a failed open are the package engine's and
// the container tests' own: the package is written through a released handle, and a missing
// folder or a folder at the package's path is told by its code.

TEST(ScopedFile, CreateAlwaysEmptiesTheExistingFileItself)
{
    const fs::path folder = freshFolder("create-always");
    const fs::path path = folder / "a.bin";
    const fs::path link = folder / "b.bin";
    writeBytes(path, std::vector<std::uint8_t>(300000, 7));
    fs::create_hard_link(path, link);

    ScopedFile file;
    ASSERT_TRUE(file.open(u16(path), win::CREATE_ALWAYS, win::GENERIC_READ | win::GENERIC_WRITE, 3));
    std::int64_t size = -1;
    ASSERT_TRUE(platform::fileSize(file.handle(), size));
    EXPECT_EQ(size, 0);
    // One call larger than the pieces the system gets goes out whole and in order.
    const std::vector<std::uint8_t> content = randomBytes(700001, 6);
    ASSERT_TRUE(platform::writeFile(file.handle(), content.data(), content.size()));
    file.close();
    // The file was emptied in place, as the other name of it shows, not replaced by a new one.
    EXPECT_EQ(readBytes(link), content);
}

TEST(NativeFile, CopyRangeCopiesFromAnOffsetWithinAndAcrossFileSystems)
{
    const fs::path folder = freshFolder("copy-range");
    const std::vector<std::uint8_t> source = randomBytes(3000001, 9);
    writeBytes(folder / "source", source);
    // /dev/shm is another file system, where the kernel won't copy and the buffered way takes over.
    std::vector<fs::path> targets = { folder / "target" };
    if (fs::is_directory("/dev/shm"))
        targets.push_back(fs::path("/dev/shm") / ("halvoren-copy-" + std::to_string(::getpid())));
    for (const fs::path& target : targets) {
        SCOPED_TRACE(target.string());
        const platform::FileHandle from
            = platform::openFile(u16(folder / "source"), win::OPEN_EXISTING, win::GENERIC_READ);
        const platform::FileHandle to = platform::openFile(u16(target), win::CREATE_ALWAYS, win::GENERIC_WRITE);
        ASSERT_NE(from, platform::InvalidHandle);
        ASSERT_NE(to, platform::InvalidHandle);
        ASSERT_TRUE(platform::writeFile(to, "head", 4));
        std::size_t copied = 0;
        // Past the end of the source the copy stops short, without failing.
        ASSERT_TRUE(platform::copyRange(from, 1000, to, source.size(), copied));
        EXPECT_EQ(copied, source.size() - 1000);
        std::int64_t position = -1;
        ASSERT_TRUE(platform::seekFile(from, 0, platform::SeekFrom::Current, &position));
        EXPECT_EQ(position, 0);

        platform::faults::failAfter(platform::faults::Kind::Write, 0, win::ERROR_DISK_FULL);
        EXPECT_FALSE(platform::copyRange(from, 0, to, 10, copied));
        EXPECT_EQ(platform::lastError(), win::ERROR_DISK_FULL);
        platform::faults::reset();
        platform::closeFile(from);
        platform::closeFile(to);

        // "head", then the source from the offset on.
        std::vector<std::uint8_t> expected(source.begin() + 996, source.end());
        std::memcpy(expected.data(), "head", 4);
        EXPECT_EQ(readBytes(target), expected);
        fs::remove(target);
    }
}

TEST(AtomicFile, ReplacingTakesTheNewFileAndLeavesNothingElse)
{
    const fs::path folder = freshFolder("replace");
    const fs::path target = folder / "package.kvx";
    auto stage = [&](std::uint8_t fill) {
        std::u16string staged;
        EXPECT_TRUE(platform::createSiblingTempFile(u16(target), staged, 0644));
        writeBytes(fs::path(platform::toUtf8(staged)), std::vector<std::uint8_t>(5000, fill));
        return staged;
    };
    // Into an empty place, then over an earlier file.
    ASSERT_TRUE(platform::replaceFile(stage(1), u16(target)));
    ASSERT_TRUE(platform::replaceFile(stage(2), u16(target)));
    EXPECT_EQ(readBytes(target), std::vector<std::uint8_t>(5000, 2));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    EXPECT_EQ(fs::status(target).permissions() & fs::perms::others_read, fs::perms::others_read);

    // A folder in the way is not swapped out: the call fails and both stay.
    const fs::path blocked = folder / "blocked";
    fs::create_directory(blocked);
    std::u16string staged;
    ASSERT_TRUE(platform::createSiblingTempFile(u16(blocked), staged, 0600));
    EXPECT_FALSE(platform::replaceFile(staged, u16(blocked)));
    EXPECT_EQ(platform::lastError(), win::ERROR_ACCESS_DENIED);
    EXPECT_TRUE(fs::is_directory(blocked));
    EXPECT_TRUE(fs::exists(fs::path(platform::toUtf8(staged))));
}

TEST(FilePositionGuard, RestoresPositionsAndNests)
{
    const fs::path folder = freshFolder("guard");
    writeBytes(folder / "f", randomBytes(5000));
    ScopedFile file;
    ASSERT_TRUE(file.open(u16(folder / "f"), win::OPEN_EXISTING, win::GENERIC_READ, 3));
    auto position = [&] {
        std::int64_t at = -1;
        platform::seekFile(file.handle(), 0, platform::SeekFrom::Current, &at);
        return at;
    };
    ASSERT_TRUE(platform::seekFile(file.handle(), 100, platform::SeekFrom::Begin));
    {
        FilePositionGuard outer(file.handle());
        platform::seekFile(file.handle(), 300, platform::SeekFrom::Begin);
        {
            FilePositionGuard inner(file.handle());
            platform::seekFile(file.handle(), 0, platform::SeekFrom::End);
        }
        EXPECT_EQ(position(), 300);
    }
    EXPECT_EQ(position(), 100);
}

// The digest's bytes and its start at the position are fixed by the container tests' byte-exact
// package; here a report per kilobyte up to the last block, and the ends.
TEST(HashFile, AStopOnTheLastBlockOrAFailedReadYieldsNoDigest)
{
    const fs::path folder = freshFolder("hash");
    writeBytes(folder / "big", randomBytes(1024 * 300 + 5));
    ScopedFile big;
    ASSERT_TRUE(big.open(u16(folder / "big"), win::OPEN_EXISTING, win::GENERIC_READ, 3));
    package_tests::Recorder recorder;
    package_tests::active = &recorder;
    recorder.stopWhen = [&recorder](const package_tests::Report&) { return recorder.reports.size() == 300; };
    platform::seekFile(big.handle(), 20, platform::SeekFrom::Begin);
    EXPECT_FALSE(hashFile(big.handle(), package_tests::recordingCallback, &recorder.record));
    EXPECT_EQ(recorder.count(OpHash), 300);

    platform::faults::failAfter(platform::faults::Kind::Read, 0, win::ERROR_IO_DEVICE);
    platform::seekFile(big.handle(), 0, platform::SeekFrom::Begin);
    EXPECT_FALSE(hashFile(big.handle(), nullptr, nullptr));
    EXPECT_EQ(platform::lastError(), win::ERROR_IO_DEVICE);
    platform::faults::reset();
    EXPECT_FALSE(hashFile(platform::InvalidHandle, nullptr, nullptr));
}

TEST(CrashGuard, WritesAReportAndStillEndsTheProcessBySignal)
{
    const fs::path folder = freshFolder("crash");
    const pid_t child = fork();
    if (child == 0) {
        if (!platform::CrashGuard::install(u16(folder / "crash"), u"9.9"))
            _exit(3);
        platform::CrashGuard::installForThread();
        raise(SIGABRT);
        _exit(4);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "exit " << WEXITSTATUS(status);
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    const auto reports = treeContents(folder / "crash");
    ASSERT_EQ(reports.size(), 1u);
    const std::string report(reports.begin()->second.begin(), reports.begin()->second.end());
    EXPECT_NE(report.find("Halvoren 9.9 crashed"), std::string::npos) << report;
    EXPECT_NE(report.find("signal: 6"), std::string::npos) << report;
    EXPECT_NE(report.find("backtrace:"), std::string::npos) << report;
}
