#pragma once
// Starts one of the desktop's helpers (xdg-open, xdg-email) and listens for how it ends. Both start
// fine on a machine where no browser or mail program is set up, and only their exit code and last
// words ("no method available") tell that nothing opened; without listening the user would see
// nothing at all.

#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>

// Starts `program` with `arguments` (each one argument, never read by a shell). `failed` is called
// on the main thread with a one-line reason when it can't be started or ends with an error. False
// when it didn't start (`failed` has been called then). A helper that still runs when the program
// quits is left running, so that closing the window never takes a browser with it.
bool launchWatched(const QString& program, const QStringList& arguments, std::function<void(const QString&)> failed);

// Opens a web page or a file with the desktop's own choice of program; `failed` as above.
void openWithDesktop(const QUrl& url, std::function<void(const QString&)> failed);
