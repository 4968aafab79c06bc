#pragma once
// What stands behind a CertificatePtr, for src/crypto only: the X509 and the properties that live
// with a certificate in the store. The X509 never changes after construction, so shared copies
// can be handed to any thread that only reads.

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdint>
#include <memory>
#include <string>

#include "crypto/Certificate.h"

struct X509Free {
    void operator()(X509* x509) const { X509_free(x509); }
};
using X509Ptr = std::unique_ptr<X509, X509Free>;

struct PkeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using PkeyPtr = std::unique_ptr<EVP_PKEY, PkeyFree>;

class Certificate {
public:
    explicit Certificate(X509Ptr x509) : x509_(std::move(x509)) {}

    X509* x509() const { return x509_.get(); }

    // Properties, kept by the store and lost in a certificate file.
    std::u16string description;
    std::u16string friendlyName;
    // Name of the key container that holds the private key, empty for a contact's certificate.
    std::u16string keyContainer;

private:
    X509Ptr x509_;
};

namespace crypto_detail {

// A new certificate object that shares the X509 and copies the properties.
CertificatePtr cloneCertificate(const Certificate& certificate);

// The certificate's DER encoding; empty if it cannot be encoded.
std::string derOf(const Certificate& certificate);

// The private key that belongs to the certificate, from its key container, or null. A key that
// doesn't match the certificate's public key counts as none.
PkeyPtr privateKeyOf(const CertificatePtr& certificate);

// Reads a whole file of at most `limit` bytes through the platform layer. An empty file fails with
// ERROR_HANDLE_EOF, a larger one with ERROR_FILE_TOO_LARGE, a short read with ERROR_READ_FAULT.
bool readSmallFile(const std::u16string& path, std::size_t limit, std::string& content);

// Empties OpenSSL's error queue and sets the last error to `code`.
void failWith(std::uint32_t code);

}  // namespace crypto_detail
