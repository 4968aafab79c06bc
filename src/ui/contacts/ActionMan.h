#pragma once
// What a contact list item carries, its tool tip, and the base of the two lists' action
// managers: a context menu and keyboard shortcuts whose offer follows the list's selection.

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QString>
#include <memory>

class QAction;
class QKeySequence;
class QListWidget;
class QListWidgetItem;
class QMenu;
class QWidget;
class RecipientsStore;
struct ContactRecord;
struct ContactDetails;
class IdentityCertificate;

// Kept in every contact item under Qt::UserRole. Clones of an item share it, so a contact keeps
// its details whichever list it is moved to; the last item that holds it frees it.
struct ContactItemData {
    std::shared_ptr<ContactRecord> contact;
    bool isOwn = false;
};
Q_DECLARE_METATYPE(std::shared_ptr<ContactItemData>)

// The item's data by value; an empty record pointer when the item carries none (or is null).
ContactItemData contactItemData(const QListWidgetItem* item);
// Replaces what the item holds (clones made earlier keep the old data) and sets the tool tip.
void setContactItemData(QListWidgetItem* item, const ContactItemData& data);
// The tool tip from the item's record: the five details as HTML, values unescaped.
void updateToolTip(QListWidgetItem* item);
// A new contact item: the name as text, the contact or own-contact icon, data and tool tip set.
// Not yet in any list.
QListWidgetItem* newContactItem(std::shared_ptr<ContactRecord> record, bool isOwn);
// A record from a dialog's fields and a certificate, as filed when a contact is made or edited.
// The dialog's field order differs from the record's (comments before e-mail there).
ContactRecord contactRecordFrom(const ContactDetails& details, const IdentityCertificate& identity);
// The record's six fields in the dialog's order.
ContactDetails contactDetailsOf(const ContactRecord& record);

// Shows the details dialog for the item's contact; on OK writes the change to the store and to
// the item. Nothing happens without store, item or record. False if nothing changed.
bool showContactDetails(QWidget* parent, RecipientsStore* store, QListWidgetItem* item);

// One action and the rule that decides whether it is on offer for the list's selection.
struct ActionEntry {
    QAction* action = nullptr;
    void (*update)(QAction* action, QListWidget* list) = nullptr;
};

// The rules. Each sets visibility and enabled state together, so an action not on offer leaves
// the menu and its shortcut stops working.
namespace ActionRules {
void always(QAction* action, QListWidget* list);
void anySelected(QAction* action, QListWidget* list);
void oneSelected(QAction* action, QListWidget* list);
void notAllSelected(QAction* action, QListWidget* list);
// Something selected, unless it is the own contact alone.
void removable(QAction* action, QListWidget* list);
} // namespace ActionRules

class ActionMan : public QObject {
    Q_OBJECT
public:
    explicit ActionMan(QListWidget* list, QObject* parent = nullptr);
    ~ActionMan() override;
    ActionMan(const ActionMan&) = delete;
    ActionMan& operator=(const ActionMan&) = delete;

    // Makes the actions on first use, then applies every rule to the list's present selection.
    void updateActions();
    // Runs the context menu at a global position, after the rules if `update` is set.
    void showMenu(const QPoint& globalPosition, bool update);

    void setStore(RecipientsStore* store) { store_ = store; }
    RecipientsStore* store() const { return store_; }
    QListWidget* listWidget() const { return list; }
    QMenu* contextMenu() const { return menu; }
    // The entries made so far (none before the first updateActions), in creation order.
    const QList<ActionEntry*>& entries() const { return actions; }
    // The action with this caption, or null.
    QAction* findAction(const QString& caption) const;
    // Moves the selected contacts to the other list (a double-click does this).
    virtual void moveToPeer() = 0;

protected:
    virtual void createActions(QList<ActionEntry*>& entries) = 0;
    // Makes one action on the list with a widget-wide shortcut and connects it; the caller puts
    // it into the menu.
    QAction* makeAction(QList<ActionEntry*>& entries, const QString& caption, const QString& iconPath,
        const QKeySequence& shortcut, void (*rule)(QAction*, QListWidget*));

    QMenu* menu;
    QListWidget* list;
    QList<ActionEntry*> actions;

private:
    QPointer<QListWidget> listGuard;
    RecipientsStore* store_ = nullptr;
};
