#include "ui/files/SearchingDialog.h"

#include "ui/files/SearchThread.h"
#include "ui_SearchingDialog.h"

SearchingDialog::SearchingDialog(QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::SearchingDialog)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Tool | Qt::MSWindowsFixedSizeDialogHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
        | Qt::CustomizeWindowHint);
    setFixedSize(size());
    activateWindow();
}

SearchingDialog::~SearchingDialog()
{
    stopWorker();
    delete ui;
}

void SearchingDialog::startSearch(const FileSet* files, QStringList* results, const QString* pattern)
{
    worker = new SearchThread(&cancelled, files, results, pattern, this);
    connect(worker, &QThread::finished, this, &SearchingDialog::on_search_finished);
    worker->start(QThread::InheritPriority);
    // The end of the scan comes as a queued event, so it can't slip past before exec() runs.
    exec();
    // Cancelled or closed: the worker sees the flag at its next entry, so this wait is short, and
    // afterwards the caller may empty the list and let the set change.
    stopWorker();
}

void SearchingDialog::stopWorker()
{
    if (!worker)
        return;
    if (worker->isRunning()) {
        cancelled = true;
        worker->wait();
    }
    delete worker;
    worker = nullptr;
}

void SearchingDialog::on_cancelBtn_clicked()
{
    cancelled = true;
    close();
}

void SearchingDialog::reject()
{
    // The close button and Escape end a search as Cancel does: a list cut short must never pass
    // for the whole result.
    cancelled = true;
    QDialog::reject();
}

void SearchingDialog::on_search_finished()
{
    // A finished signal can still be on its way after a cancel has already stopped the worker.
    if (!worker || sender() != worker)
        return;
    worker->wait();
    delete worker;
    worker = nullptr;
    accept();
}
