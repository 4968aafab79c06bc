#include "platform/Utf.h"

#include <algorithm>
#include <cstdint>

namespace platform {

namespace {
constexpr char32_t Replacement = 0xFFFD;

void appendUtf8(std::string& out, char32_t cp)
{
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

void appendUtf16(std::u16string& out, char32_t cp)
{
    if (cp < 0x10000) {
        out += static_cast<char16_t>(cp);
    } else {
        cp -= 0x10000;
        out += static_cast<char16_t>(0xD800 + (cp >> 10));
        out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    }
}
}  // namespace

namespace {
    constexpr char16_t EscapeBase = 0xDC00;

    bool isEscapedByte(char16_t unit) { return unit >= EscapeBase + 0x80 && unit <= EscapeBase + 0xFF; }

    std::string encode(std::u16string_view text, bool keepEscapes)
    {
        std::string out;
        out.reserve(text.size());
        for (std::size_t i = 0; i < text.size(); ++i) {
            char32_t cp = text[i];
            if (cp >= 0xD800 && cp <= 0xDBFF) {
                if (i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
                    ++i;
                } else {
                    cp = Replacement;
                }
            } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
                // Only bytes 0x80..0xFF are ever escaped: an escape can't turn into a separator,
                // a dot or a NUL.
                if (keepEscapes && isEscapedByte(text[i])) {
                    out += static_cast<char>(text[i] - EscapeBase);
                    continue;
                }
                cp = Replacement;
            }
            appendUtf8(out, cp);
        }
        return out;
    }
} // namespace

std::string toUtf8(std::u16string_view text) { return encode(text, true); }

std::string toValidUtf8(std::u16string_view text) { return encode(text, false); }

bool isValidUtf8(std::string_view text)
{
    const std::u16string decoded = fromUtf8(text);
    return std::none_of(decoded.begin(), decoded.end(), [](char16_t unit) { return isEscapedByte(unit); });
}

std::u16string fromUtf8(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<std::uint8_t>(text[i]);
        int extra = 0;
        char32_t cp = 0;
        char32_t minimum = 0;
        if (lead < 0x80) {
            cp = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            extra = 1, cp = lead & 0x1F, minimum = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            extra = 2, cp = lead & 0x0F, minimum = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            extra = 3, cp = lead & 0x07, minimum = 0x10000;
        } else {
            out += static_cast<char16_t>(EscapeBase + lead);
            ++i;
            continue;
        }
        std::size_t j = 1;
        bool valid = true;
        for (; j <= static_cast<std::size_t>(extra); ++j) {
            if (i + j >= text.size() || (static_cast<std::uint8_t>(text[i + j]) & 0xC0) != 0x80) {
                valid = false;
                break;
            }
            cp = (cp << 6) | (static_cast<std::uint8_t>(text[i + j]) & 0x3F);
        }
        if (!valid || cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            // Only the lead is escaped; what followed it is looked at again as a byte of its own.
            out += static_cast<char16_t>(EscapeBase + lead);
            ++i;
            continue;
        }
        appendUtf16(out, cp);
        i += j;
    }
    return out;
}

}  // namespace platform
