// The certificate store on disk: "<profile>/certificates/" (0700) holds one DER file per
// certificate, named by the SHA-256 of its encoding, and one file "index" that lists the
// certificates in store order with their properties:
//
//     HalvorenCertificateStore 1
//     <der file> <description> <friendly name> <key container> <name>
//
// The properties and the subject's display name are hex-encoded UTF-8, "-" when empty; the name
// is there so that a certificate whose file is damaged can still be told by the contact it
// belongs to (lines written before it existed have no name). The index is the truth: a change
// first writes any new DER file, then replaces the index atomically, and only then removes a DER
// file that the index no longer names. A crash between two steps leaves at worst a DER file that
// nothing refers to, and the next open sweeps it away. A file that the index names is never
// swept: when it can't be read (truncated, an I/O error, no descriptor left) its line stays in
// the index as it was and the store reports it, since it may be the only copy of someone's
// identity.

#include "crypto/CertificateStore.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <dirent.h>

#include <algorithm>
#include <sstream>

#include "crypto/CertificateData.h"
#include "platform/AtomicFile.h"
#include "platform/CaseFold.h"
#include "platform/LastError.h"
#include "platform/NativeFile.h"
#include "platform/Profile.h"
#include "platform/StatusCodes.h"
#include "platform/Utf.h"

namespace {

constexpr char IndexHeader[] = "HalvorenCertificateStore 1";
constexpr char16_t IndexName[] = u"index";
constexpr std::size_t LargestIndexFile = 64u << 20;

struct StoreEntry {
    std::u16string fileName;
    // Null for a named file that couldn't be read; such an entry keeps its index line verbatim.
    CertificatePtr certificate;
    std::string damagedLine;
    std::u16string damagedName;
    std::uint32_t damagedCode = 0;
};

// Process-wide, like the store handle it stands for; no lock, since the main thread changes the
// store only while no worker runs.
struct StoreState {
    bool open = false;
    std::u16string folder;
    std::vector<StoreEntry> entries;
    std::u16string ownName;
};

StoreState& state()
{
    static StoreState store;
    return store;
}

constexpr char Hex[] = "0123456789abcdef";

std::string toHexField(const std::u16string& text)
{
    if (text.empty())
        return "-";
    const std::string utf8 = platform::toUtf8(text);
    std::string out;
    for (unsigned char c : utf8) {
        out += Hex[c >> 4];
        out += Hex[c & 0xF];
    }
    return out;
}

bool fromHexField(const std::string& field, std::u16string& text)
{
    text.clear();
    if (field == "-")
        return true;
    if (field.empty() || field.size() % 2 != 0)
        return false;
    std::string utf8;
    for (std::size_t i = 0; i < field.size(); i += 2) {
        const auto high = std::string_view(Hex).find(field[i]);
        const auto low = std::string_view(Hex).find(field[i + 1]);
        if (high == std::string_view::npos || low == std::string_view::npos)
            return false;
        utf8 += static_cast<char>(high * 16 + low);
    }
    text = platform::fromUtf8(utf8);
    return true;
}

std::u16string derFileName(const std::string& der)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(der.data(), der.size(), digest, &length, EVP_sha256(), nullptr);
    std::u16string name;
    for (unsigned int i = 0; i < length; ++i) {
        name += static_cast<char16_t>(Hex[digest[i] >> 4]);
        name += static_cast<char16_t>(Hex[digest[i] & 0xF]);
    }
    return name + u".der";
}

bool validDerFileName(const std::string& name)
{
    return name.size() == 68 && name.compare(64, 4, ".der") == 0 &&
           std::all_of(name.begin(), name.begin() + 64, [](char c) { return std::string_view(Hex).find(c) != std::string_view::npos; });
}

