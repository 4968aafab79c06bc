#include "ui/MainWindow.h"

#include <sys/stat.h>

#include <set>

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QMenu>
#include <QMetaObject>
#include <QMimeData>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTimer>

#include "contacts/ConfigStore.h"
#include "contacts/OwnIdentity.h"
#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "engine/AppConstants.h"
#include "package/PackageEngine.h"
#include "package/StatusText.h"
#include "platform/ErrorText.h"
#include "platform/ProfileLock.h"
#include "platform/StatusCodes.h"
#include "ui/AboutDialog.h"
#include "ui/Dialogs.h"
#include "ui/PackageThread.h"
#include "ui/contacts/ActionMan.h"
#include "ui/contacts/ContactActionMan.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui/contacts/KvxListWidget.h"
#include "ui/contacts/QuickSearchLineEdit.h"
#include "ui/contacts/RecipientActionMan.h"
#include "ui/desktop/Autostart.h"
#include "ui/desktop/HelpFile.h"
#include "ui/desktop/MapiMail.h"
#include "ui/desktop/Placement.h"
#include "ui/desktop/SetupMutex.h"
#include "ui/desktop/ShowInFolder.h"
#include "ui/desktop/TaskbarProgress.h"
#include "ui/desktop/WebSite.h"
#include "ui/files/AddFilesDialog.h"
#include "ui/files/FileListDlg.h"
#include "ui/files/ProgressDialog.h"
#include "ui_MainWindow.h"

// The icons live in the GUI library, which is static: the linker keeps them only when someone
// names them, and every screen of the program comes through here or through the entry function.
static void initResources() { Q_INIT_RESOURCE(halvoren); }

namespace {
QString qs(std::u16string_view text) { return QString::fromStdU16String(std::u16string(text)); }
std::u16string u16(const QString& text) { return text.toStdU16String(); }

const QString ContactIcon = QStringLiteral(":/ico/MainWindow/Res/contact.png");
const QString OwnIcon = QStringLiteral(":/ico/MainWindow/Res/me.png");

// Makes an empty file where none is, so that a store has something to load.
// A name as the user reads it on this system: entry names separate folders with a backslash,
// which a Linux user would read as part of a name.
QString shownName(const char16_t* name)
{
    QString text = QString::fromStdU16String(std::u16string(name));
    text.replace(u'\\', u'/');
    return text;
}

void createEmptyFile(const QString& path)
{
    QFile file(path);
    if (file.open(QIODevice::ReadWrite))
        file.close();
}
} // namespace

// The forms ask for "Segoe UI", which a Linux desktop rarely has. Where it is missing, the
// desktop's own interface font takes its place at the size the form asks for, instead of
// whatever face the font configuration happens to find first.
static void useDesktopFontForMissingFaces()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    const QString requested = QStringLiteral("Segoe UI");
    if (!QFontDatabase::families().contains(requested))
        QFont::insertSubstitution(requested, QApplication::font().family());
}

namespace {
QString NoMailProgram()
{
    return MainWindow::tr("xdg-email, which hands messages to the mail program, is not installed");
}
} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
    , ui(new Ui::MainWindow)
{
    initResources();
    useDesktopFontForMissingFaces();
    ui->setupUi(this);
    // Before anything asks a question: start-up dialogs open centred on this window, and it
    // has no place of its own yet.
    centreOnScreen(*this);

    cancelRequested = !startupCheck();
    if (cancelRequested)
        return;
    createSetupMutexes();
    QApplication::setQuitOnLastWindowClosed(false);
    setAcceptDrops(true);
    createActionManagers();
    setupSearchBox();
    setupExtras();
    loadStores();
    if (cancelRequested)
        return;
    createPackageThread();
    connectSignals();
    watchProfile();
    packageMode = ModeEncrypt;
    setButtonState(ButtonEncrypt);
    handleCommandLine(QCoreApplication::arguments());
    showProblem();
}

MainWindow::~MainWindow()
{
    // The worker may not outlive the engine and the records it reads; it has ended by now, since
    // the program only quits once the last run's finished report came.
    delete packageThread;
    delete contactActions;
    delete recipientActions;
    delete trayMenu;
    delete ui;
}

// ---------------------------------------------------------------------------------------------
// Start-up

bool MainWindow::startupCheck()
{
    bool hasCertificates = false;
    bool consistent = false;
    {
        // Read both halves under the shared lock, so that a change by the command-line tool in
        // the middle can't look like a broken profile. No dialog is shown while it is held.
        platform::ProfileLock lock(platform::ProfileLock::Mode::Shared);
        std::vector<CertificatePtr> certificates;
        listCertificates(certificates);
        // A certificate whose file can't be read still counts: its contact exists, only damaged.
        hasCertificates = !certificates.empty() || !damagedCertificates().empty();
        const bool hasStore = QFile::exists(qs(recipientsPath()));
        if (hasCertificates == hasStore) {
            if (!hasCertificates)
                return true;
            RecipientsStore probe;
            std::vector<ContactRecord> probeContacts;
            consistent = probe.load(probeContacts, recipientsPath()).ok();
        }
    }
    reportDamagedCertificates();
    if (consistent)
        return true;

    QMessageBox question(QMessageBox::Critical, qs(AppName),
        tr("An error occurred during application startup. Do you want to reset all changes that "
           "were made?"),
        QMessageBox::Yes | QMessageBox::No, this);
    if (Dialogs::exec(question) != QMessageBox::Yes)
        return false;
    platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    QFile::remove(qs(recipientsPath()));
    QFile::remove(qs(configPath()));
    if (hasCertificates)
        deleteAllCertificates();
    return true;
}

// A certificate file that can't be read is left on disk and its contact left out of the lists;
// the user learns which contact it is and how to mend it.
void MainWindow::reportDamagedCertificates()
{
    const std::vector<DamagedCertificate> damaged = damagedCertificates();
    if (damaged.empty())
        return;
    QStringList lines;
    for (const DamagedCertificate& entry : damaged) {
        const QString name
            = entry.name.empty() ? tr("an unknown contact") : QStringLiteral("\"%1\"").arg(qs(entry.name));
        lines << tr("The certificate of %1 can't be read: %2 (%3)")
                     .arg(name, QDir::toNativeSeparators(qs(entry.path)),
                         QString::fromStdU16String(platform::errorText(entry.code)));
    }
    QMessageBox box(QMessageBox::Warning, qs(AppName),
        lines.join(u'\n') + QStringLiteral("\n\n")
            + tr("These contacts are left out of the lists. Import their key files again to repair them; "
                 "the damaged files stay where they are."),
        QMessageBox::Ok, this);
    Dialogs::exec(box);
}

void MainWindow::createSetupMutexes()
{
    const QString name = qs(SetupMutexName);
    holdSetupMutex(name);
    holdSetupMutex(QStringLiteral("Global\\") + name);
}

void MainWindow::createActionManagers()
{
    contactActions = new ContactActionMan(ui->contactListWidget, ui->recipientsListWidget);
    ui->contactListWidget->setPeerList(ui->recipientsListWidget);
    ui->contactListWidget->setActionMan(contactActions);
    recipientActions = new RecipientActionMan(ui->recipientsListWidget, ui->contactListWidget);
    ui->recipientsListWidget->setPeerList(ui->contactListWidget);
    ui->recipientsListWidget->setActionMan(recipientActions);
    connect(
        ui->recipientsListWidget, &KvxListWidget::on_event, this, &MainWindow::on_EncryptEnable, Qt::QueuedConnection);
}

void MainWindow::setupSearchBox()
{
    QuickSearchLineEdit* box = ui->quickContactSearchBox;
    box->setTextColor(Qt::lightGray);
    box->setPlaceholder(tr("Type here to search"));
    box->setFilterList(ui->contactListWidget);
    box->setFilterEnabled(true);
}

