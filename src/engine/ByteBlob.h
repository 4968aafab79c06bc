#pragma once
// A sized heap buffer of the crypto layer. Operations hand it out as std::unique_ptr (null instead
// of an empty blob), so it is freed on every road. The bytes are wiped when it dies, since blobs
// carry raw session keys.

#include <cstdint>
#include <memory>
#include <vector>

class ByteBlob {
public:
    explicit ByteBlob(std::uint32_t size = 0) : bytes_(size) {}
    ByteBlob(const void* data, std::uint32_t size);
    ~ByteBlob();
    ByteBlob(const ByteBlob&) = delete;
    ByteBlob& operator=(const ByteBlob&) = delete;

    std::uint32_t size() const { return static_cast<std::uint32_t>(bytes_.size()); }
    std::uint8_t* data() { return bytes_.data(); }
    const std::uint8_t* data() const { return bytes_.data(); }
    // Shrinks or grows; bytes cut off are wiped first.
    void resize(std::uint32_t size);

private:
    std::vector<std::uint8_t> bytes_;
};

using ByteBlobPtr = std::unique_ptr<ByteBlob>;
