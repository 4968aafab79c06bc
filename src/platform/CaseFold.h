#pragma once
// Comparison without regard to case, for names the user types or sees: certificate subjects and
// file paths. One table for the whole program, the C library's Unicode case mapping, so that the
// file list and the contact search agree on what "the same letter" is.

#include <string>
#include <string_view>

namespace platform {

// The lower-case form of one code point (unchanged where there is none).
char32_t foldCase(char32_t codePoint);
// The text with every code point folded; surrogate pairs are taken as one code point.
std::u16string foldCase(std::u16string_view text);
// Whether `text` begins with `prefix`, code point by code point, ignoring case.
bool startsWithIgnoringCase(std::u16string_view text, std::u16string_view prefix);
// Whether `needle` occurs in `haystack`, ignoring case; an empty needle is found anywhere.
bool containsIgnoringCase(std::u16string_view haystack, std::u16string_view needle);

} // namespace platform
