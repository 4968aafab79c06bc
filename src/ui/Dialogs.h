#pragma once
// Every modal question and file dialog of the program goes through here. In normal use each
// call is a plain exec() or QFileDialog call. Tests queue answers ahead of the flow they drive,
// so that a whole flow, from the first click to the completion report, runs headless; with
// strict mode on, a dialog that nobody answered fails the test instead of waiting for a click
// that never comes.

#include <QDialog>
#include <QMessageBox>
#include <QString>
#include <QStringList>
#include <QSystemTrayIcon>
#include <QUrl>
#include <functional>
#include <optional>

namespace Dialogs {

// Runs a modal dialog; returns what exec() would return.
int exec(QDialog& dialog);

// Runs a message box; returns what exec() would return. A queued answer clicks its button, so
// clickedButton() tells it as after a real click.
int exec(QMessageBox& box);

QString getOpenFileName(QWidget* parent, const QString& caption, const QString& dir, const QString& filter);
QString getSaveFileName(QWidget* parent, const QString& caption, const QString& dir, const QString& filter);
QString getExistingDirectory(QWidget* parent, const QString& caption, const QString& dir);

// A balloon from the tray icon. Balloons ask nothing, but tests read them back like messages.
void showBalloon(QSystemTrayIcon& tray, const QString& title, const QString& text, QSystemTrayIcon::MessageIcon icon,
    int milliseconds);
// Hands a web page or a file to the desktop (browser, viewer). `failed` hears why nothing opened.
// Tests record the URL instead, and may have it fail.
void openUrl(const QUrl& url, std::function<void(const QString&)> failed = {});

// Whether the desktop has a notification area to hide in.
bool trayAvailable();
// Whether the tray passes on double clicks; StatusNotifierItem hosts pass on single ones only.
bool trayDeliversDoubleClicks();

// What a shown message box or balloon said, for tests to read back.
struct Shown {
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QStringList buttons;
    bool balloon = false;
};

namespace testing {
    // The next message box clicks this standard button.
    void answer(QMessageBox::StandardButton button);
    // The next message box clicks the button with this caption (custom buttons such as "Details").
    void answer(const QString& buttonText);
    // The next message box is handed to this function instead of exec(); it may look at the box
    // (the screenshot tool renders it) and returns what exec() would.
    void answerMessage(std::function<int(QMessageBox&)> handler);
    // The next dialog of any other kind is handed to this function instead of exec(); its result
    // is the dialog's result. The function may fill the dialog's fields first.
    void answer(std::function<int(QDialog&)> handler);
    // The next file dialog returns this path (empty: cancelled).
    void answerPath(const QString& path);

    // Everything shown since the last clear, oldest first.
    const QList<Shown>& shown();
    // Dialogs shown and not answered, and answers left unused.
    int unanswered();
    int pendingAnswers();
    void clear();

    // What openUrl was given since the last clear; in strict mode nothing is really opened.
    const QList<QUrl>& openedUrls();
    // The next openUrl in strict mode fails with this reason, as where no browser is set up.
    void failNextOpen(const QString& reason);

    // Pretends the desktop has (or lacks) a tray; unset, the desktop is asked.
    void setTrayAvailable(std::optional<bool> available);
    // Pretends the tray does (or doesn't) pass on double clicks; unset, the desktop is asked.
    void setTrayDoubleClicks(std::optional<bool> delivered);

    // On: a dialog without a queued answer is rejected at once and counted as unanswered.
    void setStrict(bool strict);
} // namespace testing

} // namespace Dialogs
