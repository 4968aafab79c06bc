#include <gtest/gtest.h>

#include <vector>

#include "CryptoTestHelpers.h"
#include "crypto/CryptoSession.h"
#include "crypto/HashFile.h"
#include "platform/FaultInjection.h"
#include "platform/StatusCodes.h"

using namespace crypto_tests;
using testing_support::hex;
using testing_support::randomBytes;
using testing_support::readBytes;
using testing_support::u16;
using testing_support::writeBytes;

namespace {

struct ProgressLog {
    std::vector<std::uint32_t> operations;
    std::vector<std::int64_t> totals;
    std::vector<std::int64_t> processed;
    int stopAtCall = -1;
};
ProgressLog* progress = nullptr;

int recordProgress(std::uint32_t operation, std::int64_t dataLength, std::int64_t processedLength,
                   KvxUtils::UserParameter*)
{
    progress->operations.push_back(operation);
    progress->totals.push_back(dataLength);
    progress->processed.push_back(processedLength);
    return static_cast<int>(progress->operations.size()) - 1 == progress->stopAtCall ? 0 : 1;
}

class BulkEncryption : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = useFreshProfile("bulk");
        // A fixed key makes every run the same, so that a tampered block fails every time.
        std::vector<std::uint8_t> keyBytes = randomBytes(32, 7);
        ByteBlob raw(keyBytes.data(), 32);
        key = session.importPlainKey(&raw);
        ASSERT_TRUE(key);
        const std::vector<std::uint8_t> iv = randomBytes(16, 8);
        ASSERT_TRUE(session.setIv(key.get(), iv.data()));
        keyHex = hex(keyBytes.data(), 32);
        ivHex = hex(iv.data(), 16);
        session.setCallback(recordProgress);
        progress = &log;
    }
    void TearDown() override { progress = nullptr; }

    fs::path folder;
    CryptoSession session;
    SessionKeyPtr key;
    std::string keyHex, ivHex;
    ProgressLog log;
};

TEST_F(BulkEncryption, MatchesOneShotAesCbcAndDecryptsBackAtEveryChunkBoundary)
{
    struct Case {
        std::size_t plain;
        std::size_t cipher;
    };
    // Around the 992-byte chunk, and across the large read buffer (1057 chunks) and several of them.
    const std::vector<Case> cases = {{1, 16},       {15, 16},        {16, 32},           {991, 992},
                                     {992, 1008},   {993, 1008},     {1984, 2000},       {1057 * 992, 1057 * 992 + 16},
                                     {3 << 20, (3 << 20) + 16},     {(5 << 20) + 7, (5 << 20) + 16}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.plain);
        const fs::path plain = folder / "plain", cipher = folder / "cipher", back = folder / "back",
                       reference = folder / "reference";
        const std::vector<std::uint8_t> data = randomBytes(c.plain, static_cast<std::uint32_t>(c.plain));
        writeBytes(plain, data);
        log = ProgressLog();

        ASSERT_TRUE(session.encryptStream(u16(plain), u16(cipher), key.get()));
        ASSERT_EQ(run("openssl enc -aes-256-cbc -K " + keyHex + " -iv " + ivHex + " -in " + shellArg(plain) + " -out " +
                      shellArg(reference)),
                  0);
        const std::vector<std::uint8_t> encrypted = readBytes(cipher);
        EXPECT_EQ(encrypted.size(), c.cipher);
        EXPECT_TRUE(encrypted == readBytes(reference));

        // One report per chunk, the last one short; totals run up to the cipher text's length.
        ASSERT_EQ(log.operations.size(), c.plain / 992 + 1);
        EXPECT_EQ(log.operations.front(), OpEncrypt);
        EXPECT_EQ(log.totals.back(), static_cast<std::int64_t>(c.plain));
        EXPECT_EQ(log.processed.back(), static_cast<std::int64_t>(c.cipher));
        if (c.plain >= 992) {
            EXPECT_EQ(log.processed.front(), 992);
        }

        log = ProgressLog();
        // The digest taken on the way equals a pass over the written file, also where the file
        // is shorter than the offset.
        session.hashOutputFrom(20);
        ASSERT_TRUE(session.decryptStream(u16(cipher), u16(back), key.get()));
        EXPECT_TRUE(readBytes(back) == data);
        const auto onTheWay = session.outputDigest();
        ASSERT_TRUE(onTheWay);
        {
            const platform::FileHandle written = platform::openFile(u16(back), win::OPEN_EXISTING, win::GENERIC_READ);
            ASSERT_TRUE(platform::seekFile(written, 20, platform::SeekFrom::Begin));
            const auto afterwards = hashFile(written, nullptr, nullptr);
            platform::closeFile(written);
            ASSERT_TRUE(afterwards);
            EXPECT_EQ(*onTheWay, *afterwards);
        }
        ASSERT_EQ(log.operations.size(), c.cipher / 992 + 1);
        EXPECT_EQ(log.operations.back(), OpDecrypt);
        EXPECT_EQ(log.totals.back(), static_cast<std::int64_t>(c.cipher));
        EXPECT_EQ(log.processed.back(), static_cast<std::int64_t>(c.plain));
        for (std::size_t i = 1; i < log.processed.size(); ++i)
            EXPECT_LE(log.processed[i - 1], log.processed[i]);
    }
}

