// Certificate primitives: comparing, naming, files, and the making of the self-signed identity.

#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <ctime>
#include <vector>

#include "crypto/CertificateData.h"
#include "crypto/CertificateStore.h"
#include "crypto/CryptoSession.h"
#include "engine/ScopedFile.h"
#include "platform/KeyContainer.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"
#include "platform/Utf.h"

namespace {

// A certificate file is a few kilobytes; anything far larger is not one, and is not read whole.
constexpr std::size_t LargestCertificateFile = 1 << 20;
// The formatted subject must fit a buffer of 260 wide characters with its terminator.
constexpr std::size_t SubjectBufferLength = 260;
constexpr int IdentityKeyBits = 3072;
constexpr int SmallestReusableKeyBits = 2048;
constexpr int SerialLength = 16;
constexpr int ValidityYears = 5;

struct BioFree {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
struct NameFree {
    void operator()(X509_NAME* name) const { X509_NAME_free(name); }
};
struct BignumFree {
    void operator()(BIGNUM* number) const { BN_free(number); }
};
struct DigestContextFree {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

// Attribute keys as X.500 strings of this program's subjects write them.
const char* attributeKey(int nid)
{
    switch (nid) {
    case NID_commonName: return "CN";
    case NID_title: return "T";
    case NID_organizationName: return "O";
    case NID_organizationalUnitName: return "OU";
    case NID_localityName: return "L";
    case NID_stateOrProvinceName: return "S";
    case NID_countryName: return "C";
    case NID_pkcs9_emailAddress: return "E";
    case NID_streetAddress: return "STREET";
    case NID_givenName: return "G";
    case NID_initials: return "I";
    case NID_surname: return "SN";
    case NID_domainComponent: return "DC";
    case NID_serialNumber: return "SERIALNUMBER";
    default: return nullptr;
    }
}

std::u16string entryValue(const X509_NAME_ENTRY* entry)
{
    unsigned char* utf8 = nullptr;
    const int length = ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(entry));
    if (length < 0) {
        ERR_clear_error();
        return {};
    }
    std::u16string value = platform::fromUtf8(std::string_view(reinterpret_cast<char*>(utf8), length));
    OPENSSL_free(utf8);
    return value;
}

bool needsQuotes(const std::u16string& value)
{
    if (value.empty())
        return false;
    if (value.front() == u' ' || value.back() == u' ' || value.front() == u'#')
        return true;
    return value.find_first_of(u",+=\"\r\n<>;") != std::u16string::npos;
}

// A value as subject text shows it: quoted, with inner quotes doubled, where it needs quotes.
void appendValue(std::u16string& text, const std::u16string& value)
{
    if (!needsQuotes(value)) {
        text += value;
        return;
    }
    text += u'"';
    for (char16_t c : value) {
        text += c;
        if (c == u'"')
            text += u'"';
    }
    text += u'"';
}

std::u16string nameText(const X509_NAME* name)
{
    std::u16string text;
    int previousSet = -1;
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
        const ASN1_OBJECT* object = X509_NAME_ENTRY_get_object(entry);
        std::string key;
        if (const char* known = attributeKey(OBJ_obj2nid(object))) {
            key = known;
        } else {
            char oid[128];
            OBJ_obj2txt(oid, sizeof oid, object, 1);
            key = std::string("OID.") + oid;
        }
        const int set = X509_NAME_ENTRY_set(entry);
        if (i > 0)
            text += set == previousSet ? u" + " : u", ";
        previousSet = set;
        text += platform::fromUtf8(key) + u'=';
        appendValue(text, entryValue(entry));
    }
    return text;
}

// The subject's values without their keys, as the platform's subject search sees a name: a search
// for "C" must not match every certificate just because its subject has a "CN=" in it.
std::u16string valuesText(const X509_NAME* name)
{
    std::u16string text;
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        if (i > 0)
            text += u", ";
        appendValue(text, entryValue(X509_NAME_get_entry(name, i)));
    }
    return text;
}

// What an unquoted value of an X.500 string can hold: the separators, quotes and line ends would
// change the name's structure, and blanks at either end would be lost.
bool validX500Value(const std::u16string& value)
{
    if (value.empty() || value.front() == u' ' || value.back() == u' ' || value.front() == u'#')
        return false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char16_t c = value[i];
        if (c < 0x20 || c == 0x7F || std::u16string_view(u",;=+\"<>").find(c) != std::u16string_view::npos)
            return false;
        if (c >= 0xD800 && c <= 0xDBFF) {
            if (i + 1 >= value.size() || value[i + 1] < 0xDC00 || value[i + 1] > 0xDFFF)
                return false;
            ++i;
        } else if (c >= 0xDC00 && c <= 0xDFFF) {
            return false;
        }
    }
    return true;
}

