// File-to-file AES-256-CBC with PKCS#7 padding under a session key.
//
// Progress goes by chunks of 992 bytes (the largest multiple of the block size up to 1000): one
// callback per chunk, and a read of less than a chunk is the final one. The disk and the cipher,
// though, work on large buffers of many chunks, and the per-chunk callbacks are issued after each
// buffer has been written. The output is the same single CBC stream as one call over the whole
// file would give.

#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <vector>

#include "crypto/CryptoSession.h"
#include "crypto/SessionKeyData.h"
#include "engine/ScopedFile.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"
#include "platform/StreamPipeline.h"

namespace {

constexpr std::size_t ChunksPerBuffer = 1057;  // 1057 × 992 bytes: just under 1 MiB

struct CipherContextFree {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContextPtr = std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree>;

std::size_t chunkLength(std::uint32_t blockSize) { return 1000 - (1000 % blockSize); }

enum class Direction { Encrypt, Decrypt };

// What a run writes besides the cipher stream's bytes.
struct StreamOutput {
    // The MD5 of the output from byte `hashFrom` on, taken on the calling thread.
    RunningMd5* hash = nullptr;
    std::int64_t hashFrom = 0;
    // Sees every output block on the thread that writes it.
    CryptoSession::OutputObserver observer;
    // Takes the output instead of the target file, where set.
    platform::WriteBehind::Sink sink;
    // Set when the run failed because the target could not be written.
    bool targetFailed = false;
};

// The shared loop of both directions, over `sourceSize` bytes from the current position of `in`
// to the current position of `out`. Returns true only when the final chunk went through and
// every callback said go on. `loopRan` tells a failure inside the loop from one before it.
bool runStream(Direction direction, platform::FileHandle in, std::int64_t sourceSize, platform::FileHandle out,
               const SessionKey* key, std::uint32_t blockSize, EngineCallback callback,
               KvxUtils::UserParameter* userParameter, bool& loopRan, StreamOutput& output)
{
    loopRan = false;
    if (in == platform::InvalidHandle || (out == platform::InvalidHandle && !output.sink) || !key) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    const std::size_t chunk = chunkLength(blockSize);
    if (sourceSize <= 0) {
        // Not a failure of the loop: the empty target stays for the caller.
        platform::setLastError(win::ERROR_INVALID_DATA);
        return false;
    }

    const bool encrypting = direction == Direction::Encrypt;
    CipherContextPtr context(EVP_CIPHER_CTX_new());
    const int initialised = context ? (encrypting ? EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr,
                                                                       key->key.data(), key->iv.data())
                                                  : EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr,
                                                                       key->key.data(), key->iv.data()))
                                    : 0;
    if (initialised != 1) {
        ERR_clear_error();
        platform::setLastError(win::NTE_BAD_KEY);
        return false;
    }

    const std::size_t blockLength = chunk * ChunksPerBuffer;
    // The disk is read ahead and written behind on a second thread while the cipher runs here.
    platform::ReadAhead reader(in, blockLength, static_cast<std::uint64_t>(sourceSize));
    // Room for what the cipher holds back or adds: at most one block beyond the input, each way.
    const std::size_t outputBlock = blockLength + 2 * blockSize;
    // What encryption writes is a package, which is kept: its bytes go to the disk as they come
    // instead of all at once when it takes its name. Renaming over an older package makes the
    // file system write out the whole new one first, which for a large package would otherwise
    // stall the run's end for as long as the disk needs.
    platform::WritebackPacer writeback;
    const platform::WriteBehind::Sink sink = output.sink
        ? output.sink
        : [out, encrypting, &writeback](const std::uint8_t* data, std::size_t size) {
              if (!platform::writeFile(out, data, size))
                  return false;
              if (encrypting)
                  writeback.wrote(out, size);
              return true;
          };
    platform::WriteBehind writer(sink, outputBlock, static_cast<std::uint64_t>(sourceSize));
    writer.observe(output.observer);
    std::int64_t written = 0;
    std::int64_t reported = 0;
    std::int64_t chunksDone = 0;
    bool finished = false;
    loopRan = true;

