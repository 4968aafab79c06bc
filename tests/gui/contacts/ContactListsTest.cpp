// The two contact lists with their action managers, over a real store and certificate store:
// key files in and out, menus, moving contacts by action, drag and key, removing and editing.

#include <QAction>
#include <QApplication>
#include <QDrag>
#include <QDropEvent>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QUrl>
#include <filesystem>

#include "ContactsFixture.h"
#include "QtTestSupport.h"
#include "TestSupport.h"
#include "crypto/CertificateStore.h"
#include "platform/ErrorText.h"
#include "platform/FaultInjection.h"
#include "platform/StatusCodes.h"
#include "ui/Dialogs.h"
#include "ui/contacts/ContactActionMan.h"
#include "ui/contacts/ContactDetailsDlg.h"
#include "ui/contacts/KvxListWidget.h"
#include "ui/contacts/RecipientActionMan.h"
#include "ui/desktop/ShowInFolder.h"

using namespace contacts_test;
using namespace testing_support;
namespace fs = std::filesystem;
namespace answers = Dialogs::testing;

namespace {

const QString AddedText = QStringLiteral("Contact added successfully.");
const QString ExistsText = QStringLiteral("Contact already exists. Please select another contact key file.");

QString field(QDialog& dialog, const char* name) { return dialog.findChild<QLineEdit*>(name)->text(); }

bool okEnabled(QDialog& dialog) { return dialog.findChild<QPushButton*>("OKButton")->isEnabled(); }

void selectOnly(QListWidget& list, const QList<QListWidgetItem*>& items)
{
    list.clearSelection();
    for (QListWidgetItem* item : items)
        item->setSelected(true);
}

// A record with a name only, for lists that never reach the store.
std::shared_ptr<ContactRecord> named(const char16_t* name)
{
    auto record = std::make_shared<ContactRecord>();
    record->name = name;
    return record;
}

bool sendDragEnter(QListWidget& list, const QMimeData* data)
{
    QDragEnterEvent enter(QPoint(4, 4), Qt::CopyAction | Qt::MoveAction, data, Qt::LeftButton, Qt::NoModifier);
    enter.ignore();
    QCoreApplication::sendEvent(list.viewport(), &enter);
    return enter.isAccepted();
}

bool sendDrop(QListWidget& list, const QMimeData* data, Qt::DropAction* action = nullptr)
{
    QDropEvent drop(QPointF(4, 4), Qt::CopyAction | Qt::MoveAction, data, Qt::LeftButton, Qt::NoModifier);
    drop.ignore();
    QCoreApplication::sendEvent(list.viewport(), &drop);
    if (action)
        *action = drop.dropAction();
    return drop.isAccepted();
}

} // namespace

class ContactListsTest : public QObject {
    Q_OBJECT

private:
    fs::path profile;
    std::unique_ptr<RecipientsStore> store;
    std::unique_ptr<QWidget> window;
    KvxListWidget* contacts = nullptr;
    KvxListWidget* recipients = nullptr;
    std::unique_ptr<ContactActionMan> contactMan;
    std::unique_ptr<RecipientActionMan> recipientMan;
    QStringList shownInFolder;

    QListWidgetItem* addItem(QListWidget& list, const std::shared_ptr<ContactRecord>& record, bool own = false)
    {
        QListWidgetItem* item = newContactItem(record, own);
        list.addItem(item);
        return item;
    }

    static QAction* action(ActionMan& manager, const char* caption)
    {
        manager.updateActions();
        return manager.findAction(QString::fromLatin1(caption));
    }
    QAction* contactAction(const char* caption) { return action(*contactMan, caption); }

    // Answers the next details dialog by typing into one line edit, then closing it with `result`.
    static void answerTyping(const char* edit, const QString& text, int result)
    {
        answers::answer([=](QDialog& dialog) {
            dialog.show();
            QTest::keyClicks(dialog.findChild<QLineEdit*>(edit), text);
            return result;
        });
    }

