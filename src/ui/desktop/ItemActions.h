#pragma once
// What the file lists do with one item on the desktop: open it with the program the desktop
// chooses for it, and show its properties, through the file manager's D-Bus interface or, where
// none answers, in a small window of our own. Results are not looked at: a failure shows nothing.

#include <QString>
#include <QUrl>
#include <functional>

class QWidget;

// Opens a file or folder as a double click in the file manager would.
void openItem(const QString& path);
// Shows the properties of a file or folder.
void showItemProperties(const QString& path, QWidget* parent);

namespace ItemActions {
// The ways out to the desktop. Tests replace them so that nothing opens; an empty function
// restores the real one.
struct Hooks {
    std::function<bool(const QUrl& url)> openUrl;
    // org.freedesktop.FileManager1.ShowItemProperties with these file:// URIs; true if it went through.
    std::function<bool(const QStringList& uris)> showProperties;
    // The fallback window for a path; by default a non-modal dialog that deletes itself.
    std::function<void(const QString& path, QWidget* parent)> showOwnProperties;
};
void setHooks(Hooks hooks);

// The lines of the fallback window: name, folder, kind and size, modified, permissions.
QList<QPair<QString, QString>> propertyLines(const QString& path);
} // namespace ItemActions