CertificatePtr readDerFile(const std::u16string& path)
{
    std::string der;
    if (!crypto_detail::readSmallFile(path, 1 << 20, der))
        return nullptr;
    const auto* begin = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* cursor = begin;
    X509Ptr x509(d2i_X509(nullptr, &cursor, static_cast<long>(der.size())));
    if (!x509 || cursor != begin + der.size()) {
        ERR_clear_error();
        platform::setLastError(win::CRYPT_E_BAD_ENCODE);
        return nullptr;
    }
    return std::make_shared<Certificate>(std::move(x509));
}

bool writeIndex(const std::vector<StoreEntry>& entries)
{
    std::string text = std::string(IndexHeader) + "\n";
    for (const auto& entry : entries) {
        if (!entry.certificate) {
            text += entry.damagedLine + '\n';
            continue;
        }
        text += platform::toUtf8(entry.fileName) + ' ' + toHexField(entry.certificate->description) + ' '
            + toHexField(entry.certificate->friendlyName) + ' ' + toHexField(entry.certificate->keyContainer) + ' '
            + toHexField(certificateDisplayName(entry.certificate).value_or(u"")) + '\n';
    }
    return platform::writeFileAtomically(state().folder + IndexName, text, 0600);
}

// DER files that the index doesn't name are what an interrupted change left behind. `entries`
// holds every file the index names, readable or not.
void sweepOrphans(const std::u16string& folder, const std::vector<StoreEntry>& entries)
{
    const std::string native = platform::toUtf8(folder);
    DIR* dir = ::opendir(native.c_str());
    if (!dir)
        return;
    std::vector<std::string> orphans;
    while (const dirent* item = ::readdir(dir)) {
        const std::string name = item->d_name;
        if (!validDerFileName(name))
            continue;
        const std::u16string wide = platform::fromUtf8(name);
        const bool known = std::any_of(entries.begin(), entries.end(), [&](const StoreEntry& e) { return e.fileName == wide; });
        if (!known)
            orphans.push_back(name);
    }
    ::closedir(dir);
    for (const auto& name : orphans)
        platform::deleteFile(folder + platform::fromUtf8(name));
}

bool loadStore(StoreState& store)
{
    const std::u16string folder = dataDirectory() + u"certificates/";
    if (!platform::makePrivateDirectory(folder.substr(0, folder.size() - 1)))
        return false;

    std::vector<StoreEntry> entries;
    std::string index;
    if (crypto_detail::readSmallFile(folder + IndexName, LargestIndexFile, index)) {
        std::istringstream lines(index);
        std::string line;
        if (!std::getline(lines, line) || line != IndexHeader) {
            // Not an index of ours; rewriting it would destroy what it holds.
            platform::setLastError(win::ERROR_FILE_INVALID);
            return false;
        }
        while (std::getline(lines, line)) {
            if (line.empty())
                continue;
            std::istringstream fields(line);
            std::string file, description, friendlyName, container, name;
            if (!(fields >> file >> description >> friendlyName >> container) || !validDerFileName(file)) {
                platform::setLastError(win::ERROR_FILE_INVALID);
                return false;
            }
            fields >> name;
            const std::u16string fileName = platform::fromUtf8(file);
            // A certificate that can't be read is kept as it is, reported, and written back
            // unchanged by every later change: it may be repaired, but never lost.
            CertificatePtr certificate = readDerFile(folder + fileName);
            if (!certificate || !fromHexField(description, certificate->description)
                || !fromHexField(friendlyName, certificate->friendlyName)
                || !fromHexField(container, certificate->keyContainer)) {
                StoreEntry damaged { fileName, nullptr, line, {},
                    certificate ? win::ERROR_INVALID_DATA : platform::lastError() };
                std::u16string keyContainer;
                if (!fromHexField(name, damaged.damagedName) || damaged.damagedName.empty())
                    damaged.damagedName = fromHexField(container, keyContainer) ? keyContainer : u"";
                entries.push_back(std::move(damaged));
                continue;
            }
            const bool duplicate = std::any_of(entries.begin(), entries.end(), [&](const StoreEntry& e) {
                return sameCertificate(e.certificate, certificate);
            });
            if (!duplicate)
                entries.push_back({ fileName, std::move(certificate), {}, {}, 0 });
        }
    } else if (platform::lastError() != win::ERROR_FILE_NOT_FOUND && platform::lastError() != win::ERROR_HANDLE_EOF) {
        return false;
    }
    sweepOrphans(folder, entries);
    store.folder = folder;
    store.entries = std::move(entries);
    store.open = true;
    return true;
}