bool isPrintableString(const std::string& text)
{
    for (unsigned char c : text) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                        std::string_view(" '()+,-./:=?").find(static_cast<char>(c)) != std::string_view::npos;
        if (!ok)
            return false;
    }
    return true;
}

// The value is set as given, whatever its length: the 260-character rule is ours, and OpenSSL's
// table of upper bounds (64 for a common name) would otherwise refuse names that it allows.
bool addNameEntry(X509_NAME* name, int nid, const std::u16string& value)
{
    const std::string utf8 = platform::toValidUtf8(value);
    const int type = isPrintableString(utf8) ? V_ASN1_PRINTABLESTRING : V_ASN1_UTF8STRING;
    return X509_NAME_add_entry_by_NID(name, nid, type, reinterpret_cast<const unsigned char*>(utf8.data()),
                                      static_cast<int>(utf8.size()), -1, 0) == 1;
}

// The identity keeps the key already in the container named after the user, as long as it is a
// usable RSA key; a new identity for the same name then still opens packages sent to the old one.
PkeyPtr identityKey(const std::u16string& containerName)
{
    PkeyPtr existing(platform::loadPrivateKey(containerName));
    if (existing && EVP_PKEY_is_a(existing.get(), "RSA") && EVP_PKEY_get_bits(existing.get()) >= SmallestReusableKeyBits)
        return existing;
    PkeyPtr fresh(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(IdentityKeyBits)));
    if (!fresh) {
        crypto_detail::failWith(win::NTE_FAIL);
        return nullptr;
    }
    if (!platform::storePrivateKey(containerName, fresh.get()))
        return nullptr;
    return fresh;
}

bool setRandomSerial(X509* x509)
{
    unsigned char bytes[SerialLength];
    if (RAND_bytes(bytes, sizeof bytes) != 1)
        return false;
    // Positive, and exactly 16 bytes long in DER: the top bit is clear and the next one set.
    bytes[0] = static_cast<unsigned char>((bytes[0] & 0x7F) | 0x40);
    std::unique_ptr<BIGNUM, BignumFree> number(BN_bin2bn(bytes, sizeof bytes, nullptr));
    return number && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(x509)) != nullptr;
}

bool setValidity(X509* x509)
{
    const std::time_t now = std::time(nullptr);
    std::tm later{};
    if (!gmtime_r(&now, &later))
        return false;
    later.tm_year += ValidityYears;
    // On 29 February the target year may lack the day; timegm carries it over to 1 March.
    const std::time_t notAfter = timegm(&later);
    return ASN1_TIME_set(X509_getm_notBefore(x509), now) && ASN1_TIME_set(X509_getm_notAfter(x509), notAfter);
}

// SHA-1 with RSA is what the certificate format asks for. The digest is passed explicitly through
// a signing context, so that the library's defaults for new certificates don't replace it.
bool signWithSha1(X509* x509, EVP_PKEY* key)
{
    std::unique_ptr<EVP_MD_CTX, DigestContextFree> context(EVP_MD_CTX_new());
    if (!context || EVP_DigestSignInit(context.get(), nullptr, EVP_sha1(), nullptr, key) != 1)
        return false;
    return X509_sign_ctx(x509, context.get()) > 0;
}

}  // namespace

