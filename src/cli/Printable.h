#pragma once
// Names reach the terminal from other people's packages and key files. A control character in
// one could retitle or clear the terminal, or hide the rest of a line, so every text the tool
// prints shows control characters escaped, as ls does with its escape style, on a terminal and
// off it.

#include <string>
#include <string_view>

inline std::string printable(std::string_view text)
{
    static const char hex[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        // C1 controls (U+0080 to U+009F) act like their C0 cousins on many terminals.
        const bool c1 = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80
            && static_cast<unsigned char>(text[i + 1]) <= 0x9F;
        if (byte >= 0x20 && byte != 0x7F && !c1) {
            out += text[i];
            continue;
        }
        switch (byte) {
        case '\n': out += "\\n"; continue;
        case '\t': out += "\\t"; continue;
        case '\r': out += "\\r"; continue;
        default: break;
        }
        const unsigned char shown = c1 ? static_cast<unsigned char>(text[++i]) : byte;
        out += "\\x";
        out += hex[shown >> 4];
        out += hex[shown & 0xF];
    }
    return out;
}