void MainWindow::setupExtras()
{
    encryptAndEmailAction
        = new QAction(QIcon(QStringLiteral(":/ico/MainWindow/Res/mail.png")), tr("Encrypt and Email"), this);
    connect(encryptAndEmailAction, &QAction::triggered, this, &MainWindow::on_EncryptAndSend);
    trayIcon = new QSystemTrayIcon(QIcon(QStringLiteral(":/ico/MainWindow/Res/keyandlock.png")), this);

    dropHintText = tr("Drop <b>Files</b> or <b>Package</b> Here");
    decryptHintText = tr("Press <b>Decrypt</b> Button to Extract Files");
    viewHintText = tr("<b>Double-Click</b> Here to View Files");
    ui->dropBoxLabel->setText(dropHintText);
    setStatusText(tr("Ready"));

    const struct {
        QDialogButtonBox::StandardButton which;
        const char* icon;
    } arrows[] = { { QDialogButtonBox::Ok, ":/ico/MainWindow/Res/RightArrow.png" },
        { QDialogButtonBox::Cancel, ":/ico/MainWindow/Res/LeftArrow.png" } };
    for (const auto& arrow : arrows) {
        QPushButton* button = ui->contactManButtonBox->button(arrow.which);
        button->setIcon(QIcon(QString::fromLatin1(arrow.icon)));
        button->setIconSize(QSize(32, 32));
        button->setText(QString());
        button->setFlat(true);
        button->setEnabled(false);
        button->installEventFilter(this);
    }
    setupKeyboard();
}