namespace crypto_detail {

void failWith(std::uint32_t code)
{
    ERR_clear_error();
    platform::setLastError(code);
}

CertificatePtr cloneCertificate(const Certificate& certificate)
{
    X509_up_ref(certificate.x509());
    auto copy = std::make_shared<Certificate>(X509Ptr(certificate.x509()));
    copy->description = certificate.description;
    copy->friendlyName = certificate.friendlyName;
    copy->keyContainer = certificate.keyContainer;
    return copy;
}

std::string derOf(const Certificate& certificate)
{
    const int length = i2d_X509(certificate.x509(), nullptr);
    if (length <= 0)
        return {};
    std::string der(static_cast<std::size_t>(length), '\0');
    auto* out = reinterpret_cast<unsigned char*>(der.data());
    if (i2d_X509(certificate.x509(), &out) != length)
        return {};
    return der;
}

PkeyPtr privateKeyOf(const CertificatePtr& certificate)
{
    if (!certificate) {
        platform::setLastError(win::CRYPT_E_NOT_FOUND);
        return nullptr;
    }
    // A certificate made here names its container. One that came in from a file may still have
    // its key in the container named after it, as an identity made elsewhere would.
    std::u16string container = certificate->keyContainer;
    if (container.empty()) {
        const auto name = certificateDisplayName(certificate);
        if (!name) {
            platform::setLastError(win::NTE_NO_KEY);
            return nullptr;
        }
        container = *name;
    }
    PkeyPtr key(platform::loadPrivateKey(container));
    if (!key)
        return nullptr;
    if (X509_check_private_key(certificate->x509(), key.get()) != 1) {
        failWith(win::NTE_BAD_KEYSET);
        return nullptr;
    }
    return key;
}

bool readSmallFile(const std::u16string& path, std::size_t limit, std::string& content)
{
    content.clear();
    ScopedFile file;
    if (!file.open(path, win::OPEN_EXISTING, win::GENERIC_READ, win::FILE_SHARE_READ))
        return false;
    std::int64_t size = 0;
    if (!platform::fileSize(file.handle(), size))
        return false;
    if (size == 0) {
        platform::setLastError(win::ERROR_HANDLE_EOF);
        return false;
    }
    if (static_cast<std::uint64_t>(size) > limit) {
        platform::setLastError(win::ERROR_FILE_TOO_LARGE);
        return false;
    }
    content.resize(static_cast<std::size_t>(size));
    std::size_t got = 0;
    if (!platform::readFile(file.handle(), content.data(), content.size(), got))
        return false;
    if (got != content.size()) {
        platform::setLastError(win::ERROR_READ_FAULT);
        return false;
    }
    return true;
}

}  // namespace crypto_detail

bool sameCertificate(const CertificatePtr& a, const CertificatePtr& b)
{
    if (!a || !b)
        return false;
    return X509_issuer_and_serial_cmp(a->x509(), b->x509()) == 0;
}

std::optional<std::u16string> certificateDisplayName(const CertificatePtr& certificate)
{
    if (!certificate) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return std::nullopt;
    }
    const X509_NAME* subject = X509_get_subject_name(certificate->x509());
    const int index = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    if (index < 0) {
        platform::setLastError(win::CRYPT_E_NOT_FOUND);
        return std::nullopt;
    }
    return entryValue(X509_NAME_get_entry(subject, index));
}

std::u16string certificateSubject(const CertificatePtr& certificate)
{
    return certificate ? nameText(X509_get_subject_name(certificate->x509())) : std::u16string();
}

std::u16string certificateSubjectValues(const CertificatePtr& certificate)
{
    return certificate ? valuesText(X509_get_subject_name(certificate->x509())) : std::u16string();
}

std::u16string certificateDescription(const CertificatePtr& certificate)
{
    return certificate ? certificate->description : std::u16string();
}

std::u16string certificateFriendlyName(const CertificatePtr& certificate)
{
    return certificate ? certificate->friendlyName : std::u16string();
}

std::string certificateFingerprint(const CertificatePtr& certificate)
{
    if (!certificate)
        return {};
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (X509_digest(certificate->x509(), EVP_sha256(), digest, &length) != 1)
        return {};
    static constexpr char Hex[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        if (i)
            text += ':';
        text += Hex[digest[i] >> 4];
        text += Hex[digest[i] & 0xF];
    }
    return text;
}

bool hasPrivateKey(const CertificatePtr& certificate) { return crypto_detail::privateKeyOf(certificate) != nullptr; }

bool saveCertificateFile(const CertificatePtr& certificate, const std::u16string& path)
{
    if (!certificate || path.empty()) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    const std::string der = crypto_detail::derOf(*certificate);
    if (der.empty()) {
        crypto_detail::failWith(win::CRYPT_E_BAD_ENCODE);
        return false;
    }
    ScopedFile file;
    if (!file.open(path, win::CREATE_ALWAYS, win::GENERIC_WRITE, win::FILE_SHARE_READ, platform::UserFileMode))
        return false;
    const bool written = platform::writeFile(file.handle(), der.data(), der.size());
    const bool closed = file.close();
    return written && closed;
}

