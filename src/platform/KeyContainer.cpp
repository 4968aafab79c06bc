#include "platform/KeyContainer.h"

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <memory>
#include <string_view>

#include "platform/AtomicFile.h"
#include "platform/LastError.h"
#include "platform/NativeFile.h"
#include "platform/Profile.h"
#include "platform/StatusCodes.h"

namespace platform {

namespace {

// The atomic write puts ".<name>.XXXXXX" beside the target, so a file name must leave room for
// that within the 255 bytes of one path component.
constexpr std::size_t LongestReadableName = 200;
// A PEM private key is a few kilobytes.
constexpr std::int64_t LargestKeyFile = 1 << 20;

struct BioFree {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
using BioPtr = std::unique_ptr<BIO, BioFree>;

constexpr char Hex[] = "0123456789ABCDEF";

// The name is encoded from its UTF-16 units rather than from UTF-8, so that two names which only
// differ in an unpaired surrogate still map to two files.
std::u16string readableEncoding(const std::u16string& name)
{
    std::u16string out = u"c-";
    for (char16_t unit : name) {
        const bool plain = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
                           (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'_';
        if (plain) {
            out += unit;
        } else if (unit < 0x100) {
            out += u'%';
            out += static_cast<char16_t>(Hex[unit >> 4]);
            out += static_cast<char16_t>(Hex[unit & 0xF]);
        } else {
            out += u"%u";
            for (int shift = 12; shift >= 0; shift -= 4)
                out += static_cast<char16_t>(Hex[(unit >> shift) & 0xF]);
        }
    }
    return out;
}

std::u16string digestEncoding(const std::u16string& name)
{
    std::string bytes;
    bytes.reserve(name.size() * 2);
    for (char16_t unit : name) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
    std::u16string out = u"h-";
    for (unsigned int i = 0; i < length; ++i) {
        out += static_cast<char16_t>(Hex[digest[i] >> 4]);
        out += static_cast<char16_t>(Hex[digest[i] & 0xF]);
    }
    return out;
}

}  // namespace

std::u16string keyFolder()
{
    const std::u16string folder = dataDirectory() + u"keys/";
    if (!makePrivateDirectory(folder.substr(0, folder.size() - 1)))
        return {};
    return folder;
}

std::u16string keyContainerFileName(const std::u16string& containerName)
{
    // "c-" and "h-" keep the two encodings apart: a readable name never collides with a digest.
    std::u16string encoded = readableEncoding(containerName);
    if (encoded.size() > LongestReadableName)
        encoded = digestEncoding(containerName);
    return encoded + u".pem";
}

std::u16string keyContainerPath(const std::u16string& containerName)
{
    const std::u16string folder = keyFolder();
    if (folder.empty())
        return {};
    return folder + keyContainerFileName(containerName);
}

bool storePrivateKey(const std::u16string& containerName, EVP_PKEY* key)
{
    if (!key) {
        setLastError(win::NTE_BAD_KEY);
        return false;
    }
    const std::u16string path = keyContainerPath(containerName);
    if (path.empty())
        return false;
    BioPtr memory(BIO_new(BIO_s_secmem()));
    if (!memory || PEM_write_bio_PrivateKey(memory.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        ERR_clear_error();
        setLastError(win::NTE_FAIL);
        return false;
    }
    char* pem = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &pem);
    // The PEM text lives in secure memory that the BIO wipes; it reaches the disk only through the
    // temporary file beside the container, which is 0600 from its creation and renamed into place.
    return writeFileAtomically(path, std::string_view(pem, static_cast<std::size_t>(length)), 0600);
}

EVP_PKEY* loadPrivateKey(const std::u16string& containerName)
{
    const std::u16string path = keyContainerPath(containerName);
    if (path.empty())
        return nullptr;
    // Read in one piece into a buffer of the file's size, so that no copy of the key is left
    // behind in memory that a growing buffer gave back.
    const FileHandle file = openFile(path, win::OPEN_EXISTING, win::GENERIC_READ);
    if (file == InvalidHandle)
        return nullptr;
    std::int64_t size = 0;
    std::string pem;
    std::size_t got = 0;
    bool read = fileSize(file, size) && size > 0 && size <= LargestKeyFile;
    if (read) {
        pem.resize(static_cast<std::size_t>(size));
        read = readFile(file, pem.data(), pem.size(), got) && got == pem.size();
    }
    closeFile(file);
    if (!read) {
        OPENSSL_cleanse(pem.data(), pem.size());
        setLastError(win::NTE_BAD_KEYSET);
        return nullptr;
    }
    BioPtr memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    EVP_PKEY* key = memory ? PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr) : nullptr;
    OPENSSL_cleanse(pem.data(), pem.size());
    if (!key) {
        ERR_clear_error();
        setLastError(win::NTE_BAD_KEYSET);
    }
    return key;
}

}  // namespace platform
