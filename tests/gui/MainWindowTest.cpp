// The main window from its start: the first start and the start-up check, the options with the
// autostart entry, the enable table through the package states, and a close during a run. Each
// case runs in its own profile; every dialog is answered through the seam.

#include <QAccessible>
#include <QContextMenuEvent>
#include <QMenu>
#include <QScreen>
#include <QTimer>
#include <fstream>

#include "WindowSupport.h"
#include "contacts/ConfigStore.h"
#include "ui/AboutDialog.h"
#include "ui/OptionsDialog.h"
#include "ui/PackageThread.h"
#include "ui/contacts/ActionMan.h"
#include "ui/desktop/Autostart.h"
#include "ui/desktop/Placement.h"
#include "ui/desktop/ShowInFolder.h"
#include "ui/desktop/TaskbarProgress.h"
#include "ui/files/AddFilesDialog.h"
#include "ui/files/FileListDlg.h"
#include "ui/files/ProgressDialog.h"
#include "ui/files/SearchingDialog.h"
#include "ui_OptionsDialog.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {
fs::path profile;

void freshProfile(const char* hint)
{
    profile = freshFolder(hint);
    useProfile(profile);
    answers::clear();
}

fs::path contactsFile() { return profile / "RecipientsList.xml"; }
fs::path configFile() { return profile / "KvxCfg.xml"; }

size_t certificateCount()
{
    std::vector<CertificatePtr> list;
    listCertificates(list);
    return list.size();
}

std::u16string ownerName()
{
    ConfigStore config;
    return config.load(configPath()).ok() ? config.getString(ConfigKey::OwnerName) : u"<unreadable>";
}

// A new profile whose first start `name` went through, and its window, shown.
std::unique_ptr<MainWindow> startedWindow(const char* hint, const QString& name)
{
    freshProfile(hint);
    answerFirstStartAs(name);
    auto window = std::make_unique<MainWindow>();
    window->show();
    return window;
}

// Starts the window again on the profile as it now is on disk, `reply` queued for a question.
std::unique_ptr<MainWindow> restart(std::optional<QMessageBox::StandardButton> reply)
{
    closeCertificateStore();
    answers::clear();
    if (reply)
        answers::answer(*reply);
    return std::make_unique<MainWindow>();
}

// Whether a start on the profile as it is offers the reset, once, and ends when the user says No.
bool resetOfferedAndRefused() { return restart(QMessageBox::No)->isCancelRequested() && answers::shown().size() == 1; }

// Answers the first-start dialog: records its title and what a screen reader announces for the
// name field, then fills the name and accepts, or cancels when the name is empty.
void answerFirstStart(QStringList& seen, const QString& name)
{
    answers::answer([&seen, name](QDialog& dialog) {
        auto* field = QAccessible::queryAccessibleInterface(dialog.findChild<QLineEdit*>("ContactNameLE"));
        seen = { dialog.windowTitle(), field ? field->text(QAccessible::Name) : QString() };
        if (name.isEmpty())
            return int(ContactDetailsDlg::Cancelled);
        static_cast<ContactDetailsDlg&>(dialog).setContactName(name);
        return int(ContactDetailsDlg::Ok);
    });
}

template <class... Control> QList<bool> enabledOf(Control*... controls) { return { controls->isEnabled()... }; }

// What the window shows of its state: the title, the button's caption ("off" where it can't be
// pressed), the drop area's hint, and the five actions of the enable table in its column order.
QStringList stateOf(MainWindow& window)
{
    Ui::MainWindow* ui = window.form();
    QString actions;
    for (QAction* action : { ui->act_MW_create_package, ui->act_MW_open_package, ui->act_MW_add_files,
             ui->act_MW_view_files, ui->act_MW_close_package })
        actions += action->isEnabled() ? u'1' : u'0';
    return { window.windowTitle(), ui->BtnEncDec->text() + (ui->BtnEncDec->isEnabled() ? "" : " off"),
        ui->dropBoxLabel->text(), actions };
}