bool ensureOpen()
{
    StoreState& store = state();
    return store.open || loadStore(store);
}

std::size_t indexOf(const CertificatePtr& certificate)
{
    const auto& entries = state().entries;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (sameCertificate(entries[i].certificate, certificate))
            return i;
    }
    return entries.size();
}

}  // namespace

bool certificateStore() { return ensureOpen(); }

std::vector<DamagedCertificate> damagedCertificates()
{
    std::vector<DamagedCertificate> damaged;
    if (!ensureOpen())
        return damaged;
    for (const auto& entry : state().entries) {
        if (!entry.certificate)
            damaged.push_back({ state().folder + entry.fileName, entry.damagedName, entry.damagedCode });
    }
    return damaged;
}

bool reloadCertificateStore()
{
    StoreState& store = state();
    const std::u16string ownName = store.ownName;
    closeCertificateStore();
    store.ownName = ownName;
    return ensureOpen();
}

bool openCertificateStore(const std::u16string& ownName)
{
    state().ownName = ownName;
    return ensureOpen();
}

void closeCertificateStore()
{
    StoreState& store = state();
    store.open = false;
    store.folder.clear();
    store.entries.clear();
    store.ownName.clear();
}

bool addCertificate(const CertificatePtr& certificate, std::size_t position)
{
    if (!certificate) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    if (!ensureOpen())
        return false;
    StoreState& store = state();
    const std::string der = crypto_detail::derOf(*certificate);
    if (der.empty()) {
        crypto_detail::failWith(win::CRYPT_E_BAD_ENCODE);
        return false;
    }
    const std::u16string fileName = derFileName(der);
    if (!platform::writeFileAtomically(store.folder + fileName, der, 0600))
        return false;

    std::vector<StoreEntry> entries = store.entries;
    StoreEntry entry { fileName, crypto_detail::cloneCertificate(*certificate), {}, {}, 0 };
    std::size_t at = indexOf(certificate);
    // The same certificate over a damaged file of it repairs that entry in its place.
    if (at == entries.size()) {
        at = static_cast<std::size_t>(std::find_if(entries.begin(), entries.end(), [&](const StoreEntry& e) {
            return !e.certificate && e.fileName == fileName;
        }) - entries.begin());
    }
    std::u16string replacedFile;
    if (at < entries.size()) {
        replacedFile = entries[at].fileName;
        entries[at] = std::move(entry);
    } else {
        entries.insert(
            entries.begin() + static_cast<std::ptrdiff_t>(std::min(position, entries.size())), std::move(entry));
    }
    if (!writeIndex(entries)) {
        // The DER file written above belongs to no entry now, unless the store already used it.
        const bool usedBefore = std::any_of(store.entries.begin(), store.entries.end(),
                                            [&](const StoreEntry& e) { return e.fileName == fileName; });
        if (!usedBefore) {
            const std::uint32_t reason = platform::lastError();
            platform::deleteFile(store.folder + fileName);
            platform::setLastError(reason);
        }
        return false;
    }
    store.entries = std::move(entries);
    if (!replacedFile.empty() && replacedFile != fileName)
        platform::deleteFile(store.folder + replacedFile);
    return true;
}

std::size_t certificatePosition(const CertificatePtr& certificate)
{
    if (!certificate || !ensureOpen())
        return NoCertificatePosition;
    const std::size_t at = indexOf(certificate);
    return at < state().entries.size() ? at : NoCertificatePosition;
}

