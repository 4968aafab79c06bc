#include "ui/files/FileListDlg.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QDragEnterEvent>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QToolButton>
#include <QTreeWidget>

#include "ui/Dialogs.h"
#include "ui/desktop/ItemActions.h"
#include "ui/files/AddFilesDialog.h"
#include "ui/files/ProgressDialog.h"
#include "ui/files/SearchingDialog.h"
#include "ui_FileListDlg.h"

namespace {

QString treePathOf(const QTreeWidgetItem* item) { return item->data(0, Qt::UserRole).toString(); }

bool isFolderItem(const QTreeWidgetItem* item)
{
    return item->childCount() > 0 || item->childIndicatorPolicy() == QTreeWidgetItem::ShowIndicator;
}

std::u16string u16(const QString& text) { return text.toStdU16String(); }

// The wait cursor over one long pass on the window's thread.
struct WaitCursor {
    WaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitCursor() { QApplication::restoreOverrideCursor(); }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;
};

} // namespace

FileListDlg::FileListDlg(FileSet* files, QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::FileListDlg)
    , fileSet(files)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Window);
    iconProvider = std::make_unique<QFileIconProvider>();

    // The placeholder is text in the box, so the search button wakes up with it.
    ui->fileSearchBox->setTextColor(Qt::lightGray);
    ui->fileSearchBox->setPlaceholder(tr("Type here to search"));

    QTreeWidget* tree = ui->fileTreeWidget;
    addAction = new QAction(tr("Add Files..."), this);
    addAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_I));
    removeAction = new QAction(tr("Remove"), this);
    removeAction->setShortcut(QKeySequence::Delete);
    propertiesAction = new QAction(tr("Properties"), this);
    propertiesAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_P));
    contextMenu = new QMenu(tree);
    contextMenu->addAction(addAction);
    contextMenu->addAction(removeAction);
    contextMenu->addSeparator();
    contextMenu->addAction(propertiesAction);
    for (QAction* action : { addAction, removeAction, propertiesAction }) {
        action->setShortcutContext(Qt::WidgetShortcut);
        tree->addAction(action);
    }
    connect(addAction, &QAction::triggered, this, &FileListDlg::on_add_new);
    connect(removeAction, &QAction::triggered, this, &FileListDlg::on_remove);
    connect(propertiesAction, &QAction::triggered, this, &FileListDlg::on_properties);

    connect(ui->fileSearchBox, &QLineEdit::returnPressed, ui->searchButton, &QToolButton::click);
    connect(tree, &QTreeWidget::itemExpanded, this, &FileListDlg::on_itemExpanded);
    connect(tree, &QTreeWidget::customContextMenuRequested, this, &FileListDlg::on_customContextMenuRequested);
    connect(tree, &QTreeWidget::itemDoubleClicked, this, &FileListDlg::on_itemDoubleClicked);
    // Queued, so that adding runs from the event loop and never inside the drop handler.
    connect(this, &FileListDlg::items_dropped, this, &FileListDlg::on_items_dropped, Qt::QueuedConnection);

    populateRoots();
    uncachedSuffixes.insert(QStringLiteral("exe"));
    activateWindow();
}

FileListDlg::~FileListDlg() { delete ui; }

// ---------------------------------------------------------------------------------------------
// The tree, built as far as it is opened

void FileListDlg::populateRoots()
{
    for (const std::u16string& root : deriveRoots(*fileSet)) {
        auto* item = new QTreeWidgetItem(ui->fileTreeWidget);
        const QString text = QString::fromStdU16String(root);
        item->setText(0, text);
        item->setData(0, Qt::UserRole, text);
        item->setIcon(0, iconProvider->icon(QFileIconProvider::Drive));
        item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
    }
}

void FileListDlg::on_itemExpanded(QTreeWidgetItem* item)
{
    // Filled once: a folder with items is left as it is, also after items were added to it.
    if (item->childCount() > 0)
        return;
    WaitCursor wait;
    fillChildren(item);
}

void FileListDlg::fillChildren(QTreeWidgetItem* item)
{
    const QString treePath = treePathOf(item);
    const ChildMap children = listChildren(u16(treePath), *fileSet);
    const QIcon folderIcon = iconProvider->icon(QFileIconProvider::Folder);
    QList<QTreeWidgetItem*> items;
    items.reserve(qsizetype(children.size()));
    for (const auto& [name, isFile] : children) {
        const QString text = QString::fromStdU16String(name);
        QString path = treePath + text;
        auto* child = new QTreeWidgetItem(QStringList { text });
        if (isFile) {
            child->setIcon(0, fileIcon(path));
            child->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicator);
        } else {
            path += QChar(NativeSeparator);
            child->setIcon(0, folderIcon);
            child->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
        }
        child->setData(0, Qt::UserRole, path);
        items << child;
    }
    // One insertion for the whole level: a folder of many thousand files opens in one layout.
    item->addChildren(items);
}

