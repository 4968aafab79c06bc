#pragma once
// The chooser's tree, in which a mark is a decision of the user's: a click, Space, or Shift with
// an arrow. Arrows and typing a name only move the current item.

#include <QTreeView>

class MarkingTreeView : public QTreeView {
    Q_OBJECT

public:
    using QTreeView::QTreeView;

protected:
    QItemSelectionModel::SelectionFlags selectionCommand(
        const QModelIndex& index, const QEvent* event = nullptr) const override;
    void keyPressEvent(QKeyEvent* event) override;
};
