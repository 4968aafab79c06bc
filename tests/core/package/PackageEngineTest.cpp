#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <map>

#include "PackageBytes.h"
#include "TestSupport.h"
#include "crypto/CertificateStore.h"
#include "crypto/CryptoSession.h"
#include "crypto/IdentityCertificate.h"
#include "package/PackageEngine.h"
#include "platform/FaultInjection.h"
#include "platform/FaultInjection.h"
#include "platform/Profile.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

struct Report {
    std::uint32_t operation;
    std::int64_t total;
    std::int64_t processed;
    std::u16string fileName;
    std::uint32_t code;
};

// The engine's callback as a test sees it: every report recorded, answers chosen per report.
struct Session {
    KvxUtils::UserParameter record;
    std::vector<Report> reports;
    std::function<int(const Report&)> answer = [](const Report&) { return 1; };

    int count(std::uint32_t operation) const
    {
        return static_cast<int>(std::count_if(reports.begin(), reports.end(),
                                              [&](const Report& r) { return r.operation == operation; }));
    }
};
Session* current = nullptr;

int sessionCallback(std::uint32_t operation, std::int64_t total, std::int64_t processed,
                    KvxUtils::UserParameter* parameter)
{
    Report report {operation, total, processed, {}, 0};
    if (parameter->fileName)
        report.fileName = parameter->fileName;
    if (operation == OpError)
        report.code = parameter->status.code();
    current->reports.push_back(report);
    return current->answer(report);
}

ContactRecord makeContact(const std::u16string& name)
{
    ContactRecord record;
    auto identity = IdentityCertificate::create(name);
    EXPECT_TRUE(identity);
    if (identity) {
        EXPECT_TRUE(identity->addToStore().ok());
        record.identity = *identity;
    }
    record.name = name;
    return record;
}

std::map<std::string, Bytes> treeContents(const fs::path& root)
{
    std::map<std::string, Bytes> contents;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_regular_file())
            contents[fs::relative(entry.path(), root).string()] = readBytes(entry.path());
    }
    return contents;
}

}  // namespace

class PackageEngineTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        profile = new fs::path(freshFolder("profile"));
        platform::setProfileDirectory(u16(*profile));
        closeCertificateStore();
        ann = new ContactRecord(makeContact(u"Ann Owner"));
        bob = new ContactRecord(makeContact(u"Bob Recipient"));
        cid = new ContactRecord(makeContact(u"Cid Recipient"));
        dan = new ContactRecord(makeContact(u"Dan Outsider"));
    }
    static void TearDownTestSuite()
    {
        delete ann;
        delete bob;
        delete cid;
        delete dan;
        delete profile;
        closeCertificateStore();
    }

    void SetUp() override
    {
        folder = freshFolder("engine");
        source = folder / "source";
        fs::create_directories(source / "sub" / "deeper");
        writeText(source / "a.txt", "abc");
        writeBytes(source / "sub" / "b.bin", randomBytes(4096 * 3 + 17, 11));
        writeText(source / "sub" / "deeper" / "empty", "");
        writeBytes(source / "sub" / "deeper" / "c.bin", randomBytes(70000, 12));
        session = Session {};
        current = &session;
    }
    void TearDown() override
    {
        platform::faults::reset();
        EXPECT_TRUE(leftoverTempFiles().empty()) << "temporary files left in TMPDIR";
    }

    FileSet sourceFiles() const
    {
        FileSet files;
        for (const auto& entry : fs::recursive_directory_iterator(source))
            if (entry.is_regular_file())
                files.insert(u16(entry.path()));
        return files;
    }

    // An engine as the owner `me` has it, wired to this test's session.
    std::unique_ptr<PackageEngine> engineFor(const ContactRecord& me)
    {
        auto engine = std::make_unique<PackageEngine>(me);
        engine->setNameMode(NameModeFullPath);
        engine->setCallback(sessionCallback);
        engine->setUserParameter(&session.record);
        return engine;
    }

    EngineStatus create(const FileSet& files, const fs::path& package, std::vector<const ContactRecord*> recipients)
    {
        auto engine = engineFor(*ann);
        engine->setFiles(files);
        engine->setPackagePath(u16(package));
        engine->setRecipients(recipients);
        return engine->create();
    }

    EngineStatus extract(const ContactRecord& me, const fs::path& package, const fs::path& into)
    {
        fs::create_directories(into);
        auto engine = engineFor(me);
        engine->setPackagePath(u16(package));
        engine->setExtractFolder(u16(into));
        return engine->extract();
    }

    static fs::path* profile;
    static ContactRecord* ann;
    static ContactRecord* bob;
    static ContactRecord* cid;
    static ContactRecord* dan;
    fs::path folder;
    fs::path source;
    Session session;
};

