#pragma once
// Stays on the screen while ProgressThread walks what the user added, shows the path found last
// and collects the paths. They join the file set when the walk ends; a walk stopped by Cancel or
// Escape adds none of them, since a part of a folder is not what the user chose. It closes only
// once the worker has ended, so the worker never outlives the flag it polls.

#include <QDialog>
#include <QList>
#include <QUrl>
#include <atomic>

#include "files/FileSet.h"
#include "files/FolderWalk.h"

namespace Ui {
class ProgressDialog;
}
class ProgressThread;

class ProgressDialog : public QDialog {
    Q_OBJECT

public:
    ProgressDialog(FileSet* target, QWidget* parent = nullptr);
    ~ProgressDialog() override;

    // Walks the URLs into the set and returns when the walk has ended or was cancelled.
    void startTraverse(const QList<QUrl>& urls);

    Ui::ProgressDialog* form() const { return ui; }
    bool isCancelled() const { return cancelled; }
    // What the walks of this dialog left out (links to folders, things that aren't files).
    const LeftOut& leftOut() const { return leftOutSoFar; }

public slots:
    // Escape asks the walk to stop, as Cancel does; the dialog closes when the worker ended.
    void reject() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private slots:
    void on_files_adding(QString file_name);
    void traverse_finished();
    void on_CancelBtn_clicked();

private:
    Ui::ProgressDialog* ui;
    std::atomic_bool cancelled { false };
    FileSet* targetSet;
    FileSet found;
    LeftOut leftOutSoFar;
    ProgressThread* worker;
    bool walking = false;
};
