#include "ui/files/AddFilesDialog.h"

#include <QAction>
#include <QCheckBox>
#include <QCursor>
#include <QDir>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QMenu>
#include <QShortcut>
#include <QTreeView>
#include <vector>

#include "ui/desktop/ItemActions.h"
#include "ui/desktop/ShowInFolder.h"
#include "ui_AddFilesDialog.h"

// Holds the reaction to selection changes off while a walk marks or unmarks on its own, so that
// its changes don't set off further walks; a nested walk leaves the connection to the outer one.
class SelectionWalk {
public:
    explicit SelectionWalk(AddFilesDialog& dialog)
        : dialog(dialog)
        , owner(bool(dialog.selectionConnection))
    {
        if (owner)
            QObject::disconnect(dialog.selectionConnection);
    }
    ~SelectionWalk()
    {
        if (owner)
            dialog.selectionConnection = QObject::connect(dialog.ui->filesTree->selectionModel(),
                &QItemSelectionModel::selectionChanged, &dialog, &AddFilesDialog::on_selectionChanged);
    }
    SelectionWalk(const SelectionWalk&) = delete;
    SelectionWalk& operator=(const SelectionWalk&) = delete;

private:
    AddFilesDialog& dialog;
    bool owner;
};

AddFilesDialog::AddFilesDialog(QStringList* selectedPaths, QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::AddFilesDialog)
    , selectedPaths(selectedPaths)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Window);

    fsModel = new QFileSystemModel(this);
    showHiddenEntries(ui->showHiddenBox->isChecked());
    fsModel->setRootPath(QString());
    QTreeView* tree = ui->filesTree;
    tree->setModel(fsModel);
    tree->setAnimated(false);
    tree->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    tree->header()->setStretchLastSection(true);

    openInExplorerAction = new QAction(tr("Show in File Manager"), this);
    openInExplorerAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_G));
    openInExplorerAction->setShortcutContext(Qt::WidgetShortcut);
    propertiesAction = new QAction(tr("Properties"), this);
    propertiesAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_P));
    propertiesAction->setShortcutContext(Qt::WidgetShortcut);
    contextMenu = new QMenu(tree);
    contextMenu->addAction(openInExplorerAction);
    contextMenu->addAction(propertiesAction);
    connect(openInExplorerAction, &QAction::triggered, this, &AddFilesDialog::on_openInExplorer);
    connect(propertiesAction, &QAction::triggered, this, &AddFilesDialog::on_properties);

    selectionConnection = connect(
        tree->selectionModel(), &QItemSelectionModel::selectionChanged, this, &AddFilesDialog::on_selectionChanged);
    connect(fsModel, &QFileSystemModel::directoryLoaded, this, &AddFilesDialog::on_directoryLoaded);
    connect(tree, &QTreeView::expanded, this, &AddFilesDialog::on_expanded);
    connect(tree, &QTreeView::customContextMenuRequested, this, &AddFilesDialog::on_customContextMenuRequested);
    connect(ui->showHiddenBox, &QCheckBox::toggled, this, &AddFilesDialog::showHiddenEntries);
    // The key file managers use for the same switch.
    auto* toggleHidden = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_H), this);
    connect(toggleHidden, &QShortcut::activated, ui->showHiddenBox, &QCheckBox::toggle);
}

void AddFilesDialog::showHiddenEntries(bool show)
{
    // Shown by default, unlike a plain file system view: a folder's dot-files (.git, .env, .ssh)
    // go into the package with the folder, so the user sees them before marking it.
    QDir::Filters filters = QDir::AllEntries | QDir::NoDotAndDotDot | QDir::AllDirs;
    if (show)
        filters |= QDir::Hidden | QDir::System;
    fsModel->setFilter(filters);
}

AddFilesDialog::~AddFilesDialog() { delete ui; }

// ---------------------------------------------------------------------------------------------
// Marks travelling down and up

void AddFilesDialog::selectChildren(
    const QModelIndex& index, QAbstractItemModel* model, QItemSelectionModel* selectionModel, bool selecting)
{
    SelectionWalk walk(*this);
    // An explicit stack, not recursion: a deep tree of opened folders can't exhaust the call
    // stack. Each level is marked as one range, which costs one selection change, not one a row.
    QItemSelection change;
    std::vector<QModelIndex> parents { index };
    while (!parents.empty()) {
        const QModelIndex parent = parents.back();
        parents.pop_back();
        const int rows = model->rowCount(parent);
        if (rows == 0)
            continue;
        change.select(model->index(0, 0, parent), model->index(rows - 1, 0, parent));
        for (int row = 0; row < rows; ++row) {
            // A closed folder is marked but not entered: the traversal finds its files later.
            const QModelIndex child = model->index(row, 0, parent);
            if (ui->filesTree->isExpanded(child))
                parents.push_back(child);
        }
    }
    if (!change.isEmpty())
        selectionModel->select(change, selecting ? QItemSelectionModel::Select : QItemSelectionModel::Deselect);
}

