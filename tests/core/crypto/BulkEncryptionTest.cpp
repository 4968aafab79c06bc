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
    std::vector<std::int64_t> totals, processed;
    int stopAtCall = -1;
};
ProgressLog* progress = nullptr;

int recordProgress(
    std::uint32_t operation, std::int64_t dataLength, std::int64_t processedLength, KvxUtils::UserParameter*)
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

    // Runs one direction with a fresh progress log that stops at the given report.
    bool crypt(bool encrypting, const fs::path& source, const fs::path& target, int stopAtCall = -1)
    {
        log = ProgressLog();
        log.stopAtCall = stopAtCall;
        return encrypting ? session.encryptStream(u16(source), u16(target), key.get())
                          : session.decryptStream(u16(source), u16(target), key.get());
    }

    fs::path folder;
    CryptoSession session;
    SessionKeyPtr key;
    std::string keyHex, ivHex;
    ProgressLog log;
};

TEST_F(BulkEncryption, MatchesOneShotAesCbcAndDecryptsBackAtEveryChunkBoundary)
{
    // Around the 992-byte chunk, and across the large read buffer (1057 chunks) and several of them.
    const std::size_t sizes[] = { 1, 15, 16, 991, 992, 993, 1984, 1057 * 992, 3 << 20, (5 << 20) + 7 };
    const fs::path plain = folder / "plain", cipher = folder / "cipher", back = folder / "back",
                   reference = folder / "reference";
    for (const std::size_t size : sizes) {
        SCOPED_TRACE(size);
        const std::size_t cipherSize = (size / 16 + 1) * 16;
        const std::vector<std::uint8_t> data = randomBytes(size, static_cast<std::uint32_t>(size));
        writeBytes(plain, data);

        ASSERT_TRUE(crypt(true, plain, cipher));
        ASSERT_EQ(run("openssl enc -aes-256-cbc -K " + keyHex + " -iv " + ivHex + " -in " + shellArg(plain) + " -out "
                      + shellArg(reference)),
            0);
        const std::vector<std::uint8_t> encrypted = readBytes(cipher);
        EXPECT_EQ(encrypted.size(), cipherSize);
        EXPECT_TRUE(encrypted == readBytes(reference));

        // One report per chunk, the last one short; totals run up to the cipher text's length.
        ASSERT_EQ(log.operations.size(), size / 992 + 1);
        EXPECT_EQ(log.operations.front(), OpEncrypt);
        EXPECT_EQ(log.totals.back(), static_cast<std::int64_t>(size));
        EXPECT_EQ(log.processed.back(), static_cast<std::int64_t>(cipherSize));
        EXPECT_EQ(log.processed.front(), size >= 992 ? 992 : static_cast<std::int64_t>(cipherSize));

        // The digest taken on the way equals a pass over the written file, also where the file
        // is shorter than the offset.
        session.hashOutputFrom(20);
        ASSERT_TRUE(crypt(false, cipher, back));
        EXPECT_TRUE(readBytes(back) == data);
        const platform::FileHandle written = platform::openFile(u16(back), win::OPEN_EXISTING, win::GENERIC_READ);
        ASSERT_TRUE(platform::seekFile(written, 20, platform::SeekFrom::Begin));
        const auto afterwards = hashFile(written, nullptr, nullptr);
        platform::closeFile(written);
        ASSERT_TRUE(session.outputDigest() && afterwards);
        EXPECT_EQ(*session.outputDigest(), *afterwards);

        ASSERT_EQ(log.operations.size(), cipherSize / 992 + 1);
        EXPECT_EQ(log.operations.back(), OpDecrypt);
        EXPECT_EQ(log.processed.back(), static_cast<std::int64_t>(size));
    }
}

TEST_F(BulkEncryption, EmptySourceStopOrFailureLeaveNoCipherText)
{
    // An empty source fails and leaves an empty target, without a report.
    const fs::path empty = folder / "empty", target = folder / "target";
    writeBytes(empty, {});
    EXPECT_FALSE(crypt(true, empty, target));
    ASSERT_TRUE(fs::exists(target));
    EXPECT_EQ(fs::file_size(target), 0u);
    EXPECT_FALSE(crypt(false, empty, target));
    EXPECT_TRUE(log.operations.empty());

    const fs::path plain = folder / "plain", cipher = folder / "cipher", back = folder / "back",
                   stopped = folder / "stopped";
    writeBytes(plain, randomBytes(5000));
    ASSERT_TRUE(crypt(true, plain, cipher));
    EXPECT_FALSE(crypt(true, plain, stopped, 0));
    EXPECT_FALSE(fs::exists(stopped));
    EXPECT_EQ(log.operations.size(), 1u);

    // A stopped decryption leaves its plain target; it has no digest to offer, and the request
    // doesn't carry over to the next run.
    session.hashOutputFrom(0);
    EXPECT_FALSE(crypt(false, cipher, back, 0));
    EXPECT_TRUE(fs::exists(back));
    EXPECT_EQ(log.operations.size(), 1u);
    EXPECT_FALSE(session.outputDigest());
    ASSERT_TRUE(crypt(false, cipher, back));
    EXPECT_FALSE(session.outputDigest());

    // A full disk in the middle of a large file: no partial cipher text stays behind.
    const fs::path large = folder / "large";
    writeBytes(large, randomBytes(3 << 20));
    platform::faults::failAfter(platform::faults::Kind::Write, 1, win::ERROR_DISK_FULL);
    EXPECT_FALSE(crypt(true, large, stopped));
    platform::faults::reset();
    EXPECT_FALSE(fs::exists(stopped));
}

TEST_F(BulkEncryption, DamagedCipherTextFailsAtTheFinalStep)
{
    const fs::path plain = folder / "plain", cipher = folder / "cipher", back = folder / "back";
    writeBytes(plain, randomBytes(2500, 3));
    ASSERT_TRUE(crypt(true, plain, cipher));
    const std::vector<std::uint8_t> bytes = readBytes(cipher);

    std::vector<std::uint8_t> changed = bytes;
    changed.back() ^= 0x5A;
    for (const auto& damaged : { changed, std::vector<std::uint8_t>(bytes.begin(), bytes.end() - 1) }) {
        writeBytes(cipher, damaged);
        EXPECT_FALSE(crypt(false, cipher, back));
    }
}

} // namespace
