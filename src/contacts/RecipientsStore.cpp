#include "contacts/RecipientsStore.h"

#include <optional>

#include "contacts/XmlStoreFile.h"
#include "crypto/CertificateStore.h"
#include "platform/LastError.h"
#include "platform/ProfileLock.h"
#include "platform/StatusCodes.h"

namespace {
constexpr char RootName[] = "Recipients";
constexpr char RecipientName[] = "Recipient";
constexpr char NameAttribute[] = "Name";

struct DetailField {
    const char* element;
    std::u16string ContactRecord::*field;
};
// The order in which the details are written into a new element.
constexpr DetailField DetailFields[] = {
    { "FirstName", &ContactRecord::firstName },
    { "LastName", &ContactRecord::lastName },
    { "Organization", &ContactRecord::organization },
    { "Comments", &ContactRecord::comments },
    { "EMail", &ContactRecord::email },
};

ContactRecord recordFrom(const pugi::xml_node& element, const IdentityCertificate& identity)
{
    ContactRecord record;
    record.identity = identity;
    record.name = xmlstore::fromXml(element.attribute(NameAttribute).value());
    for (const DetailField& detail : DetailFields)
        record.*detail.field = xmlstore::fromXml(element.child(detail.element).text().as_string());
    return record;
}
} // namespace

pugi::xml_node RecipientsStore::findRecipient(const std::u16string& name) const
{
    return rootElement.find_child_by_attribute(RecipientName, NameAttribute, xmlstore::toXml(name).c_str());
}

EngineStatus RecipientsStore::saveAfterChange()
{
    if (!xmlstore::saveDocument(document, path))
        return EngineStatus(0, SeverityError);
    return EngineStatus();
}

// Under a lock taken afresh, another process may have changed both halves since they were read:
// the certificate store is read again, and the file too once it has been loaded. A change needs
// the lock and a file that parsed: one that doesn't can't be changed without destroying what it
// holds (1616, as for an element that can't be made).
EngineStatus RecipientsStore::refreshUnder(const platform::ProfileLock& lock)
{
    if (!lock.held())
        return EngineStatus(platform::lastError(), SeverityError);
    if (lock.fresh()) {
        if (!reloadCertificateStore())
            return EngineStatus(platform::lastError(), SeverityError);
        if (!path.empty()) {
            const EngineStatus reloaded = xmlstore::loadDocument(document, path, RootName, rootElement);
            if (!reloaded.ok())
                return reloaded;
        }
    }
    if (!rootElement)
        return EngineStatus(win::ERROR_INVALID_FIELD, SeverityError);
    return EngineStatus();
}

EngineStatus RecipientsStore::load(std::vector<ContactRecord>& contacts, const std::u16string& path)
{
    contacts.clear();
    unmatched.clear();
    if (path.empty())
        return EngineStatus(win::ERROR_INVALID_NAME, SeverityError);
    // Shared: no change of another process can fall between the reading of the two halves.
    const platform::ProfileLock lock(platform::ProfileLock::Mode::Shared);
    if (lock.fresh() && !reloadCertificateStore())
        return EngineStatus(platform::lastError(), SeverityError);
    // A file that doesn't parse loads with severity 0 and no root: with certificates in the store
    // the join below then fails, and the start-up offers a reset.
    const EngineStatus loaded = xmlstore::loadDocument(document, path, RootName, rootElement);
    if (!loaded.ok())
        return loaded;
    this->path = path;

    std::vector<CertificatePtr> certificates;
    EngineStatus listed = listCertificates(certificates);
    if (!listed.ok())
        return listed;
    std::vector<IdentityCertificate> identities;
    identities.reserve(certificates.size());
    for (const CertificatePtr& certificate : certificates) {
        const std::optional<std::u16string> name = certificateDisplayName(certificate);
        // An empty name would join with any element that lacks its Name attribute.
        if (!name || name->empty())
            return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
        identities.emplace_back(certificate, *name);
    }
    if (identities.empty())
        return loaded;

    for (const IdentityCertificate& identity : identities) {
        const pugi::xml_node element = findRecipient(identity.displayName());
        if (element)
            contacts.push_back(recordFrom(element, identity));
        else
            unmatched.push_back(identity.displayName());
    }
    if (contacts.size() < identities.size()) {
        contacts.clear();
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    }
    return loaded;
}

