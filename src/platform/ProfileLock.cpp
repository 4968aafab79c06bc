#include "platform/ProfileLock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include "platform/LastError.h"
#include "platform/Profile.h"
#include "platform/Utf.h"

namespace platform {

namespace {
    constexpr char LockFileName[] = "profile.lock";

    struct LockState {
        std::mutex mutex;
        int fd = -1;
        int holders = 0;
        bool exclusive = false;
        ProfileLock::WaitNotice notice = nullptr;
    };

    LockState& lockState()
    {
        static LockState state;
        return state;
    }

    // flock with a notice before the first wait; a signal that interrupts the wait doesn't end it.
    bool takeLock(LockState& state, int operation)
    {
        if (::flock(state.fd, operation | LOCK_NB) == 0)
            return true;
        if (errno != EWOULDBLOCK) {
            setLastErrorFromErrno(errno);
            return false;
        }
        if (state.notice)
            state.notice();
        while (::flock(state.fd, operation) != 0) {
            if (errno != EINTR) {
                setLastErrorFromErrno(errno);
                return false;
            }
        }
        return true;
    }
} // namespace

void ProfileLock::setWaitNotice(WaitNotice notice)
{
    LockState& state = lockState();
    std::lock_guard guard(state.mutex);
    state.notice = notice;
}

ProfileLock::ProfileLock(Mode mode)
{
    LockState& state = lockState();
    std::lock_guard guard(state.mutex);
    const bool wantExclusive = mode == Mode::Exclusive;
    if (state.holders > 0) {
        if (wantExclusive && !state.exclusive) {
            // flock converts by letting go first, so another process may have changed the
            // profile in between.
            if (!takeLock(state, LOCK_EX))
                return;
            state.exclusive = true;
            fresh_ = true;
        }
        ++state.holders;
        held_ = true;
        return;
    }
    const std::string path = toUtf8(dataDirectory()) + LockFileName;
    state.fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (state.fd < 0) {
        setLastErrorFromErrno(errno);
        return;
    }
    if (!takeLock(state, wantExclusive ? LOCK_EX : LOCK_SH)) {
        ::close(state.fd);
        state.fd = -1;
        return;
    }
    state.exclusive = wantExclusive;
    state.holders = 1;
    held_ = true;
    fresh_ = true;
}

ProfileLock::~ProfileLock()
{
    if (!held_)
        return;
    LockState& state = lockState();
    std::lock_guard guard(state.mutex);
    if (--state.holders == 0) {
        // Closing the descriptor lets go of the lock.
        ::close(state.fd);
        state.fd = -1;
        state.exclusive = false;
    }
}

} // namespace platform
