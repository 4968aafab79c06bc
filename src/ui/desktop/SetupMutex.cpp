#include "ui/desktop/SetupMutex.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

bool holdSetupMutex(const QString& name)
{
    // A socket bound in the abstract namespace exists exactly as long as its descriptor, and the
    // kernel drops it when the process dies: the nearest thing to a named mutex that vanishes with
    // its holder.
    const QByteArray bytes = name.toUtf8();
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    if (std::size_t(bytes.size()) + 1 > sizeof(address.sun_path))
        return false;
    std::memcpy(address.sun_path + 1, bytes.constData(), std::size_t(bytes.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + 1 + std::size_t(bytes.size()));
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        ::close(fd);
        return false;
    }
    // The descriptor is kept open on purpose until the process ends.
    return true;
}
