#pragma once
// The list widget of the two contact lists: items are dragged between the two lists, a key file
// dragged in from outside is imported, and right clicks and keys go to the action manager.

#include <QList>
#include <QListWidget>
#include <QPoint>
#include <QString>
#include <functional>

class ActionMan;
class QDrag;
class QDropEvent;
class QMimeData;

class KvxListWidget : public QListWidget {
    Q_OBJECT
public:
    // The dynamic property of a drag's mime data that carries the dragged clones.
    static constexpr const char* dragProperty = "PROP_DRAG_AND_DROP";

    explicit KvxListWidget(QWidget* parent = nullptr);

    void setPeerList(KvxListWidget* list) { peerList = list; }
    KvxListWidget* peer() const { return peerList; }
    void setActionMan(ActionMan* manager) { actionMan = manager; }
    ActionMan* manager() const { return actionMan; }

    // Appends a clone of each item, in order, at the end of this list.
    void addClonesOf(const QList<QListWidgetItem*>& items);

    // The absolute path of a single key file dragged in from outside the program, else empty.
    static QString droppedKeyFile(const QDropEvent* event);
    // Mime data for a drag of clones of `items` from `origin`. The clones belong to the mime data
    // until a list takes them in a drop; deleting the mime data frees any left.
    static QMimeData* makeDragData(const QList<QListWidgetItem*>& items, KvxListWidget* origin);

    // Tests only: runs the drags the mouse starts in place of QDrag::exec, which needs a real
    // pointer and a platform that delivers the drop. An empty runner restores exec.
    static void setDragRunnerForTesting(std::function<Qt::DropAction(QDrag&)> runner);

signals:
    // Rows were inserted or are about to be removed.
    void on_event();

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void rowsAboutToBeRemoved(const QModelIndex& parent, int start, int end) override;

private:
    // The list a drag of ours comes from, or null for a foreign drag.
    static KvxListWidget* dragOrigin(const QDropEvent* event);
    bool acceptDrag(QDropEvent* event);

    QPoint dragStartPosition;
    QList<QListWidgetItem*> pressedItems;
    KvxListWidget* peerList = nullptr;
    ActionMan* actionMan = nullptr;
};
