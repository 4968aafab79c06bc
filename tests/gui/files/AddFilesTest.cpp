// The own file chooser on a real folder tree in the sandbox: marks travel down into opened
// folders and up to complete ones, a folder marked before it was opened marks its children when
// they have loaded, OK and Cancel, and the menu that works on the clicked item.

#include <QCheckBox>
#include <QDir>
#include <QFileSystemModel>
#include <QPushButton>
#include <QTest>
#include <QTreeView>
#include <filesystem>

#include "FileTrees.h"
#include "ui/desktop/ItemActions.h"
#include "ui/desktop/ShowInFolder.h"
#include "ui/files/AddFilesDialog.h"
#include "ui_AddFilesDialog.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

// A fresh folder "T" in the sandbox holding the given files.
QString makeTree(const char* hint, const QStringList& relative)
{
    const fs::path root = freshFolder(hint) / "T";
    makeFiles(root, relative);
    return qpath(root);
}

// The chooser as the user meets it: tall enough that the rows under test are on screen.
void showChooser(AddFilesDialog& dialog)
{
    dialog.resize(700, 900);
    showActive(dialog);
}

// Opens every folder from the top of the file system down to the path and waits until the model
// holds all of the path's own entries.
bool openFolder(AddFilesDialog& dialog, const QString& path)
{
    QFileSystemModel* model = dialog.model();
    QTreeView* tree = dialog.form()->filesTree;
    QStringList chain;
    for (QString step = path;; step = QFileInfo(step).path()) {
        chain.prepend(step);
        if (step == QStringLiteral("/"))
            break;
    }
    for (const QString& step : chain) {
        const QModelIndex index = model->index(step);
        tree->expand(index);
        if (model->canFetchMore(index))
            model->fetchMore(index);
    }
    const QModelIndex index = model->index(path);
    const qsizetype onDisk = QDir(path).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size();
    return QTest::qWaitFor([&] { return model->rowCount(index) == onDisk; }, 10000);
}

// A click on the row's name, as the user marks and unmarks.
void click(AddFilesDialog& dialog, const QString& path)
{
    QTreeView* tree = dialog.form()->filesTree;
    const QModelIndex index = dialog.model()->index(path);
    tree->scrollTo(index);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, Qt::NoModifier, tree->visualRect(index).center());
}

struct Marks {
    AddFilesDialog& dialog;
    QString root;
    bool operator()(const QString& relative) const
    {
        const QString path = relative.isEmpty() ? root : root + u'/' + relative;
        return dialog.form()->filesTree->selectionModel()->isSelected(dialog.model()->index(path));
    }
};

} // namespace

class AddFilesTest : public QObject {
    Q_OBJECT

private slots:
    void cleanup()
    {
        ItemActions::setHooks({});
        ShowInFolder::setHooks({});
    }