fs::path* PackageEngineTest::profile = nullptr;
ContactRecord* PackageEngineTest::ann = nullptr;
ContactRecord* PackageEngineTest::bob = nullptr;
ContactRecord* PackageEngineTest::cid = nullptr;
ContactRecord* PackageEngineTest::dan = nullptr;

TEST_F(PackageEngineTest, EntryNamesFollowTheNameMode)
{
    EXPECT_EQ(PackageEngine::entryNameFor(u"/home/ann/a.txt", NameModeFullPath), u"home\\ann\\a.txt");
    EXPECT_EQ(PackageEngine::entryNameFor(u"/home/ann/a.txt", NameModeBareName), u"a.txt");
    EXPECT_EQ(PackageEngine::entryNameFor(u"/home/ann/a.txt", 0), u"\\home\\ann\\a.txt");
    EXPECT_EQ(PackageEngine::entryNameFor(u"plain", NameModeFullPath), u"plain");
    EXPECT_EQ(PackageEngine::entryNameFor(u"//server/share/a", NameModeFullPath), u"\\server\\share\\a");

    std::vector<std::u16string> parts;
    EXPECT_TRUE(PackageEngine::splitEntryName(u"\\\\server\\share\\.\\a.txt", parts).ok());
    EXPECT_EQ(parts, (std::vector<std::u16string> {u"server", u"share", u"a.txt"}));
    for (const std::u16string bad : {u"..\\x", u"a\\..\\..\\x", u"C:\\x", u"c:x", u"a/../x", u"", u"\\", u".\\."})
        EXPECT_EQ(PackageEngine::splitEntryName(bad, parts).code(), win::ERROR_INVALID_NAME) << u8(bad);
    EXPECT_TRUE(PackageEngine::splitEntryName(u"notes 12:30.txt", parts).ok());

    std::u16string path = u"/out";
    EXPECT_TRUE(PackageEngine::appendEntryDirectory(path, u"a\\b\\c.txt").ok());
    EXPECT_EQ(path, u"/out/a/b");
    EXPECT_EQ(PackageEngine::appendEntryDirectory(path, u"c.txt").code(), win::ERROR_INVALID_DATA);
    EXPECT_EQ(PackageEngine::makeDirectories(u"", u"x").code(), win::ERROR_INVALID_PARAMETER);
}

TEST_F(PackageEngineTest, PlainPackageOfOneFileIsTheWorkedExample)
{
    auto engine = engineFor(*ann);
    engine->setNameMode(NameModeBareName);
    engine->setFiles({u16(source / "a.txt")});
    engine->setPackagePath(u16(folder / "one.kvx"));
    ASSERT_TRUE(engine->create().ok());
    const Bytes expected = craftedPackage({{EntryTypeData, u"a.txt", {'a', 'b', 'c'}}});
    EXPECT_EQ(readBytes(folder / "one.kvx"), expected);
    EXPECT_EQ(expected.size(), 67u);
}

