#include "platform/CaseFold.h"

#include <locale.h>
#include <wctype.h>

namespace platform {

namespace {
    // Made once and never freed: the mapping is needed for the whole run, and from any thread.
    // Without a C.UTF-8 locale only ASCII letters fold, which is still a correct, if narrower, match.
    locale_t caseLocale()
    {
        static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
        return locale;
    }

    bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
    bool isLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

    // The code point at `i`, advancing `i` past it. A lone surrogate stands for itself.
    char32_t nextCodePoint(std::u16string_view text, std::size_t& i)
    {
        const char16_t unit = text[i++];
        if (isHighSurrogate(unit) && i < text.size() && isLowSurrogate(text[i]))
            return 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (text[i++] - 0xDC00);
        return unit;
    }

    void append(std::u16string& out, char32_t codePoint)
    {
        if (codePoint < 0x10000) {
            out += static_cast<char16_t>(codePoint);
        } else {
            codePoint -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (codePoint >> 10));
            out += static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF));
        }
    }
} // namespace

char32_t foldCase(char32_t codePoint)
{
    if (codePoint < 0x80)
        return codePoint >= U'A' && codePoint <= U'Z' ? codePoint + 0x20 : codePoint;
    // Surrogates are no characters; the C library must not be asked about them.
    if ((codePoint >= 0xD800 && codePoint <= 0xDFFF) || codePoint > 0x10FFFF)
        return codePoint;
    const locale_t locale = caseLocale();
    if (locale == static_cast<locale_t>(nullptr))
        return codePoint;
    const wint_t lower = ::towlower_l(static_cast<wint_t>(codePoint), locale);
    // A mapping that would leave the Unicode range or land on a surrogate is no mapping.
    if (lower > 0x10FFFF || (lower >= 0xD800 && lower <= 0xDFFF))
        return codePoint;
    return static_cast<char32_t>(lower);
}

std::u16string foldCase(std::u16string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();)
        append(out, foldCase(nextCodePoint(text, i)));
    return out;
}

bool startsWithIgnoringCase(std::u16string_view text, std::u16string_view prefix)
{
    std::size_t t = 0;
    std::size_t p = 0;
    while (p < prefix.size()) {
        if (t >= text.size())
            return false;
        if (foldCase(nextCodePoint(text, t)) != foldCase(nextCodePoint(prefix, p)))
            return false;
    }
    return true;
}

bool containsIgnoringCase(std::u16string_view haystack, std::u16string_view needle)
{
    return foldCase(haystack).find(foldCase(needle)) != std::u16string::npos;
}

} // namespace platform
