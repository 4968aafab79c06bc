// The contacts store joined with a real certificate store in a fresh profile per test: the join
// rules, the order of work between the two halves, and what each failure leaves behind.

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "platform/FaultInjection.h"
#include "platform/Profile.h"
#include "platform/StatusCodes.h"
#include "support/TestSupport.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

class RecipientsStoreTest : public ::testing::Test {
protected:
    // Real RSA identities are slow to make, so the suite makes three and every test files them
    // into its own empty certificate store.
    static void SetUpTestSuite()
    {
        platform::setProfileDirectory(u16(freshFolder("identities")));
        closeCertificateStore();
        for (const char16_t* name : { u"Ann Lee", u"Bo", u"Zo\u00EB & Co \U0001D11E" })
            identities.push_back(IdentityCertificate::create(name));
    }
    static void TearDownTestSuite() { identities.clear(); }

    void SetUp() override
    {
        for (const auto& identity : identities)
            ASSERT_TRUE(identity && identity->certificate());
        profile = freshFolder("profile");
        platform::setProfileDirectory(u16(profile));
        closeCertificateStore();
        file = profile / "RecipientsList.xml";
    }
    void TearDown() override
    {
        platform::faults::reset();
        closeCertificateStore();
        platform::setProfileDirectory(u"");
    }

    static ContactRecord contact(std::size_t which)
    {
        ContactRecord record;
        record.identity = *identities.at(which);
        record.name = record.identity.displayName();
        record.firstName = u"First " + record.name;
        record.lastName = u"Last";
        record.organization = u"Org";
        record.comments = u"Note";
        record.email = u"x@example.org";
        return record;
    }

    // The contacts as a second store reads them from the file now, the certificate store
    // opened afresh unless told otherwise.
    std::vector<ContactRecord> onDisk(bool reopen = true)
    {
        if (reopen)
            closeCertificateStore();
        RecipientsStore reader;
        std::vector<ContactRecord> read;
        EXPECT_TRUE(reader.load(read, u16(file)).ok());
        return read;
    }
    static std::vector<std::u16string> details(const ContactRecord& record)
    {
        EXPECT_EQ(record.identity.displayName(), record.name);
        return { record.name, record.firstName, record.lastName, record.organization, record.comments, record.email };
    }
    std::vector<std::u16string> namesOnDisk()
    {
        std::vector<std::u16string> names;
        for (const ContactRecord& record : onDisk())
            names.push_back(record.name);
        return names;
    }

    static std::size_t storedCertificates()
    {
        std::vector<CertificatePtr> list;
        EXPECT_TRUE(listCertificates(list).ok());
        return list.size();
    }

    static inline std::vector<std::unique_ptr<IdentityCertificate>> identities;
    fs::path profile;
    fs::path file;
    // The store under test and what its last load gave.
    RecipientsStore store;
    std::vector<ContactRecord> contacts;
};

} // namespace

TEST_F(RecipientsStoreTest, AddUpdateRemoveKeepFileAndCertificateStoreInStep)
{
    writeText(file, "");
    ASSERT_TRUE(store.load(contacts, u16(file)).ok());
    EXPECT_TRUE(contacts.empty());

    ContactRecord zoe = contact(2);
    zoe.firstName = u"<b>Zo\u00EB</b>";
    zoe.lastName = u"O'Neil \"the\" \U0001F600";
    zoe.organization = u"A&B <Ltd>";
    zoe.comments = u"two\nlines\tand &amp; as typed";
    zoe.email = u"zoe+tag@example.org";
    ASSERT_TRUE(store.add(zoe).ok());
    ASSERT_TRUE(store.add(contact(0)).ok());
    const std::string text = readText(file);
    EXPECT_EQ(text.rfind("<?xml version=\"1.0\"?>\n<Recipients>\n\t<Recipient Name=\"Zo\xC3\xAB &amp; Co ", 0), 0u);
    const auto first = text.find("<FirstName>&lt;b&gt;"), last = text.find("<LastName>"),
               organization = text.find("<Organization>A&amp;B &lt;Ltd&gt;</Organization>"),
               comments = text.find("<Comments>"), email = text.find("<EMail>");
    EXPECT_TRUE(first < last && last < organization && organization < comments && comments < email
        && email != std::string::npos);

    // A second store sees both contacts, in the certificate store's order, every field intact.
    contacts = onDisk(false);
    ASSERT_EQ(contacts.size(), 2u);
    EXPECT_TRUE(sameCertificate(contacts[0].identity.certificate(), zoe.identity.certificate()));
    EXPECT_EQ(details(contacts[0]), details(zoe));
    EXPECT_EQ(details(contacts[1]), details(contact(0)));

    // Update rewrites the details only, and leaves out an element that isn't there.
    writeText(file,
        "<Recipients><Recipient Name=\"Ann Lee\"><FirstName>a</FirstName><EMail>old</EMail>"
        "</Recipient><Recipient Name=\"Zo\xC3\xAB &amp; Co \xF0\x9D\x84\x9E\"/></Recipients>");
    ContactRecord ann = contact(0);
    ann.firstName = u"Annie";
    ann.lastName = u"Ignored";
    ann.email = u"new@example.org";
    ASSERT_TRUE(store.update(ann).ok());
    EXPECT_EQ(details(onDisk(false).at(1)),
        (std::vector<std::u16string> { u"Ann Lee", u"Annie", u"", u"", u"", u"new@example.org" }));

    ASSERT_TRUE(store.remove(ann).ok());
    EXPECT_EQ(storedCertificates(), 1u);
    EXPECT_EQ(readText(file).find("Ann Lee"), std::string::npos);
    EXPECT_EQ(namesOnDisk(), std::vector { zoe.name });
}

