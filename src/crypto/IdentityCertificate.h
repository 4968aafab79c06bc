#pragma once
// A certificate paired with its display name.

#include <memory>
#include <string>

#include "crypto/Certificate.h"
#include "engine/EngineStatus.h"

class IdentityCertificate {
public:
    IdentityCertificate() = default;
    IdentityCertificate(CertificatePtr certificate, std::u16string displayName);

    // The user's self-signed identity for `name`, with the fixed title and properties; null on failure.
    static std::unique_ptr<IdentityCertificate> create(const std::u16string& name);

    EngineStatus addToStore() const;
    EngineStatus removeFromStore() const;
    bool equals(const IdentityCertificate& other) const;

    const CertificatePtr& certificate() const { return certificate_; }
    std::u16string displayName() const { return displayName_; }
    void setCertificate(CertificatePtr certificate) { certificate_ = std::move(certificate); }
    void setDisplayName(const std::u16string& name) { displayName_ = name; }

private:
    CertificatePtr certificate_;
    std::u16string displayName_;
};
