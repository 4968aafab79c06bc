#pragma once
// The engine's wide strings are UTF-16; the system takes UTF-8. Conversion happens here only.

#include <string>
#include <string_view>

namespace platform {

// File names on this system are bytes, not text: a name need not be valid UTF-8, and a file must
// still be found again by the name it was read under. So the two conversions used at system calls
// are lossless: each byte that isn't part of a valid sequence becomes the lone surrogate
// U+DC80..U+DCFF (U+DC00 plus the byte), and such a lone surrogate becomes its byte again. Valid
// text never produces a surrogate, so fromUtf8(toUtf8(x)) == x for every x made by fromUtf8, and
// toUtf8(fromUtf8(b)) == b for all bytes b. Any other unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view text);
std::u16string fromUtf8(std::string_view text);

// For text that must be valid UTF-8 wherever it goes (the XML stores, certificate fields): every
// unpaired surrogate, an escaped byte included, becomes U+FFFD.
std::string toValidUtf8(std::u16string_view text);
// Whether the bytes are UTF-8 without an invalid or overlong sequence or an encoded surrogate.
bool isValidUtf8(std::string_view text);

}  // namespace platform
