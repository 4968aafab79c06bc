// The key envelope: a PKCS#7 EnvelopedData around the 56-byte key blob, with one issuer-and-serial
// recipient record per certificate, RSA PKCS#1 v1.5 key transport and Triple DES for the content.

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include "crypto/CertificateData.h"
#include "crypto/CertificateStore.h"
#include "crypto/CryptoSession.h"
#include "engine/ScopedFile.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"

namespace {

constexpr std::size_t LargestKeyFile = CryptoSession::LargestEnvelope;

struct BioFree {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
using BioPtr = std::unique_ptr<BIO, BioFree>;

struct CmsFree {
    void operator()(CMS_ContentInfo* cms) const { CMS_ContentInfo_free(cms); }
};
using CmsPtr = std::unique_ptr<CMS_ContentInfo, CmsFree>;

struct CertStackFree {
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};

}  // namespace

ByteBlobPtr CryptoSession::sealEnvelope(const std::vector<CertificatePtr>& certificates, const ByteBlob* blob)
{
    if (certificates.empty() || !blob || blob->size() == 0) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (!cryptoContext())
        return nullptr;
    // The stack only borrows the X509 objects; the certificates own them.
    std::unique_ptr<STACK_OF(X509), CertStackFree> recipients(sk_X509_new_null());
    if (!recipients) {
        crypto_detail::failWith(win::ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    for (const auto& certificate : certificates) {
        // Only RSA keys have the key transport that every reader of these envelopes knows.
        EVP_PKEY* publicKey = certificate ? X509_get0_pubkey(certificate->x509()) : nullptr;
        if (!publicKey || !EVP_PKEY_is_a(publicKey, "RSA") ||
            !sk_X509_push(recipients.get(), certificate->x509())) {
            crypto_detail::failWith(win::ERROR_INVALID_PARAMETER);
            return nullptr;
        }
    }
    BioPtr content(BIO_new_mem_buf(blob->data(), static_cast<int>(blob->size())));
    // Binary: the blob is taken as it is, with no MIME line-end translation.
    CmsPtr cms(content ? CMS_encrypt(recipients.get(), content.get(), EVP_des_ede3_cbc(), CMS_BINARY) : nullptr);
    if (!cms) {
        crypto_detail::failWith(win::CRYPT_E_BAD_ENCODE);
        return nullptr;
    }
    unsigned char* der = nullptr;
    const int length = i2d_CMS_ContentInfo(cms.get(), &der);
    if (length <= 0) {
        crypto_detail::failWith(win::CRYPT_E_BAD_ENCODE);
        return nullptr;
    }
    auto result = std::make_unique<ByteBlob>(der, static_cast<std::uint32_t>(length));
    OPENSSL_free(der);
    return result;
}

ByteBlobPtr CryptoSession::openEnvelope(const ByteBlob* blob)
{
    if (!blob || blob->size() == 0) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const unsigned char* cursor = blob->data();
    CmsPtr cms(d2i_CMS_ContentInfo(nullptr, &cursor, static_cast<long>(blob->size())));
    // What can't be decoded as an enveloped message is reported by the caller, not here: a damaged
    // envelope looks to the user like any broken package.
    if (!cms) {
        crypto_detail::failWith(win::CRYPT_E_ASN1_BADTAG);
        return nullptr;
    }
    if (OBJ_obj2nid(CMS_get0_type(cms.get())) != NID_pkcs7_enveloped) {
        crypto_detail::failWith(win::CRYPT_E_UNEXPECTED_MSG_TYPE);
        return nullptr;
    }
    STACK_OF(CMS_RecipientInfo)* infos = CMS_get0_RecipientInfos(cms.get());
    const int count = infos ? sk_CMS_RecipientInfo_num(infos) : 0;
    if (count <= 0) {
        crypto_detail::failWith(win::CRYPT_E_RECIPIENT_NOT_FOUND);
        return nullptr;
    }

    // One comparison of issuer and serial per record, and no private-key work until the own record
    // is found, so an envelope with thousands of records costs thousands of comparisons only.
    CertificatePtr own = ownCertificate();
    // An own certificate whose private key file is damaged still finds its record, so that the
    // user learns that the key can't be read rather than that the package is not for them.
    const CertificatePtr matched
        = own ? own : (platform::lastError() == win::NTE_BAD_KEYSET ? findCertificate(ownCertificateName()) : nullptr);
    CMS_RecipientInfo* mine = nullptr;
    for (int i = 0; matched && i < count && !mine; ++i) {
        CMS_RecipientInfo* info = sk_CMS_RecipientInfo_value(infos, i);
        if (CMS_RecipientInfo_type(info) == CMS_RECIPINFO_TRANS
            && CMS_RecipientInfo_ktri_cert_cmp(info, matched->x509()) == 0)
            mine = info;
    }
    ERR_clear_error();
    if (!mine || !own) {
        const std::uint32_t code = mine ? win::NTE_BAD_KEYSET : win::CRYPT_E_RECIPIENT_NOT_FOUND;
        if (userParameter_) {
            userParameter_->status = EngineStatus(code, SeverityError);
            userParameter_->fileName = nullptr;
        }
        if (callback_)
            callback_(OpError, 0, 0, userParameter_);
        platform::setLastError(code);
        return nullptr;
    }

    PkeyPtr key = crypto_detail::privateKeyOf(own);
    if (!key)
        return nullptr;
    // The record takes a reference of its own; it is dropped again with the message.
    EVP_PKEY_up_ref(key.get());
    CMS_RecipientInfo_set0_pkey(mine, key.get());
    const bool unwrapped = CMS_RecipientInfo_decrypt(cms.get(), mine) == 1;
    BioPtr out(BIO_new(BIO_s_secmem()));
    if (!unwrapped || !out || CMS_decrypt(cms.get(), nullptr, nullptr, nullptr, out.get(), CMS_BINARY) != 1) {
        crypto_detail::failWith(win::NTE_BAD_DATA);
        return nullptr;
    }
    char* plain = nullptr;
    const long length = BIO_get_mem_data(out.get(), &plain);
    if (length <= 0 || !plain) {
        crypto_detail::failWith(win::NTE_BAD_DATA);
        return nullptr;
    }
    return std::make_unique<ByteBlob>(plain, static_cast<std::uint32_t>(length));
}

ByteBlobPtr CryptoSession::sealKey(const SessionKey* key, const std::vector<CertificatePtr>& certificates)
{
    if (!key || certificates.empty()) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    ByteBlobPtr plainKey = exportPlainKey(key);
    ByteBlobPtr iv = readIv(key);
    ByteBlobPtr blob = plainKey && iv ? packKeyBlob(plainKey.get(), iv.get()) : nullptr;
    return blob ? sealEnvelope(certificates, blob.get()) : nullptr;
}

bool CryptoSession::writeKeyFile(const std::u16string& path, const SessionKey* key,
                                 const std::vector<CertificatePtr>& certificates)
{
    if (path.empty() || !key || certificates.empty()) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    ScopedFile file;
    if (!file.open(path, win::CREATE_ALWAYS, win::GENERIC_WRITE, win::FILE_SHARE_READ, platform::PrivateFileMode))
        return false;

    ByteBlobPtr envelope = sealKey(key, certificates);
    bool ok = envelope && platform::writeFile(file.handle(), envelope->data(), envelope->size());
    std::uint32_t reason = platform::lastError();
    if (!file.close() && ok) {
        ok = false;
        reason = platform::lastError();
    }
    if (!ok) {
        platform::deleteFile(path);
        platform::setLastError(reason);
    }
    return ok;
}

SessionKeyPtr CryptoSession::readKeyFile(const std::u16string& path)
{
    if (path.empty()) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    std::string content;
    if (!crypto_detail::readSmallFile(path, LargestKeyFile, content))
        return nullptr;
    return openKey(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
}

SessionKeyPtr CryptoSession::openKey(const std::uint8_t* data, std::size_t size)
{
    if (!data || size == 0) {
        platform::setLastError(win::ERROR_HANDLE_EOF);
        return nullptr;
    }
    if (size > LargestKeyFile) {
        platform::setLastError(win::ERROR_FILE_TOO_LARGE);
        return nullptr;
    }
    ByteBlob envelope(data, static_cast<std::uint32_t>(size));
    ByteBlobPtr blob = openEnvelope(&envelope);
    if (!blob)
        return nullptr;
    ByteBlobPtr iv;
    ByteBlobPtr plainKey = unpackKeyBlob(blob.get(), iv);
    if (!plainKey || !iv)
        return nullptr;
    // The vector must be exactly one block; a longer or shorter one is not a vector of this cipher.
    if (iv->size() != blockSize()) {
        platform::setLastError(win::NTE_BAD_DATA);
        return nullptr;
    }
    SessionKeyPtr key = importPlainKey(plainKey.get());
    if (!key || !setIv(key.get(), iv->data()))
        return nullptr;
    return key;
}
