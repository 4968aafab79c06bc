#include "ui/contacts/KvxListWidget.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDrag>
#include <QDropEvent>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPointer>
#include <QUrl>

#include "engine/AppConstants.h"
#include "ui/contacts/ActionMan.h"
#include "ui/contacts/ContactActionMan.h"

namespace {

// Owns the clones of one drag for as long as no list has taken them. It lives as a child of the
// drag's mime data, so a drag that ends without a drop frees its clones with the mime data.
class DragPayload : public QObject {
public:
    DragPayload(QMimeData* data, KvxListWidget* origin)
        : QObject(data)
        , origin(origin)
    {
    }
    ~DragPayload() override { qDeleteAll(clones); }

    QList<QListWidgetItem*> clones;
    QPointer<KvxListWidget> origin;
};

std::function<Qt::DropAction(QDrag&)>& dragRunner()
{
    static std::function<Qt::DropAction(QDrag&)> runner;
    return runner;
}

const DragPayload* payloadOf(const QMimeData* data)
{
    return data ? data->findChild<DragPayload*>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
}

} // namespace

KvxListWidget::KvxListWidget(QWidget* parent)
    : QListWidget(parent)
{
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setMovement(QListView::Snap);
    // Several contacts at once are the rule here: Select All, moving a group, removing a group.
    setSelectionMode(QAbstractItemView::ExtendedSelection);
}

void KvxListWidget::addClonesOf(const QList<QListWidgetItem*>& items)
{
    for (const QListWidgetItem* item : items)
        addItem(item->clone());
}

QMimeData* KvxListWidget::makeDragData(const QList<QListWidgetItem*>& items, KvxListWidget* origin)
{
    auto* data = new QMimeData;
    auto* payload = new DragPayload(data, origin);
    for (const QListWidgetItem* item : items)
        payload->clones.append(item->clone());
    data->setProperty(dragProperty, QVariant::fromValue(static_cast<void*>(&payload->clones)));
    return data;
}

void KvxListWidget::setDragRunnerForTesting(std::function<Qt::DropAction(QDrag&)> runner)
{
    dragRunner() = std::move(runner);
}

KvxListWidget* KvxListWidget::dragOrigin(const QDropEvent* event)
{
    if (auto* source = qobject_cast<KvxListWidget*>(event->source()))
        return source;
    // Outside a running QDrag (a drag handed over without the drag manager) the payload still
    // knows where it came from.
    if (const DragPayload* payload = payloadOf(event->mimeData()))
        return payload->origin.data();
    return nullptr;
}

QString KvxListWidget::droppedKeyFile(const QDropEvent* event)
{
    if (!event || event->source() || payloadOf(event->mimeData()))
        return QString();
    const QMimeData* data = event->mimeData();
    if (!data || !data->hasUrls())
        return QString();
    const QList<QUrl> urls = data->urls();
    if (urls.size() != 1)
        return QString();
    const QFileInfo file(urls.first().toLocalFile());
    if (file.suffix().toLower() != QString::fromUtf16(KeySuffix.data(), KeySuffix.size()))
        return QString();
    return file.absoluteFilePath();
}

bool KvxListWidget::event(QEvent* event)
{
    // Shortcuts are matched before the key press reaches keyPressEvent; the rules must already
    // have seen the present selection by then.
    if (event->type() == QEvent::ShortcutOverride && actionMan)
        actionMan->updateActions();
    return QListWidget::event(event);
}

void KvxListWidget::mousePressEvent(QMouseEvent* event)
{
    pressedItems = selectedItems();
    QListWidgetItem* item = itemAt(event->position().toPoint());
    if (pressedItems.isEmpty() && item)
        pressedItems.append(item);
    QListWidget::mousePressEvent(event);
    if (event->button() == Qt::LeftButton)
        dragStartPosition = event->position().toPoint();
}

void KvxListWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton))
        return;
    if ((event->position().toPoint() - dragStartPosition).manhattanLength() < QApplication::startDragDistance())
        return;
    if (pressedItems.isEmpty())
        return;
    auto* drag = new QDrag(this);
    drag->setMimeData(makeDragData(pressedItems, this));
    const Qt::DropAction done = dragRunner() ? dragRunner()(*drag) : drag->exec(Qt::MoveAction);
    if (done == Qt::MoveAction) {
        const QList<QListWidgetItem*> moved = pressedItems;
        pressedItems.clear();
        qDeleteAll(moved);
    }
    pressedItems.clear();
    delete drag;
}

void KvxListWidget::keyPressEvent(QKeyEvent* event)
{
    if (actionMan)
        actionMan->updateActions();
    QListWidget::keyPressEvent(event);
}

void KvxListWidget::contextMenuEvent(QContextMenuEvent* event)
{
    // A right-click on a contact that isn't selected is about that contact, as in a file
    // manager: it becomes the selection before the menu is made for it.
    if (event->reason() != QContextMenuEvent::Keyboard) {
        QListWidgetItem* item = itemAt(event->pos());
        if (item && !item->isSelected()) {
            clearSelection();
            setCurrentItem(item);
            item->setSelected(true);
        }
    }
    if (actionMan)
        actionMan->showMenu(event->globalPos(), true);
}

void KvxListWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    QListWidgetItem* item = event->button() == Qt::LeftButton ? itemAt(event->position().toPoint()) : nullptr;
    if (!item || !actionMan) {
        QListWidget::mouseDoubleClickEvent(event);
        return;
    }
    // A double-click moves the contact to the other list, the shortest way to choose someone.
    clearSelection();
    item->setSelected(true);
    actionMan->moveToPeer();
    emit on_event();
    if (peerList)
        emit peerList->on_event();
}

bool KvxListWidget::acceptDrag(QDropEvent* event)
{
    if (!droppedKeyFile(event).isEmpty()) {
        event->acceptProposedAction();
        return true;
    }
    KvxListWidget* origin = dragOrigin(event);
    if (origin && origin != this) {
        event->setDropAction(Qt::MoveAction);
        event->accept();
        return true;
    }
    // Items can't go back onto their own list, and a foreign drag is the window's to take.
    event->ignore();
    return false;
}

void KvxListWidget::dragEnterEvent(QDragEnterEvent* event) { acceptDrag(event); }

void KvxListWidget::dragMoveEvent(QDragMoveEvent* event) { acceptDrag(event); }

void KvxListWidget::dropEvent(QDropEvent* event)
{
    const QString keyFile = droppedKeyFile(event);
    if (!keyFile.isEmpty()) {
        event->acceptProposedAction();
        ContactActionMan::importContactKey(keyFile, this, actionMan ? actionMan->store() : nullptr);
        return;
    }
    KvxListWidget* origin = dragOrigin(event);
    if (!origin || origin == this) {
        event->ignore();
        return;
    }
    const QVariant property = event->mimeData()->property(dragProperty);
    auto* clones = static_cast<QList<QListWidgetItem*>*>(property.value<void*>());
    if (!clones)
        return;
    const QList<QListWidgetItem*> arrived = *clones;
    // The list now owns them; the payload frees what is left in its list, which is nothing.
    clones->clear();
    for (QListWidgetItem* item : arrived)
        addItem(item);
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void KvxListWidget::rowsInserted(const QModelIndex& parent, int start, int end)
{
    QListWidget::rowsInserted(parent, start, end);
    emit on_event();
}

void KvxListWidget::rowsAboutToBeRemoved(const QModelIndex& parent, int start, int end)
{
    // A pressed item that leaves the list must not be dragged (or deleted) later.
    for (int row = start; row <= end; ++row)
        pressedItems.removeAll(item(row));
    QListWidget::rowsAboutToBeRemoved(parent, start, end);
    emit on_event();
}