    while (!finished) {
        const std::uint8_t* input = nullptr;
        std::size_t got = 0;
        if (!reader.next(input, got))
            return false;
        const std::size_t fullChunks = got / chunk;
        const std::size_t tail = got % chunk;
        // A read short of the buffer ends in a short chunk (of 0 bytes if the data ended exactly
        // on a chunk), and that chunk is the final one.
        finished = got < blockLength;

        std::uint8_t* buffer = writer.acquire();
        int produced = 0;
        int lastProduced = 0;
        const int fullLength = static_cast<int>(fullChunks * chunk);
        bool ok = encrypting ? EVP_EncryptUpdate(context.get(), buffer, &produced, input, fullLength) == 1
                             : EVP_DecryptUpdate(context.get(), buffer, &produced, input, fullLength) == 1;
        if (ok && finished) {
            int tailProduced = 0;
            int finalProduced = 0;
            unsigned char* at = buffer + produced;
            ok = encrypting ? EVP_EncryptUpdate(context.get(), at, &tailProduced, input + fullLength,
                                                static_cast<int>(tail)) == 1 &&
                                  EVP_EncryptFinal_ex(context.get(), at + tailProduced, &finalProduced) == 1
                            : EVP_DecryptUpdate(context.get(), at, &tailProduced, input + fullLength,
                                                static_cast<int>(tail)) == 1 &&
                                  EVP_DecryptFinal_ex(context.get(), at + tailProduced, &finalProduced) == 1;
            lastProduced = tailProduced + finalProduced;
        }
        if (!ok) {
            ERR_clear_error();
            platform::setLastError(encrypting ? win::NTE_FAIL : win::NTE_BAD_DATA);
            return false;
        }
        const std::size_t total = static_cast<std::size_t>(produced + lastProduced);
        if (output.hash && written + static_cast<std::int64_t>(total) > output.hashFrom) {
            const auto skip = static_cast<std::size_t>(std::max<std::int64_t>(output.hashFrom - written, 0));
            output.hash->update(buffer + skip, total - skip);
        }
        if (!writer.commit(total)) {
            output.targetFailed = true;
            return false;
        }
        written += static_cast<std::int64_t>(total);

        if (!callback)
            continue;
        // The running totals that a chunk-by-chunk run would report. Encryption gives out every
        // whole chunk at once; decryption holds back the last block until the final step, where
        // the padding is removed.
        const std::uint32_t operation = encrypting ? OpEncrypt : OpDecrypt;
        for (std::size_t i = 0; i < fullChunks; ++i) {
            ++chunksDone;
            reported = encrypting ? reported + static_cast<std::int64_t>(chunk)
                                  : chunksDone * static_cast<std::int64_t>(chunk) - blockSize;
            if (callback(operation, sourceSize, reported, userParameter) == 0) {
                platform::setLastError(win::ERROR_CANCELLED);
                return false;
            }
        }
        if (finished && callback(operation, sourceSize, written, userParameter) == 0) {
            platform::setLastError(win::ERROR_CANCELLED);
            return false;
        }
    }
    if (!writer.finish()) {
        output.targetFailed = true;
        return false;
    }
    return true;
}

}  // namespace

void CryptoSession::hashOutputFrom(std::int64_t offset)
{
    hashFrom_ = offset;
    outputDigest_.reset();
}

