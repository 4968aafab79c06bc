#include "ui/contacts/ActionMan.h"

#include <QAction>
#include <QCoreApplication>
#include <QIcon>
#include <QListWidget>
#include <QMenu>
#include <QVariant>

#include "contacts/ContactRecord.h"
#include "contacts/RecipientsStore.h"
#include "platform/LastError.h"
#include "ui/Dialogs.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui/contacts/StoreFailure.h"

namespace {
using SharedItemData = std::shared_ptr<ContactItemData>;

QString qs(const std::u16string& text) { return QString::fromStdU16String(text); }
} // namespace

ContactItemData contactItemData(const QListWidgetItem* item)
{
    if (!item)
        return {};
    const SharedItemData data = item->data(Qt::UserRole).value<SharedItemData>();
    return data ? *data : ContactItemData {};
}

void setContactItemData(QListWidgetItem* item, const ContactItemData& data)
{
    if (!item)
        return;
    item->setData(Qt::UserRole, QVariant::fromValue(std::make_shared<ContactItemData>(data)));
    updateToolTip(item);
}

void updateToolTip(QListWidgetItem* item)
{
    const ContactItemData data = contactItemData(item);
    if (!data.contact)
        return;
    const ContactRecord& record = *data.contact;
    const auto label = [](const char* text) { return QCoreApplication::translate("ActionMan", text); };
    // Named here for the translation tools, which don't see through the lambda.
    static const char* const Labels[] = { QT_TRANSLATE_NOOP("ActionMan", "First Name:"),
        QT_TRANSLATE_NOOP("ActionMan", "Last Name:"), QT_TRANSLATE_NOOP("ActionMan", "Organization:"),
        QT_TRANSLATE_NOOP("ActionMan", "Email:"), QT_TRANSLATE_NOOP("ActionMan", "Comments:") };
    // The values go in as they stand: the tool tip is markup, and so is whatever a contact typed.
    const QString tip = QStringLiteral("<html><head/><body>") + QStringLiteral("<b>") + label(Labels[0])
        + QStringLiteral("</b>") + qs(record.firstName) + QStringLiteral("<br>") + QStringLiteral("<b>")
        + label(Labels[1]) + QStringLiteral("</b>") + qs(record.lastName) + QStringLiteral("<br>")
        + QStringLiteral("<b>") + label(Labels[2]) + QStringLiteral("</b>") + qs(record.organization)
        + QStringLiteral("<br>") + QStringLiteral("<b>") + label(Labels[3]) + QStringLiteral("</b>") + qs(record.email)
        + QStringLiteral("<br>") + QStringLiteral("<b>") + label(Labels[4]) + QStringLiteral("</b>")
        + qs(record.comments) + QStringLiteral("</body></html>");
    item->setToolTip(tip);
}

QListWidgetItem* newContactItem(std::shared_ptr<ContactRecord> record, bool isOwn)
{
    const QString icon
        = isOwn ? QStringLiteral(":/ico/MainWindow/Res/me.png") : QStringLiteral(":/ico/MainWindow/Res/contact.png");
    auto* item = new QListWidgetItem(QIcon(icon), record ? qs(record->name) : QString());
    setContactItemData(item, ContactItemData { std::move(record), isOwn });
    return item;
}

ContactRecord contactRecordFrom(const ContactDetails& details, const IdentityCertificate& identity)
{
    ContactRecord record;
    record.identity = identity;
    record.name = details.name.toStdU16String();
    record.firstName = details.firstName.toStdU16String();
    record.lastName = details.lastName.toStdU16String();
    record.organization = details.organization.toStdU16String();
    record.comments = details.comments.toStdU16String();
    record.email = details.email.toStdU16String();
    return record;
}

ContactDetails contactDetailsOf(const ContactRecord& record)
{
    return ContactDetails { qs(record.name), qs(record.firstName), qs(record.lastName), qs(record.organization),
        qs(record.email), qs(record.comments) };
}

bool showContactDetails(QWidget* parent, RecipientsStore* store, QListWidgetItem* item)
{
    const ContactItemData data = contactItemData(item);
    if (!store || !data.contact)
        return false;
    const ContactRecord& old = *data.contact;

    ContactDetailsDlg dialog(parent);
    dialog.setWindowTitle(QCoreApplication::translate("ActionMan", "Contact details for %1").arg(qs(old.name)));
    dialog.setDetails(contactDetailsOf(old));
    dialog.setNameReadOnly(true);
    dialog.setEditTracking(true);
    dialog.setOkEnabled(false);
    if (Dialogs::exec(dialog) != ContactDetailsDlg::Ok)
        return false;

    // The name is the contact's key and its certificate's; the dialog shows it read-only.
    ContactDetails details = dialog.details();
    details.name = qs(old.name);
    auto changed = std::make_shared<ContactRecord>(contactRecordFrom(details, old.identity));
    platform::setLastError(0);
    const EngineStatus updated = store->update(*changed);
    if (!updated.ok()) {
        // The item keeps what the file still says.
        showStoreFailure(parent, updated);
        return false;
    }
    setContactItemData(item, ContactItemData { std::move(changed), data.isOwn });
    return true;
}

namespace ActionRules {
namespace {
    void offer(QAction* action, bool on)
    {
        action->setVisible(on);
        action->setEnabled(on);
    }
} // namespace

void always(QAction* action, QListWidget*) { offer(action, true); }

void anySelected(QAction* action, QListWidget* list) { offer(action, !list->selectedItems().isEmpty()); }

void oneSelected(QAction* action, QListWidget* list) { offer(action, list->selectedItems().size() == 1); }

void notAllSelected(QAction* action, QListWidget* list)
{
    offer(action, list->selectedItems().size() != list->count());
}

void removable(QAction* action, QListWidget* list)
{
    const QList<QListWidgetItem*> selected = list->selectedItems();
    const bool ownAlone = selected.size() == 1 && contactItemData(selected.first()).isOwn;
    offer(action, !selected.isEmpty() && !ownAlone);
}
} // namespace ActionRules

ActionMan::ActionMan(QListWidget* list, QObject* parent)
    : QObject(parent)
    , menu(new QMenu)
    , list(list)
    , listGuard(list)
{
}

ActionMan::~ActionMan()
{
    delete menu;
    // The actions are children of the list as well; if the list went first, they went with it.
    const bool actionsAlive = !listGuard.isNull();
    for (ActionEntry* entry : actions) {
        if (actionsAlive)
            delete entry->action;
        delete entry;
    }
}

void ActionMan::updateActions()
{
    if (actions.isEmpty())
        createActions(actions);
    for (ActionEntry* entry : actions)
        entry->update(entry->action, list);
}

void ActionMan::showMenu(const QPoint& globalPosition, bool update)
{
    if (update)
        updateActions();
    menu->exec(globalPosition);
}

QAction* ActionMan::findAction(const QString& caption) const
{
    for (const ActionEntry* entry : actions) {
        if (entry->action->text() == caption)
            return entry->action;
    }
    return nullptr;
}

QAction* ActionMan::makeAction(QList<ActionEntry*>& entries, const QString& caption, const QString& iconPath,
    const QKeySequence& shortcut, void (*rule)(QAction*, QListWidget*))
{
    auto* action = new QAction(caption, list);
    if (!iconPath.isEmpty())
        action->setIcon(QIcon(iconPath));
    action->setShortcut(shortcut);
    // Each list has its own Delete, Ctrl+A and so on; they must not fire in the other list.
    action->setShortcutContext(Qt::WidgetShortcut);
    list->addAction(action);
    entries.append(new ActionEntry { action, rule });
    return action;
}
