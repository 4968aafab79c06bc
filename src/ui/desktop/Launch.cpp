#include "ui/desktop/Launch.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace {
QString lastLine(const QByteArray& text)
{
    const QList<QByteArray> lines = text.trimmed().split('\n');
    return lines.isEmpty() ? QString() : QString::fromLocal8Bit(lines.last().trimmed());
}
} // namespace

bool launchWatched(const QString& program, const QStringList& arguments, std::function<void(const QString&)> failed)
{
    // No parent: a helper must outlive the window if it is still running when the program quits
    // (xdg-open may wait for the browser it started), and a QProcess that is destroyed kills its
    // process. It deletes itself once it has ended.
    auto* process = new QProcess;
    process->setProgram(program);
    process->setArguments(arguments);
    process->setProcessChannelMode(QProcess::SeparateChannels);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->start();
    if (!process->waitForStarted(5000)) {
        const QString why = QCoreApplication::translate("Launch", "%1 could not be started: %2")
                                .arg(QFileInfo(program).fileName(), process->errorString());
        delete process;
        if (failed)
            failed(why);
        return false;
    }
    QObject::connect(
        process, &QProcess::finished, process, [process, program, failed](int code, QProcess::ExitStatus status) {
            process->deleteLater();
            if (status == QProcess::NormalExit && code == 0)
                return;
            QString why = lastLine(process->readAllStandardError());
            if (why.isEmpty())
                why = QCoreApplication::translate("Launch", "%1 ended with an error (%2)")
                          .arg(QFileInfo(program).fileName())
                          .arg(status == QProcess::NormalExit ? code : -1);
            if (failed)
                failed(why);
        });
    return true;
}

void openWithDesktop(const QUrl& url, std::function<void(const QString&)> failed)
{
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (!opener.isEmpty()) {
        launchWatched(opener, { url.isLocalFile() ? url.toLocalFile() : url.toString() }, std::move(failed));
        return;
    }
    // Without xdg-utils the toolkit may still know the desktop's own opener.
    if (!QDesktopServices::openUrl(url) && failed)
        failed(QCoreApplication::translate("Launch", "no program to open it was found (xdg-open is not installed)"));
}