void AddFilesDialog::updateParents(
    const QModelIndex& index, QAbstractItemModel* model, QItemSelectionModel* selectionModel, bool selecting)
{
    SelectionWalk walk(*this);
    // Up to the first folder that isn't complete (marking) or wasn't marked (unmarking). A folder
    // whose entries were never listed holds only the rows on the way to some path below it, and
    // those all marked say nothing about the rest: marking it would add a whole disk.
    // With hidden entries hidden, every row shown says nothing about the rest either: the folder
    // would bring its dot-files along unseen, so only the user's own mark marks it.
    if (selecting && !ui->showHiddenBox->isChecked())
        return;
    for (QModelIndex parent = index.parent(); parent.isValid(); parent = parent.parent()) {
        if (selecting && model->canFetchMore(parent))
            break;
        if (selecting ? !selectionModel->isColumnSelected(0, parent) : !selectionModel->isSelected(parent))
            break;
        selectionModel->select(parent, selecting ? QItemSelectionModel::Select : QItemSelectionModel::Deselect);
    }
}

void AddFilesDialog::on_selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    const bool selecting = !selected.indexes().isEmpty();
    const QModelIndexList indexes = selecting ? selected.indexes() : deselected.indexes();
    if (indexes.isEmpty())
        return;
    const QModelIndex index = indexes.first();
    QItemSelectionModel* selectionModel = ui->filesTree->selectionModel();
    if (ui->filesTree->isExpanded(index))
        selectChildren(index, fsModel, selectionModel, selecting);
    updateParents(index, fsModel, selectionModel, selecting);
}

void AddFilesDialog::on_expanded(const QModelIndex& index)
{
    QItemSelectionModel* selectionModel = ui->filesTree->selectionModel();
    if (!selectionModel->isSelected(index))
        return;
    if (fsModel->rowCount(index) > 0)
        selectChildren(index, fsModel, selectionModel, true);
    // Rows may still be on their way from the model's loader, also when some are there already
    // (a folder on the way to a path the model was asked for holds only that one child). The load
    // of this folder marks them.
    pendingSelect = true;
    pendingIndex = index;
    if (fsModel->canFetchMore(index))
        fsModel->fetchMore(index);
}

void AddFilesDialog::on_directoryLoaded(const QString& strDir)
{
    // Only the awaited folder ends the wait: another folder's load can come first and would
    // otherwise use up the mark before the awaited children exist.
    if (!pendingSelect)
        return;
    if (!pendingIndex.isValid()) {
        pendingSelect = false;
        return;
    }
    if (QDir::cleanPath(fsModel->filePath(pendingIndex)) != QDir::cleanPath(strDir))
        return;
    pendingSelect = false;
    const QModelIndex index = pendingIndex;
    QItemSelectionModel* selectionModel = ui->filesTree->selectionModel();
    // Unmarked while it loaded: the children stay as they are.
    if (selectionModel->isSelected(index))
        selectChildren(index, fsModel, selectionModel, true);
}

// ---------------------------------------------------------------------------------------------
// The menu, which works on the clicked item and never on the marks

void AddFilesDialog::on_customContextMenuRequested(const QPoint& pos)
{
    contextIndex = ui->filesTree->indexAt(pos);
    contextMenu->exec(QCursor::pos());
}

QString AddFilesDialog::contextPath() const
{
    return contextIndex.isValid() ? QDir::toNativeSeparators(fsModel->filePath(contextIndex)) : QString();
}

void AddFilesDialog::on_openInExplorer()
{
    const QString path = contextPath();
    if (!path.isEmpty())
        showInExplorer(path);
}

void AddFilesDialog::on_properties()
{
    const QString path = contextPath();
    if (!path.isEmpty())
        showItemProperties(path, this);
}

// ---------------------------------------------------------------------------------------------
// OK and Cancel

void AddFilesDialog::on_OKButton_clicked()
{
    // In the order of marking. A folder may come with files in it, and a path twice when its row
    // is marked in two columns: the file set at the end of the road takes each file once.
    for (const QModelIndex& index : ui->filesTree->selectionModel()->selectedIndexes())
        selectedPaths->append(QDir::toNativeSeparators(fsModel->filePath(index)));
    done(QDialog::Accepted);
}

void AddFilesDialog::on_CancelButton_clicked() { done(QDialog::Rejected); }