    // Answers the import's details dialog after checking what it offers and fills the first name;
    // unless it is cancelled, also the message that follows.
    void answerImportDialog(const QString& expectedName, const QString& firstName, int result = 1)
    {
        answers::answer([=](QDialog& dialog) {
            dialog.show();
            if (dialog.windowTitle() != QStringLiteral("Add Contact Details")
                || field(dialog, "ContactNameLE") != expectedName
                || !dialog.findChild<QLineEdit*>("ContactNameLE")->isReadOnly() || !okEnabled(dialog)
                || !field(dialog, "FirstNameLE").isEmpty() || !field(dialog, "EMailLE").isEmpty())
                return 0;
            QTest::keyClicks(dialog.findChild<QLineEdit*>("FirstNameLE"), firstName);
            return result;
        });
        if (result != ContactDetailsDlg::Cancelled)
            answers::answer(QMessageBox::Ok);
    }

private slots:
    void init()
    {
        answers::clear();
        answers::setStrict(true);
        store = std::make_unique<RecipientsStore>();
        QVERIFY(freshProfile(*store, profile));
        window = std::make_unique<QWidget>();
        auto* layout = new QHBoxLayout(window.get());
        contacts = new KvxListWidget(window.get());
        recipients = new KvxListWidget(window.get());
        layout->addWidget(contacts);
        layout->addWidget(recipients);
        contacts->setPeerList(recipients);
        recipients->setPeerList(contacts);
        contactMan = std::make_unique<ContactActionMan>(contacts, recipients);
        recipientMan = std::make_unique<RecipientActionMan>(recipients, contacts);
        contacts->setActionMan(contactMan.get());
        recipients->setActionMan(recipientMan.get());
        contactMan->setStore(store.get());
        recipientMan->setStore(store.get());
        shownInFolder.clear();
        ShowInFolder::setHooks({ [this](const QStringList& uris) {
                                    shownInFolder << uris;
                                    return true;
                                },
            [](const QUrl&) { return true; } });
    }

    void cleanup()
    {
        platform::faults::reset();
        // Every dialog the flow showed had an answer, and every answer was used.
        QCOMPARE(answers::unanswered(), 0);
        QCOMPARE(answers::pendingAnswers(), 0);
        contactMan.reset();
        recipientMan.reset();
        window.reset();
        ShowInFolder::setHooks({});
    }

    void importsKeyFilesByActionAndDrop()
    {
        answers::answerPath(keyFile("Bob"));
        answerImportDialog(QStringLiteral("Bob"), QStringLiteral("Robert"));
        contactAction("Add New Contact")->trigger();

        QCOMPARE(texts(*contacts), QStringList { "Bob" });
        QCOMPARE(answers::shown().last().text, AddedText);
        QCOMPARE(answers::shown().last().icon, QMessageBox::Information);

        // A key file dropped from outside lands in the list that got it, the suffix in any case.
        // Two files at once, or another suffix, are turned away.
        const fs::path folder = freshFolder("drop");
        const QString carolKey = qpath(folder / "CAROL.KVXK");
        fs::copy_file(keyFile("Carol").toStdString(), carolKey.toStdString());
        fs::copy_file(keyFile("Bob").toStdString(), folder / "bob.cer");
        // As a drag from outside the program delivers them: no source, the URLs.
        QMimeData two, wrongSuffix, one;
        two.setUrls({ QUrl::fromLocalFile(carolKey), QUrl::fromLocalFile(keyFile("Bob")) });
        wrongSuffix.setUrls({ QUrl::fromLocalFile(qpath(folder / "bob.cer")) });
        one.setUrls({ QUrl::fromLocalFile(carolKey) });
        QVERIFY(!sendDragEnter(*recipients, &two));
        QVERIFY(!sendDragEnter(*recipients, &wrongSuffix));
        QVERIFY(!sendDrop(*recipients, &wrongSuffix));
        QVERIFY(sendDragEnter(*recipients, &one));
        answerImportDialog(QStringLiteral("Carol"), QStringLiteral("Caroline"));
        QVERIFY(sendDrop(*recipients, &one));
        QCOMPARE(texts(*recipients), QStringList { "Carol" });
        QCOMPARE(texts(*contacts), QStringList { "Bob" });

        const std::vector<ContactRecord> onDisk = contactsOnDisk(profile);
        QCOMPARE(onDisk.size(), std::size_t(2));
        QCOMPARE(onDisk[0].firstName, std::u16string(u"Robert"));
        QCOMPARE(onDisk[1].firstName, std::u16string(u"Caroline"));
        QVERIFY(
            sameCertificate(onDisk[1].identity.certificate(), loadCertificateFile(keyFile("Carol").toStdU16String())));
    }

