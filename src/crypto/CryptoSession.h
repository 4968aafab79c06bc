#pragma once
// Session keys, the key envelope for recipients, and file-to-file AES-256-CBC. Functions return a
// handle, a pointer or a truth value and leave the cause of a failure in the last error.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "crypto/Certificate.h"
#include "engine/ByteBlob.h"
#include "crypto/HashFile.h"
#include "engine/EngineCallback.h"
#include "platform/NativeFile.h"

// A session key: 32 raw AES-256 key bytes and the current 16-byte vector.
class SessionKey;
struct SessionKeyDeleter {
    void operator()(SessionKey* key) const;
};
using SessionKeyPtr = std::unique_ptr<SessionKey, SessionKeyDeleter>;

inline constexpr std::uint32_t CALG_AES_256 = 0x6610;

// Sets up OpenSSL's secure heap, once per process and before any key is loaded: memory that is
// locked where the system allows and left out of core dumps. Private keys read or made from then
// on, and session keys, live there. False if it couldn't be set up (the program still works).
bool initSecureHeap();
// The process-wide crypto context: the profile's key folder, made on first use.
bool cryptoContext();

class CryptoSession {
public:
    CryptoSession() = default;

    std::uint32_t blockSize() const { return blockSize_; }
    std::uint32_t algorithm() const { return algorithm_; }
    void setCallback(EngineCallback callback) { callback_ = callback; }
    void setUserParameter(KvxUtils::UserParameter* userParameter) { userParameter_ = userParameter; }

    SessionKeyPtr createSessionKey(bool withIv);
    // A null `iv` sets a fresh random vector.
    bool setIv(SessionKey* key, const std::uint8_t* iv);
    ByteBlobPtr exportPlainKey(const SessionKey* key);
    SessionKeyPtr importPlainKey(const ByteBlob* blob);

    ByteBlobPtr sealEnvelope(const std::vector<CertificatePtr>& certificates, const ByteBlob* blob);
    ByteBlobPtr openEnvelope(const ByteBlob* blob);
    bool writeKeyFile(const std::u16string& path, const SessionKey* key, const std::vector<CertificatePtr>& certificates);
    SessionKeyPtr readKeyFile(const std::u16string& path);

    bool encryptFile(const std::u16string& source, const std::u16string& target, const std::u16string& keyFile,
                     const std::vector<CertificatePtr>& certificates);
    bool decryptFile(const std::u16string& source, const std::u16string& target, const std::u16string& keyFile);
    bool encryptStream(const std::u16string& source, const std::u16string& target, SessionKey* key);
    // The envelope of a session key for the recipients, and the key back out of one; what
    // writeKeyFile and readKeyFile do, in memory.
    ByteBlobPtr sealKey(const SessionKey* key, const std::vector<CertificatePtr>& certificates);
    SessionKeyPtr openKey(const std::uint8_t* envelope, std::size_t size);
    // An envelope grows by a few hundred bytes per recipient; this leaves room for tens of
    // thousands and keeps a hostile one from being read into memory whole.
    static constexpr std::size_t LargestEnvelope = 64u << 20;
    // The length of the cipher text of `plainLength` bytes: padding always adds up to one block.
    static std::int64_t cipherLength(std::int64_t plainLength) { return (plainLength / 16 + 1) * 16; }

    // Between two open files: `size` bytes from the current position of `source` to the
    // current position of `target`, which stays open. `written` sees every block of output, in
    // order, on the thread that writes it (not the caller's). After a failure, targetFailed()
    // says whether writing the target was the cause.
    using OutputObserver = std::function<void(const std::uint8_t* data, std::size_t size)>;
    bool encryptRange(platform::FileHandle source, std::int64_t size, platform::FileHandle target, SessionKey* key,
                      OutputObserver written = {});
    bool decryptRange(platform::FileHandle source, std::int64_t size, platform::FileHandle target, SessionKey* key);
    // The same into something that takes the output block by block, in order, on the writing
    // thread, and answers false (with the last error set) if it can't.
    using OutputSink = std::function<bool(const std::uint8_t* data, std::size_t size)>;
    bool decryptRange(platform::FileHandle source, std::int64_t size, OutputSink target, SessionKey* key);
    bool targetFailed() const { return targetFailed_; }
    bool decryptStream(const std::u16string& source, const std::u16string& target, SessionKey* key);

    // The next stream run also takes the MD5 of what it writes, from byte `offset` of the target
    // on; outputDigest() has it once the run has succeeded. A reader that is to verify the target
    // right afterwards is spared a pass over it.
    void hashOutputFrom(std::int64_t offset);
    std::optional<Md5Digest> outputDigest() const { return outputDigest_; }

private:
    bool runHashed(bool encrypting, const std::u16string& source, const std::u16string& target, SessionKey* key,
                   bool& loopRan);
    bool runOn(bool encrypting, platform::FileHandle source, std::int64_t size, platform::FileHandle target,
               SessionKey* key, bool& loopRan, OutputObserver observer, OutputSink sink = {});

    const std::uint32_t blockSize_ = 16;
    const std::uint32_t algorithm_ = CALG_AES_256;
    EngineCallback callback_ = nullptr;
    KvxUtils::UserParameter* userParameter_ = nullptr;
    std::int64_t hashFrom_ = -1;
    std::optional<Md5Digest> outputDigest_;
    bool targetFailed_ = false;
};

ByteBlobPtr readIv(const SessionKey* key);
ByteBlobPtr packKeyBlob(const ByteBlob* key, const ByteBlob* iv);
ByteBlobPtr unpackKeyBlob(const ByteBlob* blob, ByteBlobPtr& iv);