TEST_F(RecipientsStoreTest, JoinsByExactDisplayNameInStoreOrder)
{
    ASSERT_TRUE(identities[1]->addToStore().ok());
    ASSERT_TRUE(identities[0]->addToStore().ok());
    const std::string withStranger = "<Recipients>"
                                     "<Recipient Name=\"Gone\"><FirstName>g</FirstName></Recipient>"
                                     "<Recipient Name=\"Ann Lee\"><Comments>c</Comments></Recipient>"
                                     "<Recipient Name=\"Bo\"/>"
                                     "</Recipients>";
    writeText(file, withStranger);
    ASSERT_TRUE(store.load(contacts, u16(file)).ok());
    ASSERT_EQ(contacts.size(), 2u);
    EXPECT_EQ(contacts[0].name, u"Bo");
    EXPECT_EQ(contacts[1].name, u"Ann Lee");
    EXPECT_EQ(contacts[1].comments, u"c");
    EXPECT_TRUE(contacts[1].firstName.empty());
    // The element without a certificate stays in the file, and survives the next save.
    EXPECT_EQ(readText(file), withStranger);
    ASSERT_TRUE(store.update(contacts[1]).ok());
    EXPECT_NE(readText(file).find("<Recipient Name=\"Gone\">"), std::string::npos);

    // A certificate without its element fails the whole load; names match case and all.
    for (const char* content : { "<Recipients><Recipient Name=\"Bo\"/></Recipients>",
             "<Recipients><Recipient Name=\"Bo\"/><Recipient Name=\"ann lee\"/></Recipients>",
             "<Recipients><Recipient Name=\"Bo\"/>" }) {
        writeText(file, content);
        contacts.assign(1, ContactRecord {});
        const EngineStatus status = store.load(contacts, u16(file));
        EXPECT_EQ(status.code(), win::ERROR_INVALID_DATA) << content;
        EXPECT_EQ(status.severity(), SeverityError);
        EXPECT_TRUE(contacts.empty());
        EXPECT_EQ(readText(file), content);
    }
    EXPECT_EQ(store.load(contacts, u"").code(), win::ERROR_INVALID_NAME);
}