    void duplicatesAndBadFilesAddNothing()
    {
        // A name is one person's as a whole, in any case: Bob is not Bobby, while "BOBBY" is Bobby
        // again and turned away without a dialog. (The store's own tests go through the name rules.)
        auto import = [&](const char* name) {
            return ContactActionMan::importContactKey(keyFile(name), contacts, store.get());
        };
        QVERIFY(addContact(*store, "Bobby"));
        answerImportDialog(QStringLiteral("Bob"), QString());
        QVERIFY(import("Bob"));
        for (const char* again : { "BOBBY", "Bob" }) {
            answers::answer(QMessageBox::Ok);
            QVERIFY(!import(again));
            QCOMPARE(answers::shown().last().text, ExistsText);
            QCOMPARE(answers::shown().last().icon, QMessageBox::Warning);
        }
        QCOMPARE(texts(*contacts), QStringList { "Bob" });
        contacts->clear();

        // Cancelled details, a file that is no certificate, a missing file: nothing changes and
        // nothing but the dialog is shown.
        const qsizetype shownBefore = answers::shown().size();
        answerImportDialog(QStringLiteral("Carol"), QStringLiteral("x"), ContactDetailsDlg::Cancelled);
        QVERIFY(!import("Carol"));
        const fs::path folder = freshFolder("junk");
        writeText(folder / "junk.kvxk", "not a certificate");
        QVERIFY(!ContactActionMan::importContactKey(qpath(folder / "junk.kvxk"), contacts, store.get()));
        QVERIFY(!ContactActionMan::importContactKey(qpath(folder / "gone.kvxk"), contacts, store.get()));
        QCOMPARE(answers::shown().size(), shownBefore);
        QVERIFY(contacts->count() == 0);
        QCOMPARE(contactsOnDisk(profile).size(), std::size_t(2));
        QVERIFY(!findCertificate(u"Carol"));

        // A failed import still moves the chooser to the file's folder; a cancelled chooser doesn't.
        answers::answerPath(qpath(folder / "junk.kvxk"));
        contactAction("Add New Contact")->trigger();
        QCOMPARE(contactMan->lastImportFolder(), qpath(folder));
        answers::answerPath(QString());
        contactAction("Add New Contact")->trigger();
        QCOMPARE(contactMan->lastImportFolder(), qpath(folder));
    }

    // The chooser's name gets the key suffix unless it has it; the contact's certificate is what
    // the file holds.
    void exportWritesTheCertificateDerUnderTheKeySuffix()
    {
        for (const auto& [chosen, saved] :
            { std::pair { "/t/alice", "/t/alice.kvxk" }, { "/t/alice.txt", "/t/alice.txt.kvxk" },
                { "/t/alice.kvxk", "/t/alice.kvxk" }, { "/t/alice.KvXk", "/t/alice.KvXk" },
                { "/t/report.old.kvxk", "/t/report.old.kvxk.kvxk" }, { "", "" } }) {
            answers::answerPath(QString::fromLatin1(chosen));
            QCOMPARE(contactMan->chooseKeyFileToSave(QStringLiteral("alice")), QString::fromLatin1(saved));
        }

        const auto bob = addContact(*store, "Bob");
        QVERIFY(bob);
        selectOnly(*contacts, { addItem(*contacts, bob) });
        const fs::path folder = freshFolder("export");
        const QString chosen = qpath(folder / "bob");

        answers::answerPath(chosen);
        answers::answer(QStringLiteral("Details"));
        contactAction("Export Contact")->trigger();
        const QString written = chosen + ".kvxk";
        QCOMPARE(readBytes(written.toStdString()), readBytes(keyFile("Bob").toStdString()));
        // Answering "Details" (strict answers) also shows that the report offers it.
        QCOMPARE(answers::shown().last().text, QStringLiteral("Contact exported successfully."));
        QCOMPARE(shownInFolder, QStringList { QUrl::fromLocalFile(written).toString() });

        // OK alone shows no folder; an unwritable target shows nothing at all.
        answers::answerPath(chosen);
        answers::answer(QMessageBox::Ok);
        contactAction("Export Contact")->trigger();
        QCOMPARE(shownInFolder.size(), 1);
        const qsizetype shownBefore = answers::shown().size();
        answers::answerPath(qpath(folder / "missing" / "bob.kvxk"));
        contactAction("Export Contact")->trigger();
        QCOMPARE(answers::shown().size(), shownBefore);
    }

