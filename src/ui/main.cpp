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
#include "ui/desktop/SingleInstance.h"
#include "ui/desktop/Translations.h"

namespace {
// The manual page is made from this text, so it describes what MainWindow::parseArguments takes.
const char WindowHelp[]
    = "Usage: halvoren [--autostart | PACKAGE.kvx | KEYFILE.kvxk | FILE|FOLDER...]\n"
      "\n"
      "Packs files and folders into one encrypted package (.kvx) that only the chosen contacts can\n"
      "open, and opens the packages sent to you. Without an argument the window opens empty; files\n"
      "are added by dragging them onto it, with Package > Add Files, or by naming them here.\n"
      "\n"
      "Arguments:\n"
      "  PACKAGE.kvx      open the package in the window, ready to be decrypted\n"
      "  KEYFILE.kvxk     import the key file as a new contact, then end\n"
      "  FILE|FOLDER...   add the files and folders to a new package, as a drop would\n"
      "  --autostart      start hidden in the tray, as the login start does\n"
      "\n"
      "Names that don't exist are ignored. There is one window per user: while it runs, another\n"
      "start hands its arguments to it and ends, and the window comes to the front. The\n"
      "command-line tool halvoren-cli does everything without a window.\n"
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
        SingleInstance instance(QString::fromStdU16String(dataDirectory()));
        const SingleInstance::Role role = instance.start(QCoreApplication::arguments());
        if (role == SingleInstance::Role::HandedOver) {
            platform::CrashGuard::uninstall();
            return 0;
        }
        if (role == SingleInstance::Role::Alone)
            std::fputs("halvoren: a window of this profile runs but does not answer; opening another\n", stderr);
        installTranslations(QLocale());
        MainWindow window;
        // Arguments that arrived while start-up still asked its questions are acted on now.
        instance.setReceiver([&window](const QStringList& arguments) { window.acceptHandedArguments(arguments); });
        if (!window.isCancelRequested()) {
            window.show();
            code = application.exec();
        }
        platform::CrashGuard::uninstall();
    }
    return code;
}
