// The program's whole job from the window, as a user meets it: Anna makes a package for Bert, Bert
// opens it, and halvoren-cli opens what the window made. Then the roads
// that go wrong: Cancel during a run, a damaged package, a package for someone else, and a
// source that vanished after the drop. Two profiles; every dialog answered through the seam.

#include <QDeadlineTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QSysInfo>
#include <QUrlQuery>
#include <sys/stat.h>

#include "WindowSupport.h"
#include "contacts/ConfigStore.h"
#include "ui/PackageThread.h"
#include "ui/desktop/ShowInFolder.h"
#include "ui/desktop/SingleInstance.h"
#include "ui/desktop/WebSite.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

// The window of `profile`, shown, with nothing left from the case before.
std::unique_ptr<MainWindow> openWindow(const fs::path& profile)
{
    useProfile(profile);
    answers::clear();
    auto window = std::make_unique<MainWindow>();
    window->show();
    return window;
}

// Drops `urls` and makes `recipient` the one recipient.
void collect(MainWindow& window, const QList<QUrl>& urls, const QString& recipient = QStringLiteral("Anna Example"))
{
    QVERIFY(dropOnWindow(window, urls));
    toRecipients(window, recipient);
}

void waitForTheRunToEnd(MainWindow& window)
{
    QTRY_VERIFY_WITH_TIMEOUT(window.thread()->isFinished() && window.currentButtonState() != ButtonCancel, 60000);
    QCoreApplication::processEvents();
}

// Presses the button and waits for the run to end and the window to be Empty again.
void runAndWait(MainWindow& window)
{
    window.form()->BtnEncDec->click();
    waitForTheRunToEnd(window);
}

// Drops the package, presses Decrypt, picks `into` and accepts the report.
void decrypt(MainWindow& window, const fs::path& package, const fs::path& into)
{
    QVERIFY(dropOnWindow(window, { fileUrl(package) }));
    answers::answerPath(qpath(into));
    answers::answer(QMessageBox::Ok);
    runAndWait(window);
}

QStringList texts()
{
    QStringList list;
    for (const auto& shown : answers::shown())
        list << shown.text;
    return list;
}

int cli(const fs::path& profile, const QStringList& arguments, QString* output = nullptr)
{
    QProcess process;
    process.start(
        QStringLiteral(HALVOREN_CLI_PATH), QStringList { QStringLiteral("--profile"), qpath(profile) } + arguments);
    process.waitForFinished(120000);
    if (output)
        *output = QString::fromUtf8(process.readAllStandardOutput());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// A program that is killed, if still running, when it goes.
struct Kill {
    void operator()(QProcess* process) const { process->kill(), process->waitForFinished(5000), delete process; }
};
using Started = std::unique_ptr<QProcess, Kill>;

// The real program, started as a user starts it, in the profile below `dataHome`.
Started startProgram(
    const fs::path& dataHome, const fs::path& runtime, const QStringList& arguments, const fs::path& folder = {})
{
    Started started(new QProcess);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), qpath(dataHome));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), qpath(runtime));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    started->setProcessEnvironment(environment);
    started->setWorkingDirectory(folder.empty() ? QDir::currentPath() : qpath(folder));
    started->start(QStringLiteral(HALVOREN_GUI_PATH), arguments);
    started->waitForStarted();
    return started;
}

