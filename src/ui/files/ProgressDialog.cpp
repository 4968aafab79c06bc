#include "ui/files/ProgressDialog.h"

#include <QCloseEvent>
#include <QPushButton>

#include "ui/desktop/FormPalette.h"
#include "ui/files/ProgressThread.h"
#include "ui_ProgressDialog.h"

ProgressDialog::ProgressDialog(FileSet* target, QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::ProgressDialog)
    , targetSet(target)
{
    ui->setupUi(this);
    keepLightPalette(*this);
    setWindowFlags(Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint | Qt::WindowTitleHint | Qt::CustomizeWindowHint);
    setFixedSize(size());
    activateWindow();
    worker = new ProgressThread(&cancelled, this);
    connect(worker, &ProgressThread::on_files_adding, this, &ProgressDialog::on_files_adding);
    connect(worker, &QThread::finished, this, &ProgressDialog::traverse_finished);
}

ProgressDialog::~ProgressDialog()
{
    // Only reached after the walk ended; the wait covers the thread's last instructions after
    // its finished signal.
    worker->wait();
    delete worker;
    delete ui;
}

void ProgressDialog::startTraverse(const QList<QUrl>& urls)
{
    worker->setUrls(urls);
    walking = true;
    worker->start(QThread::InheritPriority);
    // Not a question, so not a seam dialog: it ends by itself when the walk has ended. The end
    // comes as a queued event, so it can't slip past before exec() runs.
    exec();
}

void ProgressDialog::on_files_adding(QString file_name)
{
    found.insert(file_name.toStdU16String());
    ui->statusLabel->setText(file_name);
}

void ProgressDialog::traverse_finished()
{
    walking = false;
    if (!cancelled) {
        targetSet->merge(found);
        leftOutSoFar += worker->leftOut();
    }
    found.clear();
    close();
}

void ProgressDialog::on_CancelBtn_clicked()
{
    cancelled = true;
    ui->CancelBtn->setEnabled(false);
}

void ProgressDialog::reject()
{
    if (walking)
        on_CancelBtn_clicked();
    else
        QDialog::reject();
}

void ProgressDialog::closeEvent(QCloseEvent* event)
{
    if (walking) {
        on_CancelBtn_clicked();
        event->ignore();
        return;
    }
    QDialog::closeEvent(event);
}