// Every control is reached by Tab in the order the eye reads the window, shows where the focus
// is, and answers Enter: the drop area opens the file list, as a double-click does.
void MainWindow::setupKeyboard()
{
    QPushButton* toRecipients = ui->contactManButtonBox->button(QDialogButtonBox::Ok);
    QPushButton* toContacts = ui->contactManButtonBox->button(QDialogButtonBox::Cancel);
    toRecipients->setAccessibleName(tr("Add to recipients"));
    toRecipients->setAccessibleDescription(tr("Moves the selected contacts to the selected recipients."));
    toContacts->setAccessibleName(tr("Remove from recipients"));
    toContacts->setAccessibleDescription(tr("Moves the selected recipients back to the available ones."));
    ui->dropBoxLabel->setFocusPolicy(Qt::StrongFocus);
    ui->dropBoxLabel->installEventFilter(this);
    ui->BtnEncDec->installEventFilter(this);
    const QList<QWidget*> order { ui->dropBoxLabel, ui->quickContactSearchBox, ui->contactListWidget, toRecipients,
        toContacts, ui->recipientsListWidget, ui->BtnEncDec };
    for (qsizetype i = 1; i < order.size(); ++i)
        QWidget::setTabOrder(order[i - 1], order[i]);
    // The status line is read by screen readers, not tabbed to.
    ui->lineEdit->setFocusPolicy(Qt::ClickFocus);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool enter = key == Qt::Key_Return || key == Qt::Key_Enter;
        if (watched == ui->dropBoxLabel && (enter || key == Qt::Key_Space)) {
            if (packageMode == ModeEncrypt && ui->dropBoxLabel->isEnabled())
                on_ViewFiles();
            return true;
        }
        if (enter && (qobject_cast<QAbstractButton*>(watched))) {
            static_cast<QAbstractButton*>(watched)->click();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::loadStores()
{
    if (!loadConfig())
        storeProblem = tr("The settings file %1 can't be read.").arg(QDir::toNativeSeparators(qs(configPath())));
    if (loadRecipients() && !cancelRequested) {
        contactActions->setStore(recipientsStore.get());
        recipientActions->setStore(recipientsStore.get());
        fillContactList();
        engine = std::make_unique<PackageEngine>(ownContact ? *ownContact : ContactRecord());
        // Names below the folder each item was added from, as archive tools store them, not the
        // full path, which would hand every recipient the sender's user name and folder layout.
        engine->setNameMode(NameModeRelative | NameModeFullPath);
    } else if (!cancelRequested) {
        storeProblem
            = tr("The contacts file %1 can't be read or created.").arg(QDir::toNativeSeparators(qs(recipientsPath())));
    }
}

bool MainWindow::loadConfig()
{
    config = std::make_unique<ConfigStore>();
    const QString path = qs(configPath());
    const bool existed = QFile::exists(path);
    if (!existed)
        createEmptyFile(path);
    OwnerCheck owner = recogniseOwner(*config, u16(path));
    if (owner.settingsUnreadable) {
        // Settings that can't be read are never written over: they are kept beside, for whoever
        // wants to look at them, and the window starts with settings it can save.
        const QString aside = setAsideUnreadable(path);
        if (aside.isEmpty())
            return false;
        owner = recogniseOwner(*config, u16(path));
        startNotice = tr("The settings file %1 can't be read. It was kept as %2, and %3 starts with its default "
                         "options.")
                          .arg(QDir::toNativeSeparators(path), QDir::toNativeSeparators(aside), qs(AppName));
    }
    if (owner.restored) {
        startNotice += (startNotice.isEmpty() ? QString() : QStringLiteral("\n\n"))
            + tr("The settings didn't name your own identity. \"%1\" was recognised by its key%2.")
                  .arg(qs(owner.ownerName), owner.written ? tr(" and written back to the settings") : QString());
    }
    ownerName = owner.ownerName;
    if (config->parsed() && existed && !owner.settingsUnreadable)
        OptionsDialog::loadOptions(config.get(), &options, this);
    return config->parsed();
}

QString MainWindow::setAsideUnreadable(const QString& path)
{
    platform::ProfileLock lock(platform::ProfileLock::Mode::Exclusive);
    QString aside = path + QStringLiteral(".unreadable");
    for (int n = 1; QFile::exists(aside); ++n)
        aside = path + QStringLiteral(".unreadable.%1").arg(n);
    if (!QFile::rename(path, aside))
        return {};
    createEmptyFile(path);
    return aside;
}

bool MainWindow::loadRecipients()
{
    recipientsStore = std::make_unique<RecipientsStore>();
    const QString path = qs(recipientsPath());
    if (QFile::exists(path))
        return true;
    createEmptyFile(path);
    std::vector<ContactRecord> none;
    const bool loaded = recipientsStore->load(none, u16(path)).ok();
    if (loaded)
        enterOwnContact();
    if (cancelRequested)
        QFile::remove(path);
    return loaded;
}

void MainWindow::enterOwnContact()
{
    ContactDetailsDlg dialog(this);
    dialog.setWindowTitle(tr("Enter Your Own Contact Information"));
    dialog.setOkEnabled(false);
    if (Dialogs::exec(dialog) != ContactDetailsDlg::Ok) {
        cancelRequested = true;
        return;
    }
    const ContactDetails details = dialog.details();
    ContactRecord record;
    record.name = u16(details.name);
    record.firstName = u16(details.firstName);
    record.lastName = u16(details.lastName);
    record.organization = u16(details.organization);
    record.email = u16(details.email);
    record.comments = u16(details.comments);
    const EngineStatus made = createOwnIdentity(*recipientsStore, *config, record);
    if (made.ok()) {
        ownerName = record.name;
        return;
    }
    // The next start asks again, as after a cancel.
    QFile::remove(qs(recipientsPath()));
    storeProblem = tr("Your identity can't be made: %1")
                       .arg(made.code() ? QString::fromStdU16String(platform::errorText(made.code()))
                                        : tr("the profile can't be written."));
}

void MainWindow::fillContactList()
{
    const EngineStatus loaded = recipientsStore->load(contacts, recipientsPath());
    if (!loaded.ok()) {
        storeProblem = tr("The contacts file %1 can't be read.").arg(QDir::toNativeSeparators(qs(recipientsPath())));
        return;
    }
    for (const ContactRecord& stored : contacts) {
        const bool isOwn = stored.name == ownerName;
        auto record = std::make_shared<ContactRecord>(stored);
        ui->contactListWidget->addItem(newContactItem(record, isOwn));
        if (isOwn)
            ownContact = record;
    }
}

namespace {
QString fileStamp(const QString& path)
{
    struct stat info { };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    return QStringLiteral("%1:%2:%3.%4:%5")
        .arg(info.st_dev)
        .arg(info.st_ino)
        .arg(info.st_mtim.tv_sec)
        .arg(info.st_mtim.tv_nsec)
        .arg(info.st_size);
}
} // namespace

void MainWindow::watchProfile()
{
    contactsStamp = fileStamp(qs(recipientsPath()));
    // The stores are replaced by a rename, which a watch on the file itself would lose; the
    // folder sees every one. Changes come in bursts (certificate, index, contacts file).
    auto* watcher = new QFileSystemWatcher(this);
    watcher->addPath(qs(dataDirectory()));
    reloadTimer = new QTimer(this);
    reloadTimer->setSingleShot(true);
    reloadTimer->setInterval(150);
    connect(watcher, &QFileSystemWatcher::directoryChanged, reloadTimer, qOverload<>(&QTimer::start));
    connect(reloadTimer, &QTimer::timeout, this, &MainWindow::reloadContacts);
}

void MainWindow::reloadContacts()
{
    if (!recipientsStore || !storeProblem.isEmpty())
        return;
    // A run reads the records it was given, and a dialog or a drag may hold list items: the
    // lists change only when nothing is using them.
    if ((packageThread && packageThread->isRunning()) || QApplication::activeModalWidget()
        || QApplication::mouseButtons() != Qt::NoButton) {
        reloadPending = true;
        reloadTimer->start(500);
        return;
    }
    reloadPending = false;
    const QString stamp = fileStamp(qs(recipientsPath()));
    if (stamp == contactsStamp)
        return;
    std::vector<ContactRecord> fresh;
    // A profile in the middle of another program's change, or broken, is read again at its next
    // change; until then the lists stay as they were.
    if (!recipientsStore->load(fresh, recipientsPath()).ok())
        return;
    contactsStamp = stamp;

    // Who was a recipient and who was selected stays so, by certificate.
    auto keyOf = [](const QListWidgetItem* item) {
        const ContactItemData data = contactItemData(item);
        return data.contact ? certificateFingerprint(data.contact->identity.certificate()) : std::string();
    };
    std::set<std::string> recipients, selected;
    for (KvxListWidget* list : { ui->contactListWidget, ui->recipientsListWidget }) {
        for (int row = 0; row < list->count(); ++row) {
            const std::string key = keyOf(list->item(row));
            if (list == ui->recipientsListWidget)
                recipients.insert(key);
            if (list->item(row)->isSelected())
                selected.insert(key);
        }
    }
    ui->contactListWidget->clear();
    ui->recipientsListWidget->clear();
    ownContact.reset();
    contacts = fresh;
    for (const ContactRecord& stored : contacts) {
        const bool isOwn = stored.name == ownerName;
        auto record = std::make_shared<ContactRecord>(stored);
        QListWidgetItem* item = newContactItem(record, isOwn);
        const std::string key = certificateFingerprint(stored.identity.certificate());
        (recipients.count(key) ? ui->recipientsListWidget : ui->contactListWidget)->addItem(item);
        item->setSelected(selected.count(key) > 0);
        if (isOwn)
            ownContact = record;
    }
    on_EncryptEnable();
}

void MainWindow::createPackageThread()
{
    packageThread = new PackageThread(&cancelRequested, this, nullptr);
    packageThread->setEngine(engine.get());
}

void MainWindow::handleCommandLine(const QStringList& arguments, bool atStart)
{
    parseArguments(arguments);
    if (commandLine.hasFile) {
        openFileArgument(commandLine.file, atStart);
    } else if (!commandLine.paths.isEmpty()) {
        // Several files and folders (the file manager's "Open With" on a selection) are added as a
        // drop of them would be. The fixed rule took only a single argument; a user who hands the
        // program a selection expects to find it in the window.
        if (packageMode == ModeDecrypt)
            on_ClosePackage();
        droppedUrls.clear();
        for (const QString& path : commandLine.paths)
            droppedUrls << QUrl::fromLocalFile(path);
        emit itemsDropped();
    }
    if (atStart && commandLine.autostart && minimizesToTray()) {
        // Started with the login: straight to the tray, and a later restore puts the window in
        // the middle of the screen.
        centreOnScreen(*this);
        hideToTray(geometry().x(), geometry().y());
    }
}

void MainWindow::parseArguments(const QStringList& arguments)
{
    commandLine = CommandLine();
    const QStringList given = arguments.mid(1);
    if (given.size() == 1 && given.first().toLower() == qs(AutostartSwitch)) {
        commandLine.autostart = true;
        return;
    }
    for (const QString& argument : given) {
        if (!argument.startsWith(u'-') && QFileInfo::exists(argument))
            commandLine.paths << argument;
    }
    if (given.size() == 1 && commandLine.paths.size() == 1 && QFileInfo(given.first()).isFile()) {
        const QString suffix = QFileInfo(given.first()).suffix().toLower();
        if (suffix == qs(PackageSuffix) || suffix == qs(KeySuffix)) {
            commandLine.hasFile = true;
            commandLine.file = given.first();
            commandLine.paths.clear();
        }
    }
}

void MainWindow::openFileArgument(const QString& file, bool atStart)
{
    const QString suffix = QFileInfo(file).suffix().toLower();
    if (suffix == qs(PackageSuffix)) {
        on_PackageDropped(QDir::toNativeSeparators(file));
    } else if (suffix == qs(KeySuffix)) {
        ContactActionMan::importContactKey(file, ui->contactListWidget, recipientsStore.get());
        // A key file given at start is imported and the program ends; one handed to the running
        // window leaves it open.
        if (atStart)
            cancelRequested = true;
    }
}

void MainWindow::acceptHandedArguments(const QStringList& arguments)
{
    // A login start while the window already runs changes nothing.
    if (arguments.size() == 2 && arguments.at(1).toLower() == qs(AutostartSwitch))
        return;
    // Once, as the start arrives: raising the window again on every wait would take the focus
    // from whatever the user turned to meanwhile.
    bringToFront();
    handedArguments << arguments;
    if (!handOverScheduled)
        actOnHandedArguments();
}

void MainWindow::actOnHandedArguments()
{
    handOverScheduled = false;
    if (handedArguments.isEmpty())
        return;
    handOverScheduled = true;
    // Not in the middle of a run or of a question: the arguments wait their turn.
    if (!threadFinished || QApplication::activeModalWidget()) {
        QTimer::singleShot(300, this, &MainWindow::actOnHandedArguments);
        return;
    }
    handleCommandLine(handedArguments.takeFirst(), false);
    QTimer::singleShot(0, this, &MainWindow::actOnHandedArguments);
}

void MainWindow::bringToFront()
{
    if (!isVisible())
        on_Restore();
    else if (isMinimized())
        showNormal();
    raise();
    activateWindow();
}

// A store that can't be opened leaves the program without an engine: say what is wrong once, and
// keep everything that would need the engine or the contacts switched off.
void MainWindow::showProblem()
{
    if (!startNotice.isEmpty()) {
        QMessageBox notice(QMessageBox::Warning, qs(AppName), startNotice, QMessageBox::Ok, this);
        Dialogs::exec(notice);
    }
    if (storeProblem.isEmpty())
        return;
    setStatusText(storeProblem);
    enablePackageWidgets(false);
    for (QAction* action :
        { ui->act_MW_create_package, ui->act_MW_open_package, ui->act_MW_add_files, ui->act_MW_view_files,
            ui->act_MW_close_package, ui->act_MW_edit_profile, ui->act_MW_email_key, ui->act_MW_new_contact })
        action->setEnabled(false);
    ui->BtnEncDec->setEnabled(false);
    QMessageBox box(QMessageBox::Critical, qs(AppName),
        storeProblem + QStringLiteral("\n\n")
            + tr("Check that the folder %1 exists and that you may write to it, then start %2 again.")
                  .arg(QDir::toNativeSeparators(qs(dataDirectory())), qs(AppName)),
        QMessageBox::Ok, this);
    Dialogs::exec(box);
}

// ---------------------------------------------------------------------------------------------
// Signals, actions and the enable table

void MainWindow::connectSignals()
{
    connect(
        packageThread, &PackageThread::statusUpdate, this, &MainWindow::on_StatusUpdate, Qt::BlockingQueuedConnection);
    connect(
        packageThread, &PackageThread::engineError, this, &MainWindow::on_EngineError, Qt::BlockingQueuedConnection);
    connect(packageThread, &QThread::finished, this, &MainWindow::on_PackageThreadFinished, Qt::QueuedConnection);
    connect(this, &MainWindow::itemsDropped, this, &MainWindow::on_itemsDropped, Qt::QueuedConnection);
    connect(this, &MainWindow::packageDropped, this, &MainWindow::on_PackageDropped);
    connect(trayIcon, &QSystemTrayIcon::activated, this, &MainWindow::on_iconActivated);
    connect(this, &MainWindow::kvxClosing, this, &QWidget::close, Qt::QueuedConnection);
    connect(ui->contactListWidget, &QListWidget::itemSelectionChanged, this, &MainWindow::on_itemSelectionChanged);
    connect(ui->recipientsListWidget, &QListWidget::itemSelectionChanged, this, &MainWindow::on_itemSelectionChanged);
    connect(ui->contactManButtonBox, &QDialogButtonBox::accepted, this, &MainWindow::on_MoveToRecipients);
    connect(ui->contactManButtonBox, &QDialogButtonBox::rejected, this, &MainWindow::on_MoveToContacts);
    connect(this, &MainWindow::optionsChanged, this, &MainWindow::on_OPTStartOnLogin);
    connectActions();
}

void MainWindow::connectActions()
{
    connect(ui->act_MW_edit_profile, &QAction::triggered, this, &MainWindow::on_EditYourProfile);
    connect(ui->act_MW_email_key, &QAction::triggered, this, &MainWindow::on_EMailKey);
    connect(ui->act_MW_add_files, &QAction::triggered, this, &MainWindow::on_AddFiles);
    connect(ui->act_MW_view_files, &QAction::triggered, this, &MainWindow::on_ViewFiles);
    connect(ui->act_MW_help, &QAction::triggered, this, &MainWindow::on_Help);
    connect(ui->act_MW_check_updates, &QAction::triggered, this, &MainWindow::on_CheckForUpdates);
    connect(ui->act_MW_give_feedback, &QAction::triggered, this, &MainWindow::on_GetFeedback);
    // Without a web site of the build there is nothing to ask for updates or feedback.
    ui->act_MW_check_updates->setVisible(!webSite().isEmpty());
    ui->act_MW_give_feedback->setVisible(!webSite().isEmpty());
    connect(ui->act_MW_about, &QAction::triggered, this, &MainWindow::on_About);
    connect(ui->act_MW_new_contact, SIGNAL(triggered()), contactActions, SLOT(add_new_contact()));
    connect(ui->act_MW_options, &QAction::triggered, this, &MainWindow::on_Options);
    connect(ui->act_MW_close, &QAction::triggered, this, &QWidget::close);
    connect(ui->act_MW_create_package, &QAction::triggered, this, &MainWindow::on_NewPackage);
    connect(ui->act_MW_open_package, &QAction::triggered, this, &MainWindow::on_OpenPackage);
    connect(ui->act_MW_close_package, &QAction::triggered, this, &MainWindow::on_ClosePackage);

    // Rows 0 and 3 are one map: the end of the set-up and a closed package look the same.
    using Row = QMap<QAction*, bool>;
    actionStateRows = { Row { { ui->act_MW_create_package, true }, { ui->act_MW_open_package, true },
                            { ui->act_MW_add_files, true }, { ui->act_MW_view_files, true },
                            { ui->act_MW_close_package, false } },
        Row { { ui->act_MW_create_package, false }, { ui->act_MW_open_package, false }, { ui->act_MW_add_files, true },
            { ui->act_MW_view_files, true }, { ui->act_MW_close_package, true } },
        Row { { ui->act_MW_create_package, false }, { ui->act_MW_open_package, false }, { ui->act_MW_add_files, false },
            { ui->act_MW_view_files, false }, { ui->act_MW_close_package, true } } };
    actionStates = { &actionStateRows[0], &actionStateRows[1], &actionStateRows[2], &actionStateRows[0] };
    applyActionState(0);

    restoreAction = new QAction(QIcon(QStringLiteral(":/ico/MainWindow/Res/restore.png")), tr("&Restore"), this);
    QFont bold = restoreAction->font();
    bold.setBold(true);
    restoreAction->setFont(bold);
    optionsAction = new QAction(QIcon(QStringLiteral(":/ico/MainWindow/Res/options.png")), tr("&Options..."), this);
    aboutAction = new QAction(QIcon(QStringLiteral(":/ico/MainWindow/Res/keyandlock.png")), tr("&About"), this);
    quitAction = new QAction(tr("&Quit"), this);
    trayMenu = new QMenu();
    trayMenu->addAction(restoreAction);
    trayMenu->addAction(optionsAction);
    trayMenu->addSeparator();
    trayMenu->addAction(aboutAction);
    trayMenu->addAction(quitAction);
    trayIcon->setContextMenu(trayMenu);
    connect(restoreAction, &QAction::triggered, this, &MainWindow::on_Restore);
    connect(optionsAction, &QAction::triggered, this, &MainWindow::on_Options);
    connect(aboutAction, &QAction::triggered, this, &MainWindow::on_About);
    connect(quitAction, &QAction::triggered, this, &QWidget::close);
}

void MainWindow::applyActionState(int row)
{
    const QMap<QAction*, bool>& states = *actionStates.at(std::size_t(row));
    for (auto it = states.cbegin(); it != states.cend(); ++it)
        it.key()->setEnabled(it.value());
}

void MainWindow::setButtonState(int state)
{
    buttonState = state;
    QToolButton* button = ui->BtnEncDec;
    switch (state) {
    case ButtonEncrypt:
        button->setText(tr("Encrypt"));
        button->setIcon(QIcon(QStringLiteral(":/ico/MainWindow/Res/security_lock.png")));
        if (!button->actions().contains(encryptAndEmailAction))
            button->addAction(encryptAndEmailAction);
        button->setPopupMode(QToolButton::MenuButtonPopup);
        break;
    case ButtonDecrypt:
        button->setText(tr("Decrypt"));
        button->setIcon(QIcon(QStringLiteral(":/ico/MainWindow/Res/security_unlock.png")));
        button->removeAction(encryptAndEmailAction);
        button->setPopupMode(QToolButton::DelayedPopup);
        break;
    case ButtonCancel:
        button->setText(tr("Cancel"));
        button->removeAction(encryptAndEmailAction);
        button->setPopupMode(QToolButton::DelayedPopup);
        break;
    }
}

void MainWindow::setStatusText(const QString& text)
{
    ui->lineEdit->setUpdatesEnabled(false);
    ui->lineEdit->setText(text);
    ui->lineEdit->setCursorPosition(0);
    ui->lineEdit->setUpdatesEnabled(true);
    if (trayIcon)
        trayIcon->setToolTip(text);
}

void MainWindow::enablePackageWidgets(bool on)
{
    ui->dropBoxLabel->setEnabled(on);
    ui->quickContactSearchBox->setEnabled(on);
    ui->recipientsListWidget->setEnabled(on);
    ui->contactListWidget->setEnabled(on);
}

void MainWindow::resetPackage()
{
    leftOutOfPackage = LeftOut();
    nameRoots.clear();
    contacts.clear();
    packageFiles.clear();
    packagePath.clear();
    ignoredCodes.clear();
    const int mode = packageMode;
    cancelRequested = false;
    sendAfterEncrypt = false;
    if (mode == ModeEncrypt) {
        QList<QListWidgetItem*> recipients;
        for (int row = 0; row < ui->recipientsListWidget->count(); ++row)
            recipients << ui->recipientsListWidget->item(row);
        ui->contactListWidget->addClonesOf(recipients);
        ui->recipientsListWidget->clear();
    }
}

void MainWindow::addDroppedUrls(const QList<QUrl>& urls)
{
    ProgressDialog dialog(&packageFiles, this);
    dialog.setWindowTitle(tr("Adding Files..."));
    dialog.startTraverse(urls);
    leftOutOfPackage += dialog.leftOut();
    if (dialog.isCancelled()) {
        setStatusText(tr("Adding files was stopped; nothing was added."));
        return;
    }
    for (const QUrl& url : urls)
        nameRoots.insert(nameRootFor(url.toLocalFile().toStdU16String()));
    // What an earlier stopped or failed run said is over once the collection changes.
    setStatusText(tr("Ready"));
}

void MainWindow::on_EncryptEnable()
{
    const bool ready = !packageFiles.empty() && ui->recipientsListWidget->count() > 0;
    ui->dropBoxLabel->setText(packageFiles.empty() ? dropHintText : viewHintText);
    if (packageMode == ModeEncrypt)
        ui->BtnEncDec->setEnabled(ready && engine);
}

void MainWindow::on_itemSelectionChanged()
{
    ui->contactManButtonBox->button(QDialogButtonBox::Ok)
        ->setEnabled(!ui->contactListWidget->selectedItems().isEmpty());
    ui->contactManButtonBox->button(QDialogButtonBox::Cancel)
        ->setEnabled(!ui->recipientsListWidget->selectedItems().isEmpty());
}

void MainWindow::on_MoveToRecipients() { QMetaObject::invokeMethod(contactActions, "add_to_recipients"); }

void MainWindow::on_MoveToContacts() { QMetaObject::invokeMethod(recipientActions, "remove_from_recipients"); }

// ---------------------------------------------------------------------------------------------
// Drops on the window and the own profile

bool MainWindow::isSinglePackageDrop(const QList<QUrl>& urls)
{
    return urls.size() == 1 && QFileInfo(urls.first().toLocalFile()).suffix().toLower() == qs(PackageSuffix);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (childAt(event->position().toPoint()) == ui->dropBoxLabel && !event->source() && ui->dropBoxLabel->isEnabled())
        event->acceptProposedAction();
    else
        event->ignore();
}

void MainWindow::dragMoveEvent(QDragMoveEvent* event)
{
    if (childAt(event->position().toPoint()) == ui->dropBoxLabel && !event->source())
        event->acceptProposedAction();
    else
        event->ignore();
}

void MainWindow::dragLeaveEvent(QDragLeaveEvent* event) { event->accept(); }

void MainWindow::dropEvent(QDropEvent* event)
{
    const QMimeData* data = event->mimeData();
    if (!data || !data->hasUrls() || event->source())
        return;
    const QList<QUrl> urls = data->urls();
    if (isSinglePackageDrop(urls)) {
        emit packageDropped(QDir::toNativeSeparators(urls.first().toLocalFile()));
    } else {
        droppedUrls = urls;
        emit itemsDropped();
    }
    event->acceptProposedAction();
}

void MainWindow::on_itemsDropped()
{
    addDroppedUrls(droppedUrls);
    ui->dropBoxLabel->setText(viewHintText);
    on_EncryptEnable();
}

void MainWindow::on_EditYourProfile()
{
    auto findOwn = [](QListWidget* list) -> QListWidgetItem* {
        QListWidgetItem* own = nullptr;
        for (int row = 0; row < list->count(); ++row) {
            if (contactItemData(list->item(row)).isOwn)
                own = list->item(row);
        }
        return own;
    };
    QListWidgetItem* item = findOwn(ui->contactListWidget);
    if (!item)
        item = findOwn(ui->recipientsListWidget);
    if (item)
        showContactDetails(this, recipientsStore.get(), item);
}

// ---------------------------------------------------------------------------------------------
// The tray

bool MainWindow::minimizesToTray() const { return !options.doNotMinimizeToTray && Dialogs::trayAvailable(); }

void MainWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::WindowStateChange && isMinimized() && minimizesToTray()) {
        // The client area's place: the frame's is known only while the window manager frames it,
        // and a restore before it does would take one for the other and creep upwards.
        hideToTray(geometry().x(), geometry().y());
        event->ignore();
        return;
    }
    QMainWindow::changeEvent(event);
}

