#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "engine/ScopedFile.h"
#include "platform/FaultInjection.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"
#include "platform/StreamPipeline.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {
std::vector<std::uint8_t> readAll(platform::FileHandle handle, std::size_t block, std::uint64_t limit, bool& ok)
{
    platform::ReadAhead reader(handle, block, limit);
    std::vector<std::uint8_t> bytes;
    ok = true;
    for (;;) {
        const std::uint8_t* data = nullptr;
        std::size_t size = 0;
        if (!reader.next(data, size)) {
            ok = false;
            break;
        }
        bytes.insert(bytes.end(), data, data + size);
        if (size < block)
            break;
    }
    return bytes;
}
}  // namespace

TEST(StreamPipeline, ReadsAheadInOrderWithinTheLimitAndCarriesFailures)
{
    const fs::path folder = freshFolder("pipeline");
    // Large enough for the second thread, and not a whole number of blocks.
    const auto bytes = randomBytes((20u << 20) + 123, 3);
    writeBytes(folder / "f", bytes);
    ScopedFile file;
    ASSERT_TRUE(file.open(u16(folder / "f"), win::OPEN_EXISTING, win::GENERIC_READ, 3));

    bool ok = false;
    EXPECT_EQ(readAll(file.handle(), 1 << 20, UINT64_MAX, ok), bytes);
    EXPECT_TRUE(ok);
    platform::seekFile(file.handle(), 100, platform::SeekFrom::Begin);
    const auto middle = readAll(file.handle(), 1 << 20, 12u << 20, ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(middle, std::vector<std::uint8_t>(bytes.begin() + 100, bytes.begin() + 100 + (12u << 20)));

    // A small stream takes the direct road and reads the same.
    platform::seekFile(file.handle(), bytes.size() - 5000, platform::SeekFrom::Begin);
    EXPECT_EQ(readAll(file.handle(), 1 << 20, UINT64_MAX, ok), std::vector<std::uint8_t>(bytes.end() - 5000, bytes.end()));

    platform::seekFile(file.handle(), 0, platform::SeekFrom::Begin);
    platform::faults::failAfter(platform::faults::Kind::Read, 4, win::ERROR_IO_DEVICE);
    const auto partial = readAll(file.handle(), 1 << 20, UINT64_MAX, ok);
    platform::faults::reset();
    EXPECT_FALSE(ok);
    EXPECT_EQ(platform::lastError(), win::ERROR_IO_DEVICE);
    EXPECT_EQ(partial.size(), 4u << 20);

    // Stopping early: the reader thread goes away cleanly with blocks still unread.
    platform::seekFile(file.handle(), 0, platform::SeekFrom::Begin);
    {
        platform::ReadAhead reader(file.handle(), 1 << 20);
        const std::uint8_t* data = nullptr;
        std::size_t size = 0;
        ASSERT_TRUE(reader.next(data, size));
        EXPECT_EQ(size, 1u << 20);
    }
}

TEST(StreamPipeline, WritesBehindInOrderAndReportsAFullDisk)
{
    const fs::path folder = freshFolder("writer");
    const auto bytes = randomBytes(24u << 20, 4);
    for (const bool failing : {false, true}) {
        ScopedFile file;
        ASSERT_TRUE(file.open(u16(folder / "out"), win::CREATE_ALWAYS, win::GENERIC_WRITE, 3));
        if (failing)
            platform::faults::failAfter(platform::faults::Kind::Write, 7, win::ERROR_DISK_FULL, true);
        platform::WriteBehind writer(file.handle(), 1 << 20, bytes.size());
        // The observer, on a thread of its own, sees every block in order and whole, also the
        // ones whose write fails, before its buffer is filled again.
        std::vector<std::uint8_t> seen;
        writer.observe([&seen](const std::uint8_t* data, std::size_t size) { seen.insert(seen.end(), data, data + size); });
        bool committed = true;
        for (std::size_t at = 0; at < bytes.size() && committed; at += 1 << 20) {
            std::uint8_t* slot = writer.acquire();
            std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.begin() + static_cast<std::ptrdiff_t>(at + (1 << 20)), slot);
            committed = writer.commit(1 << 20);
        }
        const bool finished = writer.finish();
        platform::faults::reset();
        file.close();
        if (failing) {
            EXPECT_FALSE(finished);
            EXPECT_EQ(platform::lastError(), win::ERROR_DISK_FULL);
            EXPECT_EQ(fs::file_size(folder / "out"), 7u << 20);
        } else {
            EXPECT_TRUE(finished && committed);
            EXPECT_EQ(readBytes(folder / "out"), bytes);
        }
        EXPECT_GE(seen.size(), 8u << 20);
        EXPECT_TRUE(std::equal(seen.begin(), seen.end(), bytes.begin()));
        if (!failing) {
            EXPECT_EQ(seen.size(), bytes.size());
        }
    }
}
