#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "CryptoTestHelpers.h"
#include "crypto/CryptoSession.h"
#include "crypto/IdentityCertificate.h"
#include "platform/KeyContainer.h"

using namespace crypto_tests;
using testing_support::randomBytes;
using testing_support::readBytes;
using testing_support::u16;
using testing_support::writeBytes;

namespace {

struct ErrorLog {
    int calls = 0;
    std::uint32_t operation = 99;
    std::uint32_t code = 0;
    std::uint32_t severity = 0;
    bool fileNameNull = false;
};
ErrorLog errors;

int recordError(std::uint32_t operation, std::int64_t, std::int64_t, KvxUtils::UserParameter* user)
{
    ++errors.calls;
    errors.operation = operation;
    errors.code = user->status.code();
    errors.severity = user->status.severity();
    errors.fileNameNull = user->fileName == nullptr;
    return 1;
}

const char16_t* const Names[] = {u"Alice Ames", u"Bob Burns", u"Carol Chen"};

// Three identities made by the program (RSA 3072, so made once) and one contact made by openssl,
// all in one profile of their own.
class KeyEnvelope : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        profile = new fs::path(useFreshProfile("envelope"));
        for (int i = 0; i < 3; ++i) {
            auto identity = IdentityCertificate::create(Names[i]);
            ASSERT_TRUE(identity);
            ASSERT_TRUE(identity->addToStore().ok());
            identities[i] = identity->certificate();
        }
        const fs::path dave = opensslCertificate(*profile, "dave", "/CN=Dave Dunn/title=Halvoren");
        ASSERT_FALSE(dave.empty());
        outsider = loadCertificateFile(u16(dave));
        ASSERT_TRUE(outsider);
        ASSERT_TRUE(addCertificate(outsider));
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
    }

    // A 56-byte key blob for a fresh session key.
    ByteBlobPtr freshBlob(SessionKeyPtr& key)
    {
        key = session.createSessionKey(true);
        ByteBlobPtr raw = session.exportPlainKey(key.get());
        ByteBlobPtr iv = readIv(key.get());
        return packKeyBlob(raw.get(), iv.get());
    }

    static inline fs::path* profile = nullptr;
    static inline CertificatePtr identities[3];
    static inline CertificatePtr outsider;

    CryptoSession session;
    KvxUtils::UserParameter user;
    fs::path folder;
};

TEST_F(KeyEnvelope, SessionKeysAreFreshAndSurviveExportImportAndPacking)
{
    SessionKeyPtr first = session.createSessionKey(true), second = session.createSessionKey(true);
    ByteBlobPtr key1 = session.exportPlainKey(first.get()), key2 = session.exportPlainKey(second.get());
    ByteBlobPtr iv1 = readIv(first.get()), iv2 = readIv(second.get());
    ASSERT_EQ(key1->size(), 32u);
    ASSERT_EQ(iv1->size(), 16u);
    EXPECT_NE(std::memcmp(key1->data(), key2->data(), 32), 0);
    EXPECT_NE(std::memcmp(iv1->data(), iv2->data(), 16), 0);

    ByteBlobPtr packed = packKeyBlob(key1.get(), iv1.get());
    ASSERT_EQ(packed->size(), 56u);
    ByteBlobPtr ivBack;
    ByteBlobPtr keyBack = unpackKeyBlob(packed.get(), ivBack);
    ASSERT_TRUE(keyBack && ivBack);
    EXPECT_EQ(std::memcmp(keyBack->data(), key1->data(), 32), 0);
    EXPECT_EQ(std::memcmp(ivBack->data(), iv1->data(), 16), 0);

    SessionKeyPtr imported = session.importPlainKey(keyBack.get());
    ASSERT_TRUE(imported);
    EXPECT_EQ(std::memcmp(session.exportPlainKey(imported.get())->data(), key1->data(), 32), 0);
    ByteBlob tooShort(key1->data(), 31);
    EXPECT_FALSE(session.importPlainKey(&tooShort));
}

TEST_F(KeyEnvelope, UnpackRefusesLengthsOutsideTheBlob)
{
    auto blobWith = [](std::uint32_t keyLength, std::uint32_t ivLength, std::size_t size) {
        std::vector<std::uint8_t> bytes(size, 0xAB);
        std::memcpy(bytes.data(), &keyLength, std::min<std::size_t>(4, size));
        if (8 + static_cast<std::size_t>(keyLength) <= size)
            std::memcpy(bytes.data() + 4 + keyLength, &ivLength, 4);
        return std::make_unique<ByteBlob>(bytes.data(), static_cast<std::uint32_t>(size));
    };
    ByteBlobPtr iv = std::make_unique<ByteBlob>(3);
    EXPECT_TRUE(unpackKeyBlob(blobWith(32, 16, 56).get(), iv));
    EXPECT_FALSE(unpackKeyBlob(blobWith(0, 16, 56).get(), iv));
    EXPECT_FALSE(iv);
    EXPECT_FALSE(unpackKeyBlob(blobWith(56, 16, 56).get(), iv));
    EXPECT_FALSE(unpackKeyBlob(blobWith(32, 17, 56).get(), iv));
    EXPECT_FALSE(unpackKeyBlob(blobWith(32, 0, 56).get(), iv));
    EXPECT_FALSE(unpackKeyBlob(blobWith(50, 16, 56).get(), iv));        // ivLength would lie past the end
    EXPECT_FALSE(unpackKeyBlob(blobWith(32, 0xFFFFFFF0u, 56).get(), iv));  // a sum that wraps in 32 bits
    EXPECT_FALSE(unpackKeyBlob(blobWith(1, 1, 3).get(), iv));
    EXPECT_FALSE(iv);
}

