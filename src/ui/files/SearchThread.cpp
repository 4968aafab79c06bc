#include "ui/files/SearchThread.h"

#include "platform/CrashGuard.h"

SearchThread::SearchThread(
    std::atomic_bool* cancelFlag, const FileSet* files, QStringList* results, const QString* pattern, QObject* parent)
    : QThread(parent)
    , cancelFlag(cancelFlag)
    , files(files)
    , results(results)
    , pattern(pattern)
{
}

bool fileNameMatches(const QString& path, const QString& text)
{
    // Only the string is split; the disk is never asked, so a file that has gone still matches.
    const qsizetype separator = path.lastIndexOf(QChar(NativeSeparator));
    return QStringView(path).mid(separator + 1).contains(text, Qt::CaseInsensitive);
}

void SearchThread::run()
{
    const bool registered = platform::CrashGuard::installForThread();
    for (const std::u16string& entry : *files) {
        if (*cancelFlag)
            break;
        const QString path = QString::fromStdU16String(entry);
        if (fileNameMatches(path, *pattern))
            results->append(path);
    }
    if (registered)
        platform::CrashGuard::uninstallForThread();
}
