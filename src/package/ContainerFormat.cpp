#include "package/ContainerFormat.h"

#include <cstring>

void ContainerHeader::toBytes(std::uint8_t* out) const
{
    putU32(out, magic);
    std::memcpy(out + 4, hash.data(), hash.size());
    putU32(out + 20, containerType);
    putU32(out + 24, version);
    putU32(out + 28, entryCount);
}

ContainerHeader ContainerHeader::fromBytes(const std::uint8_t* in)
{
    ContainerHeader header;
    header.magic = getU32(in);
    std::memcpy(header.hash.data(), in + 4, header.hash.size());
    header.containerType = getU32(in + 20);
    header.version = getU32(in + 24);
    header.entryCount = getU32(in + 28);
    return header;
}

void EntryHeader::toBytes(std::uint8_t* out) const
{
    putU32(out, magic);
    putU32(out + 4, entryType);
    putU32(out + 8, nameBytes);
    putU64(out + 12, dataSize);
}

EntryHeader EntryHeader::fromBytes(const std::uint8_t* in)
{
    EntryHeader header;
    header.magic = getU32(in);
    header.entryType = getU32(in + 4);
    header.nameBytes = getU32(in + 8);
    header.dataSize = getU64(in + 12);
    return header;
}
