#pragma once
// The program's one window and the owner of everything that lives as long as the program: the
// stores, the engine, the worker thread, the tray icon and the one package in hand. All of
// start-up runs in the constructor, modal dialogs included; when it decides that the program ends
// at once it leaves cancelRequested set, and the entry function shows no window.

#include <QList>
#include <QMainWindow>
#include <QMap>
#include <QPoint>
#include <QSet>
#include <QSystemTrayIcon>
#include <QUrl>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "contacts/ContactRecord.h"
#include "engine/EngineCallback.h"
#include "files/FileSet.h"
#include "files/FolderWalk.h"
#include "ui/OptionsDialog.h"

class ConfigStore;
class RecipientsStore;
class PackageEngine;
class PackageThread;
class ContactActionMan;
class RecipientActionMan;
class QAction;
class QMenu;
class QListWidgetItem;

class QTimer;

namespace Ui {
class MainWindow;
}

inline constexpr int ModeEncrypt = 1;
inline constexpr int ModeDecrypt = 2;
inline constexpr int ButtonEncrypt = 0;
inline constexpr int ButtonDecrypt = 1;
inline constexpr int ButtonCancel = 2;

struct CommandLine {
    bool autostart = false;
    // One package or key file: opened for decryption, or imported.
    bool hasFile = false;
    QString file;
    // Anything else that exists: files and folders added as a drop would add them.
    QStringList paths;
};

class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Set when start-up decided that the program ends without a window; afterwards the stop flag
    // of the running work.
    bool isCancelRequested() const { return cancelRequested.load(); }

    // For the tests and the screenshot tool, which look at the window as a user would.
    Ui::MainWindow* form() const { return ui; }
    int mode() const { return packageMode; }
    int currentButtonState() const { return buttonState; }
    const FileSet& files() const { return packageFiles; }
    const QString& currentPackagePath() const { return packagePath; }
    const ApplicationOptions& currentOptions() const { return options; }
    PackageThread* thread() const { return packageThread; }
    PackageEngine* packageEngine() const { return engine.get(); }
    const QString& startupProblem() const { return storeProblem; }
    QSystemTrayIcon* tray() const { return trayIcon; }

    // What a drop of these URLs on dropBoxLabel would be: one package, or files to collect.
    static bool isSinglePackageDrop(const QList<QUrl>& urls);

signals:
    void itemsDropped();
    void packageDropped(QString package_name);
    void kvxClosing();
    void optionsChanged();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private slots:
    void on_NewPackage();
    void on_OpenPackage();
    void on_ClosePackage();
    void on_Options();
    void on_StatusUpdate(
        uint operation, qint64 data_length, qint64 processed_length, KvxUtils::UserParameter* user_parameter);
    void on_EngineError(KvxUtils::UserParameter* user_parameter, bool& status);
    void on_PackageThreadFinished();
    void on_EncryptEnable();
    void on_PackageDropped(QString package_name);
    void on_BtnEncDec_clicked();
    void on_itemSelectionChanged();
    void on_MoveToRecipients();
    void on_MoveToContacts();
    void on_OPTStartOnLogin();
    void on_itemsDropped();
    void on_EditYourProfile();
    void on_Restore();
    void on_About();
    void on_Help();
    void on_CheckForUpdates();
    void on_GetFeedback();
    void on_EMailKey();
    void on_EncryptAndSend();
    void on_ViewFiles();
    void on_AddFiles();
    void on_iconActivated(QSystemTrayIcon::ActivationReason reason);
    void on_popupMessageClicked();

public:
    // The enable table and the controls of the package state.
    void applyActionState(int row);
    void setButtonState(int state);
    void setStatusText(const QString& text);
    void enablePackageWidgets(bool on);
    void resetPackage();
    // Acts on the program's arguments as at start: a package opens for decryption, a key file is
    // imported and ends the program, --autostart goes to the tray. The constructor passes the
    // application's own arguments; tests pass theirs.
    void handleCommandLine(const QStringList& arguments, bool atStart = true);
    void parseArguments(const QStringList& arguments);
    // Arguments that a later start of the program handed over: the window comes to the front and
    // acts on them once no run and no modal dialog is in the way.
    void acceptHandedArguments(const QStringList& arguments);
    const CommandLine& arguments() const { return commandLine; }

    // The update query for this machine: architecture, system version and program version.
    static QUrl updateUrl();

    // The tray: the window hides there when minimized and comes back as it was.
    // x and y: where the client area goes back to.
    void hideToTray(int x, int y);
    void restoreFromTray();
    void showAtCorner();
    // Whether minimizing hides the window in the tray: never where the desktop has no tray,
    // since the window could not come back from there.
    bool minimizesToTray() const;
    QPoint restorePosition() const { return savedPos; }

    // Walks the URLs into the package in hand, with the progress dialog up meanwhile.
    void addDroppedUrls(const QList<QUrl>& urls);

