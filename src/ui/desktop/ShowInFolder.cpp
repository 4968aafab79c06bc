#include "ui/desktop/ShowInFolder.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>

namespace {

ShowInFolder::Hooks& hooks()
{
    static ShowInFolder::Hooks installed;
    return installed;
}

void openFolder(const QUrl& folder)
{
    if (hooks().openFolder)
        hooks().openFolder(folder);
    else
        QDesktopServices::openUrl(folder);
}

// Asks the file manager without waiting for it: a file manager that is slow to start or hangs
// must not hold up the window. An error reply, or no bus at all, opens the folder instead.
void showItemsOverBus(const QStringList& uris, const QUrl& folder)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolder(folder);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"), QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("ShowItems"));
    call << uris << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 10000), QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [folder](QDBusPendingCallWatcher* done) {
        if (done->isError())
            openFolder(folder);
        done->deleteLater();
    });
}

} // namespace

void showInExplorer(const QString& path)
{
    if (path.isEmpty())
        return;
    const QFileInfo info(QDir::cleanPath(path));
    if (!info.exists())
        return;
    const QStringList uris { QUrl::fromLocalFile(info.absoluteFilePath()).toString(QUrl::FullyEncoded) };
    const QUrl folder = QUrl::fromLocalFile(info.absolutePath());
    if (!hooks().showItems) {
        showItemsOverBus(uris, folder);
        return;
    }
    if (!hooks().showItems(uris))
        openFolder(folder);
}

namespace ShowInFolder {
void setHooks(Hooks replacement) { hooks() = std::move(replacement); }
} // namespace ShowInFolder
