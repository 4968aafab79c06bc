#pragma once
// A small crash reporter: on a fatal signal it writes a short report (signal, time, version,
// backtrace) into the profile's crash folder using only async-signal-safe calls, then lets the
// signal take its course. Worker threads register so that a stack overflow there is reported too.

#include <string>

namespace platform {

class CrashGuard {
public:
    // Installs the handlers; the reports go to `folder` (created 0700). False if nothing was installed.
    static bool install(const std::u16string& folder, const std::u16string& version);
    static void uninstall();
    static bool isInstalled();

    // Gives the calling thread its own signal stack; true if the thread is now covered.
    static bool installForThread();
    static void uninstallForThread();
};

}  // namespace platform
