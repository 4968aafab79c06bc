// A test-only Qt plugin that plays the user of the real, unchanged `halvoren` binary, for the
// Wayland test (tests/wayland/run). Wayland lets no client type or click into another, so the
// hand comes from inside: Qt loads this generic plugin into the program when the environment
// names it (QT_QPA_GENERIC_PLUGINS=halvorendriver, with QT_PLUGIN_PATH pointing here). Nothing of
// it is built into the program or installed.
//
// It answers the first start's identity dialog with HALVOREN_DRIVE_NAME. With
// HALVOREN_DRIVE_FOLDER set it presses Decrypt on the package the program was started with,
// chooses that folder in the folder dialog and accepts the completion report; then, or at once
// without a folder, it closes the window. Each step is one line on standard error,
// starting with "driver:", for the script to check.

#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QGenericPlugin>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QToolButton>
#include <QWindow>
#include <cstdio>

namespace {

void say(const QString& text)
{
    std::fprintf(stderr, "driver: %s\n", text.toUtf8().constData());
    std::fflush(stderr);
}

class Driver : public QObject {
public:
    Driver()
    {
        // Dialogs run their own event loops from the window's constructor on; a timer of the
        // application ticks in all of them.
        startTimer(100);
        say(QStringLiteral("platform %1").arg(QGuiApplication::platformName()));
    }

private:
    void timerEvent(QTimerEvent*) override
    {
        QMainWindow* window = nullptr;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (!widget->isVisible() || !widget->windowHandle() || !widget->windowHandle()->isExposed())
                continue;
            // Marked on the widget itself, since a new window may come at the address of one that
            // is gone.
            if (!widget->property("driverSeen").toBool()) {
                widget->setProperty("driverSeen", true);
                say(QStringLiteral("shown %1 \"%2\"")
                        .arg(QString::fromLatin1(widget->metaObject()->className()), widget->windowTitle()));
            }
            if (auto* box = qobject_cast<QMessageBox*>(widget))
                return answerMessage(box);
            if (auto* files = qobject_cast<QFileDialog*>(widget)) {
                files->setDirectory(qEnvironmentVariable("HALVOREN_DRIVE_FOLDER"));
                say(QStringLiteral("folder chosen %1").arg(qEnvironmentVariable("HALVOREN_DRIVE_FOLDER")));
                return static_cast<QDialog*>(files)->accept();
            }
            if (widget->objectName() == QLatin1String("ContactDetailsDlg"))
                return enterIdentity(qobject_cast<QDialog*>(widget));
            window = window ? window : qobject_cast<QMainWindow*>(widget);
        }
        if (window)
            driveWindow(window);
    }

    void enterIdentity(QDialog* dialog)
    {
        auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("ContactNameLE"));
        auto* ok = dialog->findChild<QPushButton*>(QStringLiteral("OKButton"));
        if (!name || !ok)
            return say(QStringLiteral("the identity dialog lacks its name field or OK button"));
        // Typed key by key, as the dialog listens for edits, not for any change of the text.
        if (name->text().isEmpty()) {
            for (const QChar character : qEnvironmentVariable("HALVOREN_DRIVE_NAME")) {
                QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(character));
                QCoreApplication::sendEvent(name, &press);
            }
        }
        if (!ok->isEnabled())
            return say(QStringLiteral("the identity dialog's OK button stays disabled"));
        say(QStringLiteral("identity entered"));
        ok->click();
    }

    void answerMessage(QMessageBox* box)
    {
        say(QStringLiteral("message \"%1\"").arg(box->text().replace(u'\n', u' ')));
        // OK where there is one, else the first button, else Escape.
        QAbstractButton* ok = box->button(QMessageBox::Ok);
        if ((ok = ok ? ok : box->buttons().value(0)))
            ok->click();
        else
            box->reject();
        if (decryptPressed_)
            reported_ = true;
    }

    // Without a folder to decrypt into, the window is closed as soon as it shows.
    void driveWindow(QMainWindow* window)
    {
        if (closing_)
            return;
        if (reported_ || qEnvironmentVariableIsEmpty("HALVOREN_DRIVE_FOLDER")) {
            closing_ = true;
            say(QStringLiteral("window \"%1\", closing it").arg(window->windowTitle()));
            window->close();
            return;
        }
        auto* button = window->findChild<QToolButton*>(QStringLiteral("BtnEncDec"));
        if (decryptPressed_ || !button || !button->isEnabled())
            return;
        say(QStringLiteral("window \"%1\", pressing %2").arg(window->windowTitle(), button->text()));
        decryptPressed_ = true;
        // Queued: the click opens a modal folder dialog, whose event loop must not run inside
        // this tick, or the timer would never tick again.
        QMetaObject::invokeMethod(button, &QAbstractButton::click, Qt::QueuedConnection);
    }

    bool decryptPressed_ = false;
    bool reported_ = false;
    bool closing_ = false;
};

} // namespace

class WaylandDriverPlugin : public QGenericPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "driver.json")
public:
    QObject* create(const QString&, const QString&) override { return new Driver; }
};

#include "WaylandDriver.moc"
