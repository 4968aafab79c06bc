#include "engine/ByteBlob.h"

#include <cstring>
#include <string.h>

ByteBlob::ByteBlob(const void* data, std::uint32_t size) : bytes_(size)
{
    if (size)
        std::memcpy(bytes_.data(), data, size);
}

ByteBlob::~ByteBlob()
{
    if (!bytes_.empty())
        explicit_bzero(bytes_.data(), bytes_.size());
}

void ByteBlob::resize(std::uint32_t size)
{
    if (size < bytes_.size())
        explicit_bzero(bytes_.data() + size, bytes_.size() - size);
    bytes_.resize(size);
}
