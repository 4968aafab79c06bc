#include "contacts/OwnIdentity.h"

#include <sys/stat.h>

#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "platform/KeyContainer.h"
#include "platform/LastError.h"
#include "platform/NativeFile.h"
#include "platform/ProfileLock.h"
#include "platform/StatusCodes.h"
#include "platform/Utf.h"

namespace {

bool exists(const std::u16string& path)
{
    struct stat info {};
    return ::stat(platform::toUtf8(path).c_str(), &info) == 0;
}

// The name of the identity whose key the profile holds, preferring the one the settings name.
std::u16string keyHolderName(const std::u16string& ownerName)
{
    CertificatePtr own = ownerName.empty() ? nullptr : findOwnCertificate(ownerName);
    if (!own)
        own = findOwnCertificate(u"");
    return own ? certificateDisplayName(own).value_or(u"") : std::u16string();
}

} // namespace

OwnerCheck recogniseOwner(ConfigStore& config, const std::u16string& path)
{
    OwnerCheck check;
    config.load(path);
    check.settingsUnreadable = !config.parsed() && exists(path);
    const std::u16string named = config.getString(ConfigKey::OwnerName);
    const std::u16string holder = keyHolderName(named);
    check.ownerName = holder.empty() ? named : holder;
    if (holder.empty() || holder == named)
        return check;
    check.restored = true;
    if (!config.parsed())
        return check;
    const platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    if (!lock.held())
        return check;
    // Another program may have written the settings since they were read.
    config.load(path);
    if (config.getString(ConfigKey::OwnerName) == holder)
        check.written = true;
    else
        check.written = config.setString(ConfigKey::OwnerName, holder);
    return check;
}

EngineStatus createOwnIdentity(RecipientsStore& store, ConfigStore& config, ContactRecord& record)
{
    const platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    if (!lock.held())
        return EngineStatus(platform::lastError(), SeverityError);
    // A key left by an earlier identity of the same name is reused by the certificate; only a
    // key made now is ours to take back.
    const std::u16string keyPath = platform::keyContainerPath(record.name);
    const bool keyExisted = !keyPath.empty() && exists(keyPath);
    auto dropNewKey = [&] {
        const std::uint32_t reason = platform::lastError();
        if (!keyExisted && !keyPath.empty())
            platform::deleteFile(keyPath);
        platform::setLastError(reason);
    };

    std::unique_ptr<IdentityCertificate> identity = IdentityCertificate::create(record.name);
    if (!identity) {
        dropNewKey();
        return EngineStatus(platform::lastError() ? platform::lastError() : win::NTE_FAIL, SeverityError);
    }
    record.identity = *identity;
    // The settings first: they are the easier half to take back.
    const std::u16string earlierOwner = config.getString(ConfigKey::OwnerName);
    platform::setLastError(0);
    if (!config.setString(ConfigKey::OwnerName, record.name)) {
        const std::uint32_t reason = platform::lastError() ? platform::lastError() : win::ERROR_FILE_INVALID;
        dropNewKey();
        return EngineStatus(reason, SeverityError);
    }
    platform::setLastError(0);
    const EngineStatus added = store.add(record);
    if (!added.ok()) {
        dropNewKey();
        config.setString(ConfigKey::OwnerName, earlierOwner);
        return added;
    }
    return EngineStatus();
}
