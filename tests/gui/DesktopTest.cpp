// The pieces that reach out to the desktop: the About box, the hand-off of a message to the mail
// program through xdg-email, and the search for the user guide.

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QUrlQuery>

#include "QtTestSupport.h"
#include "ui/AboutDialog.h"
#include "ui/desktop/HelpFile.h"
#include "ui/desktop/Launch.h"
#include "ui/desktop/MapiMail.h"
#include "ui/desktop/WebSite.h"

using namespace testing_support;

namespace {

// Points PATH at the given folders for as long as it lives.
class PathOverride {
public:
    explicit PathOverride(const QStringList& dirs)
        : saved(qgetenv("PATH"))
    {
        qputenv("PATH", dirs.join(QLatin1Char(':')).toLocal8Bit());
    }
    ~PathOverride() { qputenv("PATH", saved); }

private:
    QByteArray saved;
};

bool writeFile(const QString& path, const QByteArray& text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

bool writeScript(const QString& path, const QByteArray& text)
{
    return writeFile(path, text)
        && QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

// A stand-in for a program that writes its arguments, NUL-terminated, to <its folder>/<n>.args,
// renamed into place only when complete.
const QByteArray recorder = "#!/bin/sh\n"
                            "out=\"$(dirname \"$0\")/$$.args\"\n"
                            "printf '%s\\0' \"$@\" > \"$out.tmp\" && mv \"$out.tmp\" \"$out\"\n";

// Waits for the one record in `dir` and returns its arguments.
QStringList waitForRecord(const QString& dir)
{
    QStringList records;
    for (int i = 0; i < 100 && records.isEmpty(); ++i) {
        QTest::qWait(50);
        records = QDir(dir).entryList({ QStringLiteral("*.args") }, QDir::Files);
    }
    if (records.size() != 1)
        return { QStringLiteral("<%1 records>").arg(records.size()) };
    QFile file(QDir(dir).filePath(records.first()));
    if (!file.open(QIODevice::ReadOnly))
        return { QStringLiteral("<unreadable>") };
    QStringList args;
    for (const QByteArray& arg : file.readAll().split('\0'))
        args << QString::fromUtf8(arg);
    args.removeLast(); // behind the last terminator
    return args;
}

// The message of the package flow, with the awkward cases a real address book holds.
void fillPackageMail(MapiMail& mail, const QString& packagePath)
{
    mail.setSubject(QStringLiteral("Emailing: %1").arg(QFileInfo(packagePath).fileName()).toStdString());
    mail.setBody(" ");
    mail.addRecipient({ "Anna Berg", "anna@example.org" });
    mail.addRecipient({ " Berg", "bert@example.org" }); // empty first name
    mail.addRecipient({ "Carl Doe", "" }); // no address
    mail.addRecipient({ "Smith, John", "john@example.org" });
    mail.addRecipient({ QStringLiteral("Jörg \"J\" Weiß").toStdString(), "joerg@example.org" });
    mail.addAttachment({ packagePath.toStdString(), QFileInfo(packagePath).fileName().toStdString() });
}

const QStringList expectedRecipients = {
    QStringLiteral("Anna Berg <anna@example.org>"),
    QStringLiteral("Berg <bert@example.org>"),
    QStringLiteral("Carl Doe"),
    QStringLiteral("\"Smith, John\" <john@example.org>"),
    QStringLiteral("\"Jörg \\\"J\\\" Weiß\" <joerg@example.org>"),
};

} // namespace

class DesktopTest : public QObject {
    Q_OBJECT

private slots:
    void aboutDialogShowsNameVersionAndLinksAndClosesWithOk()
    {
        // Without a web site of the build the box names no links at all.
        WebSiteTesting::setAddress(QString());
        {
            AboutDialog bare;
            QVERIFY(!bare.findChild<QLabel*>(QStringLiteral("label_2"))->text().contains(QStringLiteral("href")));
        }
        WebSiteTesting::setAddress(QStringLiteral("https://halvoren.example"));
        AboutDialog dialog;
        WebSiteTesting::setAddress(std::nullopt);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("About Halvoren"));

        auto* picture = dialog.findChild<QLabel*>(QStringLiteral("label"));
        auto* text = dialog.findChild<QLabel*>(QStringLiteral("label_2"));
        auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("closeButton"));
        QVERIFY(picture && text && ok);
        QCOMPARE(ok->text(), QStringLiteral("OK"));
        QVERIFY(!picture->pixmap().isNull());
        QVERIFY(text->openExternalLinks());

        QTextDocument document;
        document.setHtml(text->text());
        QStringList paragraphs;
        QList<QPair<QString, QString>> links; // shown text, target
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            paragraphs << block.text();
            for (auto it = block.begin(); !it.atEnd(); ++it) {
                const QTextCharFormat format = it.fragment().charFormat();
                if (!format.isAnchor())
                    continue;
                links.append({ it.fragment().text(), format.anchorHref() });
            }
        }
        QCOMPARE(paragraphs,
            QStringList({ "Halvoren 1.0 Beta", "Secure Files Sending for Multiple Recipients.",
                "Visit home page - https://halvoren.example", "Support - https://halvoren.example/Support" }));
        const QList<QPair<QString, QString>> expectedLinks = {
            { "https://halvoren.example", "https://halvoren.example" },
            { "https://halvoren.example/Support", "https://halvoren.example/files/support.html" },
        };
        QCOMPARE(links, expectedLinks);

        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QTest::mouseClick(ok, Qt::LeftButton);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    }

    // The main window styles labels of the same object names as white on blue; the About box,
    // its child, must still show black on white.
    void aboutDialogKeepsItsLookUnderTheMainWindow()
    {
        QWidget window;
        window.setStyleSheet(QStringLiteral("QLabel#label, QLabel#label_2 { color: white; "
                                            "background: rgb(140, 190, 255); font-weight: bold; }"));
        AboutDialog dialog(&window);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        const QImage image = dialog.grab().toImage();
        auto* text = dialog.findChild<QLabel*>(QStringLiteral("label_2"));
        QVERIFY(text);
        // A corner of the text's label, where no letter reaches.
        const QPoint corner = text->geometry().bottomRight() - QPoint(3, 3);
        QCOMPARE(image.pixelColor(corner * image.devicePixelRatio()), QColor(Qt::white));
        QCOMPARE(text->palette().color(QPalette::WindowText), QColor(Qt::black));
    }

    // The fake xdg-email records what it was started with: every text must arrive as one argument,
    // byte for byte, whatever quotes, dollars or non-ASCII letters it holds, and what is empty
    // doesn't arrive at all.
    void mailReachesXdgEmailExactly()
    {
        QTemporaryDir bin;
        QVERIFY(bin.isValid());
        QVERIFY(writeScript(bin.filePath(QStringLiteral("xdg-email")), recorder));
        const QString package = bin.filePath(QStringLiteral("Q3 $(touch pwned) 'final'; ü.kvx"));
        PathOverride path({ bin.path(), QStringLiteral("/usr/bin"), QStringLiteral("/bin") });

        MapiMail mail(0, 0);
        QVERIFY(mail.load());
        fillPackageMail(mail, package);
        QCOMPARE(mail.send(), MapiMail::Success);

        QStringList expected = { "--utf8", "--subject", "Emailing: Q3 $(touch pwned) 'final'; ü.kvx", "--body", " " };
        for (const QString& recipient : expectedRecipients)
            expected << "--to" << recipient;
        expected << "--attach" << package;
        QCOMPARE(waitForRecord(bin.path()), expected);
        QVERIFY(!QFile::exists(bin.filePath(QStringLiteral("pwned"))));
        QVERIFY(!QFile::exists(QDir::current().filePath(QStringLiteral("pwned"))));
    }

    void mailWithoutXdgEmailDoesNothing()
    {
        QTemporaryDir empty;
        PathOverride path({ empty.path() });
        MapiMail mail(0, 0);
        QVERIFY(!mail.load());
        mail.setSubject("Emailing: x.kvx");
        QCOMPARE(mail.send(), MapiMail::Failure);
    }

    // xdg-open and xdg-email start fine where no browser or mail program is set up; only their
    // exit and their last words tell it, and those must reach the caller.
    void aHelperThatFindsNoProgramSaysWhy()
    {
        QTemporaryDir bin;
        const QByteArray noMethod
            = "#!/bin/sh\necho \"$(basename \"$0\"): no method available for opening '$1'\" >&2\nexit 3\n";
        QVERIFY(writeScript(bin.filePath(QStringLiteral("xdg-open")), noMethod));
        QVERIFY(writeScript(bin.filePath(QStringLiteral("xdg-email")), noMethod));
        PathOverride path({ bin.path(), QStringLiteral("/usr/bin"), QStringLiteral("/bin") });
        QStringList heard;
        openWithDesktop(QUrl(QStringLiteral("https://example.org/page")), [&](const QString& why) { heard << why; });
        MapiMail mail(0, 0);
        QVERIFY(mail.load());
        mail.setSubject("s");
        QCOMPARE(mail.send([&](const QString& why) { heard << why; }), MapiMail::Success);
        QTRY_COMPARE(heard.size(), 2);
        heard.sort();
        QCOMPARE(heard[0], QStringLiteral("xdg-email: no method available for opening '--utf8'"));
        QCOMPARE(heard[1], QStringLiteral("xdg-open: no method available for opening 'https://example.org/page'"));
        // One that succeeds says nothing.
        QVERIFY(writeScript(bin.filePath(QStringLiteral("xdg-open")), "#!/bin/sh\nexit 0\n"));
        openWithDesktop(QUrl(QStringLiteral("https://example.org/page")), [&](const QString& why) { heard << why; });
        QTest::qWait(500);
        QCOMPARE(heard.size(), 2);
    }

    // The real xdg-email must accept what we hand it and make the mailto: address of it that the
    // mail program gets. Its hook (xdg-email-hook.sh on PATH) takes the address instead of a mail
    // program, so nothing opens.
    void realXdgEmailMakesTheMailtoAddress()
    {
        const QString real = QStandardPaths::findExecutable(QStringLiteral("xdg-email"));
        if (real.isEmpty())
            QSKIP("xdg-email is not installed (package xdg-utils)");
        QTemporaryDir bin;
        QVERIFY(writeScript(bin.filePath(QStringLiteral("xdg-email-hook.sh")), recorder));
        const QString package = bin.filePath(QStringLiteral("Q3 report & more.kvx"));
        QFile file(package);
        QVERIFY(file.open(QIODevice::WriteOnly)); // xdg-email refuses a missing attachment
        file.close();
        PathOverride path({ bin.path(), QFileInfo(real).path(), QStringLiteral("/usr/bin"), QStringLiteral("/bin") });

        MapiMail mail(0, 0);
        QVERIFY(mail.load());
        fillPackageMail(mail, package);
        QCOMPARE(mail.send(), MapiMail::Success);

        const QStringList recorded = waitForRecord(bin.path());
        QCOMPARE(recorded.size(), 1);
        const QString mailto = recorded.first();
        QVERIFY2(mailto.startsWith(QStringLiteral("mailto:?")), qPrintable(mailto));
        const QUrlQuery query(mailto.mid(QStringLiteral("mailto:?").size()));
        auto values = [&](const char* key) {
            QStringList decoded;
            for (const QString& value : query.allQueryItemValues(QString::fromLatin1(key), QUrl::FullyEncoded))
                decoded << QUrl::fromPercentEncoding(value.toLatin1());
            return decoded;
        };
        QCOMPARE(values("subject"), QStringList({ "Emailing: Q3 report & more.kvx" }));
        QCOMPARE(values("body"), QStringList({ " " }));
        QCOMPARE(values("to"), expectedRecipients);
        QCOMPARE(values("attach"), QStringList({ QFileInfo(package).canonicalFilePath() }));
    }

    void helpFileIsFoundBesideInstalledOrInBuildTree()
    {
        QTemporaryDir root;
        QVERIFY(root.isValid());
        const QString bin = root.filePath(QStringLiteral("usr/bin"));
        const QString installed = root.filePath(QStringLiteral("usr/share/halvoren/Halvoren.html"));
        QVERIFY(QDir().mkpath(bin));
        QVERIFY(QDir().mkpath(QFileInfo(installed).path()));

        // Outside the build tree, with no guide anywhere, there is none; the checkout's guide is
        // never taken for an installed program.
        QCOMPARE(helpFilePath(bin), QString());

        QVERIFY(writeFile(installed, "<html></html>"));
        QCOMPARE(helpFilePath(bin), QFileInfo(installed).absoluteFilePath());

        const QString beside = bin + QStringLiteral("/Halvoren.html");
        QVERIFY(writeFile(beside, "<html></html>"));
        QCOMPARE(helpFilePath(bin), beside);

        // A guide of another name, or a folder of the right name, isn't the guide.
        QVERIFY(QFile::remove(beside));
        QVERIFY(QFile::remove(installed));
        QVERIFY(QDir().mkpath(beside));
        QCOMPARE(helpFilePath(bin), QString());
        QCOMPARE(helpFilePath(QString()), QString());
        // The guide of the build tree, for a program run from there, is the flows test's Help.
    }
};

int main(int argc, char** argv)
{
    Q_INIT_RESOURCE(halvoren);
    return runQtTest<DesktopTest>(argc, argv);
}

#include "DesktopTest.moc"
