#include "platform/TempFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "platform/FaultInjection.h"
#include "platform/LastError.h"
#include "platform/Utf.h"

namespace platform {

std::u16string tempDirectory()
{
    const char* value = std::getenv("TMPDIR");
    std::string dir = value && *value ? value : "/tmp";
    while (dir.size() > 1 && dir.back() == '/')
        dir.pop_back();
    return fromUtf8(dir);
}

bool createTempFile(std::u16string& path)
{
    if (faults::shouldFail(faults::Kind::Open))
        return false;
    std::string pattern = toUtf8(tempDirectory());
    if (pattern != "/")
        pattern += '/';
    pattern += "KVXXXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    // mkstemp makes the file 0600 in the same call that creates it.
    const int fd = ::mkostemp(buffer.data(), O_CLOEXEC);
    if (fd < 0) {
        setLastErrorFromErrno();
        return false;
    }
    ::close(fd);
    path = fromUtf8(buffer.data());
    return true;
}

}  // namespace platform
