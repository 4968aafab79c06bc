#pragma once
// The contacts file, RecipientsList.xml: one <Recipient Name="..."> per contact under
// <Recipients>, joined with the certificate store by the certificate's simple display name.
// A contact exists only where both halves do; the certificate is always written first and
// removed first, and taken back (or put back) when the file can't be written, so that no
// failure leaves a certificate without its element. Each call locks the profile (shared for
// loading, exclusive for a change), and a change first reads both halves again, since another
// process may have changed them since they were loaded.

#include <pugixml.hpp>

#include <string>
#include <vector>

#include "contacts/ContactRecord.h"
#include "engine/EngineStatus.h"

namespace platform {
class ProfileLock;
}

class RecipientsStore {
public:
    RecipientsStore() = default;
    RecipientsStore(const RecipientsStore&) = delete;
    RecipientsStore& operator=(const RecipientsStore&) = delete;

    // Replaces `contacts` with one record per certificate of the store, in store order. 123 for
    // an empty path; 13 with an empty list when a certificate has no display name or no element.
    // Elements without a certificate are ignored and stay in the file.
    EngineStatus load(std::vector<ContactRecord>& contacts, const std::u16string& path);
    // A change of a file that didn't parse is refused (1616) before anything is touched.
    // Certificate first (87 without one; else the store's own reason, a full disk say), then the element (1616 if it can't be made), then the
    // file (0 with SeverityError if it can't be written; a certificate the store didn't have
    // before is taken out again). An element of the same name left without its certificate is
    // replaced.
    EngineStatus add(const ContactRecord& record);
    // Rewrites the five detail elements of the contact named `record.name` (1168 if none).
    EngineStatus update(const ContactRecord& record);
    // Refused with 5 for the own identity (a certificate whose private key the profile holds).
    // Certificate first (82 if it can't be removed), then the element (1168 if none). When the
    // file can't be written (0 with SeverityError) the certificate is put back in its place.
    EngineStatus remove(const ContactRecord& record);
    // Files every certificate that the last load found without an element as a contact with no
    // details; `refiled` names them. The way out of a profile that a failed change left broken.
    EngineStatus repair(std::vector<std::u16string>& refiled);

    // The display names of the certificates that the last load found without an element.
    const std::vector<std::u16string>& unmatchedCertificates() const { return unmatched; }
    // Whether the last load could parse the file (a file that doesn't parse has no root).
    bool parsed() const { return static_cast<bool>(rootElement); }

private:
    pugi::xml_node findRecipient(const std::u16string& name) const;
    EngineStatus refreshUnder(const platform::ProfileLock& lock);
    EngineStatus saveAfterChange();

    std::u16string path;
    pugi::xml_document document;
    pugi::xml_node rootElement;
    std::vector<std::u16string> unmatched;
};