    void marksTravelDownIntoOpenFoldersAndUpToCompleteOnes()
    {
        const QString root = makeTree(
            "marks", { "a/x.txt", "a/y.txt", "a/sub/z.txt", "b.txt", "c/q.txt", "c/r.txt", "d1/d2/d3/f.txt" });
        QStringList paths;
        AddFilesDialog dialog(&paths);
        showChooser(dialog);
        QVERIFY(openFolder(dialog, root));
        QVERIFY(openFolder(dialog, root + "/a"));
        Marks marked { dialog, root };

        // Down: what is loaded and shown below an opened folder; a closed subfolder is marked
        // but not entered.
        click(dialog, root + "/a");
        QVERIFY(marked("a") && marked("a/x.txt") && marked("a/y.txt") && marked("a/sub"));
        QVERIFY(!marked("a/sub/z.txt"));

        // Up: unmarking a file unmarks its folder; its siblings stay.
        click(dialog, root + "/a/x.txt");
        QVERIFY(!marked("a/x.txt") && !marked("a"));
        QVERIFY(marked("a/y.txt") && marked("a/sub"));
        // Marking the last unmarked child marks the folder, and no further while its folder is
        // incomplete.
        click(dialog, root + "/a/x.txt");
        QVERIFY(marked("a"));
        click(dialog, root + "/b.txt");
        click(dialog, root + "/c");
        QVERIFY(!marked(""));
        click(dialog, root + "/d1");
        QVERIFY(marked(""));
        // Unmarking one file deep down unmarks every marked folder above it.
        click(dialog, root + "/a/y.txt");
        QVERIFY(!marked("a") && !marked(""));
        QVERIFY(marked("a/x.txt") && marked("a/sub") && marked("b.txt") && marked("c") && marked("d1"));

        // A folder marked while closed and never loaded marks its children once they have come.
        QVERIFY(dialog.model()->rowCount(dialog.model()->index(root + "/c")) == 0);
        dialog.form()->filesTree->expand(dialog.model()->index(root + "/c"));
        QTRY_VERIFY(marked("c/q.txt") && marked("c/r.txt"));
        // Unmarking a closed folder leaves the marks below it; an opened one takes them along.
        dialog.form()->filesTree->collapse(dialog.model()->index(root + "/c"));
        click(dialog, root + "/c");
        QVERIFY(!marked("c") && marked("c/q.txt") && marked("c/r.txt"));
        click(dialog, root + "/a");
        QVERIFY(marked("a/y.txt"));
        click(dialog, root + "/a");
        QVERIFY(!marked("a") && !marked("a/x.txt") && !marked("a/y.txt") && !marked("a/sub"));

        // An opened folder whose children are loaded marks them at the moment it opens.
        dialog.form()->filesTree->collapse(dialog.model()->index(root + "/a"));
        click(dialog, root + "/a");
        QVERIFY(!marked("a/x.txt"));
        dialog.form()->filesTree->expand(dialog.model()->index(root + "/a"));
        QVERIFY(marked("a/x.txt") && marked("a/y.txt") && marked("a/sub"));

        // The dialog only gathers: nothing is handed over until OK.
        QVERIFY(paths.isEmpty());
    }

    void okHandsOverTheMarkedPathsAndCancelNothing()
    {
        const QString root = makeTree("ok", { "one.txt", "two.txt", "folder/inner.txt" });
        // Marks then OK, marks then Cancel, and OK with nothing marked: accepted with an empty
        // list, which the callers take as Cancel.
        for (const auto& [clicked, ok, handed] : std::vector<std::tuple<QStringList, bool, QStringList>> {
                 { { "two.txt", "folder" }, true, { root + "/two.txt", root + "/folder" } },
                 { { "one.txt" }, false, {} }, { QStringList(), true, QStringList() } }) {
            QStringList paths;
            AddFilesDialog dialog(&paths);
            showChooser(dialog);
            QVERIFY(openFolder(dialog, root));
            for (const QString& name : clicked)
                click(dialog, root + u'/' + name);
            (ok ? dialog.form()->OKButton : dialog.form()->CancelButton)->click();
            QCOMPARE(dialog.result(), int(ok ? QDialog::Accepted : QDialog::Rejected));
            QCOMPARE(paths, handed);
        }

        // A folder never listed knows only the rows on the way to a path below it; marking them
        // all must not mark the folder and every folder above it, or OK would hand over the disk.
        QStringList paths;
        AddFilesDialog dialog(&paths);
        showActive(dialog);
        QItemSelectionModel* selection = dialog.form()->filesTree->selectionModel();
        const QModelIndex file = dialog.model()->index(root + "/folder/inner.txt");
        QVERIFY(file.isValid());
        selection->select(file, QItemSelectionModel::Select);
        QVERIFY(!selection->isSelected(file.parent()));
        dialog.form()->OKButton->click();
        QCOMPARE(paths, QStringList { root + "/folder/inner.txt" });
    }

    void hiddenEntriesShowAndAFolderIsMarkedFromBelowOnlyWhenAllOfItShows()
    {
        const QString root = makeTree("hidden", { "proj/visible.txt", "proj/.env", "proj/.git/config" });
        QStringList paths;
        AddFilesDialog dialog(&paths);
        showChooser(dialog);
        QTreeView* tree = dialog.form()->filesTree;
        QVERIFY(openFolder(dialog, root + "/proj"));
        Marks marked { dialog, root };
        auto shown = [&](const QString& relative) {
            return tree->visualRect(dialog.model()->index(root + u'/' + relative)).isValid();
        };

        // Dot-files show like any other entry, so marking the one visible file marks no folder.
        click(dialog, root + "/proj/visible.txt");
        QVERIFY(marked("proj/visible.txt") && !marked("proj"));
        QVERIFY(shown("proj/.env") && shown("proj/.git"));
        auto* showHidden = dialog.findChild<QCheckBox*>("showHiddenBox");
        QVERIFY(showHidden && showHidden->isChecked());
        click(dialog, root + "/proj/.env");
        QVERIFY(marked("proj/.env"));

        // Ctrl+H hides them, and their marks go with them; while they are hidden, marks don't
        // travel up to a folder, which may hold more than is shown.
        QTest::keyClick(tree, Qt::Key_H, Qt::ControlModifier);
        QVERIFY(!showHidden->isChecked());
        QTRY_COMPARE(dialog.model()->rowCount(dialog.model()->index(root + "/proj")), 1);
        click(dialog, root + "/proj/visible.txt");
        click(dialog, root + "/proj/visible.txt");
        QVERIFY(marked("proj/visible.txt") && !marked("proj"));
    }

