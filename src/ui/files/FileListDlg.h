#pragma once
// "File List to Encrypt": the file set of the package being made, shown as a tree of roots,
// folders and files that is built only as far as the user opens it. Adding, removing and finding
// work straight on the caller's set; there is nothing to confirm or undo on closing.

#include <QDialog>
#include <QHash>
#include <QIcon>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <memory>
#include <set>

#include "files/FileSet.h"

namespace Ui {
class FileListDlg;
}
class QAction;
class QFileIconProvider;
class QMenu;
class QTreeWidgetItem;

class FileListDlg : public QDialog {
    Q_OBJECT

public:
    FileListDlg(FileSet* files, QWidget* parent = nullptr);
    ~FileListDlg() override;

    Ui::FileListDlg* form() const { return ui; }
    // The folders that items dropped here were added from, for naming their entries.
    const std::set<std::u16string>& addedRoots() const { return rootsAdded; }

signals:
    void items_dropped();

public slots:
    // Selects the item of a path, opening and filling the folders on its way.
    void goToPath(const QString& treePath);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private slots:
    void on_searchButton_clicked();
    void on_fileSearchBox_textChanged(const QString& changedText);

private:
    // Connected by pointer, not by name: the form has no objects of these names.
    void on_itemExpanded(QTreeWidgetItem* item);
    void on_itemDoubleClicked(QTreeWidgetItem* item, int column);
    void on_customContextMenuRequested(const QPoint& pos);
    void on_add_new();
    void on_remove();
    void on_properties();
    void on_items_dropped();

    void populateRoots();
    void fillChildren(QTreeWidgetItem* item);
    QIcon fileIcon(const QString& path);
    void insertPath(const QString& path);
    void mergeAdded(const FileSet& added);
    void findInFiles(const QString& text);
    QTreeWidgetItem* findChildItem(QTreeWidgetItem* parent, const QString& text);

    Ui::FileListDlg* ui;
    std::unique_ptr<QFileIconProvider> iconProvider;
    FileSet* fileSet;
    QMap<QString, QIcon> iconCache;
    QSet<QString> uncachedSuffixes;
    QAction* addAction;
    QAction* removeAction;
    QAction* propertiesAction;
    QMenu* contextMenu;
    QString lastSearchText;
    qint32 nextResultIndex = 0;
    QStringList searchResults;
    bool resultsStale = false;
    QList<QUrl> droppedUrls;
    std::set<std::u16string> rootsAdded;

    // While a merge runs: the children of each item it looked into, by name, so that
    // adding many paths below a folder with many items doesn't scan that folder once per path.
    std::unique_ptr<QHash<QTreeWidgetItem*, QHash<QString, QTreeWidgetItem*>>> mergeIndex;
};
