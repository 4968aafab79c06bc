// The program's whole job from the window, as a user meets it: Anna makes a package for Bert, Bert
// opens it, and packages cross between the window and halvoren-cli both ways. Then the roads
// that go wrong: Cancel during a run, a damaged package, a package for someone else, and a
// source that vanished after the drop. Two profiles; every dialog answered through the seam.

#include <QApplication>
#include <QDeadlineTimer>
#include <QDialogButtonBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QLineEdit>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QSysInfo>
#include <QTest>
#include <QUrlQuery>
#include <filesystem>
#include <sys/stat.h>

#include "QtTestSupport.h"
#include "Sandbox.h"
#include "TestSupport.h"
#include "WindowSupport.h"
#include "contacts/ConfigStore.h"
#include "crypto/CertificateStore.h"
#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "ui/Dialogs.h"
#include "ui/MainWindow.h"
#include "ui/PackageThread.h"
#include "ui/contacts/ActionMan.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui/desktop/ShowInFolder.h"
#include "ui/desktop/SingleInstance.h"
#include "ui/desktop/WebSite.h"
#include "ui_MainWindow.h"

using namespace testing_support;
namespace fs = std::filesystem;
namespace answers = Dialogs::testing;

namespace {

void drop(MainWindow& window, const QList<QUrl>& urls) { dropFromOutside(window, *window.form()->dropBoxLabel, urls); }

void chooseRecipient(MainWindow& window, const QString& name)
{
    KvxListWidget* contacts = window.form()->contactListWidget;
    contacts->clearSelection();
    const auto found = contacts->findItems(name, Qt::MatchExactly);
    QVERIFY(found.size() == 1);
    found.first()->setSelected(true);
    window.form()->contactManButtonBox->button(QDialogButtonBox::Ok)->click();
    QCoreApplication::processEvents();
}

// Presses the button and waits for the run to end and the window to be Empty again.
void runAndWait(MainWindow& window)
{
    window.form()->BtnEncDec->click();
    QTRY_VERIFY_WITH_TIMEOUT(window.thread()->isFinished() && window.currentButtonState() != ButtonCancel, 60000);
    QCoreApplication::processEvents();
}

QStringList texts()
{
    QStringList list;
    for (const auto& shown : answers::shown())
        list << shown.text;
    return list;
}

bool sameTree(const fs::path& a, const fs::path& b)
{
    for (const auto& entry : fs::recursive_directory_iterator(a)) {
        if (!entry.is_regular_file())
            continue;
        const fs::path other = b / fs::relative(entry.path(), a);
        if (!fs::exists(other) || readBytes(entry.path()) != readBytes(other))
            return false;
    }
    return true;
}

int cli(const fs::path& profile, const QStringList& arguments)
{
    QProcess process;
    process.start(
        QStringLiteral(HALVOREN_CLI_PATH), QStringList { QStringLiteral("--profile"), qpath(profile) } + arguments);
    process.waitForFinished(120000);
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// The real program, started as a user starts it, in the profile below `dataHome`.
struct Started {
    std::unique_ptr<QProcess> process = std::make_unique<QProcess>();
    ~Started()
    {
        process->kill();
        process->waitForFinished(5000);
    }
};

std::unique_ptr<Started> startProgram(
    const fs::path& dataHome, const fs::path& runtime, const QStringList& arguments, const fs::path& folder = {})
{
    auto started = std::make_unique<Started>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), qpath(dataHome));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), qpath(runtime));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    started->process->setProcessEnvironment(environment);
    if (!folder.empty())
        started->process->setWorkingDirectory(qpath(folder));
    started->process->start(QStringLiteral(HALVOREN_GUI_PATH), arguments);
    started->process->waitForStarted();
    return started;
}

// Whether the program ended by itself with 0 within a few seconds, the event loop turning
// meanwhile so that a window of this process can answer it.
bool endsAtOnce(Started& started)
{
    QDeadlineTimer deadline(15000);
    while (started.process->state() != QProcess::NotRunning && !deadline.hasExpired())
        QTest::qWait(20);
    return started.process->state() == QProcess::NotRunning && started.process->exitStatus() == QProcess::NormalExit
        && started.process->exitCode() == 0;
}

const QString Done = QStringLiteral("The process of Encryption has been completed successfully.");
const QString Opened = QStringLiteral("The process of Decryption has been completed successfully.");
} // namespace