CertificatePtr loadCertificateFile(const std::u16string& path)
{
    std::string content;
    if (!crypto_detail::readSmallFile(path, LargestCertificateFile, content))
        return nullptr;

    // Binary first: one DER certificate that fills the whole file.
    const auto* begin = reinterpret_cast<const unsigned char*>(content.data());
    const unsigned char* cursor = begin;
    X509Ptr x509(d2i_X509(nullptr, &cursor, static_cast<long>(content.size())));
    if (x509 && cursor == begin + content.size()) {
        ERR_clear_error();
        return std::make_shared<Certificate>(std::move(x509));
    }
    x509.reset();

    // Then PEM, which must hold exactly one certificate.
    std::unique_ptr<BIO, BioFree> bio(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    if (bio && content.find("-----BEGIN") != std::string::npos) {
        x509.reset(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
        if (x509) {
            X509Ptr second(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
            if (!second) {
                ERR_clear_error();
                return std::make_shared<Certificate>(std::move(x509));
            }
        }
        crypto_detail::failWith(win::CRYPT_E_NO_MATCH);
        return nullptr;
    }

    // Last, bare Base64 of a DER certificate, as some mail programs save an attachment.
    std::string text;
    for (char c : content) {
        if (c != '\r' && c != '\n' && c != ' ' && c != '\t')
            text += c;
    }
    if (!text.empty() && text.size() % 4 == 0) {
        std::vector<unsigned char> der(text.size() / 4 * 3);
        const int decoded = EVP_DecodeBlock(der.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                            static_cast<int>(text.size()));
        if (decoded > 0) {
            std::size_t length = static_cast<std::size_t>(decoded);
            // EVP_DecodeBlock counts the '=' padding as zero bytes.
            for (auto it = text.rbegin(); it != text.rend() && *it == '=' && length > 0; ++it)
                --length;
            const unsigned char* p = der.data();
            x509.reset(d2i_X509(nullptr, &p, static_cast<long>(length)));
            if (x509 && p == der.data() + length) {
                ERR_clear_error();
                return std::make_shared<Certificate>(std::move(x509));
            }
        }
    }
    crypto_detail::failWith(win::CRYPT_E_NO_MATCH);
    return nullptr;
}

CertificatePtr createSelfSignedCertificate(const std::u16string& name, const std::u16string& title,
                                           const std::u16string& description, const std::u16string& friendlyName)
{
    if (name.empty() || title.empty() || description.empty() || friendlyName.empty()) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const std::u16string subjectText = u"CN=" + name + u", T=" + title;
    if (subjectText.size() >= SubjectBufferLength) {
        platform::setLastError(win::ERROR_INSUFFICIENT_BUFFER);
        return nullptr;
    }
    if (!validX500Value(name) || !validX500Value(title)) {
        platform::setLastError(win::CRYPT_E_INVALID_X500_STRING);
        return nullptr;
    }
    if (!cryptoContext())
        return nullptr;

    std::unique_ptr<X509_NAME, NameFree> subject(X509_NAME_new());
    if (!subject || !addNameEntry(subject.get(), NID_commonName, name) || !addNameEntry(subject.get(), NID_title, title)) {
        crypto_detail::failWith(win::CRYPT_E_INVALID_X500_STRING);
        return nullptr;
    }

    PkeyPtr key = identityKey(name);
    if (!key)
        return nullptr;

    X509Ptr x509(X509_new());
    const bool built = x509 && X509_set_version(x509.get(), X509_VERSION_3) && setRandomSerial(x509.get()) &&
                       X509_set_subject_name(x509.get(), subject.get()) &&
                       X509_set_issuer_name(x509.get(), subject.get()) && setValidity(x509.get()) &&
                       X509_set_pubkey(x509.get(), key.get()) && signWithSha1(x509.get(), key.get());
    if (!built) {
        crypto_detail::failWith(win::NTE_FAIL);
        return nullptr;
    }
    // A certificate that this library won't read back or verify would only fail later, at a
    // recipient's; make sure now that the encoding round-trips and the SHA-1 signature holds.
    auto certificate = std::make_shared<Certificate>(std::move(x509));
    const std::string der = crypto_detail::derOf(*certificate);
    const auto* cursor = reinterpret_cast<const unsigned char*>(der.data());
    X509Ptr reread(der.empty() ? nullptr : d2i_X509(nullptr, &cursor, static_cast<long>(der.size())));
    if (!reread || X509_verify(reread.get(), key.get()) != 1) {
        crypto_detail::failWith(win::NTE_FAIL);
        return nullptr;
    }
    certificate->description = description;
    certificate->friendlyName = friendlyName;
    certificate->keyContainer = name;
    return certificate;
}
