#pragma once
// The engine's one result value: a Windows-style code, a severity, and the code's text, looked up
// only when somebody asks for it.

#include <cstdint>
#include <string>

#include "platform/StatusCodes.h"

inline constexpr std::uint32_t SeveritySuccess = 0;
inline constexpr std::uint32_t SeverityError = 2;
inline constexpr std::uint32_t SeverityStopped = 3;

class EngineStatus {
public:
    EngineStatus(std::uint32_t code = 0, std::uint32_t severity = SeveritySuccess);
    // Copies carry code and severity only; the text is looked up again on demand.
    EngineStatus(const EngineStatus& other);
    EngineStatus& operator=(const EngineStatus& other);

    bool ok() const { return severity_ == SeveritySuccess; }
    std::uint32_t code() const { return code_; }
    std::uint32_t severity() const { return severity_; }
    std::uint32_t cachedCode() const { return cachedCode_; }
    void setCode(std::uint32_t code) { code_ = code; }
    void setSeverity(std::uint32_t severity) { severity_ = severity; }

    // The text of the code, cached until the code changes.
    std::u16string message();

    // How many table look-ups this object made; lets tests see the caching.
    unsigned lookUps() const { return lookUps_; }

private:
    std::uint32_t code_;
    std::uint32_t cachedCode_;
    std::uint32_t severity_;
    std::u16string message_;
    unsigned lookUps_ = 0;
};
