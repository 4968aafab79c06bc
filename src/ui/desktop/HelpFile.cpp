#include "ui/desktop/HelpFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <string>

#include "engine/AppConstants.h"

namespace {
QString helpFileName() { return QString::fromStdU16String(std::u16string(HelpFileName)); }

QString existingFile(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() ? QDir::cleanPath(info.absoluteFilePath()) : QString();
}

} // namespace

bool isInsideFolder(const QString& dir, const QString& root)
{
    const QString canonicalDir = QFileInfo(dir).canonicalFilePath();
    const QString canonicalRoot = QFileInfo(root).canonicalFilePath();
    if (canonicalDir.isEmpty() || canonicalRoot.isEmpty())
        return false;
    return canonicalDir == canonicalRoot || canonicalDir.startsWith(canonicalRoot + QLatin1Char('/'));
}

QString helpFilePath(const QString& programDir)
{
    if (programDir.isEmpty())
        return {};
    const QDir dir(programDir);
    QString found = existingFile(dir.filePath(helpFileName()));
    if (found.isEmpty())
        found = existingFile(dir.filePath(QStringLiteral(HALVOREN_HELP_DIR_FROM_BIN "/") + helpFileName()));
    if (found.isEmpty() && isInsideFolder(programDir, QStringLiteral(HALVOREN_BINARY_DIR)))
        found = existingFile(QStringLiteral(HALVOREN_SOURCE_DIR "/docs/") + helpFileName());
    return found;
}

QString helpFilePath() { return helpFilePath(QCoreApplication::applicationDirPath()); }