    void menusOfferWhatTheSelectionAllows()
    {
        QListWidgetItem* own = addItem(*contacts, named(u"Ann Owner"), true);
        QListWidgetItem* bob = addItem(*contacts, named(u"Bob"));
        QListWidgetItem* carol = addItem(*contacts, named(u"Carol"));

        struct Case {
            const char* what;
            QList<QListWidgetItem*> selected;
            QStringList menu;
        };
        const QList<Case> cases {
            { "nothing selected", {}, { "-", "Select All", "-", "Add New Contact", "-" } },
            { "one contact", { bob },
                { "Add to Recipients List", "-", "Select All", "Clear Selection", "-", "Add New Contact",
                    "Export Contact", "Remove Contact", "-", "Contact Details" } },
            { "own contact alone", { own },
                { "Add to Recipients List", "-", "Select All", "Clear Selection", "-", "Add New Contact",
                    "Export Contact", "-", "Contact Details" } },
            { "own and another", { own, bob },
                { "Add to Recipients List", "-", "Select All", "Clear Selection", "-", "Add New Contact",
                    "Remove Contact", "-" } },
            { "all", { own, bob, carol },
                { "Add to Recipients List", "-", "Clear Selection", "-", "Add New Contact", "Remove Contact", "-" } },
        };
        for (const Case& test : cases) {
            selectOnly(*contacts, test.selected);
            contactMan->updateActions();
            QVERIFY2(visibleMenu(contactMan->contextMenu()->actions()) == test.menu, test.what);
        }

        addItem(*recipients, named(u"Dave"))->setSelected(true);
        recipientMan->updateActions();
        QCOMPARE(visibleMenu(recipientMan->contextMenu()->actions()),
            QStringList({ "Remove", "-", "Clear Selection", "-", "Contact Details" }));

        // A manager that outlives its list must not delete the actions that went with the list
        // (the sanitizer run would report it).
        auto* shortLived = new KvxListWidget;
        auto manager = std::make_unique<RecipientActionMan>(shortLived, contacts);
        manager->updateActions();
        QCOMPARE(shortLived->actions().size(), 4);
        delete shortLived;
        manager.reset();
    }