bool sameName(const std::u16string& a, const std::u16string& b)
{
    return platform::foldCase(a) == platform::foldCase(b);
}

bool samePerson(const CertificatePtr& a, const CertificatePtr& b)
{
    if (!a || !b)
        return false;
    if (sameCertificate(a, b))
        return true;
    const auto nameA = certificateDisplayName(a);
    const auto nameB = certificateDisplayName(b);
    return nameA && nameB && !nameA->empty() && sameName(*nameA, *nameB);
}

// Names are compared whole: the lookup by a piece of a name, which picked the first subject that
// merely contained it, took one person for another ("Ann" removed Joann's certificate).
CertificatePtr findCertificate(const std::u16string& name)
{
    if (!ensureOpen())
        return nullptr;
    for (const auto& entry : state().entries) {
        if (!entry.certificate)
            continue;
        const auto stored = certificateDisplayName(entry.certificate);
        if (stored && sameName(*stored, name))
            return crypto_detail::cloneCertificate(*entry.certificate);
    }
    platform::setLastError(win::CRYPT_E_NOT_FOUND);
    return nullptr;
}

CertificatePtr findSamePerson(const CertificatePtr& certificate)
{
    if (!ensureOpen())
        return nullptr;
    for (const auto& entry : state().entries) {
        if (entry.certificate && samePerson(entry.certificate, certificate))
            return crypto_detail::cloneCertificate(*entry.certificate);
    }
    platform::setLastError(win::CRYPT_E_NOT_FOUND);
    return nullptr;
}

CertificatePtr findOwnCertificate(const std::u16string& ownerName)
{
    if (!ensureOpen())
        return nullptr;
    std::uint32_t keyProblem = 0;
    for (const auto& entry : state().entries) {
        if (!entry.certificate)
            continue;
        if (!ownerName.empty() && certificateDisplayName(entry.certificate).value_or(u"") != ownerName)
            continue;
        // The key proves it: the public half of the profile's private key is in the certificate.
        if (hasPrivateKey(entry.certificate))
            return crypto_detail::cloneCertificate(*entry.certificate);
        if (!ownerName.empty() && platform::lastError() == win::NTE_BAD_KEYSET)
            keyProblem = win::NTE_BAD_KEYSET;
    }
    // The owner's certificate is there but its key file can't be used: that is what is wrong.
    platform::setLastError(keyProblem ? keyProblem : win::CRYPT_E_NOT_FOUND);
    return nullptr;
}

const std::u16string& ownCertificateName() { return state().ownName; }

CertificatePtr ownCertificate() { return findOwnCertificate(state().ownName); }

EngineStatus listCertificates(std::vector<CertificatePtr>& list)
{
    if (!ensureOpen())
        return EngineStatus(platform::lastError(), SeverityError);
    for (const auto& entry : state().entries) {
        if (entry.certificate)
            list.push_back(crypto_detail::cloneCertificate(*entry.certificate));
    }
    return EngineStatus();
}

bool deleteCertificate(const CertificatePtr& certificate)
{
    if (!certificate) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    if (!ensureOpen())
        return false;
    StoreState& store = state();
    const std::size_t at = indexOf(certificate);
    if (at == store.entries.size()) {
        platform::setLastError(win::CRYPT_E_NOT_FOUND);
        return false;
    }
    std::vector<StoreEntry> entries = store.entries;
    const std::u16string fileName = entries[at].fileName;
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(at));
    if (!writeIndex(entries))
        return false;
    store.entries = std::move(entries);
    platform::deleteFile(store.folder + fileName);
    return true;
}

bool deleteAllCertificates()
{
    std::vector<CertificatePtr> list;
    if (!listCertificates(list).ok())
        return false;
    bool all = true;
    std::uint32_t firstFailure = 0;
    for (const auto& certificate : list) {
        if (!deleteCertificate(certificate) && all) {
            all = false;
            firstFailure = platform::lastError();
        }
    }
    if (!all)
        platform::setLastError(firstFailure);
    return all;
}