class FlowsTest : public QObject {
    Q_OBJECT

    fs::path anna, bert, sources, bertKey;
    QStringList shownInFolder;

private slots:
    void initTestCase()
    {
        answers::setStrict(true);
        // No file manager opens during the tests.
        ShowInFolder::setHooks({ [this](const QStringList& items) {
                                    shownInFolder << items;
                                    return true;
                                },
            [](const QUrl&) { return true; } });
        anna = freshFolder("anna");
        bert = freshFolder("bert");
        sources = freshFolder("sources");
        fs::create_directories(sources / "tree" / "deeper");
        writeBytes(sources / "tree" / "a.bin", randomBytes(300000, 1));
        writeBytes(sources / "tree" / "deeper" / "b.bin", randomBytes(4096, 2));
        writeText(sources / "tree" / "empty.txt", "");
        writeBytes(sources / "single.bin", randomBytes(70000, 3));

        // Bert starts for the first time and hands his key file to Anna.
        useProfile(bert);
        answerFirstStartAs(QStringLiteral("Bert Example"));
        MainWindow().show();
        bertKey = freshFolder("keys") / "bert.kvxk";
        QVERIFY(saveCertificateFile(findCertificate(u"Bert Example"), u16(bertKey)));
        useProfile(anna);
        answerFirstStartAs(QStringLiteral("Anna Example"));
        MainWindow().show();
        QCOMPARE(answers::unanswered(), 0);
    }

    void annaEncryptsForBertAndBertOpensIt()
    {
        useProfile(anna);
        answers::clear();
        auto window = std::make_unique<MainWindow>();
        window->show();

        // Bert's key file, imported through the menu.
        answers::answerPath(qpath(bertKey));
        answers::answer([](QDialog& dialog) {
            auto& details = static_cast<ContactDetailsDlg&>(dialog);
            details.setFirstName(QStringLiteral("Bert"));
            details.setLastName(QStringLiteral("Example"));
            details.setEMail(QStringLiteral("bert@example.org"));
            return int(ContactDetailsDlg::Ok);
        });
        answers::answer(QMessageBox::Ok);
        window->form()->act_MW_new_contact->trigger();
        QCOMPARE(window->form()->contactListWidget->count(), 2);

        drop(*window,
            { QUrl::fromLocalFile(qpath(sources / "tree")), QUrl::fromLocalFile(qpath(sources / "single.bin")) });
        QCOMPARE(window->files().size(), 4u);
        chooseRecipient(*window, QStringLiteral("Bert Example"));
        QVERIFY(window->form()->BtnEncDec->isEnabled());

        const fs::path package = freshFolder("made") / "for-bert";
        answers::answerPath(qpath(package)); // the suffix comes by itself
        answers::answer(QMessageBox::Ok);
        runAndWait(*window);
        QVERIFY(texts().contains(Done));
        QVERIFY(fs::exists(package.string() + ".kvx"));
        QCOMPARE(window->form()->recipientsListWidget->count(), 0);
        QCOMPARE(window->form()->lineEdit->text(), QStringLiteral("Ready"));
        QVERIFY(leftoverTempFiles().empty());
        window.reset();

        // Bert drops the package, presses Decrypt and picks a folder.
        useProfile(bert);
        answers::clear();
        window = std::make_unique<MainWindow>();
        window->show();
        drop(*window, { QUrl::fromLocalFile(qpath(package.string() + ".kvx")) });
        QCOMPARE(window->mode(), ModeDecrypt);
        const fs::path into = freshFolder("bert-got");
        answers::answerPath(qpath(into));
        answers::answer(QMessageBox::Ok);
        runAndWait(*window);
        QVERIFY(texts().contains(Opened));
        // The status line names entries the way paths read here, with slashes.
        KvxUtils::UserParameter report;
        const std::u16string entry = u"tree\\deeper\\b.bin";
        report.fileName = entry.c_str();
        QVERIFY(
            QMetaObject::invokeMethod(window.get(), "on_StatusUpdate", Qt::DirectConnection, Q_ARG(uint, OpExtractFile),
                Q_ARG(qint64, 100), Q_ARG(qint64, 37), Q_ARG(KvxUtils::UserParameter*, &report)));
        QCOMPARE(window->form()->lineEdit->text(), QStringLiteral("Extracting File: tree/deeper/b.bin"));
        // Each file comes back below the folder it was dropped from: the package carries
        // "tree\..." and "single.bin", not the sender's folders above them.
        QVERIFY(sameTree(sources, into));
        QCOMPARE(std::distance(fs::directory_iterator(into), fs::directory_iterator()), 2);
        QCOMPARE(window->mode(), ModeEncrypt);

        // The same package opens on the command line, and one made there opens in the window.
        const fs::path byCli = freshFolder("cli-got");
        QCOMPARE(cli(bert, { "decrypt", qpath(package.string() + ".kvx"), "-C", qpath(byCli) }), 0);
        QVERIFY(sameTree(sources, byCli));
        const fs::path fromCli = freshFolder("cli-made") / "from-cli.kvx";
        QCOMPARE(cli(bert, { "encrypt", "-o", qpath(fromCli), "--self", qpath(sources / "single.bin") }), 0);
        drop(*window, { QUrl::fromLocalFile(qpath(fromCli)) });
        const fs::path back = freshFolder("window-got");
        answers::answerPath(qpath(back));
        answers::answer(QMessageBox::Ok);
        runAndWait(*window);
        QVERIFY(texts().count(Opened) == 2);
        bool found = false;
        for (const auto& entry : fs::recursive_directory_iterator(back))
            found = found
                || (entry.path().filename() == "single.bin"
                    && readBytes(entry.path()) == readBytes(sources / "single.bin"));
        QVERIFY(found);
        QCOMPARE(answers::unanswered(), 0);
    }

