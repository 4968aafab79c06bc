// The program's entry: crash guard, application, window, event loop, and back in reverse order.
// Everything that happens at start runs in the window's constructor, which may decide that the
// program ends without showing a window.

#include <QApplication>
#include <cstdio>
#include <cstdlib>

#include "crypto/CryptoSession.h"
#include "engine/AppConstants.h"
#include "platform/CrashGuard.h"
#include "platform/Profile.h"
#include "ui/MainWindow.h"

namespace {
// Without a display Qt would abort with a long complaint; say it in one line instead.
bool haveDisplay()
{
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    if (platform && *platform)
        return true;
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 && *x11) || (wayland && *wayland);
}
} // namespace

int main(int argc, char* argv[])
{
    Q_INIT_RESOURCE(halvoren);
    // Before any key is read: private keys and session keys stay out of core dumps.
    initSecureHeap();
    platform::CrashGuard::install(dataDirectory() + u"crash", std::u16string(AppVersion));
    if (!haveDisplay()) {
        std::fputs("halvoren: no graphical display to show the window on (DISPLAY and WAYLAND_DISPLAY are unset); "
                   "start it in a desktop session, or use halvoren-cli\n",
                   stderr);
        platform::CrashGuard::uninstall();
        return 1;
    }

    int code = 0;
    {
        QApplication application(argc, argv);
        MainWindow window;
        if (!window.isCancelRequested()) {
            window.show();
            code = application.exec();
        }
        platform::CrashGuard::uninstall();
    }
    return code;
}
