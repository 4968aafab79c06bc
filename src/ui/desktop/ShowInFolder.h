#pragma once
// Shows a file in its folder in the desktop's file manager: the file manager's D-Bus ShowItems
// call, or, where that fails or there is no session bus, the containing folder opened as a URL.

#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>

// Does nothing for a path that doesn't exist. Returns at once; the file manager answers later.
void showInExplorer(const QString& path);

namespace ShowInFolder {
// The two ways out to the desktop. Tests replace them so that no file manager ever opens; an
// empty function restores the real one.
struct Hooks {
    // Replaces org.freedesktop.FileManager1.ShowItems with these file:// URIs; false makes the
    // caller open the folder instead, as an error reply of the real call does.
    std::function<bool(const QStringList& uris)> showItems;
    // Opens a folder URL; true if something took it.
    std::function<bool(const QUrl& folder)> openFolder;
};
void setHooks(Hooks hooks);
} // namespace ShowInFolder