const QString Empty = QStringLiteral("Drop <b>Files</b> or <b>Package</b> Here");
const QString Collected = QStringLiteral("<b>Double-Click</b> Here to View Files");

// The names of the controls that Tab reaches from `from` on, `from` first.
QStringList tabOrderFrom(QWidget* from, int steps)
{
    from->setFocus();
    QStringList order { from->objectName() };
    for (int i = 0; i < steps; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QWidget* focused = QApplication::focusWidget();
        order << (focused->objectName().isEmpty() ? focused->accessibleName() : focused->objectName());
    }
    return order;
}
} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT

private slots:
    void init() { answers::setStrict(true); }
    // Every dialog a test met was answered.
    void cleanup() { QCOMPARE(answers::unanswered(), 0); }
    void cleanupTestCase() { closeCertificateStore(); }

    void firstStartMakesTheOwnContactOnlyWhenAccepted()
    {
        freshProfile("first");
        QStringList seen;
        answerFirstStart(seen, QString());
        QVERIFY(MainWindow().isCancelRequested());
        QCOMPARE(seen, (QStringList { "Enter Your Own Contact Information", "Name" }));
        QVERIFY(answers::shown().isEmpty()); // no reset question on a first start
        QCOMPARE(fs::file_size(configFile()), 0u);
        QVERIFY(!fs::exists(contactsFile()));
        QCOMPARE(certificateCount(), 0u);

        // The next start is a first start again, and this time the user goes through with it.
        answerFirstStart(seen, QStringLiteral("Anna Example"));
        MainWindow window;
        QVERIFY(!window.isCancelRequested());
        Ui::MainWindow* ui = window.form();
        QCOMPARE(ui->contactListWidget->count(), 1);
        QCOMPARE(ui->contactListWidget->item(0)->text(), QStringLiteral("Anna Example"));
        QVERIFY(contactItemData(ui->contactListWidget->item(0)).isOwn);
        QCOMPARE(ownerName(), std::u16string(u"Anna Example"));

        QCOMPARE(stateOf(window), (QStringList { "Halvoren", "Encrypt off", Empty, "11110" }));
        QVERIFY(!ui->contactManButtonBox->button(QDialogButtonBox::Ok)->isEnabled());
    }

    void startupCheckOffersTheResetOnEveryMismatch()
    {
        freshProfile("check");
        // A contacts file without certificates: No leaves everything as it was.
        std::ofstream(contactsFile()) << "<Recipients/>";
        QVERIFY(resetOfferedAndRefused());
        QCOMPARE(answers::shown().first().icon, QMessageBox::Critical);
        QCOMPARE(answers::shown().first().text,
            QStringLiteral("An error occurred during application startup. Do you want to reset all changes that "
                           "were made?"));
        QVERIFY(fs::exists(contactsFile()));

        // Yes resets and leads to the first start in the same run.
        answerFirstStartAs(QStringLiteral("Bert Example"));
        answers::answer(QMessageBox::Yes);
        QVERIFY(!MainWindow().isCancelRequested());
        QCOMPARE(certificateCount(), 1u);
        const std::string healthy = readText(contactsFile());
        QVERIFY(healthy.find("Bert Example") != std::string::npos);

        // Both present but the contacts file malformed, and certificates without a contacts file.
        std::ofstream(contactsFile()) << "<Recipients><Recipient";
        QVERIFY(resetOfferedAndRefused());
        fs::remove(contactsFile());
        QVERIFY(resetOfferedAndRefused());
        QCOMPARE(certificateCount(), 1u);

        // The healthy profile starts without a question.
        std::ofstream(contactsFile()) << healthy;
        QVERIFY(!restart(std::nullopt)->isCancelRequested());
        QVERIFY(answers::shown().isEmpty());

        // A certificate file that can't be read is named with its contact and kept, and the
        // profile is not offered for reset.
        fs::path der;
        for (const auto& entry : fs::directory_iterator(profile / "certificates"))
            if (entry.path().extension() == ".der")
                der = entry.path();
        fs::resize_file(der, 10);
        const auto window = restart(QMessageBox::Ok);
        QVERIFY(!window->isCancelRequested());
        QCOMPARE(answers::shown().size(), 1);
        QCOMPARE(answers::shown().first().icon, QMessageBox::Warning);
        QVERIFY(answers::shown().first().text.contains(QStringLiteral("\"Bert Example\"")));
        QVERIFY(answers::shown().first().text.contains(qpath(der.filename())));
        QCOMPARE(window->form()->contactListWidget->count(), 0);
        QCOMPARE(fs::file_size(der), 10u);
    }

    // Settings cut short are kept beside as they were, never written over; lost or cut, the
    // identity is recognised by its key and stays the own contact, which can't be removed, and the
    // name goes back into new settings.
    void lostSettingsNeverMakeTheOwnIdentityAContact()
    {
        startedWindow("lost-settings", QStringLiteral("Ann Short")).reset();
        const std::string cut = "<Configuration><OwnerName>Ann Sh";
        for (const bool cutShort : { true, false }) {
            if (cutShort)
                std::ofstream(configFile()) << cut;
            else
                fs::remove(configFile());
            const auto window = restart(QMessageBox::Ok);
            QCOMPARE(answers::shown().size(), 1);
            const QString notice = answers::shown().first().text;
            QVERIFY2(notice.contains(QStringLiteral("\"Ann Short\" was recognised by its key")), qPrintable(notice));
            QVERIFY2(!cutShort
                    || (notice.contains(qpath(configFile()))
                        && notice.contains(QStringLiteral("KvxCfg.xml.unreadable"))),
                qPrintable(notice));
            // Marked as the own contact, which the lists' test shows can't be removed.
            QListWidgetItem* own
                = window->form()->contactListWidget->findItems(QStringLiteral("Ann Short"), Qt::MatchExactly).value(0);
            QVERIFY(own && contactItemData(own).isOwn);
            QCOMPARE(ownerName(), std::u16string(u"Ann Short"));
            QCOMPARE(certificateCount(), 1u);
        }
        QCOMPARE(readText(profile / "KvxCfg.xml.unreadable"), cut);
    }

    void mouseKeyboardAndScreenReadersReachTheContacts()
    {
        const auto window = startedWindow("mouse", QStringLiteral("Ann Mouse"));
        Ui::MainWindow* ui = window->form();
        KvxListWidget* contacts = ui->contactListWidget;
        KvxListWidget* recipients = ui->recipientsListWidget;
        QListWidgetItem* own = contacts->item(0);
        contacts->clearSelection();

        // A right-click on a contact that isn't selected selects it and opens the menu (whose
        // entries the lists' test checks).
        bool offered = false;
        QTimer::singleShot(50, window.get(), [&] {
            if (QWidget* popup = QApplication::activePopupWidget())
                offered = popup->close();
        });
        const QPoint at = contacts->visualItemRect(own).center();
        QContextMenuEvent click(QContextMenuEvent::Mouse, at, contacts->viewport()->mapToGlobal(at));
        QApplication::sendEvent(contacts->viewport(), &click);
        QVERIFY(own->isSelected() && offered);

        // A double-click moves a contact to the other list, and back.
        QTest::mouseDClick(contacts->viewport(), Qt::LeftButton, {}, at);
        QCOMPARE(std::pair(contacts->count(), recipients->count()), std::pair(0, 1));
        QTest::mouseDClick(
            recipients->viewport(), Qt::LeftButton, {}, recipients->visualItemRect(recipients->item(0)).center());
        QCOMPARE(recipients->count(), 0);
        QCOMPARE(contacts->item(0)->text(), QStringLiteral("Ann Mouse"));

        const fs::path source = freshFolder("keysources") / "a.txt";
        writeText(source, "a");
        QVERIFY(dropOnWindow(*window, { fileUrl(source) }));
        contacts->item(0)->setSelected(true);
        // Tab goes round in reading order; a disabled control is passed over. The drop from
        // outside took the activation away, as a real drag would.
        QApplication::setActiveWindow(window.get());
        QTRY_VERIFY(QApplication::activeWindow() == window.get());
        QCOMPARE(tabOrderFrom(ui->dropBoxLabel, 4),
            (QStringList { "dropBoxLabel", "quickContactSearchBox", "contactListWidget", "Add to recipients",
                "recipientsListWidget" }));

        // Enter on the drop area opens the file list; Enter on the arrow moves the contact.
        QString opened;
        answers::answer([&](QDialog& dialog) {
            opened = dialog.windowTitle();
            return int(QDialog::Rejected);
        });
        QTest::keyClick(ui->dropBoxLabel, Qt::Key_Return);
        QCOMPARE(opened, QStringLiteral("File List to Encrypt"));
        QTest::keyClick(ui->contactManButtonBox->button(QDialogButtonBox::Ok), Qt::Key_Return);
        QTRY_VERIFY(ui->BtnEncDec->isEnabled());
        // From the recipients on, through the button, and round to the drop area again.
        QCOMPARE(tabOrderFrom(recipients, 3),
            (QStringList { "recipientsListWidget", "BtnEncDec", "dropBoxLabel", "quickContactSearchBox" }));

        // What a screen reader says for each control.
        for (QWidget* control : QList<QWidget*> { ui->dropBoxLabel, ui->quickContactSearchBox, contacts, recipients,
                 ui->contactManButtonBox->button(QDialogButtonBox::Ok),
                 ui->contactManButtonBox->button(QDialogButtonBox::Cancel), ui->BtnEncDec, ui->progressBar }) {
            QAccessibleInterface* readable = QAccessible::queryAccessibleInterface(control);
            QVERIFY2(readable && !readable->text(QAccessible::Name).isEmpty()
                    && !readable->text(QAccessible::Description).isEmpty(),
                qPrintable(control->objectName()));
        }
    }

    // A 1280x800 screen at a scale of one and a half leaves 853x533 points, less a title bar: every
    // window must be usable in that much, and a dialog opened there is made to fit, whole.
    void everyWindowFitsASmallScreenAtOneAndAHalf()
    {
        freshProfile("small");
        answerFirstStartAs(QStringLiteral("Sam Small"));
        MainWindow window;
        ConfigStore config;
        ApplicationOptions options;
        FileSet files;
        QStringList paths;
        ContactDetailsDlg details(&window);
        OptionsDialog optionsDialog(&config, &options, &window);
        AboutDialog about(&window);
        FileListDlg fileList(&files, &window);
        AddFilesDialog addFiles(&paths, &window);
        ProgressDialog progress(&files, &window);
        SearchingDialog searching(&window);
        const QSize points(1280 * 2 / 3 - 20, 800 * 2 / 3 - 50);
        for (QWidget* form : QList<QWidget*> {
                 &window, &details, &optionsDialog, &about, &fileList, &addFiles, &progress, &searching }) {
            const QSize least = form->minimumSizeHint().expandedTo(form->minimumSize());
            QVERIFY2(least.width() <= points.width() && least.height() <= points.height(),
                qPrintable(form->objectName()
                    + QStringLiteral(" needs at least %1x%2").arg(least.width()).arg(least.height())));
        }
        // A dialog opens centred on the screen and whole, though the window it belongs to isn't
        // shown yet; where the screen is smaller than the form was drawn for, it shrinks, never
        // below what its content needs, and still opens whole.
        const QRect area = details.screen()->availableGeometry();
        fitToScreen(details);
        QVERIFY(area.contains(details.geometry()));
        QVERIFY((details.geometry().center() - area.center()).manhattanLength() < 60);
        details.resize(2000, 2000);
        fitToScreen(details);
        QVERIFY(area.contains(details.geometry()));
        QVERIFY(details.height() >= details.minimumSizeHint().height());
        QVERIFY(details.geometry().top() > area.top());
    }

    void optionsRoundTripThroughTheFileAndTheAutostartEntry()
    {
        auto window = startedWindow("options", QStringLiteral("Cleo Example"));
        const fs::path entryPath = u8(autostartEntryPath().toStdU16String());
        QVERIFY(qpath(entryPath).startsWith(QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME"))));
        QVERIFY(!fs::exists(entryPath));
        auto setOptions = [&window](bool startAtLogin, bool forMyself, bool accept) {
            answers::answer([=](QDialog& dialog) {
                auto* form = static_cast<OptionsDialog&>(dialog).form();
                form->chkStartAtLogin->setChecked(startAtLogin);
                form->chkEncryptForMyself->setChecked(forMyself);
                form->buttonBox->button(accept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)->click();
                return dialog.result();
            });
            window->form()->act_MW_options->trigger();
        };
        setOptions(true, true, true);
        QVERIFY(window->currentOptions().startOnLogin && window->currentOptions().autoAddMyself);
        const std::string text = readText(entryPath);
        QVERIFY(text.find("[Desktop Entry]") == 0);
        QVERIFY(text.find("Exec=\"" + QCoreApplication::applicationFilePath().toStdString() + "\" --autostart")
            != std::string::npos);

        // Cancel changes nothing, in memory or on disk.
        setOptions(false, false, false);
        QVERIFY(window->currentOptions().startOnLogin);
        QVERIFY(fs::exists(entryPath));

        // The next start reads the options back; switching autostart off removes the entry.
        window.reset();
        window = std::make_unique<MainWindow>();
        QVERIFY(window->currentOptions().startOnLogin && window->currentOptions().autoAddMyself);
        QVERIFY(!window->currentOptions().doNotNotify);
        setOptions(false, true, true);
        QVERIFY(!fs::exists(entryPath));
    }

    void enableTableFollowsThePackageStates()
    {
        const auto window = startedWindow("states", QStringLiteral("Dora Example"));
        Ui::MainWindow* ui = window->form();
        const fs::path sources = freshFolder("sources");
        writeText(sources / "a.txt", "a");
        fs::create_directories(sources / "sub");
        writeText(sources / "sub" / "b.txt", "b");

        // Collecting: files, then a recipient, wake the button.
        QVERIFY(dropOnWindow(*window, { fileUrl(sources) }));
        QCOMPARE(stateOf(*window), (QStringList { "Halvoren", "Encrypt off", Collected, "11110" }));
        ui->contactListWidget->item(0)->setSelected(true);
        QVERIFY(ui->contactManButtonBox->button(QDialogButtonBox::Ok)->isEnabled());
        toRecipients(*window);
        QVERIFY(ui->BtnEncDec->isEnabled());

        // New names the package: row 1 and the title; nothing is written yet.
        const fs::path target = freshFolder("out") / "report";
        answers::answerPath(qpath(target));
        ui->act_MW_create_package->trigger();
        QCOMPARE(stateOf(*window), (QStringList { "report.kvx \u2014 Halvoren", "Encrypt", Collected, "00111" }));
        QVERIFY(!fs::exists(target.string() + ".kvx"));

        // Close: Empty again, the recipient back among the contacts, row 3.
        ui->act_MW_close_package->trigger();
        QCoreApplication::processEvents();
        QCOMPARE(stateOf(*window), (QStringList { "Halvoren", "Encrypt off", Empty, "11110" }));
        QCOMPARE(std::tuple(window->files().size(), ui->recipientsListWidget->count(), ui->contactListWidget->count()),
            std::tuple(std::size_t(0), 0, 1));

        // Opened: a single package dropped (suffix in any case) switches to decrypt mode.
        toRecipients(*window);
        QVERIFY(dropOnWindow(*window, { fileUrl(sources / "x.KVX") }));
        QCOMPARE(window->mode(), ModeDecrypt);
        QCOMPARE(stateOf(*window),
            (QStringList {
                "x.KVX \u2014 Halvoren", "Decrypt", "Press <b>Decrypt</b> Button to Extract Files", "00001" }));
        QVERIFY(ui->BtnEncDec->actions().isEmpty());
        QCOMPARE(ui->recipientsListWidget->count(), 0);
        QVERIFY(!ui->recipientsListWidget->isEnabled() && !ui->dropBoxLabel->isEnabled());

        // Two packages at once are plain files of a collection.
        ui->act_MW_close_package->trigger();
        writeText(sources / "one.kvx", "1");
        writeText(sources / "two.kvx", "2");
        QVERIFY(dropOnWindow(*window, { fileUrl(sources / "one.kvx"), fileUrl(sources / "two.kvx") }));
        QCOMPARE(window->mode(), ModeEncrypt);
        QCOMPARE(window->files().size(), 2u);
    }

    void trayHidesOnlyWhereTheWindowCanComeBack()
    {
        freshProfile("tray");
        answerFirstStartAs(QStringLiteral("Fred Example"));
        // The balloons so far, each as its title and text.
        auto balloons = [] {
            QStringList list;
            for (const auto& shown : answers::shown())
                if (shown.balloon)
                    list << shown.title + u'|' + shown.text;
            return list;
        };

        // No tray on this desktop: minimizing leaves the window where the user can get it back.
        answers::setTrayAvailable(false);
        auto window = std::make_unique<MainWindow>();
        window->show();
        window->showMinimized();
        QCoreApplication::processEvents();
        QVERIFY(window->isVisible() && !window->tray()->isVisible());

        answers::setTrayAvailable(true);
        answers::setTrayDoubleClicks(true);
        window.reset();
        window = std::make_unique<MainWindow>();
        auto hide = [&window] {
            window->showMinimized();
            QTRY_VERIFY(!window->isVisible());
        };
        auto restore = [&window] { window->tray()->contextMenu()->actions().first()->trigger(); };
        window->show();
        window->move(40, 50);
        const QRect where = window->geometry();
        hide();
        QVERIFY(window->tray()->isVisible());
        QCOMPARE(balloons().size(), 1);
        QVERIFY(balloons()[0].startsWith("Halvoren|") && balloons()[0].endsWith("Do not hide when minimized."));

        // One click: the panel at the corner; the next hides it; Restore brings the window back
        // where it was, and the tray icon goes.
        emit window->tray()->activated(QSystemTrayIcon::Trigger);
        QVERIFY(window->isVisible());
        QCOMPARE(window->windowType(), Qt::Tool);
        emit window->tray()->activated(QSystemTrayIcon::Trigger);
        QVERIFY(!window->isVisible());
        restore();
        QVERIFY(window->isVisible() && !window->tray()->isVisible());
        QCOMPARE(window->windowType(), Qt::Window);
        QCOMPARE(window->geometry(), where);
        // Again and again: the window never creeps.
        for (int round = 0; round < 3; ++round) {
            hide();
            emit window->tray()->activated(QSystemTrayIcon::DoubleClick);
            QCOMPARE(window->geometry(), where);
        }

        // The balloon comes once per user, not once per hide or per run.
        hide();
        window.reset();
        window = std::make_unique<MainWindow>();
        window->show();
        hide();
        QCOMPARE(balloons().size(), 1);

        // A run that ends while the window is hidden reports by balloon, and a click on it shows
        // the package; the taskbar button follows the run and is cleared at its end.
        QStringList shownPaths;
        ShowInFolder::setHooks({ [&](const QStringList& uris) {
                                    shownPaths << uris;
                                    return true;
                                },
            [](const QUrl&) { return true; } });
        QList<std::pair<double, bool>> taskbar;
        TaskbarProgress::setSender([&](double progress, bool visible) { taskbar.append({ progress, visible }); });
        const fs::path source = freshFolder("traysources") / "f.bin";
        writeBytes(source, randomBytes(200000));
        auto runHidden = [&](const fs::path& package) {
            restore();
            QVERIFY(dropOnWindow(*window, { fileUrl(source) }));
            toRecipients(*window);
            hide();
            answers::answerPath(qpath(package));
            window->form()->BtnEncDec->click();
            QTRY_VERIFY_WITH_TIMEOUT(
                window->thread()->isFinished() && window->currentButtonState() == ButtonEncrypt, 60000);
            emit window->tray()->messageClicked();
        };
        runHidden(freshFolder("trayout") / "t.kvx");
        QCOMPARE(balloons().mid(1),
            QStringList {
                "Done!|The process of Encryption has been completed successfully.\nClick for more details." });
        QCOMPARE(shownPaths.size(), 1);
        QVERIFY(shownPaths.first().endsWith(QStringLiteral("t.kvx")));
        QVERIFY(std::any_of(taskbar.begin(), taskbar.end(), [](const auto& p) { return p.second && p.first > 0; }));
        QCOMPARE(taskbar.last(), std::make_pair(0.0, false));

        // A failed run (the package path is a folder): its balloon says so and has no click.
        const fs::path folderInTheWay = freshFolder("trayfail") / "x.kvx";
        fs::create_directories(folderInTheWay);
        runHidden(folderInTheWay);
        QCOMPARE(balloons().mid(2), QStringList { "Done!|The process of Encryption failed." });
        QCOMPARE(answers::shown().last().icon, QMessageBox::Critical);
        QCOMPARE(shownPaths.size(), 1);

        // Started with the login: straight to the tray, and a restore centres the window.
        restore();
        window->handleCommandLine({ "halvoren", "--autostart" });
        QTRY_VERIFY(!window->isVisible());
        QVERIFY(window->tray()->isVisible());
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        QVERIFY((QRect(window->restorePosition(), window->size()).center() - area.center()).manhattanLength() < 60);

        // A tray that passes on single clicks only (a StatusNotifierItem host): the click
        // restores the window, since no double click will ever come.
        answers::setTrayDoubleClicks(false);
        emit window->tray()->activated(QSystemTrayIcon::Trigger);
        QVERIFY(window->isVisible() && !window->tray()->isVisible());
        QCOMPARE(window->windowType(), Qt::Window);

        // The tray goes away while the window hides in it: the window comes back by itself.
        hide();
        answers::setTrayAvailable(false);
        QTRY_VERIFY(window->isVisible());
        QCOMPARE(window->windowType(), Qt::Window);

        ShowInFolder::setHooks({});
        TaskbarProgress::setSender({});
        answers::setTrayAvailable(std::nullopt);
        answers::setTrayDoubleClicks(std::nullopt);
    }

    // A contacts file that can't be opened: the window says which file and what to check, once,
    // keeps everything that would need the contacts switched off, and still offers its options.
    void aContactsStoreThatCantBeOpenedLeavesTheWindowSafe()
    {
        freshProfile("store-failure");
        // A file stands where the profile folder should be: nothing can be read or made in it.
        profile = profile / "in-the-way";
        writeText(profile, "not a folder");
        useProfile(profile);
        const auto window = restart(QMessageBox::Ok);
        window->show();
        QVERIFY(!window->isCancelRequested());
        Ui::MainWindow* ui = window->form();
        QCOMPARE(answers::shown().size(), 1);
        const Dialogs::Shown said = answers::shown().first();
        QCOMPARE(said.icon, QMessageBox::Critical);
        const QString file
            = QStringLiteral("The contacts file %1 can't be read or created.").arg(qpath(contactsFile()));
        QVERIFY2(said.text.startsWith(file)
                && said.text.contains(QStringLiteral("Check that the folder %1/ exists").arg(qpath(profile))),
            qPrintable(said.text));
        QCOMPARE(ui->lineEdit->text(), file);
        QCOMPARE(stateOf(*window).last(), QStringLiteral("00000"));
        // Off: the profile, key, new contact, button and both lists; on: options, About and Close.
        QCOMPARE(enabledOf(ui->act_MW_edit_profile, ui->act_MW_email_key, ui->act_MW_new_contact, ui->BtnEncDec,
                     ui->contactListWidget, ui->recipientsListWidget, ui->act_MW_options, ui->act_MW_about,
                     ui->act_MW_close),
            (QList<bool> { false, false, false, false, false, false, true, true, true }));
        const fs::path dropped = freshFolder("refused") / "a.txt";
        writeText(dropped, "a");
        QVERIFY(!dropOnWindow(*window, { fileUrl(dropped) }));
        QVERIFY(window->files().empty());
        QCOMPARE(readText(profile), std::string("not a folder"));
    }
};

int main(int argc, char** argv) { return runQtTest<MainWindowTest>(argc, argv); }

#include "MainWindowTest.moc"
