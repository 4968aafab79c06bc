#pragma once
// The core's messages in the user's language. The core keeps only the English texts; the window
// installs a translator when it starts, and halvoren-cli, which installs none, stays English.

#include <initializer_list>
#include <string>

#ifndef QT_TRANSLATE_NOOP
// Marks a text for the translation tools (which look for this name) and leaves it as it is.
#define QT_TRANSLATE_NOOP(context, text) text
#endif

namespace platform {

// Gives the translation of `text` (UTF-8, English) in `context`, as UTF-8.
using Translator = std::string (*)(const char* context, const char* text);

// Installed once, before any thread that reports a failure runs; nullptr goes back to English.
void setTranslator(Translator translator);

// The text in the user's language, or as it is while no translator is installed.
std::u16string translated(const char* context, const char* text);

// The translated text with %1, %2, ... replaced by `arguments` in that order.
std::u16string translated(const char* context, const char* text, std::initializer_list<std::u16string> arguments);

} // namespace platform
