#include "crypto/IdentityCertificate.h"

#include "crypto/CertificateStore.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"

namespace {
constexpr char16_t IdentityTitle[] = u"Halvoren";
constexpr char16_t IdentityDescription[] = u"KVX Root Certificate";
constexpr char16_t IdentityFriendlyName[] = u"Halvoren File Certificate";
}  // namespace

IdentityCertificate::IdentityCertificate(CertificatePtr certificate, std::u16string displayName)
    : certificate_(std::move(certificate)), displayName_(std::move(displayName))
{
}

std::unique_ptr<IdentityCertificate> IdentityCertificate::create(const std::u16string& name)
{
    CertificatePtr certificate = createSelfSignedCertificate(name, IdentityTitle, IdentityDescription, IdentityFriendlyName);
    if (!certificate)
        return nullptr;
    return std::make_unique<IdentityCertificate>(std::move(certificate), name);
}

EngineStatus IdentityCertificate::addToStore() const
{
    if (!certificate_)
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    if (!addCertificate(certificate_))
        return EngineStatus(platform::lastError(), SeverityError);
    return EngineStatus();
}

EngineStatus IdentityCertificate::removeFromStore() const
{
    if (!certificate_ || displayName_.empty())
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    // Exactly this certificate goes, never one that merely bears a similar name.
    if (!deleteCertificate(certificate_))
        return EngineStatus(platform::lastError(), SeverityError);
    return EngineStatus();
}

bool IdentityCertificate::equals(const IdentityCertificate& other) const
{
    return certificate_ && other.certificate_ && sameCertificate(certificate_, other.certificate_) &&
           displayName_ == other.displayName_;
}
