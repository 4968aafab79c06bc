#pragma once
// The contacts file, RecipientsList.xml: one <Recipient Name="..."> per contact under
// <Recipients>, joined with the certificate store by the certificate's simple display name.
// A contact exists only where both halves do; the certificate is always written first and
// removed first.

#include <pugixml.hpp>

#include <string>
#include <vector>

#include "contacts/ContactRecord.h"
#include "engine/EngineStatus.h"

class RecipientsStore {
public:
    RecipientsStore() = default;
    RecipientsStore(const RecipientsStore&) = delete;
    RecipientsStore& operator=(const RecipientsStore&) = delete;

    // Replaces `contacts` with one record per certificate of the store, in store order. 123 for
    // an empty path; 13 with an empty list when a certificate has no display name or no element.
    // Elements without a certificate are ignored and stay in the file.
    EngineStatus load(std::vector<ContactRecord>& contacts, const std::u16string& path);
    // Certificate first (87 if refused), then the element (1616 if it can't be made), then the
    // file (0 with SeverityError if it can't be written; the change stays in memory).
    EngineStatus add(const ContactRecord& record);
    // Rewrites the five detail elements of the contact named `record.name` (1168 if none).
    EngineStatus update(const ContactRecord& record);
    // Certificate first (82 if it can't be removed), then the element (1168 if none).
    EngineStatus remove(const ContactRecord& record);

private:
    pugi::xml_node findRecipient(const std::u16string& name) const;
    EngineStatus saveAfterChange();

    std::u16string path;
    pugi::xml_document document;
    pugi::xml_node rootElement;
};