// Whether the program ended by itself with 0 within a few seconds, the event loop turning
// meanwhile so that a window of this process can answer it.
bool endsAtOnce(const Started& started)
{
    QDeadlineTimer deadline(15000);
    while (started->state() != QProcess::NotRunning && !deadline.hasExpired())
        QTest::qWait(20);
    return started->state() == QProcess::NotRunning && started->exitStatus() == QProcess::NormalExit
        && started->exitCode() == 0;
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

    // Every dialog a test met was answered. A loop that opens the window anew, which clears the
    // count, checks each round itself.
    void cleanup() { QCOMPARE(answers::unanswered(), 0); }

    void annaEncryptsForBertAndBertOpensIt()
    {
        auto window = openWindow(anna);
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
        collect(
            *window, { fileUrl(sources / "tree"), fileUrl(sources / "single.bin") }, QStringLiteral("Bert Example"));
        const fs::path package = freshFolder("made") / "for-bert";
        answers::answerPath(qpath(package)); // the suffix comes by itself
        answers::answer(QMessageBox::Ok);
        runAndWait(*window);
        QVERIFY(texts().contains(Done));
        QCOMPARE(window->form()->recipientsListWidget->count(), 0);
        QVERIFY(leftoverTempFiles().empty());

        // Bert drops the package, presses Decrypt and picks a folder.
        window = openWindow(bert);
        const fs::path into = freshFolder("bert-got");
        decrypt(*window, package.string() + ".kvx", into);
        QVERIFY(texts().contains(Opened));
        QCOMPARE(window->mode(), ModeEncrypt);
        // Each file comes back below the folder it was dropped from: the package carries
        // "tree\..." and "single.bin", not the sender's folders above them.
        QVERIFY(treeContents(into) == treeContents(sources));
        // The status line names entries the way paths read here, with slashes.
        KvxUtils::UserParameter report;
        report.fileName = u"tree\\deeper\\b.bin";
        QVERIFY(
            QMetaObject::invokeMethod(window.get(), "on_StatusUpdate", Qt::DirectConnection, Q_ARG(uint, OpExtractFile),
                Q_ARG(qint64, 100), Q_ARG(qint64, 37), Q_ARG(KvxUtils::UserParameter*, &report)));
        QCOMPARE(window->form()->lineEdit->text(), QStringLiteral("Extracting File: tree/deeper/b.bin"));
    }

    // One profile, two programs: what the window filed the command line sees, and what the command
    // line changes appears in the open window.
    void contactsChangedOnTheCommandLineAppearInTheOpenWindow()
    {
        // Anna's window imported Bert in the test before.
        QString listed;
        QCOMPARE(cli(anna, { "contacts", "list" }, &listed), 0);
        QVERIFY(listed.contains(QStringLiteral("Bert Example")));
        const fs::path cora = freshFolder("cora");
        QCOMPARE(cli(cora, { "identity", "create", "Cora Example" }), 0);
        QCOMPARE(cli(cora, { "identity", "export", "-o", qpath(cora / "cora.kvxk") }), 0);

        auto window = openWindow(anna);
        KvxListWidget* contacts = window->form()->contactListWidget;
        KvxListWidget* recipients = window->form()->recipientsListWidget;
        const int before = contacts->count();
        auto coras = [&] { return contacts->findItems(QStringLiteral("Cora Example"), Qt::MatchExactly).size(); };
        // Bert waits among the recipients, selected; the change outside keeps him there.
        toRecipients(*window, QStringLiteral("Bert Example"));
        recipients->item(0)->setSelected(true);

        QCOMPARE(cli(anna, { "contacts", "import", qpath(cora / "cora.kvxk") }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(coras(), 1, 10000);
        QCOMPARE(contacts->count(), before);
        QCOMPARE(recipients->count(), 1);
        QVERIFY(recipients->item(0)->isSelected());
        QCOMPARE(cli(anna, { "contacts", "remove", "Cora Example" }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(coras(), 0, 10000);
        QCOMPARE(recipients->item(0)->text(), QStringLiteral("Bert Example"));
        QVERIFY(answers::shown().isEmpty());
    }

    // Cancel during a run, or a close of the window: nothing is written, nothing is reported.
    void cancelOrCloseDuringARunWritesNothing()
    {
        auto window = openWindow(anna);
        Ui::MainWindow* ui = window->form();
        const fs::path big = freshFolder("big") / "big.bin";
        writeBytes(big, randomBytes(48 << 20, 4));
        collect(*window, { fileUrl(big) });
        const fs::path package = freshFolder("cancelled") / "never.kvx";
        answers::answerPath(qpath(package));
        ui->BtnEncDec->click();
        QCOMPARE(ui->BtnEncDec->text(), QStringLiteral("Cancel"));
        QTRY_VERIFY(ui->progressBar->value() > 0 || window->thread()->isFinished());
        auto nothingWritten
            = [&] { return !fs::exists(package) && leftoverTempFiles().empty() && answers::shown().isEmpty(); };
        runAndWait(*window);
        QVERIFY(nothingWritten());
        // Back to where it was before Encrypt: the files, the recipient, and a way to try again.
        QCOMPARE(std::tuple(window->files().size(), ui->recipientsListWidget->count(), ui->contactListWidget->count()),
            std::tuple(std::size_t(1), 1, 1));
        QVERIFY(ui->BtnEncDec->isEnabled() && ui->menuBar->isEnabled());
        QCOMPARE(ui->lineEdit->text(), QStringLiteral("Stopped. No package was written."));

        // The window stays until the worker has stopped; the close then comes back through the
        // queue, is accepted, and the window ends once.
        QSignalSpy closing(window.get(), &MainWindow::kvxClosing);
        answers::answerPath(qpath(package));
        ui->BtnEncDec->click();
        QVERIFY(window->thread()->isRunning());
        QVERIFY(!ui->menuBar->isEnabled());
        window->close();
        window->close();
        QVERIFY(window->isVisible() && window->isCancelRequested());
        QTRY_VERIFY_WITH_TIMEOUT(!window->isVisible(), 60000);
        QCOMPARE(closing.count(), 1);
        QVERIFY(window->thread()->isFinished());
        QVERIFY(nothingWritten());
    }

    void aNameTypedWithoutTheSuffixIsAskedAboutBeforeReplacing()
    {
        auto window = openWindow(anna);
        const fs::path folder = freshFolder("suffix");
        // The FIFO beside the file is left out, and the completion report says so.
        fs::create_directories(folder / "in");
        fs::copy_file(sources / "single.bin", folder / "in" / "single.bin");
        QCOMPARE(::mkfifo((folder / "in" / "fifo").c_str(), 0600), 0);
        collect(*window, { fileUrl(folder / "in") });
        QCOMPARE(window->files().size(), 1u);
        writeText(folder / "pkg.kvx", "an earlier package");
        answers::answerPath(qpath(folder / "pkg"));
        answers::answer(QMessageBox::No);
        window->form()->BtnEncDec->click();
        QCOMPARE(texts().size(), 1);
        QVERIFY(texts().first().contains(qpath(folder / "pkg.kvx") + QStringLiteral(" already exists")));
        QVERIFY(!window->thread()->isRunning());
        QCOMPARE(readText(folder / "pkg.kvx"), std::string("an earlier package"));

        answers::answerPath(qpath(folder / "pkg"));
        answers::answer(QMessageBox::Yes);
        answers::answer(QMessageBox::Ok);
        runAndWait(*window);
        QCOMPARE(texts().last(),
            Done
                + QStringLiteral(
                    "\n\n1 item that is not a file (a socket, FIFO, device or broken link) was left out."));
        QVERIFY(fs::file_size(folder / "pkg.kvx") > 100);
    }

    void aFailedRunSaysWhyAndNamesAreNeverMarkup()
    {
        auto window = openWindow(anna);
        collect(*window, { fileUrl(sources / "single.bin") });
        // A folder that doesn't exist, named to look like a headline.
        const QString trap = QStringLiteral("<h1><font color=red>PACKAGE VERIFIED</font></h1>");
        answers::answerPath(qpath(freshFolder("markup")) + u'/' + trap + QStringLiteral("/p.kvx"));
        QStringList seen;
        bool plain = true;
        answers::answerMessage([&](QMessageBox& box) {
            seen << box.text();
            plain = box.textFormat() == Qt::PlainText;
            return int(QMessageBox::Ok);
        });
        runAndWait(*window);
        QCOMPARE(seen.size(), 1);
        QVERIFY(plain);
        QVERIFY2(seen[0].startsWith(QStringLiteral("The process of Encryption failed.")), qPrintable(seen[0]));
        QVERIFY2(seen[0].contains(trap + QStringLiteral("/p.kvx: The system cannot find")), qPrintable(seen[0]));
        QCOMPARE(window->files().size(), 1u);
        QCOMPARE(window->form()->lineEdit->text(), QStringLiteral("Failed. No package was written."));
    }

    void packagesThatCantBeOpenedSayWhy()
    {
        auto window = openWindow(anna);
        const QString invalid = QStringLiteral("This file is not a valid Halvoren package file.");
        const fs::path folder = freshFolder("unopened");
        writeBytes(folder / "damaged.kvx", randomBytes(5000, 5));
        // Shorter than a header: the same words, not the reader's own code.
        writeBytes(folder / "stub.kvx", randomBytes(10, 6));
        // Made by Bert for himself alone.
        QCOMPARE(
            cli(bert, { "encrypt", "-o", qpath(folder / "foreign.kvx"), "--self", qpath(sources / "single.bin") }), 0);
        const QList<std::pair<const char*, QString>> cases { { "damaged.kvx", invalid }, { "stub.kvx", invalid },
            { "foreign.kvx",
                QStringLiteral("The package cannot be decrypted. You are not in the list of recipients who can view "
                               "the files, you will not be able to access it.") } };
        for (const auto& [name, why] : cases) {
            answers::clear();
            const fs::path out = freshFolder("unopened-out");
            decrypt(*window, folder / name, out);
            QCOMPARE(texts(), QStringList { why });
            QCOMPARE(answers::shown().first().icon, QMessageBox::Critical);
            QVERIFY(fs::is_empty(out));
            QCOMPARE(answers::unanswered(), 0);
        }
    }

    // Two missing files of the same code: Ignore is asked once and holds for the run; Cancel at
    // the question stops the run with no package and no report.
    void aVanishedSourceIsAskedAboutAndIgnoreHoldsForTheRun()
    {
        for (const bool ignore : { true, false }) {
            auto window = openWindow(anna);
            const fs::path folder = freshFolder("vanishing");
            for (const char* name : { "keep.txt", "gone1.txt", "gone2.txt" })
                writeText(folder / name, name);
            collect(*window, { fileUrl(folder) });
            fs::remove(folder / "gone1.txt");
            fs::remove(folder / "gone2.txt");
            const fs::path package = freshFolder("vanished") / "partial.kvx";
            answers::answerPath(qpath(package));
            answers::answer(ignore ? QMessageBox::Ignore : QMessageBox::Cancel);
            if (ignore)
                answers::answer(QMessageBox::Ok);
            runAndWait(*window);
            QCOMPARE(answers::shown().size(), ignore ? 2 : 1);
            const auto& question = answers::shown().first();
            QCOMPARE(question.icon, QMessageBox::Warning);
            QVERIFY(question.text.startsWith(QStringLiteral("An error occurred while processing:<br><b>")));
            QVERIFY(question.text.contains(QStringLiteral("gone")));
            QCOMPARE(question.buttons.first(), QStringLiteral("Continue"));
            QCOMPARE(fs::exists(package), ignore);
            QCOMPARE(answers::unanswered(), 0);
        }
    }

    void mailHandsPackageAndKeyToTheMailProgram()
    {
        const QString bin = qpath(freshFolder("bin"));
        writeScript(bin + "/xdg-email", recorder);
        const auto path = pathFirst(bin);

        auto window = openWindow(anna);
        collect(*window, { fileUrl(sources / "single.bin") }, QStringLiteral("Bert Example"));
        const fs::path package = freshFolder("mailed") / "to-bert.kvx";
        answers::answerPath(qpath(package));
        QCOMPARE(window->form()->BtnEncDec->actions().size(), 1);
        window->form()->BtnEncDec->actions().first()->trigger(); // "Encrypt and Email"
        waitForTheRunToEnd(*window);
        QCOMPARE(waitForRecord(bin),
            (QStringList { "--utf8", "--subject", "Emailing: to-bert.kvx", "--body", " ", "--to",
                "Bert Example <bert@example.org>", "--attach", qpath(package) }));
        QVERIFY(answers::shown().isEmpty()); // the mail replaces the completion report

        // The own key: written into a private folder of its own and attached, with no recipient.
        // A link planted at the key's name in the shared temporary folder leads nowhere.
        const fs::path tmp = qgetenv("TMPDIR").toStdString();
        writeText(tmp / "planted", "planted");
        fs::create_symlink(tmp / "planted", tmp / "Anna Example.kvxk");
        window->form()->act_MW_email_key->trigger();
        const QStringList keyMail = waitForRecord(bin);
        const fs::path keyFile = keyMail.value(6).toStdString();
        QCOMPARE(keyMail,
            (QStringList {
                "--utf8", "--subject", "Emailing:   Key File.", "--body", " ", "--attach", qpath(keyFile) }));
        QCOMPARE(keyFile.filename().string(), std::string("Anna Example.kvxk"));
        QCOMPARE(keyFile.parent_path().parent_path(), tmp);
        QCOMPARE(fs::status(keyFile.parent_path()).permissions() & fs::perms::all, fs::perms::owner_all);
        QCOMPARE(readText(tmp / "planted"), std::string("planted"));
        const fs::path copy = freshFolder("ownkey") / "own.kvxk";
        QVERIFY(saveCertificateFile(ownCertificate(), u16(copy)));
        QCOMPARE(readBytes(keyFile), readBytes(copy));

        // Where xdg-email runs but finds no mail program, and where it isn't installed at all, the
        // user hears why and where the file lies, and can have it shown to attach it by hand.
        writeScript(bin + "/xdg-email",
            "#!/bin/sh\necho \"xdg-email: no method available for opening 'mailto:'\" >&2\nexit 3\n");
        answers::answer(QStringLiteral("Show in File Manager"));
        window->form()->act_MW_email_key->trigger();
        QTRY_COMPARE(answers::shown().size(), 1);
        QVERIFY(answers::shown()[0].text.contains(QStringLiteral("xdg-email: no method available")));
        QVERIFY(answers::shown()[0].text.contains(QStringLiteral("Anna Example.kvxk")));
        QVERIFY(QUrl(shownInFolder.last()).toLocalFile().endsWith(QStringLiteral("/Anna Example.kvxk")));
        qputenv("PATH", QByteArray(freshFolder("nobin").string().c_str()));
        answers::answer(QMessageBox::Ok);
        window->form()->act_MW_email_key->trigger();
        QCOMPARE(answers::shown().size(), 2);
        QVERIFY(answers::shown()[1].text.contains(
            QStringLiteral("xdg-email, which hands messages to the mail program, is not installed")));
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
        QVERIFY(opened[2].toLocalFile().endsWith(QStringLiteral("docs/Halvoren.html")));

        // Where no browser is set up, the user is told why and given the guide's path.
        answers::failNextOpen(QStringLiteral("xdg-open: no method available"));
        answers::answer(QMessageBox::Ok);
        window.form()->act_MW_help->trigger();
        QCOMPARE(answers::shown().size(), 1);
        QVERIFY(answers::shown()[0].text.contains(QStringLiteral("xdg-open: no method available")));
        QVERIFY(answers::shown()[0].text.contains(opened[2].toLocalFile()));
    }

    // Collections that can't become a package are refused before anything is written, with the
    // names at fault; the collection waits for the user.
    void collectionsThatCantBePackedAreRefusedBeforeAnythingIsWritten()
    {
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
            { { fileUrl(folder / "slash") }, {}, { "odd\\name.txt" } },
            { { fileUrl(folder / "a" / "report"), fileUrl(folder / "b" / "report") }, {},
                { qpath(folder / "a" / "report" / "f.txt"), qpath(folder / "b" / "report" / "f.txt") } },
            // The user picks the name of an older package among the files for the new one.
            { { fileUrl(folder / "own") }, qpath(folder / "own" / "report.kvx"), { "one of the files to encrypt" } },
        };
        for (const Case& refused : cases) {
            auto window = openWindow(anna);
            collect(*window, refused.dropped);
            if (!refused.savedAs.isEmpty())
                answers::answerPath(refused.savedAs);
            answers::answer(QMessageBox::Ok);
            window->form()->BtnEncDec->click();
            QCoreApplication::processEvents();
            QCOMPARE(answers::shown().size(), 1);
            for (const QString& name : refused.named)
                QVERIFY2(answers::shown().first().text.contains(name), qPrintable(answers::shown().first().text));
            QCOMPARE(window->currentButtonState(), ButtonEncrypt);
            QCOMPARE(window->files().size(), 2u);
            QCOMPARE(answers::unanswered(), 0);
            QCOMPARE(answers::pendingAnswers(), 0);
        }
        QCOMPARE(readText(folder / "own" / "report.kvx"), std::string("the only copy"));
    }

    // "Automatically encrypt files for myself" and "Do not notify when operation is completed".
    void theOptionsForMyselfAndForQuietRunsHold()
    {
        auto setOptions = [](bool on) {
            ConfigStore config;
            return config.load(configPath()).ok() && config.setBool(ConfigKey::AutomaticallyAddToRecipients, on)
                && config.setBool(ConfigKey::DoNotCompletitionNotify, on);
        };
        useProfile(anna);
        QVERIFY(setOptions(true));
        auto window = openWindow(anna);
        collect(*window, { fileUrl(sources / "single.bin") }, QStringLiteral("Bert Example"));
        const fs::path package = freshFolder("for-both") / "both.kvx";
        answers::answerPath(qpath(package));
        runAndWait(*window);
        // A quiet run ends without a report; the status line tells it.
        QVERIFY(answers::shown().isEmpty());
        QCOMPARE(window->form()->lineEdit->text(), QStringLiteral("Ready"));
        window.reset();
        // The maker opens the package she made for Bert alone, and so does Bert.
        for (const fs::path& who : { anna, bert }) {
            const fs::path out = freshFolder("opened");
            QCOMPARE(cli(who, { "decrypt", qpath(package), "-C", qpath(out) }), 0);
            QCOMPARE(readBytes(out / "single.bin"), readBytes(sources / "single.bin"));
        }
        QVERIFY(setOptions(false));
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
        auto window = openWindow(anna);
        SingleInstance first(qpath(home / "Halvoren"));
        QVERIFY(first.start({ "halvoren" }) == SingleInstance::Role::First);
        first.setReceiver([&window](const QStringList& arguments) { window->acceptHandedArguments(arguments); });

        // Names relative to where the second start ran, several at once: added as a drop adds them.
        QVERIFY(endsAtOnce(startProgram(home, runtime, { "tree", "single.bin" }, sources)));
        QTRY_COMPARE(window->files().size(), 4u);
        QVERIFY(window->files().count(qpath(sources / "tree" / "deeper" / "b.bin").toStdU16String()));

        // One package opens for decryption, replacing the collection, as a dropped one does (the
        // enable table's test shows the title).
        const fs::path package = freshFolder("handed") / "report.KVX";
        writeText(package, "a package");
        QVERIFY(endsAtOnce(startProgram(home, runtime, { qpath(package) })));
        QTRY_COMPARE(window->currentPackagePath(), qpath(package));
        window->form()->act_MW_close_package->trigger();

        // Two real programs on a profile of their own: the second ends at once, the first
        // keeps running; a first that was killed leaves a lock that the next start takes over.
        const fs::path cleo = freshFolder("cleo-home");
        QCOMPARE(cli(cleo / "Halvoren", { "identity", "create", "Cleo Example" }), 0);
        for (int round = 0; round < 2; ++round) {
            auto first = startProgram(cleo, runtime, {});
            QTest::qWait(1500); // for the first to take the profile
            QVERIFY(endsAtOnce(startProgram(cleo, runtime, {})));
            QCOMPARE(first->state(), QProcess::Running);
            first.reset(); // killed, as a crash would end it
        }
    }

    void cleanupTestCase() { closeCertificateStore(); }
};

int main(int argc, char** argv) { return runQtTest<FlowsTest>(argc, argv); }

#include "FlowsTest.moc"
