#include "ui/desktop/Autostart.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include "engine/AppConstants.h"

QString autostartEntryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) + QStringLiteral("/autostart/halvoren.desktop");
}

namespace {
// Exec values quote an argument with double quotes and escape ", `, $ and \ inside them.
QString quotedExecArgument(const QString& argument)
{
    QString quoted;
    for (QChar c : argument) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += u'\\';
        quoted += c;
    }
    return u'"' + quoted + u'"';
}
} // namespace

bool updateAutostart(bool enable)
{
    const QString path = autostartEntryPath();
    if (!enable)
        return !QFile::exists(path) || QFile::remove(path);

    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    const QString name = QString::fromStdU16String(std::u16string(AppName));
    const QString exec = quotedExecArgument(QCoreApplication::applicationFilePath()) + u' '
        + QString::fromStdU16String(std::u16string(AutostartSwitch));
    // The desktop entry format asks for a literal percent sign to be doubled in Exec.
    QString escapedExec = exec;
    escapedExec.replace(u'%', QStringLiteral("%%"));
    const QString entry = QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\nIcon=halvoren\n"
                                         "Terminal=false\nX-GNOME-Autostart-enabled=true\n")
                              .arg(name, escapedExec);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(entry.toUtf8());
    return file.commit();
}
