// The pieces that reach out to the desktop: the About box, the hand-off of a message to the mail
// program through xdg-email, and the search for the user guide.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>
#include <QUrlQuery>

#include "QtTestSupport.h"
#include "TestSupport.h"
#include "ui/AboutDialog.h"
#include "ui/desktop/HelpFile.h"
#include "ui/desktop/Launch.h"
#include "ui/desktop/MapiMail.h"
#include "ui/desktop/WebSite.h"

using namespace testing_support;

namespace {

void writeFile(const QString& path, const std::string& text) { writeText(path.toStdString(), text); }

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
    // Under the main window, which styles labels of the same object names as white on blue, the
    // About box still shows black on white; it names the program and version, links the web site
    // of the build (none without one) and closes with OK.
    void aboutDialogShowsNameVersionAndLinksAndClosesWithOk()
    {
        WebSiteTesting::setAddress(QString());
        QVERIFY(!AboutDialog().findChild<QLabel*>(QStringLiteral("label_2"))->text().contains(QStringLiteral("href")));
        WebSiteTesting::setAddress(QStringLiteral("https://halvoren.example"));
        QWidget window;
        window.setStyleSheet(QStringLiteral("QLabel#label, QLabel#label_2 { color: white; "
                                            "background: rgb(140, 190, 255); font-weight: bold; }"));
        AboutDialog dialog(&window);
        WebSiteTesting::setAddress(std::nullopt);
        auto* text = dialog.findChild<QLabel*>(QStringLiteral("label_2"));
        QTextDocument document;
        document.setHtml(text->text());
        QCOMPARE(document.toPlainText(),
            QStringLiteral("Halvoren 1.0 Beta\nSecure Files Sending for Multiple Recipients.\nVisit home page - "
                           "https://halvoren.example\nSupport - https://halvoren.example/Support"));
        const QString html = document.toHtml();
        QVERIFY2(html.contains(QStringLiteral("href=\"https://halvoren.example\""))
                && html.contains(QStringLiteral("href=\"https://halvoren.example/files/support.html\"")),
            qPrintable(html));

        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        // A corner of the text's label, where no letter reaches.
        const QImage image = dialog.grab().toImage();
        const QPoint corner = text->geometry().bottomRight() - QPoint(3, 3);
        QCOMPARE(image.pixelColor(corner * image.devicePixelRatio()), QColor(Qt::white));
        QCOMPARE(text->palette().color(QPalette::WindowText), QColor(Qt::black));
        QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("closeButton")), Qt::LeftButton);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    }

    // What reaches xdg-email: every text as one argument, byte for byte, whatever quotes, dollars
    // or non-ASCII letters it holds, and nothing of what is empty. A fake xdg-email records it;
    // then the real one, where installed, must accept it and make the mailto: address the mail
    // program gets, which its hook (xdg-email-hook.sh on PATH) takes instead, so nothing opens.
    void mailReachesXdgEmailExactly()
    {
        const QString real = QStandardPaths::findExecutable(QStringLiteral("xdg-email"));
        QTemporaryDir bin;
        const QString package = bin.filePath(QStringLiteral("Q3 $(touch pwned) 'final'; ü & more.kvx"));
        writeFile(package, {}); // the real xdg-email refuses a missing attachment
        const QString subject = QStringLiteral("Emailing: ") + QFileInfo(package).fileName();
        const auto path = pathFirst(bin.path());
        auto send = [&package] {
            MapiMail mail(0, 0);
            QVERIFY(mail.load());
            fillPackageMail(mail, package);
            QCOMPARE(mail.send(), MapiMail::Success);
        };
        writeScript(bin.filePath(QStringLiteral("xdg-email")), recorder);
        send();
        QStringList expected = { "--utf8", "--subject", subject, "--body", " " };
        for (const QString& recipient : expectedRecipients)
            expected << "--to" << recipient;
        expected << "--attach" << package;
        QCOMPARE(waitForRecord(bin.path()), expected);
        QVERIFY(!QFile::exists(bin.filePath(QStringLiteral("pwned"))));
        QVERIFY(!QFile::exists(QDir::current().filePath(QStringLiteral("pwned"))));

        if (real.isEmpty())
            QSKIP("the real xdg-email is not installed (package xdg-utils)");
        QVERIFY(QFile::remove(bin.filePath(QStringLiteral("xdg-email"))));
        writeScript(bin.filePath(QStringLiteral("xdg-email-hook.sh")), recorder);
        send();
        const QString mailto = waitForRecord(bin.path()).join(u'|');
        QVERIFY2(mailto.startsWith(QStringLiteral("mailto:?")), qPrintable(mailto));
        const QUrlQuery query(mailto.mid(QStringLiteral("mailto:?").size()));
        auto values = [&](const char* key) {
            QStringList decoded;
            for (const QString& value : query.allQueryItemValues(QString::fromLatin1(key), QUrl::FullyEncoded))
                decoded << QUrl::fromPercentEncoding(value.toLatin1());
            return decoded;
        };
        QCOMPARE(values("subject"), QStringList { subject });
        QCOMPARE(values("body"), QStringList { " " });
        QCOMPARE(values("to"), expectedRecipients);
        QCOMPARE(values("attach"), QStringList { QFileInfo(package).canonicalFilePath() });
    }

    // xdg-open starts fine where no browser is set up; only its exit and its last words tell it,
    // and those must reach the caller. (The window's mail test does the same for xdg-email.)
    void aHelperThatFindsNoProgramSaysWhy()
    {
        QTemporaryDir bin;
        writeScript(bin.filePath(QStringLiteral("xdg-open")),
            "#!/bin/sh\necho \"xdg-open: no method available for opening '$1'\" >&2\nexit 3\n");
        const auto path = pathFirst(bin.path());
        QStringList heard;
        const QUrl page(QStringLiteral("https://example.org/page"));
        openWithDesktop(page, [&](const QString& why) { heard << why; });
        QTRY_COMPARE(heard, QStringList { "xdg-open: no method available for opening 'https://example.org/page'" });
        // One that succeeds says nothing.
        writeScript(bin.filePath(QStringLiteral("xdg-open")), "#!/bin/sh\nexit 0\n");
        openWithDesktop(page, [&](const QString& why) { heard << why; });
        QTest::qWait(500);
        QCOMPARE(heard.size(), 1);
    }

    // The guide of the build tree, for a program run from there, is the flows test's Help.
    void helpFileIsFoundBesideInstalledOrInBuildTree()
    {
        QTemporaryDir root;
        const QString bin = root.filePath(QStringLiteral("usr/bin"));
        const QString installed = root.filePath(QStringLiteral("usr/share/halvoren/Halvoren.html"));
        const QString beside = bin + QStringLiteral("/Halvoren.html");
        QVERIFY(QDir().mkpath(bin) && QDir().mkpath(QFileInfo(installed).path()));
        // Outside the build tree, with no guide anywhere, there is none; the checkout's guide is
        // never taken for an installed program.
        QCOMPARE(helpFilePath(bin), QString());
        writeFile(installed, "<html></html>");
        QCOMPARE(helpFilePath(bin), installed);
        writeFile(beside, "<html></html>");
        QCOMPARE(helpFilePath(bin), beside);
        // A guide of another name, or a folder of the right name, isn't the guide.
        QVERIFY(QFile::remove(beside) && QFile::remove(installed) && QDir().mkpath(beside));
        QCOMPARE(helpFilePath(bin), QString());
        QCOMPARE(helpFilePath(QString()), QString());
    }
};

int main(int argc, char** argv)
{
    Q_INIT_RESOURCE(halvoren);
    return runQtTest<DesktopTest>(argc, argv);
}

#include "DesktopTest.moc"
