#include "package/StatusText.h"

#include "platform/ErrorText.h"

namespace {
// Codes that, coming from the reading of a package, mean that its bytes are not what a package
// holds: a bad header or digest, an index that can't be read or is empty (2), a file shorter
// than a header (38), an entry running past the end (no code).
bool structural(std::uint32_t code)
{
    return code == 0 || code == win::ERROR_FILE_NOT_FOUND || code == win::ERROR_HANDLE_EOF
        || code == win::ERROR_BAD_FORMAT || code == win::NTE_BAD_HASH;
}

// A hostile entry name can be hundreds of kilobytes long; the message shows its start and end.
std::u16string shortened(const std::u16string& path)
{
    constexpr std::size_t Longest = 240;
    if (path.size() <= Longest)
        return path;
    return path.substr(0, Longest / 2) + u"…" + path.substr(path.size() - Longest / 2);
}

bool isControl(char16_t unit)
{
    // C0, DEL and C1; the line and paragraph separators and the marks that turn text around can
    // make a name read as something else.
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || unit == 0x2028 || unit == 0x2029
        || (unit >= 0x200E && unit <= 0x200F) || (unit >= 0x202A && unit <= 0x202E)
        || (unit >= 0x2066 && unit <= 0x2069);
}

void appendHex(std::u16string& out, unsigned value, int digits)
{
    static constexpr char16_t Digits[] = u"0123456789ABCDEF";
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        out += Digits[(value >> shift) & 0xF];
}

// Escapes what must not reach a terminal or a message box as it is; with `entryName`, the
// package's separators become the `/` a user knows.
std::u16string escaped(const std::u16string& text, bool entryName)
{
    std::u16string shown;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        // Bytes of a name that is not UTF-8 travel as lone U+DC80..U+DCFF; they show as the bytes.
        const bool rawByte = unit >= 0xDC80 && unit <= 0xDCFF && !(i > 0 && text[i - 1] >= 0xD800 && text[i - 1] <= 0xDBFF);
        if (entryName && unit == u'\\') {
            shown += u'/';
        } else if (rawByte || (isControl(unit) && unit < 0x100)) {
            shown += u"\\x";
            appendHex(shown, rawByte ? unit - 0xDC00 : unit, 2);
        } else if (isControl(unit)) {
            shown += u"\\u";
            appendHex(shown, unit, 4);
        } else {
            shown += unit;
        }
    }
    return shown;
}

// A path as the message shows it: part of it may be an entry's name.
std::u16string shownPath(const std::u16string& path) { return escaped(shortened(path), false); }
} // namespace

std::u16string shownEntryName(const std::u16string& name) { return escaped(shortened(name), true); }

std::u16string statusText(const EngineStatus& status, const FailureSubject& subject, bool stopped)
{
    if (stopped || status.severity() == SeverityStopped)
        return platform::errorText(win::ERROR_CANCELLED);
    using platform::translated;
    const std::u16string entry = subject.entry.empty()
        ? std::u16string()
        : translated("StatusText", QT_TRANSLATE_NOOP("StatusText", "entry \"%1\": "), {shownEntryName(subject.entry)});
    auto onPath = [&](const std::u16string& text) {
        return subject.path.empty() ? text
                                    : translated("StatusText", QT_TRANSLATE_NOOP("StatusText", "%1: %2"),
                                                 {shownPath(subject.path), text});
    };
    if (subject.nameRefused)
        return onPath(translated("StatusText", QT_TRANSLATE_NOOP("StatusText", "%1%2; nothing was extracted"),
                                 {entry, subject.reason}));
    if (subject.packageInvalid && structural(status.code()))
        return onPath(translated("ErrorText", platform::InvalidPackageText));
    const std::u16string text = subject.linkRefused ? translated("StatusText", LinkRefusedText)
        : subject.sourceShrank                      ? translated("StatusText", SourceShrankText)
        : subject.sourceIsPackage                   ? translated("StatusText", SourceIsPackageText)
        : !subject.reason.empty()                   ? subject.reason
        : status.code() != 0                        ? platform::userText(status.code())
                                                    : platform::errorText(win::ERROR_INVALID_DATA);
    return entry + onPath(text);
}
