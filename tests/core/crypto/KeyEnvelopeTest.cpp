#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "CryptoTestHelpers.h"
#include "crypto/CryptoSession.h"
#include "crypto/IdentityCertificate.h"
#include "platform/KeyContainer.h"

using namespace crypto_tests;
using testing_support::randomBytes;
using testing_support::u16;
using testing_support::writeBytes;

namespace {

struct ErrorLog {
    int calls = 0;
    std::uint32_t operation = 99, code = 0, severity = 0;
    bool fileNameNull = false;
};
ErrorLog errors;

int recordError(std::uint32_t operation, std::int64_t, std::int64_t, KvxUtils::UserParameter* user)
{
    errors = { errors.calls + 1, operation, user->status.code(), user->status.severity(), user->fileName == nullptr };
    return 1;
}

const char16_t* const Names[] = { u"Alice Ames", u"Bob Burns", u"Carol Chen" };

bool sameBytes(const ByteBlobPtr& blob, const std::uint8_t* expected, std::size_t size)
{
    return blob && blob->size() == size && std::memcmp(blob->data(), expected, size) == 0;
}

// Three identities made by the program (RSA 3072, so made once) and one contact made by openssl,
// all in one profile of their own.
class KeyEnvelope : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        profile = new fs::path(useFreshProfile("envelope"));
        for (int i = 0; i < 3; ++i) {
            auto identity = IdentityCertificate::create(Names[i]);
            ASSERT_TRUE(identity && identity->addToStore().ok());
            identities[i] = identity->certificate();
        }
        outsider = loadCertificateFile(u16(opensslCertificate(*profile, "dave", "/CN=Dave Dunn/title=Halvoren")));
        ASSERT_TRUE(outsider && addCertificate(outsider));
    }
    static void TearDownTestSuite()
    {
        for (auto& identity : identities)
            identity.reset();
        outsider.reset();
        closeCertificateStore();
        delete profile;
    }

    void SetUp() override
    {
        platform::setProfileDirectory(u16(*profile));
        closeCertificateStore();
        errors = ErrorLog();
        session.setCallback(recordError);
        session.setUserParameter(&user);
        user.fileName = u"stale";
        folder = testing_support::freshFolder("envelope-case");
        key = session.createSessionKey(true);
        blob = packKeyBlob(session.exportPlainKey(key.get()).get(), readIv(key.get()).get());
    }

    // The key file opens for the named user and yields the packed key and vector.
    void expectOpensFor(const char16_t* name, const fs::path& keyFile)
    {
        ASSERT_TRUE(openCertificateStore(name));
        SessionKeyPtr opened = session.readKeyFile(u16(keyFile));
        ASSERT_TRUE(opened);
        EXPECT_TRUE(sameBytes(session.exportPlainKey(opened.get()), blob->data() + 4, 32));
        EXPECT_TRUE(sameBytes(readIv(opened.get()), blob->data() + 40, 16));
    }

    static inline fs::path* profile = nullptr;
    static inline CertificatePtr identities[3];
    static inline CertificatePtr outsider;

    CryptoSession session;
    KvxUtils::UserParameter user;
    fs::path folder;
    SessionKeyPtr key;
    ByteBlobPtr blob; // 56 bytes: the fresh session key as packed for the envelope
};

TEST_F(KeyEnvelope, SessionKeysAreFreshAndSurvivePackingAndImport)
{
    SessionKeyPtr second = session.createSessionKey(true);
    ByteBlobPtr key1 = session.exportPlainKey(key.get()), iv1 = readIv(key.get());
    ASSERT_EQ(key1->size(), 32u);
    ASSERT_EQ(iv1->size(), 16u);
    ASSERT_EQ(blob->size(), 56u);
    EXPECT_FALSE(sameBytes(session.exportPlainKey(second.get()), key1->data(), 32));
    EXPECT_FALSE(sameBytes(readIv(second.get()), iv1->data(), 16));

    ByteBlobPtr ivBack;
    ByteBlobPtr keyBack = unpackKeyBlob(blob.get(), ivBack);
    EXPECT_TRUE(sameBytes(keyBack, key1->data(), 32));
    EXPECT_TRUE(sameBytes(ivBack, iv1->data(), 16));
    SessionKeyPtr imported = session.importPlainKey(keyBack.get());
    ASSERT_TRUE(imported);
    EXPECT_TRUE(sameBytes(session.exportPlainKey(imported.get()), key1->data(), 32));
    ByteBlob tooShort(key1->data(), 31);
    EXPECT_FALSE(session.importPlainKey(&tooShort));

    // Lengths that point outside the blob, are empty, or wrap a 32-bit sum are refused.
    auto blobWith = [](std::uint32_t keyLength, std::uint32_t ivLength, std::size_t size) {
        std::vector<std::uint8_t> bytes(size, 0xAB);
        std::memcpy(bytes.data(), &keyLength, std::min<std::size_t>(4, size));
        if (8 + static_cast<std::size_t>(keyLength) <= size)
            std::memcpy(bytes.data() + 4 + keyLength, &ivLength, 4);
        return std::make_unique<ByteBlob>(bytes.data(), static_cast<std::uint32_t>(size));
    };
    const struct {
        std::uint32_t key, iv;
        std::size_t size;
    } refused[] = { { 0, 16, 56 }, { 56, 16, 56 }, { 32, 17, 56 }, { 32, 0, 56 }, { 50, 16, 56 },
        { 32, 0xFFFFFFF0u, 56 }, { 1, 1, 3 } };
    for (const auto& bad : refused) {
        ByteBlobPtr iv = std::make_unique<ByteBlob>(3);
        EXPECT_FALSE(unpackKeyBlob(blobWith(bad.key, bad.iv, bad.size).get(), iv)) << bad.key << " " << bad.iv;
        EXPECT_FALSE(iv);
    }
    ByteBlobPtr iv;
    EXPECT_TRUE(unpackKeyBlob(blobWith(32, 16, 56).get(), iv));
}

