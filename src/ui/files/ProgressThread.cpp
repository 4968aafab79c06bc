#include "ui/files/ProgressThread.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include "platform/CrashGuard.h"

ProgressThread::ProgressThread(std::atomic_bool* cancelFlag, QObject* parent)
    : QThread(parent)
    , cancelFlag(cancelFlag)
{
}

void ProgressThread::run()
{
    const bool registered = platform::CrashGuard::installForThread();
    for (const QUrl& url : urls) {
        if (*cancelFlag)
            break;
        const QString path = url.toLocalFile();
        if (!QFileInfo(path).isDir()) {
            // Named directly: it goes in as it is, even if it no longer exists; the engine says so
            // when it meets it.
            emit on_files_adding(QDir::toNativeSeparators(path));
            continue;
        }
        QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::System,
                        QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
        while (it.hasNext() && !*cancelFlag) {
            it.next();
            const QFileInfo info = it.fileInfo();
            if (!info.isDir())
                emit on_files_adding(QDir::toNativeSeparators(info.absoluteFilePath()));
        }
    }
    if (registered)
        platform::CrashGuard::uninstallForThread();
}
