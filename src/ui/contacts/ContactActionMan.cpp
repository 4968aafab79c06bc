#include "ui/contacts/ContactActionMan.h"

#include <QAction>
#include <QFileInfo>
#include <QIcon>
#include <QKeySequence>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>

#include "contacts/ContactRecord.h"
#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "engine/AppConstants.h"
#include "platform/LastError.h"
#include "ui/Dialogs.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui/contacts/StoreFailure.h"
#include "ui/desktop/ShowInFolder.h"

namespace {
QString appName() { return QString::fromUtf16(AppName.data(), AppName.size()); }
QString keySuffix() { return QString::fromUtf16(KeySuffix.data(), KeySuffix.size()); }
QString keyFilter() { return ContactActionMan::tr("Halvoren Key Files (*.kvxk)"); }
} // namespace

ContactActionMan::ContactActionMan(QListWidget* list, QListWidget* peerList, QObject* parent)
    : ActionMan(list, parent)
    , peerList(peerList)
{
}

void ContactActionMan::createActions(QList<ActionEntry*>& entries)
{
    using namespace ActionRules;
    const QString res = QStringLiteral(":/ico/MainWindow/Res/");
    QAction* toRecipients = makeAction(
        entries, tr("Add to Recipients List"), res + "RightArrow.png", QKeySequence(QKeySequence::Copy), anySelected);
    QAction* addNew = makeAction(entries, tr("Add New Contact"), res + "contact.png", QKeySequence(), always);
    QAction* exportKey = makeAction(
        entries, tr("Export Contact"), res + "export_contact.png", QKeySequence(Qt::CTRL | Qt::Key_E), oneSelected);
    QAction* remove = makeAction(
        entries, tr("Remove Contact"), res + "contact_delete.png", QKeySequence(QKeySequence::Delete), removable);
    QAction* selectAll
        = makeAction(entries, tr("Select All"), QString(), QKeySequence(QKeySequence::SelectAll), notAllSelected);
    QAction* clearSelection
        = makeAction(entries, tr("Clear Selection"), QString(), QKeySequence(QKeySequence::Undo), anySelected);
    QAction* details = makeAction(
        entries, tr("Contact Details"), res + "editprofile.png", QKeySequence(Qt::CTRL | Qt::Key_I), oneSelected);

    connect(toRecipients, &QAction::triggered, this, &ContactActionMan::add_to_recipients);
    connect(addNew, &QAction::triggered, this, &ContactActionMan::add_new_contact);
    connect(exportKey, &QAction::triggered, this, &ContactActionMan::export_contact);
    connect(remove, &QAction::triggered, this, &ContactActionMan::remove_contact);
    connect(selectAll, &QAction::triggered, this, &ContactActionMan::select_all);
    connect(clearSelection, &QAction::triggered, this, &ContactActionMan::clear_selection);
    connect(details, &QAction::triggered, this, &ContactActionMan::contact_details);

    menu->addAction(toRecipients);
    menu->addSeparator();
    menu->addAction(selectAll);
    menu->addAction(clearSelection);
    menu->addSeparator();
    menu->addAction(addNew);
    menu->addAction(exportKey);
    menu->addAction(remove);
    menu->addSeparator();
    menu->addAction(details);
}

bool ContactActionMan::importContactKey(const QString& path, QListWidget* target, RecipientsStore* store)
{
    if (path.isEmpty() || !target || !store)
        return false;
    const CertificatePtr certificate = loadCertificateFile(path.toStdU16String());
    if (!certificate)
        return false;
    const std::optional<std::u16string> displayName = certificateDisplayName(certificate);
    if (!displayName || displayName->empty())
        return false;
    const IdentityCertificate identity(certificate, *displayName);
    const QString name = QString::fromStdU16String(*displayName);

    if (findSamePerson(certificate)) {
        QMessageBox box(QMessageBox::Warning, appName(),
            tr("Contact already exists. Please select another contact key file."), QMessageBox::Ok, target);
        Dialogs::exec(box);
        return false;
    }

    ContactDetailsDlg dialog(target);
    dialog.setWindowTitle(tr("Add Contact Details"));
    dialog.setContactName(name);
    dialog.setNameReadOnly(true);
    dialog.setOkEnabled(true);
    if (Dialogs::exec(dialog) != ContactDetailsDlg::Ok)
        return false;

    // The name is the certificate's, whatever the read-only field was made to hold.
    ContactDetails details = dialog.details();
    details.name = name;
    auto record = std::make_shared<ContactRecord>(contactRecordFrom(details, identity));
    platform::setLastError(0);
    const EngineStatus added = store->add(*record);
    if (!added.ok()) {
        showStoreFailure(target, added);
        return false;
    }

    target->addItem(newContactItem(std::move(record), false));

    QMessageBox done(QMessageBox::Information, appName(), tr("Contact added successfully."), QMessageBox::Ok,
        target->parentWidget());
    Dialogs::exec(done);
    return true;
}