QIcon FileListDlg::fileIcon(const QString& path)
{
    const QFileInfo info(path);
    const QString suffix = info.suffix();
    if (suffix.isEmpty())
        return iconProvider->icon(QFileIconProvider::File);
    // Programs carry their own pictures, so one per suffix would show the wrong one.
    if (uncachedSuffixes.contains(suffix.toLower()))
        return iconProvider->icon(info);
    auto cached = iconCache.constFind(suffix);
    if (cached == iconCache.constEnd())
        cached = iconCache.insert(suffix, iconProvider->icon(info));
    return *cached;
}

// Names match exactly, not without regard to case as the tree's rules once had it: here `Photos`
// and `photos` are two folders, and taking one for the other filed paths under the wrong item.
QTreeWidgetItem* FileListDlg::findChildItem(QTreeWidgetItem* parent, const QString& text)
{
    if (mergeIndex) {
        auto known = mergeIndex->find(parent);
        if (known == mergeIndex->end()) {
            QHash<QString, QTreeWidgetItem*> byName;
            for (int i = 0; i < parent->childCount(); ++i)
                byName.insert(parent->child(i)->text(0), parent->child(i));
            known = mergeIndex->insert(parent, byName);
        }
        return known->value(text, nullptr);
    }
    for (int i = 0; i < parent->childCount(); ++i) {
        if (parent->child(i)->text(0) == text)
            return parent->child(i);
    }
    return nullptr;
}

void FileListDlg::insertPath(const QString& path)
{
    const std::vector<std::u16string> components = splitTreePath(u16(path));
    QTreeWidgetItem* current = ui->fileTreeWidget->invisibleRootItem();
    QString treePath;
    const std::size_t last = components.size() - 1;
    for (std::size_t i = 0; i < components.size(); ++i) {
        const QString component = QString::fromStdU16String(components[i]);
        treePath += component;
        if (i != 0 && i != last)
            treePath += QChar(NativeSeparator);
        // Never filled: the folder finds the path in the set when it is first opened.
        if (current->childCount() == 0 && current->childIndicatorPolicy() == QTreeWidgetItem::ShowIndicator)
            return;
        if (QTreeWidgetItem* existing = findChildItem(current, component)) {
            current = existing;
            continue;
        }
        auto* child = new QTreeWidgetItem(current, QStringList { component });
        child->setData(0, Qt::UserRole, treePath);
        if (i == 0) {
            child->setIcon(0, iconProvider->icon(QFileIconProvider::Drive));
            child->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
        } else if (i == last) {
            child->setIcon(0, fileIcon(path));
        } else {
            child->setIcon(0, iconProvider->icon(QFileIconProvider::Folder));
            child->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
        }
        if (mergeIndex) {
            auto known = mergeIndex->find(current);
            if (known != mergeIndex->end())
                known->insert(component, child);
        }
        current = child;
    }
}

void FileListDlg::goToPath(const QString& treePath)
{
    QTreeWidget* tree = ui->fileTreeWidget;
    tree->clearSelection();
    std::vector<std::u16string> components = splitTreePath(u16(treePath));
    // A folder path ends in a separator; its item is the one to select, not an empty name below it.
    if (components.size() > 1 && components.back().empty())
        components.pop_back();
    QTreeWidgetItem* current = tree->invisibleRootItem();
    for (std::size_t i = 0; i < components.size(); ++i) {
        const QString component = QString::fromStdU16String(components[i]);
        QTreeWidgetItem* match = findChildItem(current, component);
        // A component that isn't in the tree is stepped over, and the walk goes on where it is.
        if (!match)
            continue;
        if (i + 1 == components.size()) {
            match->setSelected(true);
            tree->scrollToItem(match, QAbstractItemView::EnsureVisible);
            return;
        }
        match->setExpanded(true);
        current = match;
    }
}

// ---------------------------------------------------------------------------------------------
// Finding files by name

void FileListDlg::on_fileSearchBox_textChanged(const QString& changedText)
{
    ui->searchButton->setEnabled(!changedText.isEmpty());
}

void FileListDlg::on_searchButton_clicked()
{
    if (fileSet->empty()) {
        QMessageBox box(QMessageBox::Warning, tr("Find in Files"), tr("File list is empty"), QMessageBox::Ok, this);
        Dialogs::exec(box);
        return;
    }
    // The box's text as it stands: while the placeholder shows, that is what is looked for.
    findInFiles(ui->fileSearchBox->text());
}

