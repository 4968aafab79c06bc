#include "platform/Translate.h"

#include <atomic>

#include "platform/Utf.h"

namespace platform {

namespace {
    std::atomic<Translator> installed { nullptr };
} // namespace

void setTranslator(Translator translator) { installed.store(translator); }

std::u16string translated(const char* context, const char* text)
{
    const Translator translator = installed.load();
    return fromUtf8(translator ? translator(context, text) : std::string(text));
}

std::u16string translated(const char* context, const char* text, std::initializer_list<std::u16string> arguments)
{
    const std::u16string pattern = translated(context, text);
    // One pass, so that an argument holding "%2" (a file name may) is never replaced in turn.
    std::u16string result;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char16_t next = i + 1 < pattern.size() ? pattern[i + 1] : u'\0';
        const std::size_t index
            = next >= u'1' && next <= u'9' ? static_cast<std::size_t>(next - u'1') : arguments.size();
        if (pattern[i] == u'%' && index < arguments.size()) {
            result += arguments.begin()[index];
            ++i;
        } else {
            result += pattern[i];
        }
    }
    return result;
}

} // namespace platform