void MainWindow::hideToTray(int x, int y)
{
    savedPos = QPoint(x, y);
    // After the current event, or at start-up after the entry function has shown the window.
    QTimer::singleShot(0, this, &QWidget::hide);
    trayIcon->show();
    watchTray();
    if (!firstTimeMinimized) {
        firstTimeMinimized = config && config->getBool(ConfigKey::FirstTimeMinimized);
        if (!firstTimeMinimized) {
            Dialogs::showBalloon(*trayIcon, qs(AppName),
                tr("Halvoren is still running. To close it, use Halvoren \u2192 Quit. To keep the "
                   "window on the taskbar, turn on Halvoren \u2192 Options \u2192 Do not hide when "
                   "minimized."),
                QSystemTrayIcon::Information, 10000);
            firstTimeMinimized = true;
            if (config)
                config->setBool(ConfigKey::FirstTimeMinimized, true);
        }
    }
}

// A tray that goes away (the panel restarts, the user removes it) must not take the hidden
// window with it: Qt says nothing when that happens, so the window asks while it is hidden.
void MainWindow::watchTray()
{
    if (!trayWatch) {
        trayWatch = new QTimer(this);
        trayWatch->setInterval(1000);
        connect(trayWatch, &QTimer::timeout, this, [this] {
            if (isVisible() && !trayIcon->isVisible()) {
                trayWatch->stop();
            } else if (!Dialogs::trayAvailable()) {
                trayWatch->stop();
                on_Restore();
            }
        });
    }
    trayWatch->start();
}