bool CryptoSession::runOn(bool encrypting, platform::FileHandle source, std::int64_t size, platform::FileHandle target,
                         SessionKey* key, bool& loopRan, OutputObserver observer, OutputSink sink)
{
    std::unique_ptr<RunningMd5> hash;
    if (hashFrom_ >= 0)
        hash = std::make_unique<RunningMd5>();
    StreamOutput output;
    output.hash = hash.get();
    output.hashFrom = hashFrom_;
    output.observer = std::move(observer);
    output.sink = std::move(sink);
    hashFrom_ = -1;
    outputDigest_.reset();
    const bool ok = runStream(encrypting ? Direction::Encrypt : Direction::Decrypt, source, size, target, key,
                              blockSize(), callback_, userParameter_, loopRan, output);
    targetFailed_ = !ok && output.targetFailed;
    Md5Digest digest {};
    if (ok && hash && hash->finish(digest))
        outputDigest_ = digest;
    return ok;
}

bool CryptoSession::runHashed(bool encrypting, const std::u16string& source, const std::u16string& target,
                              SessionKey* key, bool& loopRan)
{
    loopRan = false;
    if (source.empty() || target.empty() || !key) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    ScopedFile in;
    if (!in.open(source, win::OPEN_EXISTING, win::GENERIC_READ, win::FILE_SHARE_READ))
        return false;
    ScopedFile out;
    if (!out.open(target, win::CREATE_ALWAYS, win::GENERIC_WRITE, win::FILE_SHARE_READ, platform::PrivateFileMode))
        return false;
    std::int64_t sourceSize = 0;
    if (!platform::fileSize(in.handle(), sourceSize))
        return false;
    return runOn(encrypting, in.handle(), sourceSize, out.handle(), key, loopRan, {}) && out.close();
}

bool CryptoSession::encryptRange(platform::FileHandle source, std::int64_t size, platform::FileHandle target,
                                 SessionKey* key, OutputObserver written)
{
    bool loopRan = false;
    return runOn(true, source, size, target, key, loopRan, std::move(written));
}

bool CryptoSession::decryptRange(platform::FileHandle source, std::int64_t size, platform::FileHandle target,
                                 SessionKey* key)
{
    bool loopRan = false;
    return runOn(false, source, size, target, key, loopRan, {});
}

bool CryptoSession::decryptRange(platform::FileHandle source, std::int64_t size, OutputSink target, SessionKey* key)
{
    bool loopRan = false;
    return runOn(false, source, size, platform::InvalidHandle, key, loopRan, {}, std::move(target));
}

bool CryptoSession::encryptStream(const std::u16string& source, const std::u16string& target, SessionKey* key)
{
    bool loopRan = false;
    const bool ok = runHashed(true, source, target, key, loopRan);
    if (!ok && loopRan) {
        // Encryption leaves no partial output. A failure before the loop (an empty source) leaves
        // the empty target for the caller, who made the name.
        const std::uint32_t reason = platform::lastError();
        platform::deleteFile(target);
        platform::setLastError(reason);
    }
    return ok;
}

bool CryptoSession::decryptStream(const std::u16string& source, const std::u16string& target, SessionKey* key)
{
    // A failed or stopped run leaves the target: it is the caller's temporary file.
    bool loopRan = false;
    return runHashed(false, source, target, key, loopRan);
}

bool CryptoSession::encryptFile(const std::u16string& source, const std::u16string& target,
                                const std::u16string& keyFile, const std::vector<CertificatePtr>& certificates)
{
    if (source.empty() || target.empty() || keyFile.empty() || certificates.empty()) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    SessionKeyPtr key = createSessionKey(true);
    if (!key || !writeKeyFile(keyFile, key.get(), certificates))
        return false;
    return encryptStream(source, target, key.get());
}

bool CryptoSession::decryptFile(const std::u16string& source, const std::u16string& target,
                                const std::u16string& keyFile)
{
    if (source.empty() || target.empty() || keyFile.empty()) {
        platform::setLastError(win::ERROR_INVALID_PARAMETER);
        return false;
    }
    SessionKeyPtr key = readKeyFile(keyFile);
    if (!key)
        return false;
    return decryptStream(source, target, key.get());
}