void FileListDlg::findInFiles(const QString& text)
{
    if (text != lastSearchText || resultsStale) {
        searchResults.clear();
        nextResultIndex = 0;
        SearchingDialog searching(this);
        searching.startSearch(fileSet, &searchResults, &text);
        if (searching.wasCancelled()) {
            // A cut-short list is no answer; the next press with any text searches again.
            searchResults.clear();
            resultsStale = true;
            return;
        }
        lastSearchText = text;
        resultsStale = false;
    }
    if (!searchResults.isEmpty()) {
        const QString next = searchResults.at(nextResultIndex % searchResults.size());
        ++nextResultIndex;
        goToPath(next);
        return;
    }
    QMessageBox box(QMessageBox::Information, tr("Find in Files"), tr("No results found for: \"%1\"").arg(text),
        QMessageBox::Ok, this);
    Dialogs::exec(box);
}

// ---------------------------------------------------------------------------------------------
// Adding and removing

void FileListDlg::on_add_new()
{
    QStringList paths;
    AddFilesDialog chooser(&paths, this);
    if (Dialogs::exec(chooser) != QDialog::Accepted || paths.isEmpty())
        return;
    droppedUrls.clear();
    for (const QString& path : paths)
        droppedUrls << QUrl::fromLocalFile(QDir::fromNativeSeparators(path));
    emit items_dropped();
}

void FileListDlg::dragEnterEvent(QDragEnterEvent* event)
{
    if (ui->fileTreeWidget->geometry().contains(event->position().toPoint()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void FileListDlg::dragMoveEvent(QDragMoveEvent* event)
{
    if (ui->fileTreeWidget->geometry().contains(event->position().toPoint()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void FileListDlg::dragLeaveEvent(QDragLeaveEvent* event) { event->accept(); }

void FileListDlg::dropEvent(QDropEvent* event)
{
    const QMimeData* data = event->mimeData();
    if (!data || !data->hasUrls())
        return;
    droppedUrls = data->urls();
    emit items_dropped();
    event->acceptProposedAction();
}

void FileListDlg::on_items_dropped()
{
    // Walked into a set of its own first, so that what is new can be told from what was there.
    FileSet added;
    {
        ProgressDialog progress(&added, this);
        progress.setWindowTitle(tr("Adding Files..."));
        progress.startTraverse(droppedUrls);
    }
    if (added.empty())
        return;
    for (const QUrl& url : droppedUrls)
        rootsAdded.insert(nameRootFor(url.toLocalFile().toStdU16String()));
    WaitCursor wait;
    mergeAdded(added);
}

void FileListDlg::mergeAdded(const FileSet& added)
{
    mergeIndex = std::make_unique<QHash<QTreeWidgetItem*, QHash<QString, QTreeWidgetItem*>>>();
    for (const std::u16string& path : added) {
        if (!fileSet->insert(path).second)
            continue;
        insertPath(QString::fromStdU16String(path));
        resultsStale = true;
    }
    mergeIndex.reset();
}

void FileListDlg::on_remove()
{
    const QList<QTreeWidgetItem*> selected = ui->fileTreeWidget->selectedItems();
    if (selected.isEmpty())
        return;
    // An item below a selected folder goes with that folder, its entries and its item alike, so
    // it is left out here: touching it after its folder was deleted would touch freed memory.
    const QSet<QTreeWidgetItem*> chosen(selected.cbegin(), selected.cend());
    QList<QTreeWidgetItem*> tops;
    for (QTreeWidgetItem* item : selected) {
        bool underChosen = false;
        for (QTreeWidgetItem* above = item->parent(); above && !underChosen; above = above->parent())
            underChosen = chosen.contains(above);
        if (!underChosen)
            tops << item;
    }
    for (QTreeWidgetItem* item : tops) {
        const std::u16string treePath = u16(treePathOf(item));
        // A folder that was never opened has no items, but its entries are in the set all the same.
        if (isFolderItem(item))
            removeTree(treePath, *fileSet);
        else
            removeFile(treePath, *fileSet);
        delete item;
    }
    resultsStale = true;
}

// ---------------------------------------------------------------------------------------------
// The menu and the desktop

void FileListDlg::on_customContextMenuRequested(const QPoint&)
{
    const qsizetype count = ui->fileTreeWidget->selectedItems().size();
    removeAction->setVisible(count >= 1);
    propertiesAction->setVisible(count == 1);
    contextMenu->exec(QCursor::pos());
    // A hidden action would also lose its shortcut: Delete must keep working in the tree.
    removeAction->setVisible(true);
    propertiesAction->setVisible(true);
}

void FileListDlg::on_itemDoubleClicked(QTreeWidgetItem* item, int)
{
    if (item)
        openItem(treePathOf(item));
}

void FileListDlg::on_properties()
{
    const QList<QTreeWidgetItem*> selected = ui->fileTreeWidget->selectedItems();
    if (selected.size() == 1)
        showItemProperties(treePathOf(selected.first()), this);
}
