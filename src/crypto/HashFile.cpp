#include "crypto/HashFile.h"

#include <openssl/evp.h>

#include <algorithm>
#include <vector>

#include "platform/LastError.h"
#include "platform/StatusCodes.h"
#include "platform/StreamPipeline.h"

namespace {
// Progress is reported per 1024 bytes; the disk is read in far larger pieces, so that hashing a
// large package is bounded by MD5 and not by system calls.
constexpr std::size_t ProgressBlock = 1024;
constexpr std::size_t ReadBlock = 1024 * ProgressBlock;

struct DigestContextFree {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

// One report per kilobyte of `length` more bytes, counted on from `processed`.
bool reportBlocks(std::int64_t total, std::int64_t& processed, std::int64_t length, EngineCallback callback,
                  KvxUtils::UserParameter* userParameter)
{
    if (!callback)
        return true;
    const std::int64_t end = processed + length;
    while (processed < end) {
        processed = std::min<std::int64_t>(processed + static_cast<std::int64_t>(ProgressBlock), end);
        if (callback(OpHash, total, processed, userParameter) == 0) {
            platform::setLastError(win::ERROR_CANCELLED);
            return false;
        }
    }
    return true;
}
}  // namespace

struct RunningMd5::Context {
    std::unique_ptr<EVP_MD_CTX, DigestContextFree> digest {EVP_MD_CTX_new()};
};

RunningMd5::RunningMd5() : context_(std::make_unique<Context>())
{
    ok_ = context_->digest && EVP_DigestInit_ex(context_->digest.get(), EVP_md5(), nullptr) == 1;
}

RunningMd5::~RunningMd5() = default;

void RunningMd5::update(const void* data, std::size_t size)
{
    if (ok_ && size > 0)
        ok_ = EVP_DigestUpdate(context_->digest.get(), data, size) == 1;
}

bool RunningMd5::finish(Md5Digest& digest)
{
    unsigned int length = 0;
    ok_ = ok_ && EVP_DigestFinal_ex(context_->digest.get(), digest.data(), &length) == 1 && length == digest.size();
    const bool done = ok_;
    ok_ = false;  // a digest is finished only once
    return done;
}

bool reportHashProgress(std::int64_t total, std::int64_t length, EngineCallback callback,
                        KvxUtils::UserParameter* userParameter)
{
    std::int64_t processed = 0;
    return reportBlocks(total, processed, length, callback, userParameter);
}

std::unique_ptr<Md5Digest> hashFile(platform::FileHandle handle, EngineCallback callback,
                                    KvxUtils::UserParameter* userParameter)
{
    if (handle == platform::InvalidHandle) {
        platform::setLastError(win::ERROR_INVALID_HANDLE);
        return nullptr;
    }
    std::unique_ptr<EVP_MD_CTX, DigestContextFree> context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1) {
        platform::setLastError(win::NTE_BAD_HASH);
        return nullptr;
    }
    std::int64_t total = 0;
    if (!platform::fileSize(handle, total))
        return nullptr;

    platform::ReadAhead reader(handle, ReadBlock);
    std::int64_t processed = 0;
    for (;;) {
        const std::uint8_t* block = nullptr;
        std::size_t got = 0;
        if (!reader.next(block, got))
            return nullptr;
        if (got > 0 && EVP_DigestUpdate(context.get(), block, got) != 1) {
            platform::setLastError(win::NTE_BAD_HASH);
            return nullptr;
        }
        if (!reportBlocks(total, processed, static_cast<std::int64_t>(got), callback, userParameter))
            return nullptr;
        if (got < ReadBlock)
            break;
    }
    auto digest = std::make_unique<Md5Digest>();
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest->data(), &length) != 1 || length != digest->size()) {
        platform::setLastError(win::NTE_BAD_HASH);
        return nullptr;
    }
    return digest;
}
