#pragma once
// The per-user certificate store ("Halvoren Certificate Store") and the certificate primitives.
// Functions return a pointer or a truth value and leave the cause of a failure in the last error.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "crypto/Certificate.h"
#include "engine/EngineStatus.h"

// Opens the store if needed and keeps `ownName` (the owner's name from the settings, possibly
// empty) for ownCertificate().
bool openCertificateStore(const std::u16string& ownName);
// Opens the store if needed; true when it can be used.
bool certificateStore();
// Forgets the open store and the own name, so that the next call opens the store of the profile
// in force then (the command line's --profile, tests).
void closeCertificateStore();
// Reads the store again from disk, keeping the own name: what another process changed becomes
// visible. Called with the profile locked.
bool reloadCertificateStore();

// A certificate that the store's index names but whose file can't be read. It stays on disk and
// in the index, and is left out of every list and search until it is repaired (by adding the
// same certificate again) or removed by hand.
struct DamagedCertificate {
    std::u16string path;
    // The display name of the contact it belongs to, as far as the index tells; may be empty.
    std::u16string name;
    std::uint32_t code = 0;
};
std::vector<DamagedCertificate> damagedCertificates();

inline constexpr std::size_t NoCertificatePosition = static_cast<std::size_t>(-1);
// Adds the certificate with its properties, replacing one with the same issuer and serial in place.
// A new one goes to `position` in store order (the end when that is past it).
bool addCertificate(const CertificatePtr& certificate, std::size_t position = NoCertificatePosition);
// The place of a certificate in store order (damaged entries count, as they keep their places);
// NoCertificatePosition if the store doesn't hold it.
std::size_t certificatePosition(const CertificatePtr& certificate);
// The first certificate in store order whose display name is `name` as a whole, ignoring case
// (sameName). A name that is only a piece of another ("Ann" in "Joann Tester") finds nothing.
CertificatePtr findCertificate(const std::u16string& name);
// The own certificate: the one whose private key this profile holds, of exactly the owner's name
// when one is kept, else the first such in store order. The name alone never makes a certificate
// one's own, so a contact whose name resembles the owner's can never be taken for the owner.
CertificatePtr ownCertificate();
// The same rule for a given owner name (empty: any certificate with its private key here). When
// the owner's certificate is there but its key file holds no usable key, the last error is
// NTE_BAD_KEYSET.
CertificatePtr findOwnCertificate(const std::u16string& ownerName);
// The owner's name the store was opened with.
const std::u16string& ownCertificateName();
// Whether two names are one person's: equal as a whole, ignoring case.
bool sameName(const std::u16string& a, const std::u16string& b);
// Whether two certificates stand for the same person: the very same certificate (issuer and
// serial), or display names that are the same name (sameName).
bool samePerson(const CertificatePtr& a, const CertificatePtr& b);
// The stored certificate that is the same person as `certificate`, or null (CRYPT_E_NOT_FOUND).
CertificatePtr findSamePerson(const CertificatePtr& certificate);
// Appends every certificate of the store, in store order.
EngineStatus listCertificates(std::vector<CertificatePtr>& list);
bool deleteCertificate(const CertificatePtr& certificate);
bool deleteAllCertificates();
// Same issuer and serial number.
bool sameCertificate(const CertificatePtr& a, const CertificatePtr& b);
// The subject's CN, or nothing.
std::optional<std::u16string> certificateDisplayName(const CertificatePtr& certificate);
// Exact DER encoding.
bool saveCertificateFile(const CertificatePtr& certificate, const std::u16string& path);
// DER or PEM, exactly one certificate.
CertificatePtr loadCertificateFile(const std::u16string& path);
// Self-signed RSA certificate with subject and issuer "CN=<name>, T=<title>", its private key in
// the key container named after `name`. Not added to the store.
CertificatePtr createSelfSignedCertificate(const std::u16string& name, const std::u16string& title,
                                           const std::u16string& description, const std::u16string& friendlyName);

// Properties that live with the stored certificate only (lost in a saved file).
std::u16string certificateDescription(const CertificatePtr& certificate);
std::u16string certificateFriendlyName(const CertificatePtr& certificate);
// The full subject as text, for display.
std::u16string certificateSubject(const CertificatePtr& certificate);
// The subject's values alone, joined by ", " ("Ann, Halvoren"): the text a name search looks in.
std::u16string certificateSubjectValues(const CertificatePtr& certificate);
// SHA-256 of the DER encoding as upper-case hex pairs separated by colons.
std::string certificateFingerprint(const CertificatePtr& certificate);
// True if the key container linked to this certificate holds its private key.
bool hasPrivateKey(const CertificatePtr& certificate);