    // Keys move and mark; the menu works on the clicked item and marks nothing.
    void keysMarkWhatTheyPassAndTheMenuNothing()
    {
        const QString root = makeTree("keys", { "bin/f", "etc/f", "sys/f", "tmp/f", "usr/f" });
        QStringList paths;
        AddFilesDialog dialog(&paths);
        showChooser(dialog);
        QVERIFY(openFolder(dialog, QFileInfo(root).path()));
        QTreeView* tree = dialog.form()->filesTree;
        QItemSelectionModel* selection = tree->selectionModel();
        selection->setCurrentIndex(dialog.model()->index(root), QItemSelectionModel::NoUpdate);
        tree->setFocus();
        QTRY_VERIFY(tree->hasFocus());

        Marks marked { dialog, root };

        // Arrows and type-ahead move the current item and open folders; they mark nothing.
        QTest::keyClick(tree, Qt::Key_Right);
        QTRY_COMPARE(dialog.model()->rowCount(dialog.model()->index(root)), 5);
        QTest::keyClick(tree, Qt::Key_Down);
        QTest::keyClicks(tree, "tmp");
        QTest::keyClick(tree, Qt::Key_Right);
        QTRY_COMPARE(dialog.model()->rowCount(dialog.model()->index(root + "/tmp")), 1);
        QCOMPARE(dialog.model()->filePath(tree->currentIndex()), root + "/tmp");
        QVERIFY(selection->selectedIndexes().isEmpty());

        // Space marks the current item (and what is open below it); Shift with an arrow marks the
        // items it passes; Space again unmarks.
        QTest::keyClick(tree, Qt::Key_Space);
        QVERIFY(marked("tmp") && marked("tmp/f"));
        QTest::keyClick(tree, Qt::Key_Up);
        QTest::keyClick(tree, Qt::Key_Up, Qt::ShiftModifier);
        QVERIFY(marked("sys") && marked("etc"));
        QTest::keyClick(tree, Qt::Key_Space);
        QTest::keyClick(tree, Qt::Key_Up, Qt::ControlModifier);
        QVERIFY(!marked("etc") && !marked("bin") && !marked("usr") && !marked(""));

        // Each desktop call notes what it was and the URIs it got.
        QStringList calls;
        auto note = [&calls](const char* what) {
            return [&calls, what](const QStringList& uris) {
                calls << QString::fromLatin1(what) + u' ' + uris.join(u' ');
                return true;
            };
        };
        ItemActions::setHooks({ {}, note("properties"), {} });
        ShowInFolder::setHooks({ note("show"), {} });
        // Where the row is now: rows above it may still be coming in and move it.
        auto pick = [&](const QString& caption) {
            return menuCaptions(*tree, tree->visualRect(dialog.model()->index(root + "/usr")).center(), caption);
        };
        QCOMPARE(pick("Properties"), (QStringList { "Show in File Manager|Ctrl+G", "Properties|Ctrl+P" }));
        pick("Show in File Manager");
        const QString clicked = QUrl::fromLocalFile(root + "/usr").toString();
        QCOMPARE(calls, (QStringList { "properties " + clicked, "show " + clicked }));
        // The menu's shortcuts belong to the menu, not to the tree.
        QVERIFY(tree->actions().isEmpty());

        // OK hands over what the keys marked, and nothing the menu's item.
        dialog.form()->OKButton->click();
        paths.sort();
        QCOMPARE(paths, (QStringList { root + "/sys", root + "/tmp", root + "/tmp/f" }));
    }
};

int main(int argc, char** argv) { return runQtTest<AddFilesTest>(argc, argv); }

#include "AddFilesTest.moc"
