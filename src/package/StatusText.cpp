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
} // namespace

std::u16string statusText(const EngineStatus& status, const FailureSubject& subject, bool stopped)
{
    if (stopped || status.severity() == SeverityStopped)
        return platform::errorText(win::ERROR_CANCELLED);
    if (subject.packageInvalid && structural(status.code()))
        return subject.path.empty() ? std::u16string(platform::InvalidPackageText)
                                    : shortened(subject.path) + u": " + platform::InvalidPackageText;
    std::u16string text = subject.linkRefused ? std::u16string(LinkRefusedText)
        : subject.sourceShrank                ? std::u16string(SourceShrankText)
        : status.code() != 0                  ? platform::userText(status.code())
                                              : platform::errorText(win::ERROR_INVALID_DATA);
    return subject.path.empty() ? text : shortened(subject.path) + u": " + text;
}
