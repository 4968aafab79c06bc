#pragma once
// Walks dropped or chosen files and folders on a worker thread and reports every file it finds,
// one path at a time, so that the window stays live on a folder of any size.

#include <QList>
#include <QThread>
#include <QUrl>
#include <atomic>

class ProgressThread : public QThread {
    Q_OBJECT

public:
    ProgressThread(std::atomic_bool* cancelFlag, QObject* parent = nullptr);

    void setUrls(const QList<QUrl>& list) { urls = list; }

signals:
    void on_files_adding(QString file_name);

protected:
    void run() override;

private:
    std::atomic_bool* cancelFlag;
    QList<QUrl> urls;
};