    // One profile, two programs: what the window filed the command line sees, and what the command
    // line changes appears in the open window.
    void contactsChangedOnTheCommandLineAppearInTheOpenWindow()
    {
        // Anna's window imported Bert in the test before.
        QProcess list;
        list.start(QStringLiteral(HALVOREN_CLI_PATH), { "--profile", qpath(anna), "contacts", "list" });
        QVERIFY(list.waitForFinished(60000));
        QVERIFY(QString::fromUtf8(list.readAllStandardOutput()).contains(QStringLiteral("Bert Example")));

        const fs::path cora = freshFolder("cora");
        const fs::path coraKey = cora / "cora.kvxk";
        QCOMPARE(cli(cora, { "identity", "create", "Cora Example" }), 0);
        QCOMPARE(cli(cora, { "identity", "export", "-o", qpath(coraKey) }), 0);

        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        KvxListWidget* contacts = window.form()->contactListWidget;
        const int before = contacts->count();
        // Bert waits among the recipients, selected; the change outside keeps him there.
        chooseRecipient(window, QStringLiteral("Bert Example"));
        window.form()->recipientsListWidget->item(0)->setSelected(true);

        QCOMPARE(cli(anna, { "contacts", "import", qpath(coraKey) }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(
            contacts->findItems(QStringLiteral("Cora Example"), Qt::MatchExactly).size(), 1, 10000);
        QCOMPARE(contacts->count(), before);
        QCOMPARE(window.form()->recipientsListWidget->count(), 1);
        QVERIFY(window.form()->recipientsListWidget->item(0)->isSelected());

        QCOMPARE(cli(anna, { "contacts", "remove", "Cora Example" }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(
            contacts->findItems(QStringLiteral("Cora Example"), Qt::MatchExactly).size(), 0, 10000);
        QCOMPARE(window.form()->recipientsListWidget->item(0)->text(), QStringLiteral("Bert Example"));
        QVERIFY(answers::shown().isEmpty());
    }

    void cancelDuringARunWritesNothingAndKeepsTheCollection()
    {
        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        const fs::path big = freshFolder("big") / "big.bin";
        writeBytes(big, randomBytes(48 << 20, 4));
        drop(window, { QUrl::fromLocalFile(qpath(big)) });
        chooseRecipient(window, QStringLiteral("Anna Example"));
        const fs::path package = freshFolder("cancelled") / "never.kvx";
        answers::answerPath(qpath(package));
        window.form()->BtnEncDec->click();
        QCOMPARE(window.form()->BtnEncDec->text(), QStringLiteral("Cancel"));
        QTRY_VERIFY(window.form()->progressBar->value() > 0 || window.thread()->isFinished());
        window.form()->BtnEncDec->click();
        QTRY_VERIFY_WITH_TIMEOUT(window.thread()->isFinished() && window.currentButtonState() == ButtonEncrypt, 60000);
        QVERIFY(!fs::exists(package));
        QVERIFY(leftoverTempFiles().empty());
        QVERIFY(answers::shown().isEmpty()); // a stopped run ends without a report
        // Back to where it was before Encrypt: the files, the recipient, and a way to try again.
        QCOMPARE(window.files().size(), 1u);
        QCOMPARE(window.form()->recipientsListWidget->count(), 1);
        QCOMPARE(window.form()->contactListWidget->count(), 1);
        QCOMPARE(window.mode(), ModeEncrypt);
        QVERIFY(window.form()->BtnEncDec->isEnabled());
        QCOMPARE(window.form()->lineEdit->text(), QStringLiteral("Stopped. No package was written."));
        QVERIFY(window.form()->menuBar->isEnabled());
    }

    void aNameTypedWithoutTheSuffixIsAskedAboutBeforeReplacing()
    {
        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        const fs::path folder = freshFolder("suffix");
        // The FIFO beside the file is left out, and the completion report says so.
        fs::create_directories(folder / "in");
        fs::copy_file(sources / "single.bin", folder / "in" / "single.bin");
        QCOMPARE(::mkfifo((folder / "in" / "fifo").c_str(), 0600), 0);
        drop(window, { QUrl::fromLocalFile(qpath(folder / "in")) });
        QCOMPARE(window.files().size(), 1u);
        chooseRecipient(window, QStringLiteral("Anna Example"));
        writeText(folder / "pkg.kvx", "an earlier package");
        answers::answerPath(qpath(folder / "pkg"));
        answers::answer(QMessageBox::No);
        window.form()->BtnEncDec->click();
        QCOMPARE(answers::shown().size(), 1);
        QVERIFY(answers::shown().first().text.contains(qpath(folder / "pkg.kvx") + QStringLiteral(" already exists")));
        QVERIFY(!window.thread()->isRunning());
        QCOMPARE(readText(folder / "pkg.kvx"), std::string("an earlier package"));

        answers::answerPath(qpath(folder / "pkg"));
        answers::answer(QMessageBox::Yes);
        answers::answer(QMessageBox::Ok);
        runAndWait(window);
        QCOMPARE(texts().last(),
            Done
                + QStringLiteral(
                    "\n\n1 item that is not a file (a socket, FIFO, device or broken link) was left out."));
        QVERIFY(fs::file_size(folder / "pkg.kvx") > 100);
        QCOMPARE(answers::unanswered(), 0);
    }

    void aFailedRunSaysWhyAndNamesAreNeverMarkup()
    {
        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        drop(window, { QUrl::fromLocalFile(qpath(sources / "single.bin")) });
        chooseRecipient(window, QStringLiteral("Anna Example"));
        // A folder that doesn't exist, named to look like a headline.
        const QString trap = QStringLiteral("<h1><font color=red>PACKAGE VERIFIED</font></h1>");
        const QString package = qpath(freshFolder("markup")) + u'/' + trap + QStringLiteral("/p.kvx");
        answers::answerPath(package);
        QStringList seen;
        bool plain = true;
        answers::answerMessage([&](QMessageBox& box) {
            seen << box.text();
            plain = box.textFormat() == Qt::PlainText;
            return int(QMessageBox::Ok);
        });
        window.form()->BtnEncDec->click();
        QTRY_VERIFY_WITH_TIMEOUT(window.thread()->isFinished() && window.currentButtonState() == ButtonEncrypt, 60000);
        QCoreApplication::processEvents();
        QCOMPARE(seen.size(), 1);
        QVERIFY(plain);
        const QString last = seen.last();
        QVERIFY2(last.startsWith(QStringLiteral("The process of Encryption failed.")), qPrintable(last));
        QVERIFY2(last.contains(trap + QStringLiteral("/p.kvx: The system cannot find")), qPrintable(last));
        QCOMPARE(window.files().size(), 1u);
        QCOMPARE(window.form()->lineEdit->text(), QStringLiteral("Failed. No package was written."));
        QCOMPARE(answers::unanswered(), 0);
    }

    void packagesThatCantBeOpenedSayWhy()
    {
        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        const QString invalid = QStringLiteral("This file is not a valid Halvoren package file.");
        const QString notForYou
            = QStringLiteral("The package cannot be decrypted. You are not in the list of recipients "
                             "who can view the files, you will not be able to access it.");

        const fs::path damaged = freshFolder("damaged") / "damaged.kvx";
        writeBytes(damaged, randomBytes(5000, 5));
        drop(window, { QUrl::fromLocalFile(qpath(damaged)) });
        answers::answerPath(qpath(freshFolder("damaged-out")));
        answers::answer(QMessageBox::Ok);
        runAndWait(window);
        QCOMPARE(texts(), QStringList { invalid });
        QCOMPARE(answers::shown().first().icon, QMessageBox::Critical);

        // Shorter than a header: the same words, not the reader's own code.
        const fs::path stub = freshFolder("stub") / "stub.kvx";
        writeBytes(stub, randomBytes(10, 6));
        answers::clear();
        drop(window, { QUrl::fromLocalFile(qpath(stub)) });
        answers::answerPath(qpath(freshFolder("stub-out")));
        answers::answer(QMessageBox::Ok);
        runAndWait(window);
        QCOMPARE(texts(), QStringList { invalid });

        // Made by Bert for himself alone.
        const fs::path foreign = freshFolder("foreign") / "bert-only.kvx";
        QCOMPARE(cli(bert, { "encrypt", "-o", qpath(foreign), "--self", qpath(sources / "single.bin") }), 0);
        answers::clear();
        drop(window, { QUrl::fromLocalFile(qpath(foreign)) });
        const fs::path out = freshFolder("foreign-out");
        answers::answerPath(qpath(out));
        answers::answer(QMessageBox::Ok);
        runAndWait(window);
        QCOMPARE(texts(), QStringList { notForYou });
        QVERIFY(fs::is_empty(out));
        QCOMPARE(answers::unanswered(), 0);
    }

    void aVanishedSourceIsAskedAboutAndIgnoreHoldsForTheRun()
    {
        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        const fs::path folder = freshFolder("vanishing");
        for (const char* name : { "keep.txt", "gone1.txt", "gone2.txt" })
            writeText(folder / name, name);
        drop(window, { QUrl::fromLocalFile(qpath(folder)) });
        QCOMPARE(window.files().size(), 3u);
        fs::remove(folder / "gone1.txt");
        fs::remove(folder / "gone2.txt");
        chooseRecipient(window, QStringLiteral("Anna Example"));
        const fs::path package = freshFolder("vanished") / "partial.kvx";
        answers::answerPath(qpath(package));
        answers::answer(QMessageBox::Ignore);
        answers::answer(QMessageBox::Ok);
        runAndWait(window);
        // One question for two missing files of the same code, naming the file.
        QCOMPARE(answers::shown().size(), 2);
        const auto& question = answers::shown().first();
        QCOMPARE(question.icon, QMessageBox::Warning);
        QVERIFY(question.text.startsWith(QStringLiteral("An error occurred while processing:<br><b>")));
        QVERIFY(question.text.contains(QStringLiteral("gone")));
        QCOMPARE(question.buttons.size(), 3);
        QCOMPARE(question.buttons.first(), QStringLiteral("Continue"));
        QVERIFY(fs::exists(package));

        // Cancel at the question stops the run: no package, no report.
        answers::clear();
        writeText(folder / "gone1.txt", "back");
        drop(window, { QUrl::fromLocalFile(qpath(folder)) });
        fs::remove(folder / "gone1.txt");
        chooseRecipient(window, QStringLiteral("Anna Example"));
        const fs::path second = freshFolder("vanished2") / "none.kvx";
        answers::answerPath(qpath(second));
        answers::answer(QMessageBox::Cancel);
        runAndWait(window);
        QCOMPARE(answers::shown().size(), 1);
        QVERIFY(!fs::exists(second));
        QCOMPARE(answers::unanswered(), 0);
    }

    void mailHandsPackageAndKeyToTheMailProgram()
    {
        // A stand-in for xdg-email that writes down its arguments, one a line.
        const fs::path bin = freshFolder("bin");
        const fs::path record = bin / "arguments";
        writeText(bin / "xdg-email",
            "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done > \"$MAIL_RECORD.part\"\n"
            "mv \"$MAIL_RECORD.part\" \"$MAIL_RECORD\"\n");
        fs::permissions(bin / "xdg-email", fs::perms::owner_all);
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QByteArray(bin.string().c_str()) + ':' + path);
        qputenv("MAIL_RECORD", QByteArray(record.string().c_str()));
        auto recorded = [&] {
            QStringList lines;
            QFile file(qpath(record));
            if (file.open(QIODevice::ReadOnly))
                lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
            return lines;
        };

        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        drop(window, { QUrl::fromLocalFile(qpath(sources / "single.bin")) });
        chooseRecipient(window, QStringLiteral("Bert Example"));
        const fs::path package = freshFolder("mailed") / "to-bert.kvx";
        answers::answerPath(qpath(package));
        QCOMPARE(window.form()->BtnEncDec->actions().size(), 1);
        window.form()->BtnEncDec->actions().first()->trigger(); // "Encrypt and Email"
        QTRY_VERIFY_WITH_TIMEOUT(window.thread()->isFinished() && window.currentButtonState() == ButtonEncrypt, 60000);
        QTRY_VERIFY(fs::exists(record));
        QCOMPARE(recorded(),
            (QStringList { "--utf8", "--subject", "Emailing: to-bert.kvx", "--body", " ", "--to",
                "Bert Example <bert@example.org>", "--attach", qpath(package) }));
        QVERIFY(answers::shown().isEmpty()); // the mail replaces the completion report

        // The own key: written into a private folder of its own and attached, with no recipient.
        // A link planted at the key's name in the shared temporary folder leads nowhere.
        const fs::path tmp = qgetenv("TMPDIR").toStdString();
        writeText(tmp / "planted", "planted");
        fs::create_symlink(tmp / "planted", tmp / "Anna Example.kvxk");
        fs::remove(record);
        window.form()->act_MW_email_key->trigger();
        QTRY_VERIFY(fs::exists(record));
        QCOMPARE(recorded().size(), 7);
        const fs::path keyFile = recorded().last().toStdString();
        QCOMPARE(recorded(),
            (QStringList {
                "--utf8", "--subject", "Emailing:   Key File.", "--body", " ", "--attach", qpath(keyFile) }));
        QCOMPARE(keyFile.filename().string(), std::string("Anna Example.kvxk"));
        QCOMPARE(keyFile.parent_path().parent_path(), tmp);
        QCOMPARE(fs::status(keyFile.parent_path()).permissions() & fs::perms::all, fs::perms::owner_all);
        QCOMPARE(readText(tmp / "planted"), std::string("planted"));
        QVERIFY(readBytes(keyFile) == [] {
            const fs::path copy = freshFolder("ownkey") / "own.kvxk";
            saveCertificateFile(ownCertificate(), u16(copy));
            return readBytes(copy);
        }());

        // Where xdg-email runs but finds no mail program, and where it isn't installed at all, the
        // user hears why and where the file lies, and can have it shown to attach it by hand.
        writeText(bin / "xdg-email",
            "#!/bin/sh\necho \"xdg-email: no method available for opening 'mailto:'\" >&2\nexit 3\n");
        answers::answer(QStringLiteral("Show in File Manager"));
        window.form()->act_MW_email_key->trigger();
        QTRY_COMPARE(answers::shown().size(), 1);
        QVERIFY(answers::shown()[0].text.contains(QStringLiteral("xdg-email: no method available")));
        QVERIFY(answers::shown()[0].text.contains(QStringLiteral("Anna Example.kvxk")));
        QVERIFY(QUrl(shownInFolder.last()).toLocalFile().endsWith(QStringLiteral("/Anna Example.kvxk")));
        qputenv("PATH", QByteArray(freshFolder("nobin").string().c_str()));
        answers::answer(QMessageBox::Ok);
        window.form()->act_MW_email_key->trigger();
        qputenv("PATH", path);
        QCOMPARE(answers::shown().size(), 2);
        QVERIFY(answers::shown()[1].text.contains(
            QStringLiteral("xdg-email, which hands messages to the mail program, is not installed")));
        QCOMPARE(answers::unanswered(), 0);
    }

    void helpUpdatesAndFeedbackOpenTheirPages()
    {
        useProfile(anna);
        answers::clear();
        // A build without a web site has no update check and no feedback page to offer.
        WebSiteTesting::setAddress(QString());
        {
            MainWindow window;
            QVERIFY(!window.form()->act_MW_check_updates->isVisible());
            QVERIFY(!window.form()->act_MW_give_feedback->isVisible());
        }
        WebSiteTesting::setAddress(QStringLiteral("https://updates.example.org/"));
        MainWindow window;
        QVERIFY(window.form()->act_MW_check_updates->isVisible());
        window.form()->act_MW_check_updates->trigger();
        window.form()->act_MW_give_feedback->trigger();
        window.form()->act_MW_help->trigger();
        WebSiteTesting::setAddress(std::nullopt);
        const QList<QUrl> opened = answers::openedUrls();
        QCOMPARE(opened.size(), 3);
        // The query names the architecture and the version, never the machine's kernel.
        const QUrlQuery query(opened[0]);
        QCOMPARE(
            opened[0].toString(QUrl::RemoveQuery), QStringLiteral("https://updates.example.org/update/update.php"));
        QCOMPARE(query.queryItemValue(QStringLiteral("appver")), QStringLiteral("1.0"));
        QVERIFY(!query.hasQueryItem(QStringLiteral("osver")));
        if (QSysInfo::currentCpuArchitecture() == QLatin1String("x86_64"))
            QCOMPARE(query.queryItemValue(QStringLiteral("osarc")), QStringLiteral("x64"));
        QCOMPARE(opened[1].toString(), QStringLiteral("https://updates.example.org/files/support.html"));
        // The guide of the build tree the test runs in.
        QVERIFY(opened[2].isLocalFile());
        QVERIFY(fs::exists(opened[2].toLocalFile().toStdString()));
        QVERIFY(opened[2].toLocalFile().endsWith(QStringLiteral("docs/Halvoren.html")));

        // Where no browser is set up, the user is told why and given the guide's path.
        answers::failNextOpen(QStringLiteral("xdg-open: no method available"));
        answers::answer(QMessageBox::Ok);
        window.form()->act_MW_help->trigger();
        QCOMPARE(answers::shown().size(), 1);
        QVERIFY(answers::shown()[0].text.contains(QStringLiteral("xdg-open: no method available")));
        QVERIFY(answers::shown()[0].text.contains(opened[2].toLocalFile()));
        QCOMPARE(answers::unanswered(), 0);
    }

    // Collections that can't become a package are refused before anything is written, with the
    // names at fault; the collection waits for the user.
    void collectionsThatCantBePackedAreRefusedBeforeAnythingIsWritten()
    {
        useProfile(anna);
        const fs::path folder = freshFolder("refused");
        for (const char* sub : { "slash", "a/report", "b/report", "own" })
            fs::create_directories(folder / sub);
        writeText(folder / "slash" / "plain.txt", "ok");
        writeText(folder / "slash" / "odd\\name.txt", "odd");
        for (const char* side : { "a", "b" })
            writeText(folder / side / "report" / "f.txt", side);
        writeText(folder / "own" / "notes.txt", "notes");
        writeText(folder / "own" / "report.kvx", "the only copy");
        struct Case {
            QList<QUrl> dropped;
            QString savedAs; // empty: no save dialog may come
            QStringList named;
        };
        const QList<Case> cases {
            { { QUrl::fromLocalFile(qpath(folder / "slash")) }, {}, { "odd\\name.txt" } },
            { { QUrl::fromLocalFile(qpath(folder / "a" / "report")),
                  QUrl::fromLocalFile(qpath(folder / "b" / "report")) },
                {}, { qpath(folder / "a" / "report" / "f.txt"), qpath(folder / "b" / "report" / "f.txt") } },
            // The user picks the name of an older package among the files for the new one.
            { { QUrl::fromLocalFile(qpath(folder / "own")) }, qpath(folder / "own" / "report.kvx"),
                { "one of the files to encrypt" } },
        };
        for (const Case& refused : cases) {
            answers::clear();
            MainWindow window;
            window.show();
            drop(window, refused.dropped);
            chooseRecipient(window, QStringLiteral("Anna Example"));
            if (!refused.savedAs.isEmpty())
                answers::answerPath(refused.savedAs);
            answers::answer(QMessageBox::Ok);
            window.form()->BtnEncDec->click();
            QCoreApplication::processEvents();
            QCOMPARE(answers::shown().size(), 1);
            for (const QString& name : refused.named)
                QVERIFY2(answers::shown().first().text.contains(name), qPrintable(answers::shown().first().text));
            QVERIFY(!window.thread()->isRunning());
            QCOMPARE(window.currentButtonState(), ButtonEncrypt);
            QCOMPARE(window.files().size(), 2u);
            QCOMPARE(answers::unanswered(), 0);
            QCOMPARE(answers::pendingAnswers(), 0);
        }
        QCOMPARE(readText(folder / "own" / "report.kvx"), std::string("the only copy"));
    }

    void theOptionsForMyselfAndForQuietRunsHold()
    {
        useProfile(anna);
        answers::clear();
        // "Automatically encrypt files for myself" and "Do not notify when operation is completed".
        auto setOptions = [](bool on) {
            ConfigStore config;
            return config.load(configPath()).ok() && config.setBool(ConfigKey::AutomaticallyAddToRecipients, on)
                && config.setBool(ConfigKey::DoNotCompletitionNotify, on);
        };
        QVERIFY(setOptions(true));
        const fs::path package = freshFolder("for-both") / "both.kvx";
        {
            MainWindow window;
            window.show();
            drop(window, { QUrl::fromLocalFile(qpath(sources / "single.bin")) });
            chooseRecipient(window, QStringLiteral("Bert Example"));
            answers::answerPath(qpath(package));
            runAndWait(window);
            // A quiet run ends without a report; the status line tells it.
            QVERIFY(answers::shown().isEmpty());
            QCOMPARE(window.form()->lineEdit->text(), QStringLiteral("Ready"));
        }
        // The maker opens the package she made for Bert alone, and so does Bert.
        for (const fs::path& who : { anna, bert }) {
            const fs::path out = freshFolder("opened");
            QCOMPARE(cli(who, { "decrypt", qpath(package), "-C", qpath(out) }), 0);
            QCOMPARE(readBytes(out / "single.bin"), readBytes(sources / "single.bin"));
        }
        QVERIFY(setOptions(false));
        QCOMPARE(answers::unanswered(), 0);
    }

    void aSecondStartHandsItsArgumentsToTheRunningWindow()
    {
        // One program per profile: the folder that the started program finds through
        // XDG_DATA_HOME is Anna's, whose window runs in this process.
        const fs::path home = freshFolder("second-start");
        fs::create_directory_symlink(anna, home / "Halvoren");
        const fs::path runtime = freshFolder("runtime");
        fs::permissions(runtime, fs::perms::owner_all);
        qputenv("XDG_RUNTIME_DIR", qpath(runtime).toLocal8Bit());
        useProfile(anna);
        answers::clear();
        MainWindow window;
        window.show();
        SingleInstance first(qpath(home / "Halvoren"));
        QVERIFY(first.start({ "halvoren" }) == SingleInstance::Role::First);
        first.setReceiver([&window](const QStringList& arguments) { window.acceptHandedArguments(arguments); });

        // Names relative to where the second start ran, several at once: added as a drop adds them.
        auto second = startProgram(home, runtime, { "tree", "single.bin" }, sources);
        QVERIFY(endsAtOnce(*second));
        QTRY_COMPARE(window.files().size(), 4u);
        QVERIFY(window.files().count(qpath(sources / "tree" / "deeper" / "b.bin").toStdU16String()));

        // One package opens for decryption, replacing the collection, and the title names it.
        const fs::path package = freshFolder("handed") / "report.kvx";
        writeText(package, "a package");
        second = startProgram(home, runtime, { qpath(package) });
        QVERIFY(endsAtOnce(*second));
        QTRY_COMPARE(window.mode(), ModeDecrypt);
        QCOMPARE(window.currentPackagePath(), qpath(package));
        QVERIFY(window.windowTitle().startsWith(QStringLiteral("report.kvx")));
        window.form()->act_MW_close_package->trigger();

        // Two real programs on a profile of their own: the second ends at once, the first
        // keeps running; a first that was killed leaves a lock that the next start takes over.
        const fs::path cleo = freshFolder("cleo-home");
        QCOMPARE(cli(cleo / "Halvoren", { "identity", "create", "Cleo Example" }), 0);
        auto running = startProgram(cleo, runtime, {});
        QTest::qWait(1500);
        QCOMPARE(running->process->state(), QProcess::Running);
        auto again = startProgram(cleo, runtime, {});
        QVERIFY(endsAtOnce(*again));
        QCOMPARE(running->process->state(), QProcess::Running);
        running->process->kill();
        running->process->waitForFinished();
        auto afterCrash = startProgram(cleo, runtime, {});
        QTest::qWait(1500);
        QCOMPARE(afterCrash->process->state(), QProcess::Running);
        again = startProgram(cleo, runtime, {});
        QVERIFY(endsAtOnce(*again));
    }

    void cleanupTestCase() { closeCertificateStore(); }
};

int main(int argc, char** argv) { return runQtTest<FlowsTest>(argc, argv); }

#include "FlowsTest.moc"
