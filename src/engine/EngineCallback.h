#pragma once
// Progress and per-item failures travel through one plain callback and one shared record.

#include <cstdint>

#include "engine/EngineStatus.h"

class PackageThread;

inline constexpr std::uint32_t OpEncrypt = 0;
inline constexpr std::uint32_t OpDecrypt = 1;
inline constexpr std::uint32_t OpHash = 2;
inline constexpr std::uint32_t OpWriteFile = 3;
inline constexpr std::uint32_t OpExtractFile = 4;
inline constexpr std::uint32_t OpError = 5;

namespace KvxUtils {

// One per PackageThread, passed by pointer. The worker writes it before it reports and waits
// while the main thread reads it, so it needs no lock.
struct UserParameter {
    PackageThread* thread = nullptr;
    // Points into the reporter's data; valid only while the callback runs.
    const char16_t* fileName = nullptr;
    EngineStatus status;

    EngineStatus getStatus() const { return status; }
    void setStatus(const EngineStatus& value) { status = value; }
};

}  // namespace KvxUtils

// Non-zero means go on, 0 means stop.
using EngineCallback = int (*)(std::uint32_t operation, std::int64_t data_length, std::int64_t processed_length,
                               KvxUtils::UserParameter* user_parameter);
