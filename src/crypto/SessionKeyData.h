#pragma once
// What stands behind a SessionKey handle, for src/crypto only. Its bytes are wiped when it dies.

#include <array>
#include <cstdint>

class SessionKey {
public:
    SessionKey() = default;
    ~SessionKey();
    SessionKey(const SessionKey&) = delete;
    SessionKey& operator=(const SessionKey&) = delete;

    std::array<std::uint8_t, 32> key{};
    // A key whose vector was never set chains from zeros, as a fresh AES key does elsewhere.
    std::array<std::uint8_t, 16> iv{};
};
