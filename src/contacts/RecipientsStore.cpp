#include "contacts/RecipientsStore.h"

#include <optional>

#include "contacts/XmlStoreFile.h"
#include "crypto/CertificateStore.h"
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

EngineStatus RecipientsStore::load(std::vector<ContactRecord>& contacts, const std::u16string& path)
{
    contacts.clear();
    if (path.empty())
        return EngineStatus(win::ERROR_INVALID_NAME, SeverityError);
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
    }
    if (contacts.size() < identities.size()) {
        contacts.clear();
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    }
    return loaded;
}

EngineStatus RecipientsStore::add(const ContactRecord& record)
{
    if (!record.identity.addToStore().ok())
        return EngineStatus(win::ERROR_INVALID_PARAMETER, SeverityError);
    pugi::xml_node element = rootElement.append_child(RecipientName);
    if (!element)
        return EngineStatus(win::ERROR_INVALID_FIELD, SeverityError);
    element.append_attribute(NameAttribute).set_value(xmlstore::toXml(record.name).c_str());
    for (const DetailField& detail : DetailFields)
        element.append_child(detail.element).text().set(xmlstore::toXml(record.*detail.field).c_str());
    return saveAfterChange();
}

EngineStatus RecipientsStore::update(const ContactRecord& record)
{
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
    if (!record.identity.removeFromStore().ok())
        return EngineStatus(win::ERROR_CANNOT_MAKE, SeverityError);
    const pugi::xml_node element = findRecipient(record.name);
    if (!element)
        return EngineStatus(win::ERROR_NOT_FOUND, SeverityError);
    rootElement.remove_child(element);
    // The certificate is already gone; an element left in the file is harmless, since the next
    // load ignores elements without a certificate.
    saveAfterChange();
    return EngineStatus();
}
