// What the user adds is walked into the package's file set off the window's thread: each file
// once, hidden ones too, folders themselves never, links to folders and things that aren't files
// left out and counted, and a cancel adds nothing. Also the
// program's arguments and the own profile, which reach the same collection and lists.

#include <QTimer>
#include <fstream>
#include <sys/stat.h>

#include "WindowSupport.h"
#include "ui/files/ProgressDialog.h"
#include "ui_ProgressDialog.h"

using namespace testing_support;
namespace fs = std::filesystem;

class FolderWalkTest : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        answers::clear();
        answers::setStrict(true);
    }
    void cleanup() { QCOMPARE(answers::unanswered(), 0); }

    void eachFileOnceHiddenOnesIncludedFoldersNever()
    {
        const fs::path root = freshFolder("walk");
        fs::create_directories(root / "docs" / "empty");
        fs::create_directories(root / "docs" / ".hidden-folder");
        writeText(root / "docs" / "a.txt", "a");
        writeText(root / "docs" / ".hidden", "h");
        writeText(root / "docs" / ".hidden-folder" / "b.txt", "b");
        fs::create_directories(root / "nothing");
        fs::create_directories(root / "elsewhere");
        writeText(root / "elsewhere" / "c.txt", "c");
        fs::create_symlink(root / "elsewhere", root / "docs" / "folder-link");
        fs::create_symlink(root / "elsewhere" / "c.txt", root / "docs" / "file-link");
        QCOMPARE(::mkfifo((root / "docs" / "fifo").c_str(), 0600), 0);

        FileSet files;
        ProgressDialog dialog(&files, nullptr);
        dialog.startTraverse({ fileUrl(root / "docs" / "a.txt"), fileUrl(root / "docs"), fileUrl(root / "docs"),
            fileUrl(root / "nothing"), fileUrl(root / "docs" / "fifo") });
        const FileSet expected { u16(root / "docs" / "a.txt"), u16(root / "docs" / ".hidden"),
            u16(root / "docs" / ".hidden-folder" / "b.txt"), u16(root / "docs" / "file-link") };
        QVERIFY(files == expected);
        QVERIFY(!dialog.isVisible());
        // The folder was walked twice, the FIFO met three times.
        QCOMPARE(std::pair(dialog.leftOut().linkedFolders, dialog.leftOut().notFiles),
            std::pair(std::size_t(2), std::size_t(3)));

        // A path named directly goes in as given, even one that is gone by now.
        dialog.startTraverse({ fileUrl(root / "vanished.txt") });
        QCOMPARE(files.size(), 5u);
        QVERIFY(files.count(u16(root / "vanished.txt")));
    }

    // A large drop is walked while the window's event loop turns: Cancel or Escape can stop it,
    // which the window waits out, and then what was collected before stays and nothing of the
    // folder joins, since part of a folder is not what the user chose.
    void aLargeDropIsWalkedLiveAndACancelAddsNothing()
    {
        useProfile(freshFolder("large-profile"));
        answerFirstStartAs(QStringLiteral("Gina Example"));
        MainWindow window;
        const fs::path root = freshFolder("many");
        for (int folder = 0; folder < 10; ++folder) {
            fs::create_directories(root / std::to_string(folder));
            for (int file = 0; file < 1000; ++file)
                std::ofstream(root / std::to_string(folder) / (std::to_string(file) + ".txt"));
        }
        const fs::path earlier = freshFolder("earlier") / "earlier.txt";
        writeText(earlier, "e");
        QVERIFY(dropOnWindow(window, { fileUrl(earlier) }));
        for (const bool byEscape : { false, true }) {
            bool stillOpenAfterCancel = false;
            // Cancel once the walk has found something, so that there is something to drop.
            QTimer poll;
            QObject::connect(&poll, &QTimer::timeout, &window, [&] {
                auto* dialog = window.findChild<ProgressDialog*>();
                if (!dialog || dialog->form()->statusLabel->text().isEmpty() || dialog->isCancelled())
                    return;
                if (byEscape)
                    QTest::keyClick(dialog, Qt::Key_Escape);
                else
                    dialog->form()->CancelBtn->click();
                // The dialog waits for the worker; it isn't gone the moment Cancel is pressed.
                stillOpenAfterCancel = dialog->isVisible() && !dialog->form()->CancelBtn->isEnabled();
            });
            poll.start(0);
            QVERIFY(dropOnWindow(window, { fileUrl(root) }));
            QVERIFY(stillOpenAfterCancel);
            QVERIFY(window.files() == FileSet { u16(earlier) });
            QCOMPARE(window.form()->lineEdit->text(), QStringLiteral("Adding files was stopped; nothing was added."));
        }
        QVERIFY(dropOnWindow(window, { fileUrl(root) }));
        QCOMPARE(window.files().size(), 10001u);
    }

    void argumentsAndTheOwnProfile()
    {
        const fs::path profile = freshFolder("args");
        useProfile(profile);
        answerFirstStartAs(QStringLiteral("Hanna Example"),
            [](ContactDetailsDlg& details) { details.setOrganization(QStringLiteral("Before")); });
        MainWindow window;
        QVERIFY(!window.isCancelRequested());
        auto parsed = [&window](const QStringList& arguments) {
            window.parseArguments(QStringList { "halvoren" } + arguments);
            const auto& got = window.arguments();
            return std::make_tuple(got.autostart, got.hasFile, got.paths.size());
        };
        // The switch counts alone and in any case; a name that is no file doesn't count. Several
        // names are files and folders to add, even a package among them; missing ones drop out.
        const fs::path listed = profile / "listed.kvx";
        writeText(listed, "x");
        QCOMPARE(parsed({ "--AUTOSTART" }), std::make_tuple(true, false, 0));
        QCOMPARE(parsed({ "--autostart", "x" }), std::make_tuple(false, false, 0));
        QCOMPARE(parsed({ qpath(profile / "nope.kvx") }), std::make_tuple(false, false, 0));
        QCOMPARE(parsed({ qpath(listed), qpath(profile), qpath(profile / "nope") }), std::make_tuple(false, false, 2));

        // A key file is imported into the contacts list, and the program is then to end.
        const fs::path keyFile = profile / "own.kvxk";
        QVERIFY(saveCertificateFile(ownCertificate(), u16(keyFile)));
        answers::answer(QMessageBox::Ok);
        window.handleCommandLine({ "halvoren", qpath(keyFile) });
        QVERIFY(window.isCancelRequested());
        QCOMPARE(answers::shown().last().text,
            QStringLiteral("Contact already exists. Please select another contact key file."));

        // Edit Your Profile opens the own contact's details (whose edit reaches the store, the
        // lists' test shows).
        answerFirstStartAs(QStringLiteral("Hanna Example"),
            [](ContactDetailsDlg& details) { details.setOrganization(QStringLiteral("After")); });
        window.form()->act_MW_edit_profile->trigger();
        QVERIFY(window.form()->contactListWidget->item(0)->toolTip().contains(QStringLiteral("After")));
        closeCertificateStore();
    }
};

int main(int argc, char** argv) { return runQtTest<FolderWalkTest>(argc, argv); }

#include "FolderWalkTest.moc"
