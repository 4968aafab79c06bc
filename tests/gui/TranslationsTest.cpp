// The shipped translations: each .ts holds a finished translation for every text in the sources,
// with the same placeholders and an accelerator where the source has one, and a window started in
// German shows German captions, German standard buttons and German messages from the core.

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include "WindowSupport.h"
#include "platform/ErrorText.h"
#include "platform/StatusCodes.h"
#include "ui/desktop/Translations.h"

using namespace testing_support;

namespace {
// %1..%99, each once, in any order.
QSet<QString> placeholders(const QString& text)
{
    QSet<QString> found;
    static const QRegularExpression marker(QStringLiteral("%\\d+"));
    for (const QRegularExpressionMatch& match : marker.globalMatch(text))
        found << match.captured();
    return found;
}

// An accelerator is a single & before a character; && is a plain ampersand.
bool hasAccelerator(QString text)
{
    text.remove(QStringLiteral("&&"));
    return text.contains(QRegularExpression(QStringLiteral("&\\S")));
}

// What is wrong with one .ts file: every message that is unfinished, empty or vanished, or whose
// placeholders or accelerator differ from the source's.
QStringList faultsOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return { QStringLiteral("can't read ") + path };
    QStringList faults;
    QXmlStreamReader xml(&file);
    QString context, source;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == u"name") {
            context = xml.readElementText();
        } else if (xml.name() == u"source") {
            source = xml.readElementText();
        } else if (xml.name() == u"translation") {
            const QString type = xml.attributes().value(QStringLiteral("type")).toString();
            const QString translation = xml.readElementText(QXmlStreamReader::IncludeChildElements);
            const QString where = context + QStringLiteral(": \"") + source + u'"';
            if (!type.isEmpty())
                faults << where + QStringLiteral(" is ") + type;
            else if (translation.trimmed().isEmpty())
                faults << where + QStringLiteral(" has no translation");
            else if (placeholders(translation) != placeholders(source))
                faults << where + QStringLiteral(" has other placeholders: ") + translation;
            else if (hasAccelerator(source) != hasAccelerator(translation))
                faults << where + QStringLiteral(" differs in its accelerator: ") + translation;
        }
    }
    if (xml.hasError())
        faults << path + QStringLiteral(": ") + xml.errorString();
    return faults;
}
} // namespace

class TranslationsTest : public QObject {
    Q_OBJECT

private slots:
    void everyTranslationIsCompleteForTheTextsInTheSources()
    {
        const QDir folder(QStringLiteral(HALVOREN_SOURCE_DIR "/translations"));
        const QStringList files = folder.entryList({ QStringLiteral("halvoren_*.ts") }, QDir::Files);
        QVERIFY2(files.contains(QStringLiteral("halvoren_de.ts")) && files.contains(QStringLiteral("halvoren_fr.ts")),
            qPrintable(files.join(u' ')));
        QTemporaryDir copies;
        for (const QString& name : files) {
            // lupdate on a copy adds every text of the sources that the file lacks, unfinished.
            const QString copy = copies.filePath(name);
            QVERIFY(QFile::copy(folder.filePath(name), copy));
            QProcess lupdate;
            lupdate.setWorkingDirectory(QStringLiteral(HALVOREN_SOURCE_DIR));
            lupdate.start(QStringLiteral(HALVOREN_LUPDATE),
                { QStringLiteral("-silent"), QStringLiteral("-no-obsolete"), QStringLiteral("-locations"),
                    QStringLiteral("none"), QStringLiteral("-I"), QStringLiteral(HALVOREN_SOURCE_DIR "/src"),
                    QStringLiteral("@" HALVOREN_LUPDATE_LIST), QStringLiteral("-ts"), copy });
            QVERIFY(lupdate.waitForFinished(120000));
            QCOMPARE(lupdate.exitCode(), 0);
            const QStringList faults = faultsOf(copy);
            QVERIFY2(faults.isEmpty(), qPrintable(name + QStringLiteral(":\n") + faults.join(u'\n')));
        }
    }

    // An installed program finds them below its prefix; a copy elsewhere finds none (it is
    // outside the build tree), and stays English.
    void theInstalledProgramFindsItsTranslations()
    {
        QTemporaryDir prefix;
        for (const char* folder : { "bin", "share/halvoren/translations", "other/bin" })
            QVERIFY(QDir(prefix.path()).mkpath(QString::fromLatin1(folder)));
        QCOMPARE(translationsFolder(prefix.filePath(QStringLiteral("bin"))),
            prefix.filePath(QStringLiteral("share/halvoren/translations")));
        QCOMPARE(translationsFolder(prefix.filePath(QStringLiteral("other/bin"))), QString());
    }

    void aWindowStartedInGermanSpeaksGerman()
    {
        QVERIFY(installTranslations(QLocale(QLocale::German, QLocale::Germany)));

        useProfile(freshFolder("german"));
        QString firstStartTitle;
        answerFirstStartAs(QStringLiteral("Anna Beispiel"),
            [&firstStartTitle](ContactDetailsDlg& details) { firstStartTitle = details.windowTitle(); });
        MainWindow window;
        QCOMPARE(firstStartTitle, QStringLiteral("Eigene Kontaktdaten eingeben"));
        Ui::MainWindow* ui = window.form();
        QCOMPARE(ui->menuPackage->title(), QStringLiteral("&Paket"));
        QCOMPARE(ui->dropBoxLabel->text(), QStringLiteral("<b>Dateien</b> oder <b>Paket</b> hier ablegen"));

        // Qt's own texts for standard buttons, and the core's messages, follow the same language.
        QDialogButtonBox buttons(QDialogButtonBox::Cancel);
        QCOMPARE(buttons.button(QDialogButtonBox::Cancel)->text().remove(u'&'), QStringLiteral("Abbrechen"));
        QCOMPARE(platform::errorText(win::ERROR_ACCESS_DENIED), u"Zugriff verweigert.");
        QCOMPARE(platform::userText(win::ERROR_BAD_FORMAT), u"Diese Datei ist keine gültige Halvoren-Paketdatei.");
        closeCertificateStore();
    }
};

int main(int argc, char** argv) { return runQtTest<TranslationsTest>(argc, argv); }
#include "TranslationsTest.moc"
