#pragma once
// What stands behind a SessionKey handle, for src/crypto only. Its bytes are wiped when it dies.

#include <array>
#include <cstddef>
#include <cstdint>

class SessionKey {
public:
    SessionKey() = default;
    ~SessionKey();
    SessionKey(const SessionKey&) = delete;
    SessionKey& operator=(const SessionKey&) = delete;
    // In the secure heap once it is set up, so that the key stays out of core dumps.
    static void* operator new(std::size_t size);
    static void operator delete(void* memory) noexcept;

    std::array<std::uint8_t, 32> key{};
    // A key whose vector was never set chains from zeros, as a fresh AES key does elsewhere.
    std::array<std::uint8_t, 16> iv{};
};