TEST_F(BulkEncryption, EmptySourceFailsAndLeavesAnEmptyTarget)
{
    const fs::path empty = folder / "empty", target = folder / "target";
    writeBytes(empty, {});
    EXPECT_FALSE(session.encryptStream(u16(empty), u16(target), key.get()));
    ASSERT_TRUE(fs::exists(target));
    EXPECT_EQ(fs::file_size(target), 0u);
    EXPECT_FALSE(session.decryptStream(u16(empty), u16(target), key.get()));
    EXPECT_TRUE(log.operations.empty());
}

TEST_F(BulkEncryption, StopOrFailureDeletesCipherTextButLeavesPlainTarget)
{
    const fs::path plain = folder / "plain", cipher = folder / "cipher", back = folder / "back";
    writeBytes(plain, randomBytes(5000));
    ASSERT_TRUE(session.encryptStream(u16(plain), u16(cipher), key.get()));

    log = ProgressLog();
    log.stopAtCall = 0;
    const fs::path stopped = folder / "stopped";
    EXPECT_FALSE(session.encryptStream(u16(plain), u16(stopped), key.get()));
    EXPECT_FALSE(fs::exists(stopped));
    EXPECT_EQ(log.operations.size(), 1u);

    log = ProgressLog();
    log.stopAtCall = 0;
    session.hashOutputFrom(0);
    EXPECT_FALSE(session.decryptStream(u16(cipher), u16(back), key.get()));
    EXPECT_TRUE(fs::exists(back));
    EXPECT_EQ(log.operations.size(), 1u);
    // A stopped run has no digest to offer, and the request doesn't carry over to the next run.
    EXPECT_FALSE(session.outputDigest());
    log = ProgressLog();
    ASSERT_TRUE(session.decryptStream(u16(cipher), u16(back), key.get()));
    EXPECT_FALSE(session.outputDigest());

    // A full disk in the middle of a large file: no partial cipher text stays behind.
    const fs::path large = folder / "large";
    writeBytes(large, randomBytes(3 << 20));
    log = ProgressLog();
    platform::faults::failAfter(platform::faults::Kind::Write, 1, win::ERROR_DISK_FULL);
    EXPECT_FALSE(session.encryptStream(u16(large), u16(stopped), key.get()));
    platform::faults::reset();
    EXPECT_FALSE(fs::exists(stopped));
}

TEST_F(BulkEncryption, DamagedCipherTextFailsAtTheFinalStep)
{
    const fs::path plain = folder / "plain", cipher = folder / "cipher", back = folder / "back";
    writeBytes(plain, randomBytes(2500, 3));
    session.setCallback(nullptr);
    ASSERT_TRUE(session.encryptStream(u16(plain), u16(cipher), key.get()));
    std::vector<std::uint8_t> bytes = readBytes(cipher);

    std::vector<std::uint8_t> changed = bytes;
    changed.back() ^= 0x5A;
    writeBytes(cipher, changed);
    EXPECT_FALSE(session.decryptStream(u16(cipher), u16(back), key.get()));

    std::vector<std::uint8_t> cut(bytes.begin(), bytes.end() - 1);
    writeBytes(cipher, cut);
    EXPECT_FALSE(session.decryptStream(u16(cipher), u16(back), key.get()));

    // A different vector garbles only the first block, so the rest must still come back.
    writeBytes(cipher, bytes);
    const std::vector<std::uint8_t> otherIv(16, 0);
    ASSERT_TRUE(session.setIv(key.get(), otherIv.data()));
    ASSERT_TRUE(session.decryptStream(u16(cipher), u16(back), key.get()));
    const std::vector<std::uint8_t> got = readBytes(back), want = readBytes(plain);
    ASSERT_EQ(got.size(), want.size());
    EXPECT_FALSE(std::equal(want.begin(), want.begin() + 16, got.begin()));
    EXPECT_TRUE(std::equal(want.begin() + 16, want.end(), got.begin() + 16));
}

}  // namespace
