#include "ui/files/MarkingTreeView.h"

#include <QKeyEvent>

namespace {

bool movesCurrent(int key)
{
    switch (key) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        return true;
    default:
        return false;
    }
}

} // namespace

QItemSelectionModel::SelectionFlags MarkingTreeView::selectionCommand(
    const QModelIndex& index, const QEvent* event) const
{
    // Without an event the current item was moved by typing its name, or by the program; in a
    // tree where every row can be marked that used to toggle the row found, and opening it then
    // marked what lay below.
    if (!event)
        return QItemSelectionModel::NoUpdate;
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<const QKeyEvent*>(event);
        if (key->key() == Qt::Key_Space || key->key() == Qt::Key_Select)
            return QItemSelectionModel::Toggle;
        if ((key->modifiers() & Qt::ShiftModifier) && movesCurrent(key->key()))
            return QItemSelectionModel::Select;
        return QItemSelectionModel::NoUpdate;
    }
    return QTreeView::selectionCommand(index, event);
}

void MarkingTreeView::keyPressEvent(QKeyEvent* event)
{
    // Shift with an arrow marks a run of rows, the one it starts from included.
    if ((event->modifiers() & Qt::ShiftModifier) && movesCurrent(event->key()) && currentIndex().isValid()
        && selectionModel())
        selectionModel()->select(currentIndex(), QItemSelectionModel::Select);
    QTreeView::keyPressEvent(event);
}
