#pragma once
// Texts for every code the program can produce, in English or, once the window installed its
// translator, in the user's language. The program keeps its own table because Linux has no
// system text for Windows-style codes; strerror is the last resort.

#include <cstdint>
#include <string>

#include "platform/Translate.h"

namespace platform {

// The text for a code, empty for code 0.
std::u16string errorText(std::uint32_t code);

// What the user is told about a failed run: the package texts for the codes that have them,
// the code's text otherwise.
std::u16string userText(std::uint32_t code);

// In English, as the translations know them (context "ErrorText").
inline constexpr char InvalidPackageText[] = QT_TRANSLATE_NOOP("ErrorText", "This file is not a valid Halvoren package file.");
inline constexpr char NotARecipientText[] = QT_TRANSLATE_NOOP(
    "ErrorText", "The package cannot be decrypted. You are not in the list of recipients who can view the files, "
                 "you will not be able to access it.");

}  // namespace platform