void MainWindow::restoreFromTray()
{
    setWindowFlags(Qt::Window);
    setGeometry(QRect(savedPos, size()));
    showNormal();
    raise();
    activateWindow();
}

void MainWindow::on_Restore()
{
    restoreFromTray();
    trayIcon->hide();
}

void MainWindow::on_iconActivated(QSystemTrayIcon::ActivationReason reason)
{
    // Where no double click ever arrives, the single click is the way back to the window; the
    // corner panel would leave the window out of reach.
    if (reason == QSystemTrayIcon::DoubleClick
        || (reason == QSystemTrayIcon::Trigger && !Dialogs::trayDeliversDoubleClicks())) {
        on_Restore();
    } else if (reason == QSystemTrayIcon::Trigger) {
        if (isVisible()) {
            hide();
            return;
        }
        setWindowFlags(Qt::Tool | Qt::CustomizeWindowHint);
        showAtCorner();
        showNormal();
        raise();
        activateWindow();
    }
}

void MainWindow::showAtCorner()
{
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect frame = frameGeometry();
    move((area.right() - area.left()) - (frame.right() - frame.left()),
        (area.bottom() - area.top()) - (frame.bottom() - frame.top()));
}

void MainWindow::on_popupMessageClicked() { showInExplorer(detailsPath); }

