// The file list of a package and find in files, on real folder trees in the sandbox: what the tree
// shows as it is opened, removing and adding, stepping through matches, the messages, and a
// search that is cancelled. Every message box is answered through the dialog seam.

#include <QApplication>
#include <QFileSystemModel>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <filesystem>

#include "FileTrees.h"
#include "ui/Dialogs.h"
#include "ui/contacts/QuickSearchLineEdit.h"
#include "ui/desktop/ItemActions.h"
#include "ui/files/AddFilesDialog.h"
#include "ui/files/FileListDlg.h"
#include "ui/files/SearchThread.h"
#include "ui/files/SearchingDialog.h"
#include "ui_AddFilesDialog.h"
#include "ui_FileListDlg.h"
#include "ui_SearchingDialog.h"

using namespace testing_support;
namespace fs = std::filesystem;
namespace answers = Dialogs::testing;

namespace {

FileSet setOf(const QStringList& paths)
{
    FileSet files;
    for (const QString& path : paths)
        files.insert(path.toStdU16String());
    return files;
}

// The item for a path (a folder's with or without its slash) among the items that exist, without
// opening anything.
QTreeWidgetItem* itemFor(QTreeWidget* tree, const QString& path)
{
    for (QTreeWidgetItemIterator it(tree); *it; ++it) {
        const QString itemPath = (*it)->data(0, Qt::UserRole).toString();
        if (itemPath == path || itemPath == path + u'/')
            return *it;
    }
    return nullptr;
}

int countItems(QTreeWidgetItem* item)
{
    int count = item->childCount();
    for (int i = 0; i < item->childCount(); ++i)
        count += countItems(item->child(i));
    return count;
}

QStringList childTexts(QTreeWidgetItem* item)
{
    QStringList texts;
    for (int i = 0; i < item->childCount(); ++i)
        texts << item->child(i)->text(0);
    return texts;
}

QStringList selectedPaths(QTreeWidget* tree)
{
    QStringList paths;
    for (QTreeWidgetItem* item : tree->selectedItems())
        paths << item->data(0, Qt::UserRole).toString();
    return paths;
}

// Counts the dialogs of one class that come up: a search dialog is a fresh scan of the list, a
// progress dialog a walk of what was added. (A filter that is destroyed is dropped by Qt itself.)
struct ShowCounter : QObject {
    explicit ShowCounter(const char* className)
        : className(className)
    {
        qApp->installEventFilter(this);
    }
    bool eventFilter(QObject* object, QEvent* event) override
    {
        shows += event->type() == QEvent::Show && object->inherits(className);
        return false;
    }
    const char* className;
    int shows = 0;
};

// A key in the tree, with the list the active window again as after the search dialog it is.
void pressInTree(FileListDlg& dialog, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    showActive(dialog);
    // A popup menu that has just closed can leave the window active without a focus widget.
    QApplication::setActiveWindow(&dialog);
    dialog.form()->fileTreeWidget->setFocus();
    QTRY_VERIFY(dialog.form()->fileTreeWidget->hasFocus());
    QTest::keyClick(dialog.form()->fileTreeWidget, key, modifiers);
}

// Marks exactly the items of these paths and presses Delete.
void removeItems(FileListDlg& dialog, const QStringList& paths)
{
    QTreeWidget* tree = dialog.form()->fileTreeWidget;
    tree->clearSelection();
    for (const QString& path : paths)
        itemFor(tree, path)->setSelected(true);
    pressInTree(dialog, Qt::Key_Delete);
}

void search(FileListDlg& dialog, const QString& text)
{
    dialog.form()->fileSearchBox->setText(text);
    dialog.form()->searchButton->click();
}

} // namespace

