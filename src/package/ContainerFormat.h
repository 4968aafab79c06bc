#pragma once
// The bytes of a package: a 32-byte header, then entries of a 20-byte header, a UTF-16LE name with
// its terminator, and the data. Little-endian, unaligned.

#include <array>
#include <cstddef>
#include <cstdint>

inline constexpr std::uint32_t ContainerMagic = 0x0078766B;  // "kvx\0"
inline constexpr std::uint32_t ContainerVersion = 1;
inline constexpr std::uint32_t ContainerTypePlain = 1;
inline constexpr std::uint32_t ContainerTypeEncrypted = 2;
inline constexpr std::uint32_t EntryTypeData = 1;
inline constexpr std::uint32_t EntryTypeKey = 2;
// The digest covers everything from here to the end of the file.
inline constexpr std::int64_t HashedRangeStart = 20;

struct ContainerHeader {
    static constexpr std::size_t Size = 32;

    std::uint32_t magic = ContainerMagic;
    std::array<std::uint8_t, 16> hash {};
    std::uint32_t containerType = 0;
    std::uint32_t version = ContainerVersion;
    std::uint32_t entryCount = 0;

    void toBytes(std::uint8_t* out) const;
    static ContainerHeader fromBytes(const std::uint8_t* in);
};

struct EntryHeader {
    static constexpr std::size_t Size = 20;

    std::uint32_t magic = ContainerMagic;
    std::uint32_t entryType = EntryTypeData;
    std::uint32_t nameBytes = 0;
    std::uint64_t dataSize = 0;

    void toBytes(std::uint8_t* out) const;
    static EntryHeader fromBytes(const std::uint8_t* in);
};

inline void putU32(std::uint8_t* out, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

inline void putU64(std::uint8_t* out, std::uint64_t value)
{
    for (int i = 0; i < 8; ++i)
        out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

inline std::uint32_t getU32(const std::uint8_t* in)
{
    return std::uint32_t(in[0]) | std::uint32_t(in[1]) << 8 | std::uint32_t(in[2]) << 16 | std::uint32_t(in[3]) << 24;
}

inline std::uint64_t getU64(const std::uint8_t* in)
{
    return std::uint64_t(getU32(in)) | std::uint64_t(getU32(in + 4)) << 32;
}
