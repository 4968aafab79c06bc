// Renders each window and dialog of the program in its typical states to PNG files, so that
// anyone can look at every screen without clicking through it. Runs offscreen in a throw-away
// profile with made-up contacts; nothing of the user's own is touched.
//
//     halvoren_screenshots FOLDER        (make screenshots DIR=FOLDER)

#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QImage>
#include <QMimeData>
#include <QPainter>
#include <QPalette>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>
#include <QTreeWidget>
#include <cstdio>
#include <memory>

#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "ui/AboutDialog.h"
#include "ui/Dialogs.h"
#include "ui/MainWindow.h"
#include "ui/OptionsDialog.h"
#include "ui/PackageThread.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui/desktop/Translations.h"
#include "ui/files/AddFilesDialog.h"
#include "ui/files/FileListDlg.h"
#include "ui/files/ProgressDialog.h"
#include "ui/files/SearchingDialog.h"
#include "ui_AddFilesDialog.h"
#include "ui_MainWindow.h"
#include "ui_ProgressDialog.h"

namespace {
QString outputFolder;
int saved = 0;

// Files of made-up content below `folder` (names may hold sub-folders), as the file set names them.
FileSet makeUpFiles(const QString& folder, const QStringList& names)
{
    FileSet files;
    for (const QString& name : names) {
        const QString path = folder + u'/' + name;
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write("made up");
        files.insert(QDir::toNativeSeparators(path).toStdU16String());
    }
    return files;
}

void save(QWidget& widget, const QString& name)
{
    widget.ensurePolished();
    widget.adjustSize();
    QCoreApplication::processEvents();
    const QString path = QDir(outputFolder).filePath(name + QStringLiteral(".png"));
    if (widget.grab().save(path)) {
        ++saved;
        std::printf("%s\n", qPrintable(path));
    } else {
        std::fprintf(stderr, "halvoren_screenshots: can't write %s\n", qPrintable(path));
    }
}

void addMadeUpContact(RecipientsStore& store, const QString& name, const QString& organization)
{
    auto identity = IdentityCertificate::create(name.toStdU16String());
    if (!identity)
        return;
    ContactRecord record;
    record.identity = *identity;
    record.name = name.toStdU16String();
    record.firstName = name.section(u' ', 0, 0).toStdU16String();
    record.lastName = name.section(u' ', 1).toStdU16String();
    record.organization = organization.toStdU16String();
    record.email = (name.section(u' ', 0, 0).toLower() + QStringLiteral("@example.org")).toStdU16String();
    store.add(record);
}

void drop(MainWindow& window, const QList<QUrl>& urls)
{
    QMimeData data;
    data.setUrls(urls);
    QLabel* label = window.form()->dropBoxLabel;
    const QPoint at = label->mapTo(&window, label->rect().center());
    QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    QDropEvent event(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &event);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
}
} // namespace

