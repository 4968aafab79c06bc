// Session keys and the crypto context. OpenSSL hands out raw key bytes directly, so a session key
// is just its 32 key bytes and its current vector, and export and import copy bytes.

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <cstring>
#include <new>

#include "crypto/CryptoSession.h"
#include "crypto/SessionKeyData.h"
#include "platform/KeyContainer.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"

SessionKey::~SessionKey() { OPENSSL_cleanse(this, sizeof *this); }

void* SessionKey::operator new(std::size_t size)
{
    if (void* memory = OPENSSL_secure_zalloc(size))
        return memory;
    throw std::bad_alloc();
}

void SessionKey::operator delete(void* memory) noexcept { OPENSSL_secure_free(memory); }

bool initSecureHeap()
{
    // Large enough for a few RSA-3072 keys with their working numbers at once: OpenSSL has no
    // way back to the ordinary heap once this one is full.
    constexpr std::size_t HeapSize = 1u << 20;
    constexpr std::size_t SmallestBlock = 16;
    if (CRYPTO_secure_malloc_initialized())
        return true;
    // 2 means set up but not locked (the memory lock limit is small); still out of core dumps.
    return CRYPTO_secure_malloc_init(HeapSize, SmallestBlock) != 0;
}

void SessionKeyDeleter::operator()(SessionKey* key) const { delete key; }

// The context is the profile's key folder. It is looked up on every call rather than kept, so that
// a change of profile (command line, tests) takes effect; making it is a pair of mkdir calls.
bool cryptoContext() { return !platform::keyFolder().empty(); }

SessionKeyPtr CryptoSession::createSessionKey(bool withIv)
{
    if (!cryptoContext())
        return nullptr;
    SessionKeyPtr key(new SessionKey);
    if (RAND_bytes(key->key.data(), static_cast<int>(key->key.size())) != 1) {
        platform::setLastError(win::NTE_FAIL);
        return nullptr;
    }
    if (withIv && !setIv(key.get(), nullptr))
        return nullptr;
    return key;
}

bool CryptoSession::setIv(SessionKey* key, const std::uint8_t* iv)
{
    if (!key) {
        platform::setLastError(win::ERROR_INVALID_HANDLE);
        return false;
    }
    static_assert(sizeof(SessionKey::iv) == 16);
    if (!iv) {
        std::array<std::uint8_t, 16> fresh{};
        if (RAND_bytes(fresh.data(), static_cast<int>(blockSize())) != 1) {
            platform::setLastError(win::NTE_FAIL);
            return false;
        }
        key->iv = fresh;
        return true;
    }
    std::memcpy(key->iv.data(), iv, blockSize());
    return true;
}

ByteBlobPtr readIv(const SessionKey* key)
{
    if (!key) {
        platform::setLastError(win::ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return std::make_unique<ByteBlob>(key->iv.data(), static_cast<std::uint32_t>(key->iv.size()));
}

ByteBlobPtr CryptoSession::exportPlainKey(const SessionKey* key)
{
    if (!key) {
        platform::setLastError(win::ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return std::make_unique<ByteBlob>(key->key.data(), static_cast<std::uint32_t>(key->key.size()));
}

SessionKeyPtr CryptoSession::importPlainKey(const ByteBlob* blob)
{
    // AES-256 takes exactly 32 key bytes; anything else is not a key of this session's algorithm.
    if (!blob || blob->size() != sizeof(SessionKey::key)) {
        platform::setLastError(win::NTE_BAD_KEY);
        return nullptr;
    }
    if (!cryptoContext())
        return nullptr;
    SessionKeyPtr key(new SessionKey);
    std::memcpy(key->key.data(), blob->data(), key->key.size());
    return key;
}

ByteBlobPtr packKeyBlob(const ByteBlob* key, const ByteBlob* iv)
{
    if (!key || !iv || key->size() == 0 || iv->size() == 0) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const std::uint64_t total = 8ull + key->size() + iv->size();
    if (total > UINT32_MAX) {
        platform::setLastError(win::NTE_BAD_LEN);
        return nullptr;
    }
    auto blob = std::make_unique<ByteBlob>(static_cast<std::uint32_t>(total));
    std::uint8_t* out = blob->data();
    auto putLength = [&out](std::uint32_t value) {
        for (int i = 0; i < 4; ++i)
            *out++ = static_cast<std::uint8_t>(value >> (8 * i));
    };
    putLength(key->size());
    std::memcpy(out, key->data(), key->size());
    out += key->size();
    putLength(iv->size());
    std::memcpy(out, iv->data(), iv->size());
    return blob;
}

ByteBlobPtr unpackKeyBlob(const ByteBlob* blob, ByteBlobPtr& iv)
{
    iv.reset();
    auto fail = [] {
        platform::setLastError(win::NTE_BAD_DATA);
        return ByteBlobPtr();
    };
    if (!blob)
        return fail();
    const std::uint64_t size = blob->size();
    auto lengthAt = [blob](std::uint64_t offset) {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value |= static_cast<std::uint32_t>(blob->data()[offset + i]) << (8 * i);
        return value;
    };
    // Every offset is checked against the blob's size before it is read, in 64 bits so that no
    // length from the blob can wrap the sum.
    if (size < 4)
        return fail();
    const std::uint64_t keyLength = lengthAt(0);
    if (keyLength == 0 || keyLength >= size || 8 + keyLength > size)
        return fail();
    const std::uint64_t ivLength = lengthAt(4 + keyLength);
    if (ivLength == 0 || ivLength >= size || 8 + keyLength + ivLength > size)
        return fail();
    auto key = std::make_unique<ByteBlob>(blob->data() + 4, static_cast<std::uint32_t>(keyLength));
    iv = std::make_unique<ByteBlob>(blob->data() + 8 + keyLength, static_cast<std::uint32_t>(ivLength));
    return key;
}