TEST_F(RecipientsStoreTest, FailedChangesLeaveTheProfileAsItWas)
{
    // A broken file with an empty certificate store loads, but no change touches either half.
    const std::string broken = "<Recipients><Recipient Name=\"Bo\">";
    writeText(file, broken);
    EngineStatus status = store.load(contacts, u16(file));
    EXPECT_TRUE(status.ok());
    EXPECT_NE(status.code(), 0u);
    EXPECT_EQ(store.add(contact(1)).code(), win::ERROR_INVALID_FIELD);
    EXPECT_EQ(store.update(contact(1)).code(), win::ERROR_INVALID_FIELD);
    EXPECT_EQ(storedCertificates(), 0u);
    EXPECT_EQ(readText(file), broken);

    writeText(file, "");
    ASSERT_TRUE(store.load(contacts, u16(file)).ok());
    ContactRecord noCertificate = contact(0);
    noCertificate.identity = IdentityCertificate();
    EXPECT_EQ(store.add(noCertificate).code(), win::ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(readText(file).empty());

    // The contacts file can't be written after the certificate went in: the certificate is taken
    // out again, and the file and the store still agree. (Each atomic write ends in one rename:
    // the certificate's file, the store's index, then the contacts file.)
    ASSERT_TRUE(store.add(contact(1)).ok());
    const std::string withBo = readText(file);
    using platform::faults::Kind;
    platform::faults::failAfter(Kind::Rename, 2, win::ERROR_DISK_FULL);
    status = store.add(contact(0));
    platform::faults::reset();
    EXPECT_EQ(status.severity(), SeverityError);
    EXPECT_EQ(readText(file), withBo);
    EXPECT_EQ(storedCertificates(), 1u);
    EXPECT_EQ(namesOnDisk(), std::vector<std::u16string> { u"Bo" });
    // An update that can't write the file fails and keeps the old one (no certificate moves).
    ContactRecord bo = contact(1);
    bo.comments = u"changed";
    platform::faults::failAfter(Kind::Write, 0, win::ERROR_DISK_FULL);
    EXPECT_EQ(store.update(bo).severity(), SeverityError);
    platform::faults::reset();
    EXPECT_EQ(readText(file), withBo);

    // The same for a removal: the certificate comes back, at its place in the store's order.
    ASSERT_TRUE(store.add(contact(2)).ok());
    ASSERT_TRUE(store.add(contact(0)).ok());
    const std::vector<std::u16string> allThree = namesOnDisk();
    ASSERT_EQ(allThree.size(), 3u);
    const std::string text = readText(file);
    platform::faults::failAfter(Kind::Rename, 1, win::ERROR_DISK_FULL);
    EXPECT_EQ(store.remove(onDisk(false).at(1)).severity(), SeverityError);
    platform::faults::reset();
    EXPECT_EQ(readText(file), text);
    EXPECT_EQ(namesOnDisk(), allThree);

    // Removing takes exactly the record's certificate, never another one of that name: a record
    // named "Bo" whose certificate isn't stored removes nothing and keeps Bo's element. An
    // element that is missing still costs the certificate.
    writeText(file, "<Recipients><Recipient Name=\"Bo\"/></Recipients>");
    closeCertificateStore();
    ASSERT_TRUE(store.load(contacts, u16(file)).code() == win::ERROR_INVALID_DATA);
    ASSERT_TRUE(deleteCertificate(contact(0).identity.certificate()));
    ContactRecord stranger = contact(0);
    stranger.identity.setDisplayName(u"Bo");
    stranger.name = u"Bo";
    EXPECT_EQ(store.remove(stranger).code(), win::ERROR_CANNOT_MAKE);
    EXPECT_EQ(storedCertificates(), 2u);
    EXPECT_NE(readText(file).find("Bo"), std::string::npos);
    status = store.remove(contact(2));
    EXPECT_EQ(status.code(), win::ERROR_NOT_FOUND);
    EXPECT_EQ(status.severity(), SeverityError);
    EXPECT_EQ(storedCertificates(), 1u);
}

TEST_F(RecipientsStoreTest, ChangeStartsFromWhatAnotherWriterLeft)
{
    // Two stores loaded at the same moment stand for two programs on one profile: each change
    // starts from the files as they are, not from what the store read at its load.
    writeText(file, "");
    RecipientsStore window, tool;
    ASSERT_TRUE(window.load(contacts, u16(file)).ok());
    ASSERT_TRUE(tool.load(contacts, u16(file)).ok());
    ASSERT_TRUE(tool.add(contact(0)).ok());
    ASSERT_TRUE(window.add(contact(1)).ok());
    ContactRecord ann = contact(0);
    ann.comments = u"edited";
    ASSERT_TRUE(window.update(ann).ok());
    contacts = onDisk();
    ASSERT_EQ(contacts.size(), 2u);
    EXPECT_EQ(details(contacts[0]), details(ann));
    EXPECT_EQ(contacts[1].name, u"Bo");
}

TEST_F(RecipientsStoreTest, RepairFilesCertificatesThatLostTheirElement)
{
    ASSERT_TRUE(identities[1]->addToStore().ok());
    ASSERT_TRUE(identities[0]->addToStore().ok());
    writeText(file, "<Recipients><Recipient Name=\"Bo\"><EMail>bo@example.org</EMail></Recipient></Recipients>");
    EXPECT_EQ(store.load(contacts, u16(file)).code(), win::ERROR_INVALID_DATA);
    EXPECT_EQ(store.unmatchedCertificates(), std::vector<std::u16string> { u"Ann Lee" });

    std::vector<std::u16string> refiled;
    ASSERT_TRUE(store.repair(refiled).ok());
    EXPECT_EQ(refiled, std::vector<std::u16string> { u"Ann Lee" });
    ASSERT_TRUE(store.load(contacts, u16(file)).ok());
    EXPECT_TRUE(store.unmatchedCertificates().empty());
    ASSERT_EQ(contacts.size(), 2u);
    EXPECT_EQ(contacts[0].email, u"bo@example.org");
    EXPECT_EQ(contacts[1].name, u"Ann Lee");
    ASSERT_TRUE(store.repair(refiled).ok());
    EXPECT_TRUE(refiled.empty());

    // A contact whose certificate went missing is filed anew by an import, not twice.
    ASSERT_TRUE(deleteCertificate(identities[0]->certificate()));
    ASSERT_TRUE(store.add(contact(0)).ok());
    const std::string text = readText(file);
    EXPECT_EQ(text.find("Name=\"Ann Lee\""), text.rfind("Name=\"Ann Lee\""));
}