// ---------------------------------------------------------------------------------------------
// Help, the web site, mail

void MainWindow::on_About()
{
    AboutDialog dialog(this);
    Dialogs::exec(dialog);
}

// A missing guide shows nothing, as a missing help file never did.
void MainWindow::on_Help()
{
    const QString path = helpFilePath();
    if (path.isEmpty())
        return;
    Dialogs::openUrl(QUrl::fromLocalFile(path), [window = QPointer<MainWindow>(this), path](const QString& why) {
        if (window)
            window->tellByHand(tr("The user guide could not be opened: %1.\n\nYou can open it in a web browser "
                                  "yourself:\n%2")
                                   .arg(why, path),
                {});
    });
}

void MainWindow::openPage(const QUrl& page)
{
    Dialogs::openUrl(page, [window = QPointer<MainWindow>(this), page](const QString& why) {
        if (window)
            window->tellByHand(tr("The page could not be opened: %1.\n\nYou can open this address in a web "
                                  "browser yourself:\n%2")
                                   .arg(why, page.toString()),
                {});
    });
}

void MainWindow::tellByHand(const QString& text, const QString& file)
{
    QMessageBox box(QMessageBox::Warning, qs(AppName), text, QMessageBox::Ok, this);
    // The path or address is there to be copied.
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    QPushButton* show = file.isEmpty() ? nullptr : box.addButton(tr("Show in File Manager"), QMessageBox::ActionRole);
    Dialogs::exec(box);
    if (show && box.clickedButton() == show)
        showInExplorer(file);
}

std::function<void(const QString&)> MainWindow::mailFailed(const QString& text, const QString& file)
{
    return [window = QPointer<MainWindow>(this), text, file](const QString& why) {
        if (window)
            window->tellByHand(text.arg(why, QDir::toNativeSeparators(file)), file);
    };
}

QUrl MainWindow::updateUrl()
{
    const QString architecture = QSysInfo::currentCpuArchitecture();
    const QString osarc = architecture == QLatin1String("x86_64") ? QStringLiteral("x64")
        : architecture == QLatin1String("i386")                   ? QStringLiteral("x86")
        : architecture == QLatin1String("ia64")                   ? QStringLiteral("IA64")
                                                                  : QStringLiteral("Unknown");
    // The kernel's version is left out of the query, though the update service asks for it: it
    // tells a web server more about the machine than an update needs.
    return QUrl(
        webSite() + QStringLiteral("/update/update.php?osarc=") + osarc + QStringLiteral("&appver=") + qs(AppVersion));
}

void MainWindow::on_CheckForUpdates() { openPage(updateUrl()); }

void MainWindow::on_GetFeedback() { openPage(QUrl(webSite() + QStringLiteral("/files/support.html"))); }

void MainWindow::on_EncryptAndSend()
{
    on_BtnEncDec_clicked();
    sendAfterEncrypt = true;
}

void MainWindow::mailPackage()
{
    const auto failed = mailFailed(tr("The package could not be handed to a mail program: %1.\n\nIt was saved as "
                                      "%2; attach it to a message yourself."),
        packagePath);
    MapiMail mail(0, winId());
    if (!mail.load()) {
        failed(NoMailProgram());
        return;
    }
    for (int row = 0; row < ui->recipientsListWidget->count(); ++row) {
        const ContactItemData data = contactItemData(ui->recipientsListWidget->item(row));
        if (!data.contact)
            continue;
        const QString name = qs(data.contact->firstName) + u' ' + qs(data.contact->lastName);
        mail.addRecipient({ name.toStdString(), qs(data.contact->email).toStdString() });
    }
    const QString fileName = QFileInfo(packagePath).fileName();
    mail.setSubject(tr("Emailing: %1").arg(fileName).toStdString());
    mail.setBody(" ");
    mail.addAttachment({ QDir::toNativeSeparators(packagePath).toStdString(), fileName.toStdString() });
    mail.send(failed);
}

void MainWindow::on_EMailKey()
{
    if (!ownContact)
        return;
    // A folder of its own for each mailing, made afresh and private (0700): under a fixed name in
    // the shared temporary folder another user could have put a file or a link there first, and
    // the key that goes out would not be ours. The folder stays, since the mail program may read
    // the file long after the hand-off.
    QTemporaryDir folder(QDir::temp().filePath(QStringLiteral("halvoren-key-XXXXXX")));
    folder.setAutoRemove(false);
    QString fileName = qs(ownContact->name) + u'.' + qs(KeySuffix);
    fileName.replace(u'/', u'_');
    const QString path = folder.isValid() ? folder.filePath(fileName) : QString();
    if (path.isEmpty() || !saveCertificateFile(ownContact->identity.certificate(), u16(path))) {
        QMessageBox box(QMessageBox::Critical, qs(AppName), tr("An error occurred during sending contact key file."),
            QMessageBox::Ok, this);
        Dialogs::exec(box);
        return;
    }
    const auto failed = mailFailed(tr("Your key file could not be handed to a mail program: %1.\n\nIt was saved as "
                                      "%2; attach it to a message yourself."),
        path);
    MapiMail mail(0, winId());
    if (!mail.load()) {
        failed(NoMailProgram());
        return;
    }
    mail.setSubject(
        tr("Emailing: %1 %2 Key File.").arg(qs(ownContact->firstName), qs(ownContact->lastName)).toStdString());
    mail.setBody(" ");
    mail.addAttachment({ path.toStdString(), QFileInfo(path).fileName().toStdString() });
    mail.send(failed);
}

// ---------------------------------------------------------------------------------------------
// The file list and the chooser

void MainWindow::on_ViewFiles()
{
    FileListDlg dialog(&packageFiles, this);
    Dialogs::exec(dialog);
    nameRoots.insert(dialog.addedRoots().begin(), dialog.addedRoots().end());
    on_EncryptEnable();
}

void MainWindow::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (childAt(event->position().toPoint()) == ui->dropBoxLabel && packageMode == ModeEncrypt
        && ui->dropBoxLabel->isEnabled())
        on_ViewFiles();
    QMainWindow::mouseDoubleClickEvent(event);
}

void MainWindow::on_AddFiles()
{
    QStringList paths;
    AddFilesDialog dialog(&paths, this);
    if (Dialogs::exec(dialog) != QDialog::Accepted || paths.isEmpty())
        return;
    droppedUrls.clear();
    for (const QString& path : paths)
        droppedUrls << QUrl::fromLocalFile(path);
    emit itemsDropped();
}

// ---------------------------------------------------------------------------------------------
// Options

void MainWindow::on_Options()
{
    OptionsDialog dialog(config.get(), &options, this);
    if (Dialogs::exec(dialog) == QDialog::Accepted)
        emit optionsChanged();
}

void MainWindow::on_OPTStartOnLogin() { updateAutostart(options.startOnLogin); }

// ---------------------------------------------------------------------------------------------
// The package in hand and its runs

QString MainWindow::askPackageSavePath()
{
    QString path = Dialogs::getSaveFileName(
        this, tr("Save Halvoren Package as..."), lastSavePath, tr("Halvoren Package File (*.kvx)"));
    if (!path.isEmpty() && QFileInfo(path).completeSuffix().toLower() != qs(PackageSuffix)) {
        path += u'.' + qs(PackageSuffix);
        // The dialog asked about the name as typed; the file that would be replaced is this one.
        if (QFileInfo::exists(path)) {
            QMessageBox box(QMessageBox::Warning, qs(AppName),
                tr("%1 already exists.\nDo you want to replace it?").arg(QDir::toNativeSeparators(path)),
                QMessageBox::Yes | QMessageBox::No, this);
            box.setDefaultButton(QMessageBox::No);
            if (Dialogs::exec(box) != QMessageBox::Yes)
                return {};
        }
    }
    if (!path.isEmpty())
        lastSavePath = path;
    return path;
}