TEST_F(KeyEnvelope, EveryRecipientOpensItWithOpensslAndWithTheProgram)
{
    SessionKeyPtr key;
    ByteBlobPtr blob = freshBlob(key);
    const fs::path keyFile = folder / "key.p7";
    ASSERT_TRUE(session.writeKeyFile(u16(keyFile), key.get(), {identities[0], identities[1], identities[2]}));
    EXPECT_EQ(fs::status(keyFile).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);

    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(testing_support::u8(Names[i]));
        const fs::path cert = folder / ("recipient" + std::to_string(i) + ".der");
        ASSERT_TRUE(saveCertificateFile(identities[i], u16(cert)));
        const std::string containerFile = testing_support::u8(platform::keyContainerPath(Names[i]));
        std::string plain;
        ASSERT_EQ(run("openssl cms -decrypt -inform DER -in " + shellArg(keyFile) + " -recip " + shellArg(cert) +
                          " -inkey " + shellArg(containerFile),
                      &plain),
                  0);
        ASSERT_EQ(plain.size(), 56u);
        EXPECT_EQ(std::memcmp(plain.data(), blob->data(), 56), 0);

        ASSERT_TRUE(openCertificateStore(Names[i]));
        SessionKeyPtr opened = session.readKeyFile(u16(keyFile));
        ASSERT_TRUE(opened);
        EXPECT_EQ(std::memcmp(session.exportPlainKey(opened.get())->data(), blob->data() + 4, 32), 0);
        EXPECT_EQ(std::memcmp(readIv(opened.get())->data(), blob->data() + 40, 16), 0);
    }
    EXPECT_EQ(errors.calls, 0);

    // Dave is in the store but not in the envelope.
    ASSERT_TRUE(openCertificateStore(u"Dave Dunn"));
    EXPECT_FALSE(session.readKeyFile(u16(keyFile)));
    EXPECT_EQ(errors.calls, 1);
    EXPECT_EQ(errors.operation, OpError);
    EXPECT_EQ(errors.code, 0x8009100Bu);
    EXPECT_EQ(errors.severity, SeverityError);
    EXPECT_TRUE(errors.fileNameNull);

    // A user with no own certificate takes the same road.
    ASSERT_TRUE(openCertificateStore(u"Nobody Here"));
    EXPECT_FALSE(session.readKeyFile(u16(keyFile)));
    EXPECT_EQ(errors.calls, 2);
    EXPECT_EQ(errors.code, 0x8009100Bu);
}

TEST_F(KeyEnvelope, EnvelopeMadeByOpensslOpens)
{
    const fs::path der = folder / "bob.der", pem = folder / "bob.pem", blobFile = folder / "blob",
                   keyFile = folder / "key.p7";
    ASSERT_TRUE(saveCertificateFile(identities[1], u16(der)));
    ASSERT_EQ(run("openssl x509 -inform DER -in " + shellArg(der) + " -out " + shellArg(pem)), 0);
    SessionKeyPtr key;
    ByteBlobPtr blob = freshBlob(key);
    writeBytes(blobFile, std::vector<std::uint8_t>(blob->data(), blob->data() + blob->size()));
    ASSERT_EQ(run("openssl cms -encrypt -des3 -binary -outform DER -in " + shellArg(blobFile) + " -out " +
                  shellArg(keyFile) + " " + shellArg(pem)),
              0);

    ASSERT_TRUE(openCertificateStore(Names[1]));
    SessionKeyPtr opened = session.readKeyFile(u16(keyFile));
    ASSERT_TRUE(opened);
    EXPECT_EQ(std::memcmp(session.exportPlainKey(opened.get())->data(), blob->data() + 4, 32), 0);
    EXPECT_EQ(errors.calls, 0);
}

TEST_F(KeyEnvelope, UndecodableOrEmptyKeyFilesFailWithoutReport)
{
    ASSERT_TRUE(openCertificateStore(Names[0]));
    const fs::path empty = folder / "empty", junk = folder / "junk", signedData = folder / "signed";
    writeBytes(empty, {});
    writeBytes(junk, randomBytes(300));
    EXPECT_FALSE(session.readKeyFile(u16(empty)));
    EXPECT_FALSE(session.readKeyFile(u16(junk)));
    EXPECT_FALSE(session.readKeyFile(u16(folder / "missing")));

    // Well-formed PKCS#7, but signed rather than enveloped.
    const fs::path signer = opensslCertificate(folder, "signer", "/CN=Signer");
    ASSERT_EQ(run("openssl cms -sign -binary -outform DER -in " + shellArg(junk) + " -signer " + shellArg(signer) +
                  " -inkey " + shellArg(folder / "signer.key") + " -out " + shellArg(signedData)),
              0);
    EXPECT_FALSE(session.readKeyFile(u16(signedData)));
    EXPECT_EQ(errors.calls, 0);
}

TEST_F(KeyEnvelope, TenThousandRecipientRecordsCostOnlyComparisons)
{
    SessionKeyPtr key;
    ByteBlobPtr blob = freshBlob(key);
    std::vector<CertificatePtr> crowd(9999, outsider);
    crowd.push_back(identities[2]);
    ByteBlobPtr envelope = session.sealEnvelope(crowd, blob.get());
    ASSERT_TRUE(envelope);
    crowd.pop_back();
    crowd.push_back(outsider);
    ByteBlobPtr foreign = session.sealEnvelope(crowd, blob.get());
    ASSERT_TRUE(foreign);

    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(openCertificateStore(Names[2]));
    ByteBlobPtr opened = session.openEnvelope(envelope.get());
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->size(), 56u);
    EXPECT_FALSE(session.openEnvelope(foreign.get()));
    EXPECT_EQ(errors.calls, 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