class FileListTest : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        answers::clear();
        answers::setStrict(true);
    }

    void cleanup()
    {
        QCOMPARE(answers::unanswered(), 0);
        QCOMPARE(answers::pendingAnswers(), 0);
        ItemActions::setHooks({});
    }

    void treeShowsOnlyWhatIsOpened()
    {
        const fs::path root = freshFolder("tree");
        const QStringList paths
            = makeFiles(root, { "docs/a.txt", "docs/sub/b.txt", "docs/sub/c.txt", "pics/p.png", "top.md" });
        FileSet files = setOf(paths);
        // The set compares case-sensitively: two names equal but for case are two files.
        files.insert((qpath(root) + "/docs/A.txt").toStdU16String());
        FileListDlg dialog(&files);
        QTreeWidget* tree = dialog.form()->fileTreeWidget;

        // One closed item for the top of the file system, that can be opened.
        QCOMPARE(childTexts(tree->invisibleRootItem()), QStringList { "/" });
        QCOMPARE(countItems(tree->invisibleRootItem()), 1);
        QTreeWidgetItem* top = tree->topLevelItem(0);
        QCOMPARE(top->childIndicatorPolicy(), QTreeWidgetItem::ShowIndicator);

        top->setExpanded(true);
        QCOMPARE(childTexts(top), QStringList { qpath(root).section(u'/', 1, 1) });
        QCOMPARE(countItems(tree->invisibleRootItem()), 2);

        dialog.goToPath(qpath(root) + "/docs/sub/");
        QTreeWidgetItem* rootItem = itemFor(tree, qpath(root));
        QVERIFY(rootItem);
        QCOMPARE(childTexts(rootItem), (QStringList { "docs", "pics", "top.md" }));
        QTreeWidgetItem* docs = itemFor(tree, qpath(root) + "/docs");
        QCOMPARE(childTexts(docs), (QStringList { "A.txt", "a.txt", "sub" }));
        QCOMPARE(docs->child(1)->childIndicatorPolicy(), QTreeWidgetItem::DontShowIndicator);
        QCOMPARE(docs->child(2)->childIndicatorPolicy(), QTreeWidgetItem::ShowIndicator);
        // goToPath selects the folder itself and opens only the folders on the way to it.
        QCOMPARE(selectedPaths(tree), QStringList { qpath(root) + "/docs/sub/" });
        QCOMPARE(docs->child(2)->childCount(), 0);
        QCOMPARE(itemFor(tree, qpath(root) + "/pics")->childCount(), 0);

        // A folder that has items isn't filled twice.
        docs->setExpanded(false);
        docs->setExpanded(true);
        QCOMPARE(docs->childCount(), 3);
    }

    // Delete takes what is marked out of the package, not only its items out of the tree.
    void removingTakesUnopenedFoldersWholeAndKeepsFoldersThatDifferInCaseApart()
    {
        const fs::path root = freshFolder("remove");
        const QString h = qpath(root);
        FileSet files = setOf(makeFiles(root,
            { "keep/k.txt", "closed/x.txt", "closed/deep/y.txt", "open/a.txt", "open/b.txt", "open/in/z.txt",
                "Photos/a.jpg", "Photos/in/c.jpg", "photos/b.jpg" }));
        FileListDlg dialog(&files);
        showActive(dialog);
        QTreeWidget* tree = dialog.form()->fileTreeWidget;

        // A folder that was never opened, an opened folder, and items inside that opened folder
        // all at once: the items below go with their folder and are not touched again.
        dialog.goToPath(h + "/open/in/z.txt");
        QCOMPARE(itemFor(tree, h + "/closed")->childCount(), 0);
        removeItems(dialog, { h + "/closed", h + "/open", h + "/open/in/z.txt", h + "/open/a.txt" });
        QCOMPARE(files, setOf({ h + "/Photos/a.jpg", h + "/Photos/in/c.jpg", h + "/keep/k.txt", h + "/photos/b.jpg" }));
        QCOMPARE(childTexts(itemFor(tree, h)), (QStringList { "Photos", "keep", "photos" }));

        // Each folder of one name but for case holds its own files, and a path leads into its own
        // folder; a file added later joins the folder of its own name.
        dialog.goToPath(h + "/photos/b.jpg");
        QCOMPARE(selectedPaths(tree), QStringList { h + "/photos/b.jpg" });
        QCOMPARE(childTexts(itemFor(tree, h + "/photos")), QStringList { "b.jpg" });
        itemFor(tree, h + "/Photos")->setExpanded(true);
        QCOMPARE(childTexts(itemFor(tree, h + "/Photos")), (QStringList { "a.jpg", "in" }));
        const QStringList added = makeFiles(root, { "photos/new.jpg" });
        dropFromOutside(dialog, *tree, { QUrl::fromLocalFile(added.at(0)) });
        QTRY_COMPARE(files.size(), std::size_t(5));
        QCOMPARE(childTexts(itemFor(tree, h + "/photos")), (QStringList { "b.jpg", "new.jpg" }));

        // Removing one file, or one folder, leaves the other folder's files.
        removeItems(dialog, { h + "/photos/b.jpg" });
        QCOMPARE(files, setOf(QStringList { h + "/Photos/a.jpg", h + "/Photos/in/c.jpg", h + "/keep/k.txt" } + added));
        removeItems(dialog, { h + "/Photos" });
        QCOMPARE(files, setOf(QStringList { h + "/keep/k.txt" } + added));
        QCOMPARE(childTexts(itemFor(tree, h)), (QStringList { "keep", "photos" }));

        // The last file of a folder goes, and the folder's item stays, empty.
        dialog.goToPath(h + "/keep/k.txt");
        pressInTree(dialog, Qt::Key_Delete);
        QCOMPARE(files, setOf(added));
        QCOMPARE(itemFor(tree, h + "/keep")->childCount(), 0);
    }

    void addingMergesNewPathsOnlyAndShowsOnlyOpenedLevels()
    {
        const fs::path root = freshFolder("add");
        const QStringList paths = makeFiles(root, { "open/a.txt", "closed/b.txt" });
        const QStringList more = makeFiles(root, { "open/new.txt", "closed/hidden.txt", "fresh/deep/n.txt" });
        FileSet files = setOf(paths);
        FileListDlg dialog(&files);
        showActive(dialog);
        ShowCounter walks("ProgressDialog");
        QTreeWidget* tree = dialog.form()->fileTreeWidget;
        dialog.goToPath(qpath(root) + "/open/a.txt");
        const int before = countItems(tree->invisibleRootItem());

        // A drag is welcome over the tree only.
        QMimeData data;
        data.setUrls({ QUrl::fromLocalFile(paths.at(0)) });
        QDragEnterEvent outside(QPoint(1, 1), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&dialog, &outside);
        QVERIFY(!outside.isAccepted());

        // What is there already changes nothing, neither set nor tree.
        QVERIFY(dropFromOutside(dialog, *tree, { QUrl::fromLocalFile(paths.at(0)), QUrl::fromLocalFile(paths.at(1)) }));
        QTRY_COMPARE(walks.shows, 1);
        QCOMPARE(files, setOf(paths));
        QCOMPARE(countItems(tree->invisibleRootItem()), before);

        // New files: in an opened folder it shows behind the others; below a folder never opened
        // it waits in the set; of a new folder only the first missing level shows.
        dropFromOutside(dialog, *tree,
            { QUrl::fromLocalFile(more.at(0)), QUrl::fromLocalFile(more.at(1)),
                QUrl::fromLocalFile(qpath(root) + "/fresh") });
        QTRY_COMPARE(files.size(), std::size_t(5));
        QCOMPARE(files, setOf(paths + more));
        QCOMPARE(childTexts(itemFor(tree, qpath(root) + "/open")), (QStringList { "a.txt", "new.txt" }));
        QCOMPARE(itemFor(tree, qpath(root) + "/closed")->childCount(), 0);
        QTreeWidgetItem* fresh = itemFor(tree, qpath(root) + "/fresh");
        QVERIFY(fresh);
        QCOMPARE(fresh->childCount(), 0);
        QCOMPARE(fresh->childIndicatorPolicy(), QTreeWidgetItem::ShowIndicator);
        fresh->setExpanded(true);
        QCOMPARE(childTexts(fresh), QStringList { "deep" });
        itemFor(tree, qpath(root) + "/closed")->setExpanded(true);
        QCOMPARE(childTexts(itemFor(tree, qpath(root) + "/closed")), (QStringList { "b.txt", "hidden.txt" }));

        // "Add Files..." runs the chooser; what is marked there is walked and merged the same way.
        const QStringList chosen = makeFiles(root, { "picked/one.txt", "picked/two.txt" });
        answers::answer([&](QDialog& shown) {
            auto& chooser = static_cast<AddFilesDialog&>(shown);
            const QModelIndex folder = chooser.model()->index(qpath(root) + "/picked");
            chooser.form()->filesTree->selectionModel()->select(folder, QItemSelectionModel::Select);
            chooser.form()->OKButton->click();
            return chooser.result();
        });
        pressInTree(dialog, Qt::Key_I, Qt::ControlModifier);
        QTRY_COMPARE(files.size(), std::size_t(7));
        QCOMPARE(files, setOf(paths + more + chosen));
        QVERIFY(itemFor(tree, qpath(root) + "/picked"));
    }

    void findStepsThroughMatchesInSetOrderAndWraps()
    {
        const fs::path root = freshFolder("find");
        const QStringList paths = makeFiles(
            root, { "b/Annual REPORT.txt", "a/report-2.txt", "a/x/report1.txt", "reports/plain.txt", "c/other.txt" });
        FileSet files = setOf(paths);
        FileListDlg dialog(&files);
        showActive(dialog);
        QTreeWidget* tree = dialog.form()->fileTreeWidget;
        ShowCounter searches("SearchingDialog");

        // Set order, not tree order; case ignored; the folder "reports" doesn't count.
        const QStringList expected { qpath(root) + "/a/report-2.txt", qpath(root) + "/a/x/report1.txt",
            qpath(root) + "/b/Annual REPORT.txt" };
        for (int press = 0; press < 7; ++press) {
            search(dialog, "Report");
            QCOMPARE(selectedPaths(tree), QStringList { expected.at(press % 3) });
        }
        QCOMPARE(searches.shows, 1);
        // Enter in the box is a press of the button.
        QTest::keyClick(dialog.form()->fileSearchBox, Qt::Key_Return);
        QCOMPARE(selectedPaths(tree), QStringList { expected.at(1) });
        QVERIFY(itemFor(tree, qpath(root) + "/a/x")->isExpanded());

        // A change of the list makes the next press search afresh, from the first match.
        removeItems(dialog, { qpath(root) + "/a/x/report1.txt" });
        search(dialog, "Report");
        QCOMPARE(searches.shows, 2);
        QCOMPARE(selectedPaths(tree), QStringList { expected.at(0) });
        search(dialog, "Report");
        QCOMPARE(selectedPaths(tree), QStringList { expected.at(2) });

        // Nothing found: the message at every press, with one scan for the same text and list.
        for (int i = 0; i < 3; ++i)
            answers::answer(QMessageBox::Ok);
        search(dialog, "zebra");
        search(dialog, "zebra");
        QCOMPARE(searches.shows, 3);
        search(dialog, "plain.txt/");
        QCOMPARE(searches.shows, 4);
        QStringList told;
        for (const Dialogs::Shown& shown : answers::shown())
            told << shown.title + u'|' + shown.text + u'|' + QString::number(shown.icon);
        const QString noResults
            = QStringLiteral("Find in Files|No results found for: \"%2\"|%1").arg(QMessageBox::Information);
        QCOMPARE(told, (QStringList { noResults.arg("zebra"), noResults.arg("zebra"), noResults.arg("plain.txt/") }));

        // An empty list says so; an empty box leaves nothing to search for.
        FileSet none;
        FileListDlg empty(&none);
        answers::answer(QMessageBox::Ok);
        search(empty, "a");
        QCOMPARE(answers::shown().last().text, QStringLiteral("File list is empty"));
        QCOMPARE(answers::shown().last().icon, QMessageBox::Warning);
        empty.form()->fileSearchBox->setText(QString());
        QVERIFY(!empty.form()->searchButton->isEnabled());
    }

    void cancelledSearchLeavesNothingRunning()
    {
        // A list long enough that the scan is still going when Cancel comes.
        FileSet files;
        for (int i = 0; i < 300000; ++i)
            files.insert(QStringLiteral("/data/folder%1/file%2.txt").arg(i % 97).arg(i).toStdU16String());

        for (const char* way : { "cancel", "escape", "close" }) {
            QStringList results;
            const QString pattern = QStringLiteral("file");
            SearchingDialog dialog;
            QTimer::singleShot(0, &dialog, [&dialog, way] {
                if (qstrcmp(way, "cancel") == 0)
                    dialog.form()->cancelBtn->click();
                else if (qstrcmp(way, "escape") == 0)
                    QTest::keyClick(&dialog, Qt::Key_Escape);
                else
                    dialog.close();
            });
            dialog.startSearch(&files, &results, &pattern);
            QVERIFY2(dialog.wasCancelled(), way);
            QVERIFY(!dialog.isVisible());
            // The worker is gone when startSearch returns, so the list can be dropped at once.
            QVERIFY(dialog.findChildren<SearchThread*>().isEmpty());
            QVERIFY(results.size() < int(files.size()));
        }

        // In the file list a cancelled search shows no message, and the next press searches again.
        FileListDlg list(&files);
        ShowCounter searches("SearchingDialog");
        QTimer::singleShot(0, &list, [&list] {
            if (auto* searching = list.findChild<SearchingDialog*>())
                searching->form()->cancelBtn->click();
        });
        search(list, "file123456.");
        QVERIFY(list.form()->fileTreeWidget->selectedItems().isEmpty());
        QCOMPARE(answers::shown().size(), 0);
        search(list, "file123456.");
        QCOMPARE(searches.shows, 2);
        QCOMPARE(selectedPaths(list.form()->fileTreeWidget), QStringList { "/data/folder72/file123456.txt" });
    }

    void contextMenuShowsWhatFitsTheSelectionAndDesktopGetsTheItem()
    {
        const fs::path root = freshFolder("menu");
        const QStringList paths = makeFiles(root, { "d/a.txt", "d/b.txt" });
        FileSet files = setOf(paths);
        FileListDlg dialog(&files);
        showActive(dialog);
        QTreeWidget* tree = dialog.form()->fileTreeWidget;
        dialog.goToPath(paths.at(1));

        tree->clearSelection();
        QCOMPARE(menuCaptions(*tree, QPoint(5, 5)), QStringList { "Add Files...|Ctrl+I" });
        itemFor(tree, paths.at(0))->setSelected(true);
        QCOMPARE(menuCaptions(*tree, QPoint(5, 5)),
            (QStringList { "Add Files...|Ctrl+I", "Remove|Del", "Properties|Ctrl+P" }));
        itemFor(tree, paths.at(1))->setSelected(true);
        QCOMPARE(menuCaptions(*tree, QPoint(5, 5)), (QStringList { "Add Files...|Ctrl+I", "Remove|Del" }));

        // Each desktop call notes what it was and what it got.
        QStringList calls;
        bool busAnswers = true;
        ItemActions::setHooks({ [&](const QUrl& url) {
                                   calls << "open " + url.toString();
                                   return true;
                               },
            [&](const QStringList& uris) {
                calls << "properties " + uris.join(u' ');
                return busAnswers;
            },
            [&](const QString& path, QWidget*) { calls << "own " + path; } });

        // Properties of two items at once is nothing; of one it goes to the file manager, or to
        // our own window where none answers. A double click opens files and folders alike.
        pressInTree(dialog, Qt::Key_P, Qt::ControlModifier);
        itemFor(tree, paths.at(1))->setSelected(false);
        pressInTree(dialog, Qt::Key_P, Qt::ControlModifier);
        busAnswers = false;
        pressInTree(dialog, Qt::Key_P, Qt::ControlModifier);
        emit tree->itemDoubleClicked(itemFor(tree, qpath(root) + "/d"), 0);
        emit tree->itemDoubleClicked(itemFor(tree, paths.at(0)), 0);
        const QString a = QUrl::fromLocalFile(paths.at(0)).toString();
        QCOMPARE(calls,
            (QStringList { "properties " + a, "properties " + a, "own " + paths.at(0),
                "open " + QUrl::fromLocalFile(qpath(root) + "/d/").toString(), "open " + a }));

        // Our own properties window says what the file is.
        writeText(paths.at(0).toStdString(), std::string(1234, 'x'));
        const auto lines = ItemActions::propertyLines(paths.at(0));
        QCOMPARE(lines.at(0).second, QStringLiteral("a.txt"));
        QCOMPARE(lines.at(1).second, qpath(root) + "/d");
        QVERIFY2(lines.at(2).second.contains("1,234 bytes") || lines.at(2).second.contains("1234 bytes"),
            qPrintable(lines.at(2).second));
        QCOMPARE(ItemActions::propertyLines(qpath(root) + "/gone.txt").at(2).second, QStringLiteral("Not found"));
    }
};

int main(int argc, char** argv) { return runQtTest<FileListTest>(argc, argv); }

#include "FileListTest.moc"
