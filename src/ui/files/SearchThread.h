#pragma once
// Looks for a text in the file names of a file set on a worker thread. It reads the set and writes
// the result list without a lock: the window sits in the modal SearchingDialog meanwhile, and the
// dialog waits for this thread before anyone touches either again.

#include <QString>
#include <QStringList>
#include <QThread>
#include <atomic>

#include "files/FileSet.h"

class SearchThread : public QThread {
    Q_OBJECT

public:
    SearchThread(std::atomic_bool* cancelFlag, const FileSet* files, QStringList* results, const QString* pattern,
        QObject* parent = nullptr);

protected:
    void run() override;

private:
    std::atomic_bool* cancelFlag;
    const FileSet* files;
    QStringList* results;
    const QString* pattern;
};

// Whether the last component of the path holds the text, without regard to case. Folder names
// above it don't count.
bool fileNameMatches(const QString& path, const QString& text);