private:
    bool startupCheck();
    void reportDamagedCertificates();
    void createSetupMutexes();
    void createActionManagers();
    void setupSearchBox();
    void setupExtras();
    void loadStores();
    bool loadConfig();
    // Renames an unreadable settings file to a free "….unreadable" name and makes an empty one;
    // the new name, or empty if it couldn't be moved.
    QString setAsideUnreadable(const QString& path);
    void keepCollection(bool stopped);
    void showPackageInTitle(const QString& path);
    void watchTray();
    void setupKeyboard();
    // A warning that lists the files in the way (at most `most` of them) and starts nothing.
    void refuseFiles(const QString& text, const QStringList& items, int most, const QString& separator);
    bool eventFilter(QObject* watched, QEvent* event) override;
    // Contacts imported or removed by another program (halvoren-cli) appear without a restart.
    void watchProfile();
    void reloadContacts();
    bool loadRecipients();
    void enterOwnContact();
    void fillContactList();
    void createPackageThread();
    void connectSignals();
    void connectActions();
    void openFileArgument(const QString& file, bool atStart);
    void actOnHandedArguments();
    void bringToFront();

    QString askPackageSavePath();
    QString askPackageOpenPath();
    bool startEncryption();
    bool startDecryption();
    bool reportFatalError(KvxUtils::UserParameter* user_parameter);
    void askOnError(KvxUtils::UserParameter* user_parameter, bool& status);
    void notifyCompletion(const EngineStatus& status);
    void mailPackage();
    // Where the desktop couldn't open a page or take a message: what was tried, why it failed and
    // what the user can do by hand; `file`, when given, can be shown in the file manager.
    void tellByHand(const QString& text, const QString& file);
    void openPage(const QUrl& page);
    std::function<void(const QString&)> mailFailed(const QString& text, const QString& file);
    void showProblem();

    Ui::MainWindow* ui = nullptr;
    std::unique_ptr<ConfigStore> config;
    std::unique_ptr<RecipientsStore> recipientsStore;
    std::unique_ptr<PackageEngine> engine;
    ContactActionMan* contactActions = nullptr;
    RecipientActionMan* recipientActions = nullptr;
    std::vector<ContactRecord> contacts;
    // The record of the own contact's list item; it shares the item's record, so it stays valid
    // while the item lives.
    std::shared_ptr<ContactRecord> ownContact;
    FileSet packageFiles;
    QString packagePath;
    std::atomic_bool cancelRequested { false };
    bool closeRequested = false;
    bool threadFinished = true;
    bool sendAfterEncrypt = false;
    bool firstTimeMinimized = false;
    PackageThread* packageThread = nullptr;
    int lastPercent = -1;
    QList<QUrl> droppedUrls;
    int packageMode = 0;
    int buttonState = ButtonEncrypt;
    QAction* encryptAndEmailAction = nullptr;
    QString extractFolder;
    QString lastOpenPath;
    QString lastSavePath;
    QString detailsPath;
    QString dropHintText;
    QString decryptHintText;
    QString viewHintText;
    QSet<quint32> ignoredCodes;
    std::array<QMap<QAction*, bool>, 3> actionStateRows;
    std::array<const QMap<QAction*, bool>*, 4> actionStates {};
    QSystemTrayIcon* trayIcon = nullptr;
    QAction* restoreAction = nullptr;
    QAction* optionsAction = nullptr;
    QAction* aboutAction = nullptr;
    QAction* quitAction = nullptr;
    QMenu* trayMenu = nullptr;
    QPoint savedPos;
    ApplicationOptions options;
    CommandLine commandLine;
    // What went wrong when a store couldn't be opened after the start-up check passed; the
    // window then offers nothing that needs the engine.
    QString storeProblem;
    // What the start found and mended (settings kept aside, the owner recognised by the key).
    QString startNotice;
    // The package path as it was when Encrypt was pressed, for a run that writes nothing.
    QString packagePathBeforeRun;
    // The contacts file as last read (device, inode, time and size), to tell a change apart.
    QString contactsStamp;
    bool reloadPending = false;
    // What the walks into the package in hand left out, told with the completion report.
    LeftOut leftOutOfPackage;
    // The folders the files of the package in hand were added from; entries are named below them.
    std::set<std::u16string> nameRoots;
    QTimer* reloadTimer = nullptr;
    QTimer* trayWatch = nullptr;
    // Arguments of later starts, waiting for a run or a modal dialog to end.
    QList<QStringList> handedArguments;
    bool handOverScheduled = false;
    // The own identity's name, as recognised at the start.
    std::u16string ownerName;
};
