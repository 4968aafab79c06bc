#pragma once
// The profile is one transaction: the certificate store, the contacts file and the settings
// change together or not at all, and no reader sees one changed without the other. Every process
// that uses the profile (the window, the command-line tool) takes this lock, an flock on the
// file "profile.lock" in the profile folder: exclusively for every change, shared for loading.
//
// The lock is process-wide and counts its holders, so a caller that already holds it (the
// command-line tool locks a whole command) can call code that locks again for itself (the
// stores lock each change) without waiting for itself. An exclusive request inside a shared hold
// converts the lock; the lock is then exclusive until the last holder lets go.

#include <cstdint>

namespace platform {

class ProfileLock {
public:
    enum class Mode { Shared, Exclusive };

    // Waits until the lock of the current profile folder is held in at least `mode`.
    explicit ProfileLock(Mode mode);
    ~ProfileLock();
    ProfileLock(const ProfileLock&) = delete;
    ProfileLock& operator=(const ProfileLock&) = delete;

    // False when the lock file can't be made or locked (a read-only profile folder); the last
    // error then says why. The caller decides whether to go on without it.
    bool held() const { return held_; }
    // True when this holder took the lock from another process's reach: whatever was read from
    // the profile before may be out of date and must be read again.
    bool fresh() const { return fresh_; }

    // Called once, before waiting, when another process holds the lock; the command-line tool
    // says there that it waits. May be null.
    using WaitNotice = void (*)();
    static void setWaitNotice(WaitNotice notice);

private:
    bool held_ = false;
    bool fresh_ = false;
};

} // namespace platform
