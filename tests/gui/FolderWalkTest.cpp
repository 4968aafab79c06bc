// What the user adds is walked into the package's file set off the window's thread: each file
// once, hidden ones too, folders themselves never, and a cancel keeps what was found. Also the
// program's arguments and the own profile, which reach the same collection and lists.

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <fstream>

#include "QtTestSupport.h"
#include "TestSupport.h"
#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "ui/Dialogs.h"
#include "ui/MainWindow.h"
#include "ui/contacts/ActionMan.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui/files/ProgressDialog.h"
#include "ui_MainWindow.h"
#include "ui_ProgressDialog.h"

using namespace testing_support;
namespace fs = std::filesystem;
namespace answers = Dialogs::testing;

namespace {
QUrl url(const fs::path& path) { return QUrl::fromLocalFile(QString::fromStdString(path.string())); }
std::u16string key(const fs::path& path) { return u16(path); }
} // namespace

class FolderWalkTest : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        answers::clear();
        answers::setStrict(true);
    }

    void eachFileOnceHiddenOnesIncludedFoldersNever()
    {
        const fs::path root = freshFolder("walk");
        fs::create_directories(root / "docs" / "empty");
        fs::create_directories(root / "docs" / ".hidden-folder");
        writeText(root / "docs" / "a.txt", "a");
        writeText(root / "docs" / ".hidden", "h");
        writeText(root / "docs" / ".hidden-folder" / "b.txt", "b");
        fs::create_directories(root / "nothing");

        FileSet files;
        ProgressDialog dialog(&files, nullptr);
        dialog.startTraverse({ url(root / "docs" / "a.txt"), url(root / "docs"), url(root / "docs"), url(root / "nothing") });
        const FileSet expected { key(root / "docs" / "a.txt"), key(root / "docs" / ".hidden"),
                                 key(root / "docs" / ".hidden-folder" / "b.txt") };
        QVERIFY(files == expected);
        QVERIFY(!dialog.isVisible());

        // A path named directly goes in as given, even one that is gone by now.
        dialog.startTraverse({ url(root / "vanished.txt") });
        QCOMPARE(files.size(), 4u);
        QVERIFY(files.count(key(root / "vanished.txt")));
    }

    void cancelAndEscapeStopTheWalkAndKeepWhatWasFound()
    {
        const fs::path root = freshFolder("many");
        for (int folder = 0; folder < 10; ++folder) {
            fs::create_directories(root / std::to_string(folder));
            for (int file = 0; file < 1000; ++file)
                std::ofstream(root / std::to_string(folder) / (std::to_string(file) + ".txt"));
        }
        for (const bool byEscape : { false, true }) {
            FileSet files;
            ProgressDialog dialog(&files, nullptr);
            bool stillOpenAfterCancel = false;
            QTimer::singleShot(0, &dialog, [&] {
                if (byEscape)
                    QTest::keyClick(&dialog, Qt::Key_Escape);
                else
                    dialog.form()->CancelBtn->click();
                // The dialog waits for the worker; it isn't gone the moment Cancel is pressed.
                stillOpenAfterCancel = dialog.isVisible();
            });
            dialog.startTraverse({ url(root) });
            QVERIFY(dialog.isCancelled());
            QVERIFY(!dialog.form()->CancelBtn->isEnabled());
            QVERIFY(stillOpenAfterCancel);
            QVERIFY(files.size() <= 10000u);
            for (const std::u16string& path : files)
                QVERIFY(fs::is_regular_file(u8(path)));
        }
    }

    void argumentsAndTheOwnProfile()
    {
        const fs::path profile = freshFolder("args");
        platform::setProfileDirectory(u16(profile));
        closeCertificateStore();
        answers::answer([](QDialog& dialog) {
            auto& details = static_cast<ContactDetailsDlg&>(dialog);
            details.setContactName(QStringLiteral("Hanna Example"));
            details.setOrganization(QStringLiteral("Before"));
            return int(ContactDetailsDlg::Ok);
        });
        MainWindow window;
        QVERIFY(!window.isCancelRequested());
        Ui::MainWindow* ui = window.form();

        // Only exactly one argument counts; the switch in any case; a name that is no file doesn't.
        window.parseArguments({ "halvoren", "--AUTOSTART" });
        QVERIFY(window.arguments().autostart);
        window.parseArguments({ "halvoren", "--autostart", "x" });
        QVERIFY(!window.arguments().autostart && !window.arguments().hasFile);
        window.parseArguments({ "halvoren", QString::fromStdString((profile / "nope.kvx").string()) });
        QVERIFY(!window.arguments().hasFile);

        // A package named on the command line, suffix in upper case, opens for decryption.
        const fs::path package = profile / "given.KVX";
        writeText(package, "not looked at before Decrypt");
        window.handleCommandLine({ "halvoren", QString::fromStdString(package.string()) });
        QCOMPARE(window.mode(), ModeDecrypt);
        QCOMPARE(window.currentPackagePath(), QString::fromStdString(package.string()));
        ui->act_MW_close_package->trigger();

        // A key file is imported into the contacts list, and the program is then to end.
        const fs::path keyFile = profile / "own.kvxk";
        QVERIFY(saveCertificateFile(ownCertificate(), u16(keyFile)));
        answers::answer(QMessageBox::Ok); // "Contact already exists. ..."
        window.handleCommandLine({ "halvoren", QString::fromStdString(keyFile.string()) });
        QVERIFY(window.isCancelRequested());
        QCOMPARE(answers::shown().last().text,
                 QStringLiteral("Contact already exists. Please select another contact key file."));

        // Edit Your Profile: the own contact's details, changed in the store and the tool tip.
        answers::answer([](QDialog& dialog) {
            auto& details = static_cast<ContactDetailsDlg&>(dialog);
            details.setOrganization(QStringLiteral("After"));
            return int(ContactDetailsDlg::Ok);
        });
        ui->act_MW_edit_profile->trigger();
        QVERIFY(ui->contactListWidget->item(0)->toolTip().contains(QStringLiteral("After")));
        RecipientsStore store;
        std::vector<ContactRecord> contacts;
        QVERIFY(store.load(contacts, recipientsPath()).ok());
        QCOMPARE(contacts.size(), 1u);
        QCOMPARE(contacts[0].organization, std::u16string(u"After"));
        QCOMPARE(answers::unanswered(), 0);
        closeCertificateStore();
    }
};

int main(int argc, char** argv) { return runQtTest<FolderWalkTest>(argc, argv); }

#include "FolderWalkTest.moc"