int main(int argc, char* argv[])
{
    QTemporaryDir sandbox;
    if (!sandbox.isValid())
        return 1;
    // The whole run lives in the throw-away folder: profile, settings, temporary files.
    for (const char* variable : { "XDG_DATA_HOME", "XDG_CONFIG_HOME", "TMPDIR", "HOME" }) {
        const QByteArray folder = QFile::encodeName(sandbox.filePath(QString::fromLatin1(variable)));
        QDir().mkpath(QString::fromLocal8Bit(folder));
        qputenv(variable, folder);
    }

    QApplication application(argc, argv);
    Q_INIT_RESOURCE(halvoren);
    // In the language that LANG (or LC_ALL) names, as the program would start in it.
    installTranslations(QLocale());
    QStringList arguments = application.arguments().mid(1);
    // --dark renders every screen under a dark desktop palette, as a dark GTK or Plasma theme
    // hands it to the program: every text must stay readable there too.
    if (arguments.value(0) == QStringLiteral("--dark")) {
        arguments.removeFirst();
        QPalette dark;
        dark.setColor(QPalette::Window, QColor(45, 45, 48));
        dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
        dark.setColor(QPalette::Base, QColor(30, 30, 32));
        dark.setColor(QPalette::AlternateBase, QColor(50, 50, 54));
        dark.setColor(QPalette::Text, QColor(235, 235, 235));
        dark.setColor(QPalette::Button, QColor(60, 60, 64));
        dark.setColor(QPalette::ButtonText, QColor(235, 235, 235));
        dark.setColor(QPalette::ToolTipBase, QColor(60, 60, 64));
        dark.setColor(QPalette::ToolTipText, QColor(235, 235, 235));
        dark.setColor(QPalette::Highlight, QColor(60, 120, 200));
        dark.setColor(QPalette::HighlightedText, Qt::white);
        dark.setColor(QPalette::PlaceholderText, QColor(150, 150, 150));
        QApplication::setPalette(dark);
    }
    outputFolder = arguments.isEmpty() ? QStringLiteral("screenshots") : arguments.first();
    if (!QDir().mkpath(outputFolder)) {
        std::fprintf(stderr, "halvoren_screenshots: can't make the folder %s\n", qPrintable(outputFolder));
        return 1;
    }

    // The first-start dialog, as a new user meets it.
    {
        ContactDetailsDlg dialog;
        dialog.setWindowTitle(QCoreApplication::translate("MainWindow", "Enter Your Own Contact Information"));
        dialog.setOkEnabled(false);
        dialog.show();
        save(dialog, QStringLiteral("first-start"));
    }

    // A profile with an identity and two contacts.
    Dialogs::testing::setStrict(true);
    Dialogs::testing::answer([](QDialog& dialog) {
        auto& details = static_cast<ContactDetailsDlg&>(dialog);
        details.setContactName(QStringLiteral("Anna Example"));
        details.setOrganization(QStringLiteral("Example Ltd"));
        details.setEMail(QStringLiteral("anna@example.org"));
        return int(ContactDetailsDlg::Ok);
    });
    {
        MainWindow firstStart;
    }
    {
        RecipientsStore store;
        std::vector<ContactRecord> contacts;
        store.load(contacts, recipientsPath());
        addMadeUpContact(store, QStringLiteral("Bert Example"), QStringLiteral("Example Ltd"));
        addMadeUpContact(store, QStringLiteral("Cleo Sample"), QStringLiteral("Sample & Co"));
    }

    const QString sources = sandbox.filePath(QStringLiteral("documents"));
    makeUpFiles(
        sources, { QStringLiteral("report.odt"), QStringLiteral("letters/a.txt"), QStringLiteral("letters/b.txt") });

    MainWindow window;
    window.show();
    save(window, QStringLiteral("main-empty"));

    drop(window, { QUrl::fromLocalFile(sources) });
    window.form()->contactListWidget->item(1)->setSelected(true);
    window.form()->contactManButtonBox->button(QDialogButtonBox::Ok)->click();
    QCoreApplication::processEvents();
    save(window, QStringLiteral("main-collecting"));

    // A run: the window while it works, then the report at its end.
    {
        QFile big(sources + QStringLiteral("/holiday.mov"));
        if (big.open(QIODevice::WriteOnly)) {
            const QByteArray block(1 << 20, 'x');
            for (int i = 0; i < 96; ++i)
                big.write(block);
        }
    }
    // The sources for Bert, collected as the user does before Encrypt.
    auto collect = [&] {
        drop(window, { QUrl::fromLocalFile(sources) });
        window.form()->contactListWidget->item(1)->setSelected(true);
        window.form()->contactManButtonBox->button(QDialogButtonBox::Ok)->click();
        QCoreApplication::processEvents();
    };
    // Encrypt under the given name; the message the run brings up is rendered and answered.
    auto encryptShowing = [&](const QString& package, const QString& shot, QMessageBox::StandardButton answer) {
        Dialogs::testing::answerPath(sandbox.filePath(package));
        Dialogs::testing::answerMessage([shot, answer](QMessageBox& box) {
            box.show();
            save(box, shot);
            return int(answer);
        });
        window.form()->BtnEncDec->click();
    };
    auto waitForTheRun = [&] {
        while (window.thread()->isRunning() || window.currentButtonState() == ButtonCancel)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    };

    window.form()->act_MW_close_package->trigger();
    collect();
    encryptShowing(QStringLiteral("for-bert.kvx"), QStringLiteral("completion-report"), QMessageBox::Ok);
    bool grabbed = false;
    while (window.thread()->isRunning() || window.currentButtonState() == ButtonCancel) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        if (!grabbed && window.form()->progressBar->value() >= 30) {
            save(window, QStringLiteral("main-running"));
            grabbed = true;
        }
    }

    // The question a failing source brings up, as the program builds it.
    {
        QFile::remove(sources + QStringLiteral("/holiday.mov"));
        collect();
        QFile::remove(sources + QStringLiteral("/letters/b.txt"));
        encryptShowing(QStringLiteral("second.kvx"), QStringLiteral("error-question"), QMessageBox::Cancel);
        waitForTheRun();
        // The stop wrote nothing and gave the collection back.
        save(window, QStringLiteral("main-stopped"));
    }

    // A run that fails says why: here the package's folder is gone.
    {
        window.form()->act_MW_close_package->trigger();
        collect();
        encryptShowing(QStringLiteral("gone/third.kvx"), QStringLiteral("completion-report-failed"), QMessageBox::Ok);
        waitForTheRun();
        window.form()->act_MW_close_package->trigger();
    }

    drop(window, { QUrl::fromLocalFile(sandbox.filePath(QStringLiteral("received.kvx"))) });
    save(window, QStringLiteral("main-opened"));
    window.form()->act_MW_close_package->trigger();

    // Email Your Key where no mail program can be reached: what was tried, and the way by hand.
    {
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", sandbox.filePath(QStringLiteral("no-programs")).toLocal8Bit());
        Dialogs::testing::answerMessage([](QMessageBox& box) {
            box.show();
            save(box, QStringLiteral("mail-by-hand"));
            return int(QMessageBox::Ok);
        });
        window.form()->act_MW_email_key->trigger();
        qputenv("PATH", path);
    }

    {
        ApplicationOptions options;
        OptionsDialog dialog(nullptr, &options, &window);
        dialog.show();
        save(dialog, QStringLiteral("options"));
    }
    {
        FileSet files;
        ProgressDialog dialog(&files, &window);
        dialog.setWindowTitle(QCoreApplication::translate("MainWindow", "Adding Files..."));
        dialog.form()->statusLabel->setText(QDir::toNativeSeparators(sources + QStringLiteral("/letters/a.txt")));
        dialog.show();
        save(dialog, QStringLiteral("progress-adding-files"));
    }

    {
        AboutDialog dialog(&window);
        dialog.show();
        save(dialog, QStringLiteral("about"));
    }

    // The file list with a folder opened and a file found, the own chooser with marks travelling
    // into an opened folder, and the search dialog.
    {
        // At the size the user meets them, not shrunk to their hints.
        auto saveAsShown = [](QWidget& widget, const QString& name) {
            for (int i = 0; i < 5; ++i)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            const QString path = QDir(outputFolder).filePath(name + QStringLiteral(".png"));
            if (widget.grab().save(path)) {
                ++saved;
                std::printf("%s\n", qPrintable(path));
            }
        };
        FileSet files = makeUpFiles(sources,
            { QStringLiteral("report.odt"), QStringLiteral("letters/a.txt"), QStringLiteral("letters/b.txt"),
                QStringLiteral("letters/old/2019.txt"), QStringLiteral("photos/beach.jpg"),
                QStringLiteral("setup.exe") });
        {
            FileListDlg dialog(&files, &window);
            dialog.show();
            dialog.goToPath(QDir::toNativeSeparators(sources + QStringLiteral("/photos/")));
            dialog.goToPath(QDir::toNativeSeparators(sources + QStringLiteral("/letters/b.txt")));
            saveAsShown(dialog, QStringLiteral("file-list"));
        }
        {
            QStringList chosen;
            AddFilesDialog dialog(&chosen, &window);
            dialog.resize(520, 420);
            dialog.show();
            QFileSystemModel* model = dialog.model();
            QTreeView* tree = dialog.form()->filesTree;
            for (QString step = sources + QStringLiteral("/letters");; step = QFileInfo(step).path()) {
                tree->expand(model->index(step));
                if (step == QStringLiteral("/"))
                    break;
            }
            const QModelIndex letters = model->index(sources + QStringLiteral("/letters"));
            for (int i = 0; i < 100 && model->rowCount(letters) < 3; ++i)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            tree->selectionModel()->select(letters, QItemSelectionModel::Select);
            tree->selectionModel()->select(
                model->index(sources + QStringLiteral("/report.odt")), QItemSelectionModel::Select);
            // Scrolled once the rows are laid out, so that the marks are in view.
            for (int i = 0; i < 5; ++i)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            tree->scrollTo(model->index(sources), QAbstractItemView::PositionAtTop);
            saveAsShown(dialog, QStringLiteral("add-files"));
        }
        {
            // Two folders whose names differ only in case, each with its own files.
            FileSet cased = makeUpFiles(sources + QStringLiteral("/cased"),
                { QStringLiteral("Photos/a.jpg"), QStringLiteral("Photos/c.jpg"), QStringLiteral("photos/b.jpg") });
            FileListDlg dialog(&cased, &window);
            dialog.show();
            dialog.goToPath(QDir::toNativeSeparators(sources + QStringLiteral("/cased/Photos/c.jpg")));
            dialog.goToPath(QDir::toNativeSeparators(sources + QStringLiteral("/cased/photos/b.jpg")));
            saveAsShown(dialog, QStringLiteral("file-list-case"));
        }
        {
            // The chooser in a folder with dot-files, which show unless the user hides them.
            const QString project = sources + QStringLiteral("/project");
            makeUpFiles(project,
                { QStringLiteral(".env"), QStringLiteral(".git/config"), QStringLiteral("main.c"),
                    QStringLiteral("notes.txt") });
            QStringList chosen;
            AddFilesDialog dialog(&chosen, &window);
            dialog.resize(520, 420);
            dialog.show();
            QFileSystemModel* model = dialog.model();
            QTreeView* tree = dialog.form()->filesTree;
            for (QString step = project;; step = QFileInfo(step).path()) {
                tree->expand(model->index(step));
                if (step == QStringLiteral("/"))
                    break;
            }
            for (int i = 0; i < 100 && model->rowCount(model->index(project)) < 4; ++i)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            tree->selectionModel()->select(
                model->index(project + QStringLiteral("/main.c")), QItemSelectionModel::Select);
            // Asked for afresh: rows move while their siblings are sorted in.
            for (int i = 0; i < 5; ++i)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            tree->scrollTo(model->index(project), QAbstractItemView::PositionAtTop);
            saveAsShown(dialog, QStringLiteral("add-files-hidden"));
        }
        {
            SearchingDialog dialog(&window);
            dialog.show();
            saveAsShown(dialog, QStringLiteral("searching"));
        }
    }

    // The window as the small panel that a click on the tray icon opens at the screen's corner.
    {
        Dialogs::testing::setTrayAvailable(true);
        window.showMinimized();
        for (int i = 0; i < 5 && window.isVisible(); ++i)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        emit window.tray()->activated(QSystemTrayIcon::Trigger);
        QCoreApplication::processEvents();
        save(window, QStringLiteral("tray-panel"));
        Dialogs::testing::setTrayAvailable(std::nullopt);
    }

    // Every icon of the program at 16, 32 and 48 pixels, on white and on the program's blue.
    {
        const QStringList names = QDir(QStringLiteral(":/ico/MainWindow/Res")).entryList({ QStringLiteral("*.png") });
        QStringList plain;
        for (const QString& name : names)
            if (!name.contains(u'@'))
                plain << name;
        const int cell = 56;
        QImage sheet(cell * int(plain.size()), cell * 6, QImage::Format_ARGB32);
        sheet.fill(Qt::white);
        QPainter painter(&sheet);
        painter.fillRect(0, cell * 3, sheet.width(), cell * 3, QColor(140, 190, 255));
        const int sizes[] = { 16, 32, 48 };
        for (int column = 0; column < plain.size(); ++column) {
            const QIcon icon(QStringLiteral(":/ico/MainWindow/Res/") + plain[column]);
            for (int row = 0; row < 6; ++row) {
                const int size = sizes[row % 3];
                painter.drawPixmap(
                    column * cell + (cell - size) / 2, row * cell + (cell - size) / 2, icon.pixmap(size, size));
            }
        }
        painter.end();
        const QString path = QDir(outputFolder).filePath(QStringLiteral("icons.png"));
        if (sheet.save(path)) {
            ++saved;
            std::printf("%s\n", qPrintable(path));
        }
    }

    closeCertificateStore();
    std::printf("%d screens in %s\n", saved, qPrintable(outputFolder));
    return saved > 0 ? 0 : 1;
}
