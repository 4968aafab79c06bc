#pragma once
// A certificate as the rest of the program sees it: an opaque, shared object. Only src/crypto
// knows that an OpenSSL X509 and the store's properties sit behind it. Copies share one object,
// and the last owner frees it, so no caller ever releases a certificate by hand.

#include <memory>

class Certificate;
using CertificatePtr = std::shared_ptr<Certificate>;
