#pragma once
// "Select Files or Folders to Add": the program's own chooser, a tree of the whole file system in
// which any mix of files and folders can be marked. Marks travel: marking an opened folder marks
// what is loaded below it, marking the last unmarked child of a folder marks the folder (only
// while hidden entries are shown), and unmarking a child unmarks the folders above it. Only
// clicks, Space and Shift with an arrow mark. The dialog only gathers paths; the caller's
// traversal turns folders into files.

#include <QDialog>
#include <QItemSelection>
#include <QPersistentModelIndex>
#include <QStringList>

namespace Ui {
class AddFilesDialog;
}
class QAction;
class QFileSystemModel;
class QItemSelectionModel;
class QMenu;
class QAbstractItemModel;

class AddFilesDialog : public QDialog {
    Q_OBJECT

public:
    // selectedPaths, given empty, receives the marked paths when the dialog is accepted.
    AddFilesDialog(QStringList* selectedPaths, QWidget* parent = nullptr);
    ~AddFilesDialog() override;

    Ui::AddFilesDialog* form() const { return ui; }
    QFileSystemModel* model() const { return fsModel; }

private slots:
    void on_OKButton_clicked();
    void on_CancelButton_clicked();

private:
    // Connected by pointer, not by name: the form has no objects of these names.
    void on_selectionChanged(const QItemSelection& selected, const QItemSelection& deselected);
    void on_directoryLoaded(const QString& strDir);
    void on_expanded(const QModelIndex& index);
    void on_properties();
    void on_openInExplorer();
    void on_customContextMenuRequested(const QPoint& pos);

    void selectChildren(
        const QModelIndex& index, QAbstractItemModel* model, QItemSelectionModel* selectionModel, bool selecting);
    void updateParents(
        const QModelIndex& index, QAbstractItemModel* model, QItemSelectionModel* selectionModel, bool selecting);
    QString contextPath() const;
    void showHiddenEntries(bool show);

    Ui::AddFilesDialog* ui;
    QStringList* selectedPaths;
    QFileSystemModel* fsModel;
    // Persistent: the model inserts and sorts rows while the folder loads.
    QPersistentModelIndex pendingIndex;
    bool pendingSelect = false;
    QAction* openInExplorerAction;
    QAction* propertiesAction;
    QMenu* contextMenu;
    QPersistentModelIndex contextIndex;
    QMetaObject::Connection selectionConnection;

    friend class SelectionWalk;
};