QString MainWindow::askPackageOpenPath()
{
    lastOpenPath
        = Dialogs::getOpenFileName(this, tr("Open Package File"), lastOpenPath, tr("Halvoren Package File (*.kvx)"));
    return lastOpenPath;
}

void MainWindow::on_NewPackage()
{
    const QString path = askPackageSavePath();
    if (path.isEmpty())
        return;
    packagePath = path;
    showPackageInTitle(path);
    applyActionState(1);
}

void MainWindow::on_OpenPackage()
{
    const QString path = askPackageOpenPath();
    if (path.isEmpty())
        return;
    emit packageDropped(QDir::toNativeSeparators(path));
    applyActionState(2);
}

void MainWindow::on_ClosePackage()
{
    enablePackageWidgets(true);
    resetPackage();
    ui->dropBoxLabel->setText(dropHintText);
    ui->BtnEncDec->setEnabled(false);
    ui->progressBar->setValue(0);
    TaskbarProgress::clear();
    ui->menuBar->setEnabled(true);
    packageMode = ModeEncrypt;
    setButtonState(ButtonEncrypt);
    showPackageInTitle(QString());
    setStatusText(tr("Ready"));
    applyActionState(3);
}

// The package in hand comes first, as desktop programs name the document they hold.
void MainWindow::showPackageInTitle(const QString& path)
{
    setWindowTitle(
        path.isEmpty() ? qs(AppName) : QStringLiteral("%1 \u2014 %2").arg(QFileInfo(path).fileName(), qs(AppName)));
}

void MainWindow::on_PackageDropped(QString package_name)
{
    resetPackage();
    enablePackageWidgets(false);
    packagePath = package_name;
    showPackageInTitle(package_name);
    setStatusText(tr("Ready"));
    ui->dropBoxLabel->setText(decryptHintText);
    packageMode = ModeDecrypt;
    setButtonState(ButtonDecrypt);
    ui->BtnEncDec->setEnabled(engine != nullptr);
    ui->act_MW_view_files->setEnabled(false);
    ui->act_MW_add_files->setEnabled(false);
    applyActionState(2);
}

void MainWindow::on_BtnEncDec_clicked()
{
    bool started = false;
    switch (buttonState) {
    case ButtonEncrypt:
        started = startEncryption();
        break;
    case ButtonDecrypt:
        started = startDecryption();
        break;
    case ButtonCancel:
        cancelRequested = true;
        return;
    }
    if (!started)
        return;
    setButtonState(ButtonCancel);
    enablePackageWidgets(false);
    ui->menuBar->setEnabled(false);
}

bool MainWindow::startEncryption()
{
    if (!engine)
        return false;
    if (ui->recipientsListWidget->count() == 0 && !options.autoAddMyself) {
        QMessageBox box(QMessageBox::Warning, qs(AppName),
            tr("The list of Recipients is empty. Choose who you want to encrypt files for by adding their "
               "contacts to Recipients list"),
            QMessageBox::Ok, this);
        Dialogs::exec(box);
        return false;
    }
    std::vector<const ContactRecord*> recipients;
    bool ownAmongThem = false;
    for (int row = 0; row < ui->recipientsListWidget->count(); ++row) {
        const ContactItemData data = contactItemData(ui->recipientsListWidget->item(row));
        if (data.contact)
            recipients.push_back(data.contact.get());
        ownAmongThem = ownAmongThem || data.isOwn;
    }
    if (options.autoAddMyself && !ownAmongThem) {
        // Without an own contact (the first start couldn't make one) there is nothing to add; a
        // package for nobody at all would be useless, so that case is refused with a reason.
        if (ownContact) {
            recipients.push_back(ownContact.get());
        } else if (recipients.empty()) {
            QMessageBox box(QMessageBox::Warning, qs(AppName),
                tr("You have no contact of your own to encrypt for. Add recipients to the Recipients "
                   "list, or edit your profile."),
                QMessageBox::Ok, this);
            Dialogs::exec(box);
            return false;
        }
    }
    // A backslash separates folders inside a package, so such a name would come back as a
    // folder and a file; better to say so before anything is written.
    QStringList unstorable;
    for (const std::u16string& path : packageFiles) {
        if (path.find(u'\\') != std::u16string::npos)
            unstorable << QDir::toNativeSeparators(QString::fromStdU16String(path));
    }
    if (!unstorable.isEmpty()) {
        refuseFiles(tr("These files have a backslash in their names, which a package can't keep (it separates "
                       "folders there). Rename them or remove them from the package:\n%1"),
            unstorable, 10, QStringLiteral("\n"));
        return false;
    }
    engine->setFiles(packageFiles);
    engine->setNameRoots(nameRoots);
    const auto clashes = engine->nameClashes();
    if (!clashes.empty()) {
        QStringList pairs;
        for (const auto& [first, second] : clashes)
            pairs << QStringLiteral("%1\n%2").arg(QString::fromStdU16String(first), QString::fromStdU16String(second));
        refuseFiles(tr("These files would have the same name in the package, so one would replace the other "
                       "when it is opened. Rename one of each pair or remove it from the package:\n\n%1"),
            pairs, 5, QStringLiteral("\n\n"));
        return false;
    }
    packagePathBeforeRun = packagePath;
    if (packagePath.isEmpty())
        packagePath = askPackageSavePath();
    if (packagePath.isEmpty())
        return false;
    if (const std::u16string source = sourceAtPackagePath(packageFiles, u16(packagePath)); !source.empty()) {
        QMessageBox box(QMessageBox::Warning, qs(AppName),
            tr("The package can't be saved as %1: that file is one of the files to encrypt. Choose "
               "another name for the package.")
                .arg(QDir::toNativeSeparators(packagePath)),
            QMessageBox::Ok, this);
        Dialogs::exec(box);
        packagePath.clear();
        return false;
    }

    engine->setFiles(packageFiles);
    engine->setPackagePath(u16(QDir::toNativeSeparators(packagePath)));
    lastPercent = -1;
    engine->setRecipients(recipients);
    packageThread->setOperation(PackageOperationCreate);
    threadFinished = false;
    packageThread->start(QThread::InheritPriority);
    return true;
}

void MainWindow::refuseFiles(const QString& text, const QStringList& items, int most, const QString& separator)
{
    const int shown = std::min<int>(int(items.size()), most);
    QString list = QStringList(items.mid(0, shown)).join(separator);
    if (items.size() > shown)
        list += tr("\n... and %1 more").arg(items.size() - shown);
    QMessageBox box(QMessageBox::Warning, qs(AppName), text.arg(list), QMessageBox::Ok, this);
    Dialogs::exec(box);
}

bool MainWindow::startDecryption()
{
    if (!engine)
        return false;
    QString folder;
    do {
        folder = Dialogs::getExistingDirectory(this, tr("Select a folder to extract the files"), extractFolder);
    } while (!folder.isEmpty() && !QFileInfo(folder).isDir());
    if (folder.isEmpty())
        return false;
    extractFolder = folder;
    engine->setPackagePath(u16(packagePath));
    engine->setExtractFolder(u16(extractFolder));
    packageThread->setOperation(PackageOperationExtract);
    threadFinished = false;
    packageThread->start(QThread::InheritPriority);
    return true;
}