TEST_F(KeyEnvelope, EveryRecipientOpensItWithOpensslAndWithTheProgram)
{
    const fs::path keyFile = folder / "key.p7";
    ASSERT_TRUE(session.writeKeyFile(u16(keyFile), key.get(), { identities[0], identities[1], identities[2] }));
    EXPECT_EQ(fs::status(keyFile).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);

    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(testing_support::u8(Names[i]));
        const fs::path cert = folder / ("recipient" + std::to_string(i) + ".der");
        ASSERT_TRUE(saveCertificateFile(identities[i], u16(cert)));
        const std::string containerFile = testing_support::u8(platform::keyContainerPath(Names[i]));
        std::string plain;
        ASSERT_EQ(run("openssl cms -decrypt -inform DER -in " + shellArg(keyFile) + " -recip " + shellArg(cert)
                          + " -inkey " + shellArg(containerFile),
                      &plain),
            0);
        EXPECT_TRUE(plain.size() == 56 && std::memcmp(plain.data(), blob->data(), 56) == 0);
        expectOpensFor(Names[i], keyFile);
    }
    EXPECT_EQ(errors.calls, 0);

    // Dave is in the store but not in the envelope; a user with no own certificate takes the
    // same road. Both get one report, without a stale file name.
    for (const char16_t* stranger : { u"Dave Dunn", u"Nobody Here" }) {
        ASSERT_TRUE(openCertificateStore(stranger));
        const int before = errors.calls;
        EXPECT_FALSE(session.readKeyFile(u16(keyFile)));
        EXPECT_EQ(std::tuple(errors.calls, errors.operation, errors.code, errors.severity, errors.fileNameNull),
            std::tuple(before + 1, OpError, 0x8009100Bu, SeverityError, true));
    }
}

TEST_F(KeyEnvelope, EnvelopeMadeByOpensslOpens)
{
    const fs::path der = folder / "bob.der", pem = folder / "bob.pem", blobFile = folder / "blob",
                   keyFile = folder / "key.p7";
    ASSERT_TRUE(saveCertificateFile(identities[1], u16(der)));
    ASSERT_EQ(run("openssl x509 -inform DER -in " + shellArg(der) + " -out " + shellArg(pem)), 0);
    writeBytes(blobFile, std::vector<std::uint8_t>(blob->data(), blob->data() + blob->size()));
    ASSERT_EQ(run("openssl cms -encrypt -des3 -binary -outform DER -in " + shellArg(blobFile) + " -out "
                  + shellArg(keyFile) + " " + shellArg(pem)),
        0);
    expectOpensFor(Names[1], keyFile);
    EXPECT_EQ(errors.calls, 0);
}

TEST_F(KeyEnvelope, UndecodableOrEmptyKeyFilesFailWithoutReport)
{
    ASSERT_TRUE(openCertificateStore(Names[0]));
    const fs::path empty = folder / "empty", junk = folder / "junk", signedData = folder / "signed";
    writeBytes(empty, {});
    writeBytes(junk, randomBytes(300));
    // Well-formed PKCS#7, but signed rather than enveloped.
    const fs::path signer = opensslCertificate(folder, "signer", "/CN=Signer");
    ASSERT_EQ(run("openssl cms -sign -binary -outform DER -in " + shellArg(junk) + " -signer " + shellArg(signer)
                  + " -inkey " + shellArg(folder / "signer.key") + " -out " + shellArg(signedData)),
        0);
    for (const fs::path& file : { empty, junk, folder / "missing", signedData })
        EXPECT_FALSE(session.readKeyFile(u16(file))) << file;
    EXPECT_EQ(errors.calls, 0);
}

} // namespace
