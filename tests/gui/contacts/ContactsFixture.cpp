#include "ContactsFixture.h"

#include <QAction>
#include <QFile>
#include <QListWidget>

#include "QtTestSupport.h"
#include "TestSupport.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "platform/Profile.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace contacts_test {

namespace {
    const fs::path& keyFolder()
    {
        static const fs::path folder = [] {
            const fs::path made = freshFolder("keys");
            // The key pairs land in a profile of their own, which no test looks at.
            platform::setProfileDirectory(u16(made / "maker"));
            closeCertificateStore();
            for (const char* name : { "Ann Owner", "Bob", "Bobby", "BOBBY", "Carol", "Ann Tester" }) {
                auto identity = IdentityCertificate::create(u16(std::string(name)));
                if (identity)
                    saveCertificateFile(identity->certificate(), u16(made / (std::string(name) + ".kvxk")));
            }
            closeCertificateStore();
            return made;
        }();
        return folder;
    }
} // namespace

QString keyFile(const std::string& name) { return qpath(keyFolder() / (name + ".kvxk")); }

bool freshProfile(RecipientsStore& store, fs::path& profile)
{
    keyFolder();
    profile = freshFolder("profile");
    platform::setProfileDirectory(u16(profile));
    closeCertificateStore();
    writeText(profile / "RecipientsList.xml", "");
    std::vector<ContactRecord> none;
    return store.load(none, u16(profile / "RecipientsList.xml")).ok() && none.empty();
}

std::shared_ptr<ContactRecord> addContact(
    RecipientsStore& store, const std::string& name, const std::u16string& firstName)
{
    const CertificatePtr certificate = loadCertificateFile(keyFile(name).toStdU16String());
    if (!certificate)
        return nullptr;
    auto record = std::make_shared<ContactRecord>();
    record->name = u16(name);
    record->identity = IdentityCertificate(certificate, record->name);
    record->firstName = firstName;
    if (!store.add(*record).ok())
        return nullptr;
    return record;
}

std::vector<ContactRecord> contactsOnDisk(const fs::path& profile)
{
    RecipientsStore second;
    std::vector<ContactRecord> contacts;
    second.load(contacts, u16(profile / "RecipientsList.xml"));
    return contacts;
}

QStringList texts(const QListWidget& list)
{
    QStringList result;
    for (int row = 0; row < list.count(); ++row)
        result << list.item(row)->text();
    return result;
}

QStringList visibleMenu(const QList<QAction*>& actions)
{
    QStringList result;
    for (const QAction* action : actions) {
        if (action->isSeparator())
            result << QStringLiteral("-");
        else if (action->isVisible())
            result << action->text();
    }
    return result;
}

} // namespace contacts_test