void MainWindow::on_StatusUpdate(
    uint operation, qint64 data_length, qint64 processed_length, KvxUtils::UserParameter* user_parameter)
{
    const int percent = data_length == 0 ? 0 : int(double(processed_length) / double(data_length) * 100.0);
    if (percent == lastPercent)
        return;
    lastPercent = percent;
    if (percent <= 100)
        ui->progressBar->setValue(percent);
    TaskbarProgress::setValue(percent);

    const QString fileName
        = user_parameter && user_parameter->fileName ? shownName(user_parameter->fileName) : QString();
    QString text;
    switch (operation) {
    case OpEncrypt:
        text = tr("Encryption...");
        break;
    case OpDecrypt:
        text = tr("Decryption...");
        break;
    case OpHash:
        text = tr("Hashing...");
        break;
    case OpWriteFile:
        text = tr("Writing File: ") + fileName;
        break;
    case OpExtractFile:
        text = tr("Extracting File: ") + fileName;
        break;
    default:
        break;
    }
    setStatusText(text);
}

void MainWindow::on_EngineError(KvxUtils::UserParameter* user_parameter, bool& status)
{
    const std::uint32_t code = user_parameter ? user_parameter->status.code() : 0;
    status = ignoredCodes.contains(code);
    if (status || cancelRequested)
        return;
    if (reportFatalError(user_parameter)) {
        status = false;
        cancelRequested = true;
        return;
    }
    askOnError(user_parameter, status);
}

bool MainWindow::reportFatalError(KvxUtils::UserParameter* user_parameter)
{
    const EngineStatus status = user_parameter ? user_parameter->status : EngineStatus();
    const std::uint32_t code = status.code();
    // While a package is opened, a report that names no entry concerns the package itself: a
    // file too short for a header (38) or an index that can't be read (2) is as invalid as a bad
    // format or digest, and the user is told so in the same words.
    const bool aboutThePackage
        = packageMode == ModeDecrypt && (!user_parameter->fileName || !*user_parameter->fileName);
    const bool invalid = code == win::ERROR_BAD_FORMAT || code == win::NTE_BAD_HASH
        || (aboutThePackage && (code == win::ERROR_FILE_NOT_FOUND || code == win::ERROR_HANDLE_EOF));
    QString text;
    if (invalid) {
        FailureSubject subject;
        subject.packageInvalid = true;
        text = QString::fromStdU16String(statusText(status, subject));
    } else if (code == win::CRYPT_E_RECIPIENT_NOT_FOUND) {
        text = QCoreApplication::translate("ErrorText", platform::NotARecipientText);
    } else {
        return false;
    }
    QMessageBox box(QMessageBox::Critical, qs(AppName), text, QMessageBox::Ok, this);
    Dialogs::exec(box);
    return true;
}

void MainWindow::askOnError(KvxUtils::UserParameter* user_parameter, bool& status)
{
    EngineStatus engineStatus = user_parameter->status;
    QString text = tr("An error occurred while processing:<br>") + QStringLiteral("<b>")
        + QString::fromStdU16String(engineStatus.message()).toHtmlEscaped() + QStringLiteral("</b><br>");
    if (user_parameter->fileName && *user_parameter->fileName)
        text += shownName(user_parameter->fileName).toHtmlEscaped();
    QMessageBox box(QMessageBox::Warning, qs(AppName), text, QMessageBox::NoButton, this);
    box.setTextFormat(Qt::RichText);
    QAbstractButton* continueButton = box.addButton(tr("Continue"), QMessageBox::AcceptRole);
    QAbstractButton* ignoreButton = box.addButton(QMessageBox::Ignore);
    box.addButton(QMessageBox::Cancel);
    Dialogs::exec(box);
    QAbstractButton* clicked = box.clickedButton();
    status = clicked == continueButton || clicked == ignoreButton;
    if (clicked == ignoreButton)
        ignoredCodes.insert(engineStatus.code());
    else if (!status)
        cancelRequested = true;
}

void MainWindow::on_PackageThreadFinished()
{
    threadFinished = true;
    const EngineStatus status = packageThread->result();
    const bool stopped = cancelRequested;
    if (closeRequested)
        emit kvxClosing();
    else if (sendAfterEncrypt) {
        if (status.ok())
            mailPackage();
    } else if (!options.doNotNotify)
        notifyCompletion(status);
    if (packageMode == ModeEncrypt && !status.ok() && !closeRequested)
        keepCollection(stopped);
    else
        on_ClosePackage();
    if (reloadPending)
        reloadContacts();
}

// A stopped or failed encryption wrote nothing, so the user gets back what was collected, to try
// again without collecting it all anew (where a run once always ended with an empty window).
void MainWindow::keepCollection(bool stopped)
{
    enablePackageWidgets(true);
    ui->progressBar->setValue(0);
    TaskbarProgress::clear();
    ui->menuBar->setEnabled(true);
    cancelRequested = false;
    sendAfterEncrypt = false;
    ignoredCodes.clear();
    packagePath = packagePathBeforeRun;
    showPackageInTitle(packagePath);
    setButtonState(ButtonEncrypt);
    on_EncryptEnable();
    applyActionState(packagePath.isEmpty() ? 0 : 1);
    setStatusText(stopped ? tr("Stopped. No package was written.") : tr("Failed. No package was written."));
}

void MainWindow::notifyCompletion(const EngineStatus& status)
{
    disconnect(trayIcon, &QSystemTrayIcon::messageClicked, this, &MainWindow::on_popupMessageClicked);
    if (cancelRequested)
        return;
    const QString process = packageMode == ModeEncrypt ? tr("Encryption") : tr("Decryption");
    QString text = status.ok() ? tr("The process of %1 has been completed successfully.").arg(process)
                               : tr("The process of %1 failed.").arg(process);
    const QString details = packageMode == ModeEncrypt ? packagePath : extractFolder;
    if (packageMode == ModeEncrypt && !leftOutOfPackage.empty())
        text += QStringLiteral("\n\n") + QString::fromStdString(leftOutText(leftOutOfPackage)) + u'.';
    if (!isVisible()) {
        // In the tray nobody would see a message box; a balloon tells the end instead, and after
        // a success a click on it shows the result.
        QString balloon = text;
        if (status.ok()) {
            detailsPath = details;
            balloon += tr("\nClick for more details.");
            connect(trayIcon, &QSystemTrayIcon::messageClicked, this, &MainWindow::on_popupMessageClicked);
        }
        Dialogs::showBalloon(*trayIcon, tr("Done!"), balloon,
            status.ok() ? QSystemTrayIcon::Information : QSystemTrayIcon::Critical, 10000);
        return;
    }
    // A failure says what failed, with the file it concerned.
    const QString why = status.ok() ? QString() : QString::fromStdU16String(statusText(status, engine->failure()));
    QMessageBox box(status.ok() ? QMessageBox::Information : QMessageBox::Critical, qs(AppName),
        why.isEmpty() ? text : text + QStringLiteral("\n\n") + why, QMessageBox::Ok, this);
    QAbstractButton* detailsButton = status.ok() ? box.addButton(tr("Details"), QMessageBox::AcceptRole) : nullptr;
    Dialogs::exec(box);
    if (detailsButton && box.clickedButton() == detailsButton)
        showInExplorer(details);
}

// ---------------------------------------------------------------------------------------------
// The way out

void MainWindow::closeEvent(QCloseEvent* event)
{
    const bool running = packageThread && packageThread->isRunning();
    if (!running) {
        event->accept();
        QCoreApplication::quit();
        return;
    }
    if (closeRequested && threadFinished) {
        // The worker reported its end; only its last instructions are left.
        packageThread->wait();
        event->accept();
        QCoreApplication::quit();
        return;
    }
    // Never wait here while the worker can still report: it may be waiting for this thread.
    cancelRequested = true;
    closeRequested = true;
    event->ignore();
}
