#pragma once
// What the contact tests share: key files of a few people made once per run, and a fresh profile
// per test with an empty contacts file, its store and a real certificate store.

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <filesystem>
#include <memory>
#include <string>

#include "contacts/ContactRecord.h"
#include "contacts/RecipientsStore.h"

class QAction;
class QListWidget;
class QListWidgetItem;

namespace contacts_test {

// DER key files of people who are in no store yet, made once. Names: "Ann Owner", "Bob",
// "Bobby", "Carol".
QString keyFile(const std::string& name);

// A new profile folder with an empty RecipientsList.xml, a closed certificate store and `store`
// loaded from that file. False if any step failed.
bool freshProfile(RecipientsStore& store, std::filesystem::path& profile);

// Files the contact's certificate and details in the store, as an import does.
std::shared_ptr<ContactRecord> addContact(
    RecipientsStore& store, const std::string& name, const std::u16string& firstName = u"");

// The contacts the file on disk holds now, read by a second store.
std::vector<ContactRecord> contactsOnDisk(const std::filesystem::path& profile);

// Texts of the items, top to bottom.
QStringList texts(const QListWidget& list);
// Captions of the visible actions of a menu, with "-" for a separator.
QStringList visibleMenu(const QList<QAction*>& actions);

} // namespace contacts_test

std::unique_ptr<QObject> makeDetailsDialogTest();
std::unique_ptr<QObject> makeContactListsTest();
std::unique_ptr<QObject> makeSearchBoxTest();