EngineStatus RecipientsStore::add(const ContactRecord& record)
{
    const platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    if (const EngineStatus ready = refreshUnder(lock); !ready.ok())
        return ready;
    // Whether the store had this certificate before decides what an undo takes back.
    const bool storedBefore
        = record.identity.certificate() && certificatePosition(record.identity.certificate()) != NoCertificatePosition;
    if (!record.identity.certificate())
        return EngineStatus(win::ERROR_INVALID_PARAMETER, SeverityError);
    // What kept the certificate out (a full disk, a read-only folder) is what the user is told.
    if (const EngineStatus stored = record.identity.addToStore(); !stored.ok())
        return stored;
    auto undoCertificate = [&] {
        if (!storedBefore) {
            const std::uint32_t reason = platform::lastError();
            deleteCertificate(record.identity.certificate());
            platform::setLastError(reason);
        }
    };
    // An element left behind by a certificate that went missing (a damaged certificate file, say)
    // gives way to the new contact, so the file never holds two elements of one name; the details
    // it kept stand in for those the new record leaves empty.
    const pugi::xml_node stale = findRecipient(record.name);
    pugi::xml_node element
        = stale ? rootElement.insert_child_after(RecipientName, stale) : rootElement.append_child(RecipientName);
    if (!element) {
        undoCertificate();
        return EngineStatus(win::ERROR_INVALID_FIELD, SeverityError);
    }
    element.append_attribute(NameAttribute).set_value(xmlstore::toXml(record.name).c_str());
    for (const DetailField& detail : DetailFields) {
        std::string text = xmlstore::toXml(record.*detail.field);
        if (text.empty() && stale)
            text = stale.child(detail.element).text().as_string();
        element.append_child(detail.element).text().set(text.c_str());
    }
    pugi::xml_document staleCopy;
    if (stale) {
        staleCopy.append_copy(stale);
        rootElement.remove_child(stale);
    }
    const EngineStatus saved = saveAfterChange();
    if (!saved.ok()) {
        // A certificate without its element would make the whole contact list unreadable.
        undoCertificate();
        if (stale)
            rootElement.insert_copy_before(staleCopy.first_child(), element);
        rootElement.remove_child(element);
    }
    return saved;
}

EngineStatus RecipientsStore::update(const ContactRecord& record)
{
    const platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    if (const EngineStatus ready = refreshUnder(lock); !ready.ok())
        return ready;
    pugi::xml_node element = findRecipient(record.name);
    if (!element)
        return EngineStatus(win::ERROR_NOT_FOUND, SeverityError);
    // A detail element that is missing stays missing: the file keeps the shape it had.
    for (const DetailField& detail : DetailFields) {
        if (pugi::xml_node child = element.child(detail.element))
            child.text().set(xmlstore::toXml(record.*detail.field).c_str());
    }
    return saveAfterChange();
}

EngineStatus RecipientsStore::remove(const ContactRecord& record)
{
    const platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    if (const EngineStatus ready = refreshUnder(lock); !ready.ok())
        return ready;
    // The certificate that the removal will take, with its place, to put it back if need be.
    const CertificatePtr& going = record.identity.certificate();
    // The own identity is never removed, whatever the settings say: with its certificate gone,
    // every package ever sent to the user would become unreadable. Its private key tells it.
    if (going && hasPrivateKey(going))
        return EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError);
    const std::size_t place = going ? certificatePosition(going) : NoCertificatePosition;
    if (!record.identity.removeFromStore().ok())
        return EngineStatus(win::ERROR_CANNOT_MAKE, SeverityError);
    const pugi::xml_node element = findRecipient(record.name);
    if (!element)
        return EngineStatus(win::ERROR_NOT_FOUND, SeverityError);
    const pugi::xml_node next = element.next_sibling();
    pugi::xml_document saved;
    saved.append_copy(element);
    rootElement.remove_child(element);
    const EngineStatus written = saveAfterChange();
    if (!written.ok()) {
        // The contact stays whole: its certificate goes back to its place, its element too.
        if (going)
            addCertificate(going, place);
        if (next)
            rootElement.insert_copy_before(saved.first_child(), next);
        else
            rootElement.append_copy(saved.first_child());
        return written;
    }
    return EngineStatus();
}

EngineStatus RecipientsStore::repair(std::vector<std::u16string>& refiled)
{
    refiled.clear();
    const platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    if (const EngineStatus ready = refreshUnder(lock); !ready.ok())
        return ready;
    std::vector<CertificatePtr> certificates;
    const EngineStatus listed = listCertificates(certificates);
    if (!listed.ok())
        return listed;
    std::vector<pugi::xml_node> added;
    auto undo = [&] {
        for (const pugi::xml_node& element : added)
            rootElement.remove_child(element);
        refiled.clear();
    };
    for (const CertificatePtr& certificate : certificates) {
        const std::optional<std::u16string> name = certificateDisplayName(certificate);
        if (!name || name->empty() || findRecipient(*name))
            continue;
        pugi::xml_node element = rootElement.append_child(RecipientName);
        if (!element) {
            undo();
            return EngineStatus(win::ERROR_INVALID_FIELD, SeverityError);
        }
        added.push_back(element);
        element.append_attribute(NameAttribute).set_value(xmlstore::toXml(*name).c_str());
        for (const DetailField& detail : DetailFields)
            element.append_child(detail.element);
        refiled.push_back(*name);
    }
    if (refiled.empty())
        return EngineStatus();
    const EngineStatus saved = saveAfterChange();
    if (!saved.ok())
        undo();
    return saved;
}
