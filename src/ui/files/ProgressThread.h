#pragma once
// Walks dropped or chosen files and folders on a worker thread and reports every file it finds,
// one path at a time, so that the window stays live on a folder of any size. Folders are walked
// by the rule the command-line tool follows too (FolderWalk.h).

#include <QList>
#include <QThread>
#include <QUrl>
#include <atomic>

#include "files/FolderWalk.h"

class ProgressThread : public QThread {
    Q_OBJECT

public:
    ProgressThread(std::atomic_bool* cancelFlag, QObject* parent = nullptr);

    void setUrls(const QList<QUrl>& list) { urls = list; }
    // What the walks left out; read once the thread has finished.
    const LeftOut& leftOut() const { return walkLeftOut; }

signals:
    void on_files_adding(QString file_name);

protected:
    void run() override;

private:
    std::atomic_bool* cancelFlag;
    QList<QUrl> urls;
    LeftOut walkLeftOut;
};
