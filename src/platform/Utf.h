#pragma once
// The engine's wide strings are UTF-16; the system takes UTF-8. Conversion happens here only.

#include <string>
#include <string_view>

namespace platform {

// Unpaired surrogates become U+FFFD, so the result is always valid UTF-8.
std::string toUtf8(std::u16string_view text);
// Invalid sequences become U+FFFD.
std::u16string fromUtf8(std::string_view text);

}  // namespace platform
