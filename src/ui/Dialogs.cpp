#include "ui/Dialogs.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <QAbstractButton>
#include <QFileDialog>
#include <QQueue>
#include <optional>
#include <utility>
#include <variant>

#include "ui/desktop/Launch.h"
#include "ui/desktop/Placement.h"

namespace Dialogs {
namespace {
    using MessageAnswer = std::variant<QMessageBox::StandardButton, QString, std::function<int(QMessageBox&)>>;

    struct Answers {
        QQueue<MessageAnswer> messages;
        QQueue<std::function<int(QDialog&)>> dialogs;
        QQueue<QString> paths;
        QList<Shown> shown;
        QList<QUrl> opened;
        int unanswered = 0;
        bool strict = false;
        std::optional<bool> trayAvailable;
        std::optional<bool> trayDoubleClicks;
        std::optional<QString> openFailure;
    };

    Answers& answers()
    {
        static Answers state;
        return state;
    }

    void record(const QMessageBox& box)
    {
        Shown shown { box.windowTitle(), box.text(), box.icon(), {} };
        for (QAbstractButton* button : box.buttons())
            shown.buttons << button->text();
        answers().shown << shown;
    }

    QAbstractButton* findButton(QMessageBox& box, const MessageAnswer& answer)
    {
        if (const auto* standard = std::get_if<QMessageBox::StandardButton>(&answer))
            return box.button(*standard);
        const auto* text = std::get_if<QString>(&answer);
        if (!text)
            return nullptr;
        for (QAbstractButton* button : box.buttons()) {
            if (button->text() == *text)
                return button;
        }
        return nullptr;
    }

    // A path answer, or nothing when the run is interactive.
    std::optional<QString> queuedPath()
    {
        Answers& state = answers();
        if (!state.paths.isEmpty())
            return state.paths.dequeue();
        if (state.strict) {
            ++state.unanswered;
            return QString();
        }
        return std::nullopt;
    }
} // namespace

int exec(QDialog& dialog)
{
    Answers& state = answers();
    if (!state.dialogs.isEmpty()) {
        const int result = state.dialogs.dequeue()(dialog);
        dialog.setResult(result);
        return result;
    }
    if (state.strict) {
        ++state.unanswered;
        dialog.setResult(QDialog::Rejected);
        return QDialog::Rejected;
    }
    fitToScreen(dialog);
    return dialog.exec();
}

int exec(QMessageBox& box)
{
    // File names and system texts are text, never markup: a box that didn't ask for rich text
    // on purpose (and then escapes what it shows) is plain.
    if (box.textFormat() == Qt::AutoText)
        box.setTextFormat(Qt::PlainText);
    Answers& state = answers();
    record(box);
    if (!state.messages.isEmpty()) {
        const MessageAnswer answer = state.messages.dequeue();
        if (const auto* handler = std::get_if<std::function<int(QMessageBox&)>>(&answer))
            return (*handler)(box);
        if (QAbstractButton* button = findButton(box, answer)) {
            // A click runs the box's own handling, so clickedButton() and the result are as after
            // a real click.
            button->click();
            return box.result();
        }
        ++state.unanswered;
        return QMessageBox::NoButton;
    }
    if (state.strict) {
        ++state.unanswered;
        return QMessageBox::NoButton;
    }
    return box.exec();
}

void showBalloon(QSystemTrayIcon& tray, const QString& title, const QString& text, QSystemTrayIcon::MessageIcon icon,
    int milliseconds)
{
    const QMessageBox::Icon asMessage = icon == QSystemTrayIcon::Critical ? QMessageBox::Critical
        : icon == QSystemTrayIcon::Warning                                ? QMessageBox::Warning
        : icon == QSystemTrayIcon::Information                            ? QMessageBox::Information
                                                                          : QMessageBox::NoIcon;
    answers().shown << Shown { title, text, asMessage, {}, true };
    tray.showMessage(title, text, icon, milliseconds);
}

void openUrl(const QUrl& url, std::function<void(const QString&)> failed)
{
    Answers& state = answers();
    state.opened << url;
    if (!state.strict) {
        openWithDesktop(url, std::move(failed));
    } else if (state.openFailure) {
        const QString reason = *std::exchange(state.openFailure, std::nullopt);
        if (failed)
            failed(reason);
    }
}

bool trayAvailable()
{
    if (answers().trayAvailable)
        return *answers().trayAvailable;
    return QSystemTrayIcon::isSystemTrayAvailable();
}

bool trayDeliversDoubleClicks()
{
    if (answers().trayDoubleClicks)
        return *answers().trayDoubleClicks;
    // Qt shows its icon as a StatusNotifierItem wherever a watcher for them runs (Plasma, the
    // AppIndicator extension of GNOME); such hosts pass on single clicks only.
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return !(bus.isConnected() && bus.interface()
        && bus.interface()->isServiceRegistered(QStringLiteral("org.kde.StatusNotifierWatcher")).value());
}

QString getOpenFileName(QWidget* parent, const QString& caption, const QString& dir, const QString& filter)
{
    if (auto path = queuedPath())
        return *path;
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
}

QString getSaveFileName(QWidget* parent, const QString& caption, const QString& dir, const QString& filter)
{
    if (auto path = queuedPath())
        return *path;
    return QFileDialog::getSaveFileName(parent, caption, dir, filter);
}

QString getExistingDirectory(QWidget* parent, const QString& caption, const QString& dir)
{
    if (auto path = queuedPath())
        return *path;
    return QFileDialog::getExistingDirectory(parent, caption, dir);
}

namespace testing {
    void answer(QMessageBox::StandardButton button) { answers().messages.enqueue(button); }
    void answer(const QString& buttonText) { answers().messages.enqueue(buttonText); }
    void answerMessage(std::function<int(QMessageBox&)> handler) { answers().messages.enqueue(std::move(handler)); }
    void answer(std::function<int(QDialog&)> handler) { answers().dialogs.enqueue(std::move(handler)); }
    void answerPath(const QString& path) { answers().paths.enqueue(path); }
    const QList<Shown>& shown() { return answers().shown; }
    const QList<QUrl>& openedUrls() { return answers().opened; }
    void failNextOpen(const QString& reason) { answers().openFailure = reason; }
    int unanswered() { return answers().unanswered; }

    int pendingAnswers()
    {
        const Answers& state = answers();
        return int(state.messages.size() + state.dialogs.size() + state.paths.size());
    }

    void clear()
    {
        const bool strict = answers().strict;
        const std::optional<bool> tray = answers().trayAvailable;
        const std::optional<bool> doubleClicks = answers().trayDoubleClicks;
        answers() = Answers();
        answers().strict = strict;
        answers().trayAvailable = tray;
        answers().trayDoubleClicks = doubleClicks;
    }

    void setTrayAvailable(std::optional<bool> available) { answers().trayAvailable = available; }
    void setTrayDoubleClicks(std::optional<bool> delivered) { answers().trayDoubleClicks = delivered; }

    void setStrict(bool strict) { answers().strict = strict; }
} // namespace testing

} // namespace Dialogs
