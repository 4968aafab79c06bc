#include "ui/desktop/Translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QTranslator>

#include "platform/Translate.h"
#include "ui/desktop/HelpFile.h"

namespace {
std::string translateCore(const char* context, const char* text)
{
    return QCoreApplication::translate(context, text).toStdString();
}

// One translator per file; it stays installed for the life of the application that owns it.
bool load(const QLocale& locale, const QString& name, const QString& folder)
{
    auto* translator = new QTranslator(QCoreApplication::instance());
    if (folder.isEmpty() || !translator->load(locale, name, QStringLiteral("_"), folder)) {
        delete translator;
        return false;
    }
    QCoreApplication::installTranslator(translator);
    return true;
}
} // namespace

QString translationsFolder(const QString& programDir)
{
    if (programDir.isEmpty())
        return {};
    const QDir dir(programDir);
    const QString installed = dir.filePath(QStringLiteral(HALVOREN_TRANSLATIONS_FROM_BIN));
    if (QFileInfo(installed).isDir())
        return QDir::cleanPath(installed);
    if (isInsideFolder(programDir, QStringLiteral(HALVOREN_BINARY_DIR))
        && QFileInfo(QStringLiteral(HALVOREN_QM_DIR)).isDir())
        return QStringLiteral(HALVOREN_QM_DIR);
    return {};
}

bool installTranslations(const QLocale& locale)
{
    // English is the language of the texts themselves; Qt's own English needs no file either.
    if (locale.language() == QLocale::English || locale.language() == QLocale::C)
        return false;
    const bool own
        = load(locale, QStringLiteral("halvoren"), translationsFolder(QCoreApplication::applicationDirPath()));
    load(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    platform::setTranslator(translateCore);
    return own;
}
