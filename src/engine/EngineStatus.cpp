#include "engine/EngineStatus.h"

#include "platform/ErrorText.h"

// The negated code differs from every non-zero code, so the first message() looks the text up;
// for code 0 both are equal and no look-up ever happens.
EngineStatus::EngineStatus(std::uint32_t code, std::uint32_t severity)
    : code_(code), cachedCode_(0u - code), severity_(severity)
{
}

EngineStatus::EngineStatus(const EngineStatus& other)
    : code_(other.code_), cachedCode_(0u - other.code_), severity_(other.severity_)
{
}

EngineStatus& EngineStatus::operator=(const EngineStatus& other)
{
    if (this != &other) {
        code_ = other.code_;
        severity_ = other.severity_;
    }
    return *this;
}

std::u16string EngineStatus::message()
{
    if (cachedCode_ != code_) {
        message_ = platform::errorText(code_);
        cachedCode_ = code_;
        ++lookUps_;
    }
    return message_;
}