QString ContactActionMan::chooseKeyFileToOpen()
{
    return Dialogs::getOpenFileName(list->parentWidget(), tr("Open Contact Key File Name"), lastFolder, keyFilter());
}

QString ContactActionMan::chooseKeyFileToSave(const QString& suggestedName)
{
    QString path
        = Dialogs::getSaveFileName(list->parentWidget(), tr("Export Contact Key to File"), suggestedName, keyFilter());
    // The complete suffix: "report.old.kvxk" is not taken for a key file name and gets its own.
    if (!path.isEmpty() && QFileInfo(path).completeSuffix().toLower() != keySuffix())
        path += QLatin1Char('.') + keySuffix();
    return path;
}

void ContactActionMan::moveSelectionToPeer()
{
    if (!peerList)
        return;
    const QList<QListWidgetItem*> selected = list->selectedItems();
    for (QListWidgetItem* item : selected) {
        peerList->addItem(item->clone());
        delete item;
    }
}

void ContactActionMan::add_to_recipients() { moveSelectionToPeer(); }

void ContactActionMan::add_new_contact()
{
    const QString path = chooseKeyFileToOpen();
    if (path.isEmpty())
        return;
    importContactKey(path, list, store());
    lastFolder = QFileInfo(path).absolutePath();
}

void ContactActionMan::export_contact()
{
    const QList<QListWidgetItem*> selected = list->selectedItems();
    if (selected.isEmpty())
        return;
    const ContactItemData data = contactItemData(selected.first());
    if (!data.contact)
        return;
    const QString path = chooseKeyFileToSave(QString::fromStdU16String(data.contact->name));
    const CertificatePtr& certificate = data.contact->identity.certificate();
    if (path.isEmpty() || !certificate)
        return;
    if (!saveCertificateFile(certificate, path.toStdU16String()))
        return;

    QWidget* parent = peerList ? peerList->parentWidget() : list->parentWidget();
    QMessageBox box(
        QMessageBox::Information, appName(), tr("Contact exported successfully."), QMessageBox::Ok, parent);
    QPushButton* details = box.addButton(tr("Details"), QMessageBox::AcceptRole);
    Dialogs::exec(box);
    if (box.clickedButton() == details)
        showInExplorer(path);
}

void ContactActionMan::remove_contact()
{
    RecipientsStore* contacts = store();
    const QList<QListWidgetItem*> selected = list->selectedItems();
    if (selected.isEmpty() || !contacts)
        return;
    QString question = tr("Are you sure you want to remove this contact?");
    for (const QListWidgetItem* item : selected) {
        if (!contactItemData(item).isOwn)
            question += QStringLiteral("\n\"") + item->text() + QLatin1Char('"');
    }
    QMessageBox box(QMessageBox::Question, appName(), question, QMessageBox::Yes | QMessageBox::No, list);
    if (Dialogs::exec(box) != QMessageBox::Yes)
        return;

    EngineStatus failure;
    for (QListWidgetItem* item : selected) {
        const ContactItemData data = contactItemData(item);
        if (!data.contact || data.isOwn)
            continue;
        platform::setLastError(0);
        const EngineStatus removed = contacts->remove(*data.contact);
        // A contact that is still on file stays in the list, so list and store tell one story.
        if (!removed.ok()) {
            if (failure.ok())
                failure = removed;
            continue;
        }
        delete item;
    }
    if (!failure.ok())
        showStoreFailure(list, failure);
}

void ContactActionMan::select_all() { list->selectAll(); }

void ContactActionMan::clear_selection() { list->clearSelection(); }

void ContactActionMan::contact_details()
{
    const QList<QListWidgetItem*> selected = list->selectedItems();
    if (!selected.isEmpty())
        showContactDetails(list->parentWidget(), store(), selected.first());
}