TEST_F(PackageEngineTest, PlainPackageRecreatesTheFoldersBelowTheTarget)
{
    ASSERT_TRUE(create(sourceFiles(), folder / "plain.kvx", {}).ok());
    const fs::path out = folder / "out";
    ASSERT_TRUE(extract(*dan, folder / "plain.kvx", out).ok());
    // Full paths lose their leading separator and land below the chosen folder.
    const fs::path landed = out / fs::relative(source, "/");
    EXPECT_EQ(treeContents(landed), treeContents(source));
    EXPECT_EQ(session.count(OpError), 0);
    struct stat info {};
    ASSERT_EQ(stat((landed / "a.txt").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0077, 0044u & ~0022u & 0077u);
}

TEST_F(PackageEngineTest, EachRecipientOpensTheEncryptedPackageAndAnOutsiderIsToldSo)
{
    ASSERT_TRUE(create(sourceFiles(), folder / "secret.kvx", {bob, cid}).ok());
    EXPECT_GT(session.count(OpEncrypt), 0);
    // The outer package is the two-entry envelope-and-data form.
    const Bytes bytes = readBytes(folder / "secret.kvx");
    EXPECT_EQ(getU32(bytes.data() + 20), ContainerTypeEncrypted);
    EXPECT_EQ(getU32(bytes.data() + 28), 2u);

    for (const ContactRecord* reader : {bob, cid}) {
        session = Session {};
        const fs::path out = folder / ("out-" + u8(reader->name));
        ASSERT_TRUE(extract(*reader, folder / "secret.kvx", out).ok()) << u8(reader->name);
        EXPECT_EQ(treeContents(out / fs::relative(source, "/")), treeContents(source));
        EXPECT_GT(session.count(OpDecrypt), 0);
    }

    session = Session {};
    const fs::path out = folder / "out-dan";
    const EngineStatus refused = extract(*dan, folder / "secret.kvx", out);
    EXPECT_EQ(refused.code(), win::ERROR_CANNOT_MAKE);
    ASSERT_EQ(session.count(OpError), 1);
    EXPECT_EQ(std::find_if(session.reports.begin(), session.reports.end(),
                           [](const Report& r) { return r.operation == OpError; })
                  ->code,
              win::CRYPT_E_RECIPIENT_NOT_FOUND);
    EXPECT_TRUE(fs::is_empty(out));

    Bytes tampered = bytes;
    tampered[tampered.size() / 2] ^= 1;
    writeBytes(folder / "tampered.kvx", tampered);
    session = Session {};
    EXPECT_EQ(extract(*bob, folder / "tampered.kvx", folder / "out-t").code(), win::ERROR_BAD_FORMAT);
    EXPECT_EQ(session.count(OpError), 1);
}

TEST_F(PackageEngineTest, UnreadableSourcesAreSkippedOrStopTheRunAsTheCallbackSays)
{
    FileSet files = sourceFiles();
    files.insert(u16(source / "vanished.txt"));

    ASSERT_TRUE(create(files, folder / "skip.kvx", {bob}).ok());
    ASSERT_EQ(session.count(OpError), 1);
    const Report& skipped = *std::find_if(session.reports.begin(), session.reports.end(),
                                          [](const Report& r) { return r.operation == OpError; });
    EXPECT_EQ(skipped.code, win::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(skipped.fileName, u16(source / "vanished.txt"));
    ASSERT_TRUE(extract(*bob, folder / "skip.kvx", folder / "out").ok());
    EXPECT_EQ(treeContents(folder / "out" / fs::relative(source, "/")), treeContents(source));

    session = Session {};
    session.answer = [](const Report& r) { return r.operation == OpError ? 0 : 1; };
    const EngineStatus stopped = create(files, folder / "stop.kvx", {bob});
    EXPECT_EQ(stopped.severity(), SeverityStopped);
    EXPECT_FALSE(fs::exists(folder / "stop.kvx"));

    // Every source skipped: nothing to package, and no package.
    session = Session {};
    EXPECT_TRUE(create({u16(source / "gone1"), u16(source / "gone2")}, folder / "none.kvx", {bob}).ok());
    EXPECT_EQ(session.count(OpError), 2);
    EXPECT_FALSE(fs::exists(folder / "none.kvx"));

    // Without a callback the first unreadable file stops the run.
    PackageEngine quiet(*ann);
    quiet.setFiles({u16(source / "gone")});
    quiet.setPackagePath(u16(folder / "quiet.kvx"));
    EXPECT_EQ(quiet.create().severity(), SeverityStopped);
    EXPECT_EQ(create({}, folder / "x.kvx", {}).code(), win::ERROR_INVALID_DATA);
    EXPECT_EQ(create(files, fs::path(), {}).code(), win::ERROR_INVALID_DATA);
}

TEST_F(PackageEngineTest, AStopOrFailureInAnyPhaseLeavesTheEarlierPackageAndNoTemporaries)
{
    const fs::path package = folder / "keep.kvx";
    writeText(package, "earlier package");
    struct Case {
        const char* what;
        std::function<int(const Report&)> answer;
        bool encrypted;
        std::uint32_t code;
        std::uint32_t severity;
    };
    const std::vector<Case> cases {
        {"copy, plain", [](const Report& r) { return r.operation == OpWriteFile ? 0 : 1; }, false, 0, SeverityStopped},
        {"copy", [](const Report& r) { return r.operation == OpWriteFile ? 0 : 1; }, true, 0, SeverityStopped},
        {"hash, plain", [](const Report& r) { return r.operation == OpHash ? 0 : 1; }, false, win::NTE_BAD_HASH, SeverityError},
        {"hash", [](const Report& r) { return r.operation == OpHash ? 0 : 1; }, true, win::NTE_BAD_HASH, SeverityError},
        {"encrypt", [](const Report& r) { return r.operation == OpEncrypt ? 0 : 1; }, true, win::ERROR_CANNOT_MAKE, SeverityError},
        {"outer copy", [](const Report& r) { return r.operation == OpWriteFile && r.fileName.rfind(u"KVX", 0) == 0 ? 0 : 1; },
         true, 0, SeverityStopped},
    };
    for (const Case& c : cases) {
        session = Session {};
        session.answer = c.answer;
        const EngineStatus status = create(sourceFiles(), package, c.encrypted ? std::vector<const ContactRecord*> {bob}
                                                                               : std::vector<const ContactRecord*> {});
        EXPECT_EQ(status.code(), c.code) << c.what;
        EXPECT_EQ(status.severity(), c.severity) << c.what;
        EXPECT_EQ(readBytes(package), Bytes({'e', 'a', 'r', 'l', 'i', 'e', 'r', ' ', 'p', 'a', 'c', 'k', 'a', 'g', 'e'}))
            << c.what;
        EXPECT_TRUE(leftoverTempFiles().empty()) << c.what;
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 2) << c.what;
    }

    // A full disk while the outer package is written, and a folder that isn't there.
    session = Session {};
    platform::faults::failAfter(platform::faults::Kind::Write, 3, win::ERROR_DISK_FULL, true);
    EXPECT_EQ(create(sourceFiles(), package, {bob}).code(), win::ERROR_DISK_FULL);
    platform::faults::reset();
    EXPECT_EQ(readBytes(package).size(), 15u);
    EXPECT_EQ(create(sourceFiles(), folder / "missing" / "p.kvx", {bob}).code(), win::ERROR_FILE_NOT_FOUND);

    // A run that succeeds replaces the earlier package.
    session = Session {};
    ASSERT_TRUE(create(sourceFiles(), package, {bob}).ok());
    EXPECT_GT(readBytes(package).size(), 15u);
}

TEST_F(PackageEngineTest, ExtractionStopsAndFailuresReportClearly)
{
    ASSERT_TRUE(create(sourceFiles(), folder / "p.kvx", {bob}).ok());

    session = Session {};
    session.answer = [](const Report& r) { return r.operation == OpDecrypt ? 0 : 1; };
    EXPECT_EQ(extract(*bob, folder / "p.kvx", folder / "o1").code(), win::ERROR_CANNOT_MAKE);

    session = Session {};
    session.answer = [](const Report& r) { return r.operation == OpExtractFile ? 0 : 1; };
    EXPECT_EQ(extract(*bob, folder / "p.kvx", folder / "o2").code(), win::ERROR_CANCELLED);

    session = Session {};
    session.answer = [](const Report& r) { return r.operation == OpHash ? 0 : 1; };
    EXPECT_EQ(extract(*bob, folder / "p.kvx", folder / "o3").code(), win::NTE_BAD_HASH);

    session = Session {};
    EXPECT_EQ(extract(*bob, folder / "absent.kvx", folder / "o4").code(), win::ERROR_FILE_INVALID);
    auto engine = engineFor(*bob);
    EXPECT_EQ(engine->extract().code(), win::ERROR_INVALID_PARAMETER);

    // An encrypted package without a key entry decrypts nothing: its entries come out as stored.
    writeBytes(folder / "nokey.kvx", craftedPackage({{EntryTypeData, u"KVXdata", {'x'}}}, ContainerTypeEncrypted));
    const EngineStatus noKey = extract(*bob, folder / "nokey.kvx", folder / "o5");
    ASSERT_TRUE(noKey.ok()) << noKey.code();
    EXPECT_EQ(readBytes(folder / "o5" / "KVXdata"), Bytes {'x'});

    // A plain package whose entries are all fine but one target can't be written.
    writeBytes(folder / "dir.kvx", craftedPackage({{EntryTypeData, u"a\\b", {'1'}}, {EntryTypeData, u"a", {'2'}}}));
    EXPECT_EQ(extract(*bob, folder / "dir.kvx", folder / "o6").code(), win::ERROR_ACCESS_DENIED);
    EXPECT_EQ(readBytes(folder / "o6" / "a" / "b"), Bytes {'1'});
}

TEST_F(PackageEngineTest, NothingIsEverWrittenOutsideTheChosenFolder)
{
    const fs::path outside = folder / "outside";
    fs::create_directories(outside);
    const fs::path out = folder / "out";
    fs::create_directories(out);

    struct Case {
        std::u16string name;
        std::uint32_t code;
        fs::path landsAt;
    };
    const std::vector<Case> cases {
        {u"..\\outside\\x", win::ERROR_INVALID_NAME, {}},
        {u"a\\..\\..\\outside\\x", win::ERROR_INVALID_NAME, {}},
        {u"a/../../outside/x", win::ERROR_INVALID_NAME, {}},
        {u"C:\\x", win::ERROR_INVALID_NAME, {}},
        {u"", win::ERROR_INVALID_NAME, {}},
        {std::u16string(32768, u'n'), win::ERROR_FILENAME_EXCED_RANGE, {}},
        {u"\\etc\\x", 0, out / "etc" / "x"},
        {u"\\\\server\\share\\x", 0, out / "server" / "share" / "x"},
        {u"Users\\ann\\Documents\\a.txt", 0, out / "Users" / "ann" / "Documents" / "a.txt"},
        {u"a/b", 0, out / "a" / "b"},
    };
    for (const Case& c : cases) {
        writeBytes(folder / "h.kvx", craftedPackage({{EntryTypeData, u"first", {'1'}}, {EntryTypeData, c.name, {'x'}}}));
        session = Session {};
        const EngineStatus status = extract(*bob, folder / "h.kvx", out);
        EXPECT_EQ(status.code(), c.code) << u8(c.name).substr(0, 40);
        if (!c.landsAt.empty()) {
            EXPECT_EQ(readBytes(c.landsAt), Bytes {'x'});
        }
    }
    EXPECT_TRUE(fs::is_empty(outside));

    // Links planted inside the folder, to a folder and to a file outside, are never followed.
    fs::create_directory_symlink(outside, out / "link");
    writeText(outside / "target", "keep");
    fs::create_symlink(outside / "target", out / "file");
    for (const std::u16string name : {u"link\\x", u"file"}) {
        writeBytes(folder / "h.kvx", craftedPackage({{EntryTypeData, name, {'x'}}}));
        EXPECT_FALSE(extract(*bob, folder / "h.kvx", out).ok()) << u8(name);
    }
    EXPECT_EQ(treeContents(outside), (std::map<std::string, Bytes> {{"target", {'k', 'e', 'e', 'p'}}}));

    // A hostile inner package behind a valid envelope gets the same treatment.
    writeBytes(folder / "inner.plain", craftedPackage({{EntryTypeData, u"..\\..\\escape", {'x'}}}));
    CryptoSession crypto;
    ASSERT_TRUE(crypto.encryptFile(u16(folder / "inner.plain"), u16(folder / "inner.data"), u16(folder / "inner.key"),
                                   {bob->identity.certificate()}));
    writeBytes(folder / "wrapped.kvx", craftedPackage({{EntryTypeKey, u"k", readBytes(folder / "inner.key")},
                                                       {EntryTypeData, u"d", readBytes(folder / "inner.data")}},
                                                      ContainerTypeEncrypted));
    session = Session {};
    EXPECT_EQ(extract(*bob, folder / "wrapped.kvx", out).code(), win::ERROR_INVALID_NAME);
    EXPECT_FALSE(fs::exists(folder / "escape"));
    EXPECT_FALSE(fs::exists(folder.parent_path() / "escape"));
}

TEST_F(PackageEngineTest, LargeFilesGiveTheSameResultsAndStopTheSameWay)
{
    // Large enough that reading and writing go through the second thread in every layer.
    writeBytes(source / "large.bin", randomBytes(20u << 20, 21));
    ASSERT_TRUE(create(sourceFiles(), folder / "large.kvx", {bob}).ok());
    ASSERT_TRUE(extract(*bob, folder / "large.kvx", folder / "out").ok());
    EXPECT_EQ(treeContents(folder / "out" / fs::relative(source, "/")), treeContents(source));

    for (const std::uint32_t phase : {OpWriteFile, OpHash, OpEncrypt}) {
        session = Session {};
        session.answer = [phase](const Report& r) { return r.operation == phase && r.processed > (10 << 20) ? 0 : 1; };
        EXPECT_FALSE(create(sourceFiles(), folder / "stopped.kvx", {bob}).ok()) << phase;
        EXPECT_FALSE(fs::exists(folder / "stopped.kvx")) << phase;
        EXPECT_TRUE(leftoverTempFiles().empty()) << phase;
    }
    for (const std::uint32_t phase : {OpHash, OpDecrypt, OpExtractFile}) {
        session = Session {};
        // Extraction's stop is made in the large file itself, not while the cipher text is
        // copied out of the outer package.
        session.answer = [phase](const Report& r) {
            const bool inLargeFile = phase != OpExtractFile || r.fileName.find(u"large.bin") != std::u16string::npos;
            return r.operation == phase && r.processed > (10 << 20) && inLargeFile ? 0 : 1;
        };
        fs::remove_all(folder / "out");
        EXPECT_FALSE(extract(*bob, folder / "large.kvx", folder / "out").ok()) << phase;
        EXPECT_TRUE(leftoverTempFiles().empty()) << phase;
    }
    // The stopped extraction keeps exactly the blocks it reported for the large file.
    const fs::path partial = folder / "out" / fs::relative(source / "large.bin", "/");
    const auto last = std::find_if(session.reports.rbegin(), session.reports.rend(),
                                   [](const Report& r) { return r.operation == OpExtractFile; });
    ASSERT_NE(last, session.reports.rend());
    EXPECT_EQ(static_cast<std::int64_t>(fs::file_size(partial)), last->processed);

    session = Session {};
    platform::faults::failAfter(platform::faults::Kind::Write, 30, win::ERROR_DISK_FULL, true);
    // Depending on where the disk fills, the package or its encryption (82, as a whole) fails.
    const EngineStatus full = create(sourceFiles(), folder / "full.kvx", {bob});
    platform::faults::reset();
    EXPECT_TRUE(full.code() == win::ERROR_DISK_FULL || full.code() == win::ERROR_CANNOT_MAKE) << full.code();
    EXPECT_FALSE(fs::exists(folder / "full.kvx"));
}
