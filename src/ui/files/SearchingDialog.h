#pragma once
// Stands on the screen while SearchThread scans the file list, and offers Cancel. Cancel, the
// close button and Escape all close it at once; the scan is stopped and waited for before
// startSearch returns, so the worker never outlives the flag, the set or the result list it uses.

#include <QDialog>
#include <QString>
#include <QStringList>
#include <atomic>

#include "files/FileSet.h"

namespace Ui {
class SearchingDialog;
}
class SearchThread;

class SearchingDialog : public QDialog {
    Q_OBJECT

public:
    explicit SearchingDialog(QWidget* parent = nullptr);
    ~SearchingDialog() override;

    // Scans the set for the pattern into results, which the caller gives empty, and returns when
    // the scan has ended, or was cancelled and has stopped.
    void startSearch(const FileSet* files, QStringList* results, const QString* pattern);
    // True when the user ended the dialog before the scan was done: Cancel, the close button or
    // Escape. The results are then partial and the caller throws them away.
    bool wasCancelled() const { return cancelled; }

    Ui::SearchingDialog* form() const { return ui; }

public slots:
    void reject() override;

private slots:
    void on_cancelBtn_clicked();

private:
    // Connected by pointer to the worker's finished(), not by name.
    void on_search_finished();
    void stopWorker();

    Ui::SearchingDialog* ui;
    SearchThread* worker = nullptr;
    std::atomic_bool cancelled { false };
};