    // A drag with the mouse takes what was selected when the button went down (or the item under
    // it, if nothing was) to the other list, and the sources leave their own; a drag that ends
    // on its own list or nowhere moves nothing.
    void mouseDragMovesTheSelectionToTheOtherList()
    {
        const auto bob = addContact(*store, "Bob", u"Robert");
        QListWidgetItem* bobItem = addItem(*contacts, bob);
        QListWidgetItem* own = addItem(*contacts, named(u"Ann Owner"), true);
        QListWidgetItem* carolItem = addItem(*contacts, named(u"Carol"));
        window->show();
        QListWidget* target = recipients;
        KvxListWidget::setDragRunnerForTesting([&](QDrag& drag) {
            Qt::DropAction action = Qt::IgnoreAction;
            if (!target || !sendDragEnter(*target, drag.mimeData()) || !sendDrop(*target, drag.mimeData(), &action))
                return Qt::IgnoreAction;
            return action;
        });
        auto dragWithMouse = [](QListWidget& list, QListWidgetItem* item) {
            const QPoint at = list.visualItemRect(item).center();
            QTest::mousePress(list.viewport(), Qt::LeftButton, {}, at);
            const QPoint to = at + QPoint(0, 2 * QApplication::startDragDistance());
            QMouseEvent move(
                QEvent::MouseMove, to, list.viewport()->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(list.viewport(), &move);
            QTest::mouseRelease(list.viewport(), Qt::LeftButton, {}, to);
        };

        selectOnly(*contacts, { bobItem, carolItem });
        dragWithMouse(*contacts, bobItem);
        QCOMPARE(texts(*contacts), QStringList { "Ann Owner" });
        QStringList arrived = texts(*recipients);
        arrived.sort();
        QCOMPARE(arrived, QStringList({ "Bob", "Carol" }));
        QListWidgetItem* bobThere = recipients->findItems(QStringLiteral("Bob"), Qt::MatchExactly).value(0);
        QCOMPARE(contactItemData(bobThere).contact.get(), bob.get());

        // Nothing selected: the item under the mouse goes alone, and stays what it was.
        contacts->clearSelection();
        dragWithMouse(*contacts, own);
        QCOMPARE(contacts->count(), 0);
        QCOMPARE(recipients->count(), 3);
        QVERIFY(contactItemData(recipients->findItems(QStringLiteral("Ann Owner"), Qt::MatchExactly).value(0)).isOwn);

        // Onto its own list, or let go where no list takes it: everything stays.
        target = recipients;
        selectOnly(*recipients, { bobThere });
        dragWithMouse(*recipients, bobThere);
        target = nullptr;
        dragWithMouse(*recipients, bobThere);
        QCOMPARE(recipients->count(), 3);
        QCOMPARE(contacts->count(), 0);
        KvxListWidget::setDragRunnerForTesting({});
    }

    void removingKeepsTheOwnContactAndKeysSeeTheSelectionOfTheirOwnList()
    {
        const auto own = addContact(*store, "Ann Owner");
        const auto ann = addContact(*store, "Ann Tester");
        const auto bob = addContact(*store, "Bob", u"Robert");
        QListWidgetItem* ownItem = addItem(*contacts, own, true);
        QListWidgetItem* annItem = addItem(*contacts, ann);
        const QString bobTip = addItem(*contacts, bob)->toolTip();

        selectOnly(*contacts, { ownItem, annItem });
        answers::answer(QMessageBox::No);
        contactAction("Remove Contact")->trigger();
        QCOMPARE(contacts->count(), 3);
        const Dialogs::Shown question = answers::shown().last();
        QCOMPARE(question.text, QStringLiteral("Are you sure you want to remove this contact?\n\"Ann Tester\""));
        QCOMPARE(question.icon, QMessageBox::Question);

        answers::answer(QMessageBox::Yes);
        contactAction("Remove Contact")->trigger();
        QCOMPARE(texts(*contacts), QStringList({ "Ann Owner", "Bob" }));
        QVERIFY(!findCertificate(u"Ann Tester"));
        QCOMPARE(contactsOnDisk(profile).size(), std::size_t(2));

        // The own contact alone can't be removed, not even by its shortcut's action.
        selectOnly(*contacts, { ownItem });
        QVERIFY(!contactAction("Remove Contact")->isEnabled());
        contactAction("Remove Contact")->trigger();
        QCOMPARE(contacts->count(), 2);

        showActive(*window);
        contacts->setFocus();
        QTest::keyClick(contacts, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(contacts->selectedItems().size(), 2);
        QTest::keyClick(contacts, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(contacts->count(), 0);
        QCOMPARE(texts(*recipients), QStringList({ "Ann Owner", "Bob" }));
        // A moved contact is the same person with the same details, not a new item of that name.
        QCOMPARE(contactItemData(recipients->item(1)).contact.get(), bob.get());
        QCOMPARE(recipients->item(1)->toolTip(), bobTip);

        // Delete in the recipients list takes a recipient back; it never removes a contact.
        recipients->setFocus();
        selectOnly(*recipients, { recipients->item(1) });
        QTest::keyClick(recipients, Qt::Key_Delete);
        QCOMPARE(texts(*recipients), QStringList { "Ann Owner" });
        QCOMPARE(texts(*contacts), QStringList { "Bob" });
        QCOMPARE(contactsOnDisk(profile).size(), std::size_t(2));

        // With nothing selected the rule takes Delete away before it fires.
        recipients->clearSelection();
        QTest::keyClick(recipients, Qt::Key_Delete);
        QCOMPARE(recipients->count(), 1);
    }

    void editingDetailsUpdatesStoreAndToolTipUnlessItFails()
    {
        const auto bob = addContact(*store, "Bob", u"Robert");
        const auto carol = addContact(*store, "Carol");
        addItem(*contacts, carol);
        QListWidgetItem* bobItem = addItem(*recipients, bob);
        selectOnly(*recipients, { bobItem });

        answers::answer([](QDialog& dialog) {
            dialog.show();
            if (dialog.windowTitle() != QStringLiteral("Contact details for Bob")
                || !dialog.findChild<QLineEdit*>("ContactNameLE")->isReadOnly() || okEnabled(dialog)
                || field(dialog, "FirstNameLE") != QStringLiteral("Robert"))
                return 0;
            QTest::keyClicks(dialog.findChild<QLineEdit*>("OrganizationLE"), QStringLiteral("<i>Acme</i>"));
            QTest::keyClicks(dialog.findChild<QTextEdit*>("CommentsTE"), QStringLiteral("met in 2020"));
            return okEnabled(dialog) ? 1 : 0;
        });
        action(*recipientMan, "Contact Details")->trigger();

        QCOMPARE(bobItem->toolTip(),
            QStringLiteral("<html><head/><body><b>First Name:</b>Robert<br><b>Last Name:</b><br>"
                           "<b>Organization:</b><i>Acme</i><br><b>Email:</b><br><b>Comments:</b>met in 2020"
                           "</body></html>"));
        const std::vector<ContactRecord> onDisk = contactsOnDisk(profile);
        QCOMPARE(onDisk[0].organization, std::u16string(u"<i>Acme</i>"));
        QCOMPARE(onDisk[0].comments, std::u16string(u"met in 2020"));

        // Cancel changes nothing; a store that can't be written shows the system's message and
        // changes nothing either, nor does an import then add an item.
        const QString tip = bobItem->toolTip();
        const auto edited = contactItemData(bobItem).contact;
        answerTyping("EMailLE", QStringLiteral("b@x"), ContactDetailsDlg::Cancelled);
        action(*recipientMan, "Contact Details")->trigger();
        platform::faults::failAfter(platform::faults::Kind::Rename, 0, win::ERROR_DISK_FULL, true);
        answerTyping("LastNameLE", QStringLiteral("Builder"), ContactDetailsDlg::Ok);
        answers::answer(QMessageBox::Ok);
        action(*recipientMan, "Contact Details")->trigger();
        const QString diskFull = QString::fromStdU16String(platform::errorText(win::ERROR_DISK_FULL));
        QCOMPARE(answers::shown().last().text, diskFull);
        QCOMPARE(answers::shown().last().icon, QMessageBox::Warning);
        QCOMPARE(contactItemData(bobItem).contact.get(), edited.get());
        QVERIFY(edited->lastName.empty() && edited->email.empty());
        QCOMPARE(bobItem->toolTip(), tip);

        answerImportDialog(QStringLiteral("Bobby"), QString());
        QVERIFY(!ContactActionMan::importContactKey(keyFile("Bobby"), contacts, store.get()));
        QCOMPARE(answers::shown().last().text, diskFull);
        QCOMPARE(contacts->count(), 1);
        platform::faults::reset();
        QCOMPARE(contactsOnDisk(profile).size(), std::size_t(2));
        QCOMPARE(contactsOnDisk(profile)[0].email, std::u16string());
    }
};

std::unique_ptr<QObject> makeContactListsTest() { return std::make_unique<ContactListsTest>(); }

#include "ContactListsTest.moc"
