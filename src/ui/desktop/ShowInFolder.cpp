#include "ui/desktop/ShowInFolder.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>

namespace {

ShowInFolder::Hooks& hooks()
{
    static ShowInFolder::Hooks installed;
    return installed;
}

bool showItemsOverBus(const QStringList& uris)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"), QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("ShowItems"));
    call << uris << QString();
    // A short wait: a bus without a file manager answers with an error at once, and a file
    // manager that hangs must not hold up the window.
    const QDBusMessage reply = bus.call(call, QDBus::Block, 3000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool openFolderUrl(const QUrl& folder) { return QDesktopServices::openUrl(folder); }

} // namespace

void showInExplorer(const QString& path)
{
    const QFileInfo info(QDir::cleanPath(path));
    if (path.isEmpty() || !info.exists())
        return;
    const QString absolute = info.absoluteFilePath();
    const QStringList uris { QUrl::fromLocalFile(absolute).toString(QUrl::FullyEncoded) };
    const bool shown = hooks().showItems ? hooks().showItems(uris) : showItemsOverBus(uris);
    if (shown)
        return;
    const QUrl folder = QUrl::fromLocalFile(info.absolutePath());
    if (hooks().openFolder)
        hooks().openFolder(folder);
    else
        openFolderUrl(folder);
}

namespace ShowInFolder {
void setHooks(Hooks replacement) { hooks() = std::move(replacement); }
} // namespace ShowInFolder
