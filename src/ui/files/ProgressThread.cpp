#include "ui/files/ProgressThread.h"

#include <QDir>
#include <QFileInfo>

#include "files/FolderWalk.h"
#include "platform/CrashGuard.h"

ProgressThread::ProgressThread(std::atomic_bool* cancelFlag, QObject* parent)
    : QThread(parent)
    , cancelFlag(cancelFlag)
{
}

void ProgressThread::run()
{
    const bool registered = platform::CrashGuard::installForThread();
    walkLeftOut = LeftOut();
    for (const QUrl& url : urls) {
        if (*cancelFlag)
            break;
        const QString path = url.toLocalFile();
        const QFileInfo info(path);
        if (info.exists() && !info.isDir() && !info.isFile()) {
            // A socket, FIFO or device would fail only when the package is written.
            ++walkLeftOut.notFiles;
            continue;
        }
        if (!info.isDir()) {
            // Named directly: it goes in as it is, even if it no longer exists; the engine says so
            // when it meets it.
            emit on_files_adding(QDir::toNativeSeparators(path));
            continue;
        }
        // A folder that can't be listed is passed over, as a file manager's copy would.
        walkFolder(
            path.toStdU16String(), walkLeftOut,
            [this](const std::u16string& file) {
                emit on_files_adding(QString::fromStdU16String(file));
                return true;
            },
            [](const std::u16string&, std::uint32_t) { return true; }, cancelFlag);
    }
    if (registered)
        platform::CrashGuard::uninstallForThread();
}
