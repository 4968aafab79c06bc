#pragma once
// Packages built byte by byte, independently of the program's writer, for tests that need
// damaged or hostile input.

#include <openssl/evp.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "crypto/CryptoSession.h"
#include "package/ContainerFormat.h"

namespace testing_support {

using Bytes = std::vector<std::uint8_t>;

// Rewrites the digest so that a crafted change gets past the digest check.
inline void rehash(Bytes& bytes)
{
    unsigned int length = 0;
    EVP_Digest(bytes.data() + 20, bytes.size() - 20, bytes.data() + 4, &length, EVP_md5(), nullptr);
}

inline Bytes entryHeader(std::uint32_t type, std::uint32_t nameBytes, std::uint64_t dataSize)
{
    Bytes bytes(20);
    putU32(bytes.data(), ContainerMagic);
    putU32(bytes.data() + 4, type);
    putU32(bytes.data() + 8, nameBytes);
    putU64(bytes.data() + 12, dataSize);
    return bytes;
}

inline Bytes utf16z(const std::u16string& text)
{
    Bytes bytes;
    for (char16_t unit : text) {
        bytes.push_back(static_cast<std::uint8_t>(unit));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    bytes.push_back(0);
    bytes.push_back(0);
    return bytes;
}

// A header for `entryCount` entries in front of `body`, with a matching digest.
inline Bytes craftedPackage(std::uint32_t entryCount, const Bytes& body, std::uint32_t containerType = 1)
{
    Bytes bytes(32, 0);
    putU32(bytes.data(), ContainerMagic);
    putU32(bytes.data() + 20, containerType);
    putU32(bytes.data() + 24, 1);
    putU32(bytes.data() + 28, entryCount);
    bytes.insert(bytes.end(), body.begin(), body.end());
    rehash(bytes);
    return bytes;
}

// A well-formed package of the given entries (type, name, data), written byte by byte.
inline Bytes craftedPackage(
    const std::vector<std::tuple<std::uint32_t, std::u16string, Bytes>>& entries, std::uint32_t containerType = 1)
{
    Bytes body;
    for (const auto& [type, name, data] : entries) {
        const Bytes nameField = name.empty() ? Bytes() : utf16z(name);
        const Bytes header = entryHeader(type, static_cast<std::uint32_t>(nameField.size()), data.size());
        body.insert(body.end(), header.begin(), header.end());
        body.insert(body.end(), nameField.begin(), nameField.end());
        body.insert(body.end(), data.begin(), data.end());
    }
    return craftedPackage(static_cast<std::uint32_t>(entries.size()), body, containerType);
}

// An encrypted package around `inner` for `reader`, made without the engine as a sender would
// make it: a fresh session key and envelope each time, `cipherTail` added to the cipher text. The
// pieces pass through `scratch`, which is left empty; no package if the encryption failed.
inline Bytes encryptedPackage(const Bytes& inner, const CertificatePtr& reader, const std::filesystem::path& scratch,
    const Bytes& cipherTail = {})
{
    writeBytes(scratch / "inner", inner);
    CryptoSession session;
    const bool made
        = session.encryptFile(u16(scratch / "inner"), u16(scratch / "data"), u16(scratch / "key"), { reader });
    Bytes data = readBytes(scratch / "data");
    data.insert(data.end(), cipherTail.begin(), cipherTail.end());
    const Bytes package = craftedPackage(
        { { EntryTypeKey, u"KVXkey", readBytes(scratch / "key") }, { EntryTypeData, u"KVXdata", data } },
        ContainerTypeEncrypted);
    for (const char* piece : { "inner", "data", "key" })
        std::filesystem::remove(scratch / piece);
    return made ? package : Bytes();
}

} // namespace testing_support
