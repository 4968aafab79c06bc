// The program's entry: crash guard, application, window, event loop, and back in reverse order.
// Everything that happens at start runs in the window's constructor, which may decide that the
// program ends without showing a window.

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crypto/CryptoSession.h"
#include "engine/AppConstants.h"
#include "platform/CrashGuard.h"
#include "platform/Profile.h"
#include "platform/Utf.h"
#include "ui/MainWindow.h"
#include "ui/desktop/Translations.h"

namespace {
// The manual page is made from this text, so it describes what MainWindow::parseArguments takes.
const char WindowHelp[] =
    "Usage: halvoren [--autostart | PACKAGE.kvx | KEYFILE.kvxk]\n"
    "\n"
    "Packs files and folders into one encrypted package (.kvx) that only the chosen contacts can\n"
    "open, and opens the packages sent to you. Without an argument the window opens empty; files\n"
    "are added by dragging them onto it or with Package > Add Files.\n"
    "\n"
    "Arguments (at most one):\n"
    "  PACKAGE.kvx      open the package in the window, ready to be decrypted\n"
    "  KEYFILE.kvxk     import the key file as a new contact, then end\n"
    "  --autostart      start hidden in the tray, as the login start does\n"
    "\n"
    "A file of another kind, a missing file or more than one argument is ignored and the window\n"
    "opens empty. The command-line tool halvoren-cli does everything without a window.\n"
    "\n"
    "Options:\n"
    "  -h, --help       show this help and exit\n"
    "      --version    show the version and exit\n";

// Answered before anything else runs: no display, no profile folder and no crash guard are
// needed to say what the program is, so a package build or a terminal without X can ask.
bool answeredInformation(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(WindowHelp, stdout);
            return true;
        }
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("halvoren %s\n", platform::toUtf8(AppVersion).c_str());
            return true;
        }
    }
    return false;
}

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
    if (answeredInformation(argc, argv))
        return 0;
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
        installTranslations(QLocale());
        MainWindow window;
        if (!window.isCancelRequested()) {
            window.show();
            code = application.exec();
        }
        platform::CrashGuard::uninstall();
    }
    return code;
}
