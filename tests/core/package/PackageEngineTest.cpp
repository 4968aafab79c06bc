#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <thread>

#include "PackageBytes.h"
#include "Reports.h"
#include "TestSupport.h"
#include "crypto/CertificateStore.h"
#include "crypto/CryptoSession.h"
#include "crypto/IdentityCertificate.h"
#include "package/PackageEngine.h"
#include "package/StatusText.h"
#include "platform/ErrorText.h"
#include "platform/FaultInjection.h"
#include "platform/Profile.h"
#include "platform/Utf.h"

using namespace package_tests;
using namespace testing_support;
namespace fs = std::filesystem;

namespace {

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

mode_t modeOf(const fs::path& path)
{
    struct stat info { };
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

// Makes a file or folder that this process can't write to, even with root's rights (which pass
// over any mode): the immutable flag then stands in for read-only media. Undone on destruction.
class Unwritable {
public:
    explicit Unwritable(const fs::path& path)
        : path_(path)
    {
        if (::geteuid() != 0) {
            fs::permissions(path, fs::is_directory(path) ? fs::perms(0555) : fs::perms(0444));
            works_ = ::access(path.c_str(), W_OK) != 0;
            return;
        }
        works_ = setImmutable(true);
    }
    ~Unwritable()
    {
        if (::geteuid() == 0)
            setImmutable(false);
        else
            fs::permissions(path_, fs::is_directory(path_) ? fs::perms(0755) : fs::perms(0644));
    }
    bool works() const { return works_; }

private:
    bool setImmutable(bool on)
    {
        const int fd = ::open(path_.c_str(), O_RDONLY | O_NONBLOCK);
        if (fd < 0)
            return false;
        int flags = 0;
        bool done = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
        flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
        done = done && ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
        ::close(fd);
        return done;
    }
    fs::path path_;
    bool works_ = false;
};

// A stop at the first report of `operation`.
std::function<bool(const package_tests::Report&)> at(std::uint32_t operation)
{
    return [operation](const package_tests::Report& r) { return r.operation == operation; };
}

// Sets the umask for one scope.
struct UmaskScope {
    explicit UmaskScope(mode_t mask)
        : earlier(::umask(mask))
    {
    }
    ~UmaskScope() { ::umask(earlier); }
    mode_t earlier;
};

} // namespace

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
        for (const ContactRecord* person : { ann, bob, cid, dan })
            delete person;
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
        active = &session;
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
        engine->setCallback(recordingCallback);
        engine->setUserParameter(&session.record);
        return engine;
    }

    // Each run starts a fresh record of reports, and stops where `stopWhen` says.
    using StopWhen = std::function<bool(const Report&)>;
    EngineStatus create(const FileSet& files, const fs::path& package, std::vector<const ContactRecord*> recipients,
        StopWhen stopWhen = nullptr)
    {
        session = Recorder { {}, {}, std::move(stopWhen) };
        engine = engineFor(*ann);
        engine->setFiles(files);
        engine->setPackagePath(u16(package));
        engine->setRecipients(recipients);
        return engine->create();
    }

    EngineStatus extract(
        const ContactRecord& me, const fs::path& package, const fs::path& into, StopWhen stopWhen = nullptr)
    {
        session = Recorder { {}, {}, std::move(stopWhen) };
        fs::create_directories(into);
        engine = engineFor(me);
        engine->setPackagePath(u16(package));
        engine->setExtractFolder(u16(into));
        return engine->extract();
    }

    static inline fs::path* profile = nullptr;
    static inline ContactRecord *ann = nullptr, *bob = nullptr, *cid = nullptr, *dan = nullptr;
    fs::path folder;
    fs::path source;
    Recorder session;
    std::unique_ptr<PackageEngine> engine; // the last run's, for its failure()
};

TEST_F(PackageEngineTest, EntryNamesFollowTheNameMode)
{
    EXPECT_EQ(PackageEngine::entryNameFor(u"/home/ann/a.txt", NameModeFullPath), u"home\\ann\\a.txt");
    EXPECT_EQ(PackageEngine::entryNameFor(u"/home/ann/a.txt", NameModeBareName), u"a.txt");
    EXPECT_EQ(PackageEngine::entryNameFor(u"/home/ann/a.txt", 0), u"\\home\\ann\\a.txt");
    EXPECT_EQ(PackageEngine::entryNameFor(u"plain", NameModeFullPath), u"plain");
    EXPECT_EQ(PackageEngine::entryNameFor(u"//server/share/a", NameModeFullPath), u"\\server\\share\\a");

    std::vector<std::u16string> parts;
    EXPECT_TRUE(PackageEngine::splitEntryName(u"\\\\server\\share\\.\\a.txt", parts).ok());
    EXPECT_EQ(parts, (std::vector<std::u16string> { u"server", u"share", u"a.txt" }));
    for (const std::u16string bad : { u"..\\x", u"a\\..\\..\\x", u"C:\\x", u"c:x", u"a/../x", u"", u"\\", u".\\." })
        EXPECT_EQ(PackageEngine::splitEntryName(bad, parts).code(), win::ERROR_INVALID_NAME) << u8(bad);
    EXPECT_TRUE(PackageEngine::splitEntryName(u"notes 12:30.txt", parts).ok());
}

TEST_F(PackageEngineTest, EachRecipientOpensTheEncryptedPackageAndEveryOtherEndIsClear)
{
    // Read as a plain package, an envelope-and-data package would come out as those two files.
    ASSERT_TRUE(create(sourceFiles(), folder / "secret.kvx", { bob, cid }).ok());

    {
        // A package that can't be written (read-only media, where this system allows making one)
        // opens all the same.
        const Unwritable readOnly(folder / "secret.kvx");
        if (!readOnly.works())
            std::cerr << "the package can't be made read-only here; it is opened writable\n";
        for (const ContactRecord* reader : { bob, cid }) {
            const fs::path out = folder / ("out-" + u8(reader->name));
            ASSERT_TRUE(extract(*reader, folder / "secret.kvx", out).ok()) << u8(reader->name);
            EXPECT_EQ(treeContents(out / fs::relative(source, "/")), treeContents(source));
        }
    }

    const fs::path out = folder / "out-dan";
    const EngineStatus refused = extract(*dan, folder / "secret.kvx", out);
    EXPECT_EQ(refused.code(), win::ERROR_CANNOT_MAKE);
    ASSERT_EQ(session.count(OpError), 1);
    EXPECT_EQ(session.last(OpError)->code, win::CRYPT_E_RECIPIENT_NOT_FOUND);
    EXPECT_TRUE(fs::is_empty(out));

    Bytes tampered = readBytes(folder / "secret.kvx");
    tampered[tampered.size() / 2] ^= 1;
    writeBytes(folder / "tampered.kvx", tampered);
    EXPECT_EQ(extract(*bob, folder / "tampered.kvx", folder / "out-t").code(), win::ERROR_BAD_FORMAT);
    EXPECT_EQ(session.count(OpError), 1);

    // Stops in the decryption, and while the cipher text is still being copied out of the outer
    // package; a package that isn't there, or no package at all.
    EXPECT_EQ(extract(*bob, folder / "secret.kvx", folder / "o1", at(OpDecrypt)).code(), win::ERROR_CANNOT_MAKE);
    EXPECT_EQ(extract(*bob, folder / "secret.kvx", folder / "o2", at(OpExtractFile)).code(), win::ERROR_CANCELLED);
    EXPECT_EQ(extract(*bob, folder / "absent.kvx", folder / "o4").code(), win::ERROR_FILE_INVALID);
    EXPECT_EQ(engineFor(*bob)->extract().code(), win::ERROR_INVALID_PARAMETER);

    // An encrypted package without a key entry decrypts nothing: its entries come out as stored.
    writeBytes(
        folder / "nokey.kvx", craftedPackage({ { EntryTypeData, u"KVXdata", { 'x' } } }, ContainerTypeEncrypted));
    const EngineStatus noKey = extract(*bob, folder / "nokey.kvx", folder / "o5");
    ASSERT_TRUE(noKey.ok()) << noKey.code();
    EXPECT_EQ(readBytes(folder / "o5" / "KVXdata"), Bytes { 'x' });
}

TEST_F(PackageEngineTest, UnreadableSourcesAreSkippedOrStopTheRunAsTheCallbackSays)
{
    FileSet files = sourceFiles();
    files.insert(u16(source / "vanished.txt"));

    ASSERT_TRUE(create(files, folder / "skip.kvx", { bob }).ok());
    ASSERT_EQ(session.count(OpError), 1);
    const Report& skipped = *session.last(OpError);
    EXPECT_EQ(skipped.code, win::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(skipped.fileName, u16(source / "vanished.txt"));
    ASSERT_TRUE(extract(*bob, folder / "skip.kvx", folder / "out").ok());
    EXPECT_EQ(treeContents(folder / "out" / fs::relative(source, "/")), treeContents(source));

    EXPECT_EQ(create(files, folder / "stop.kvx", { bob }, at(OpError)).severity(), SeverityStopped);
    EXPECT_FALSE(fs::exists(folder / "stop.kvx"));

    // Every source skipped: nothing to package, and no package.
    EXPECT_TRUE(create({ u16(source / "gone1"), u16(source / "gone2") }, folder / "none.kvx", { bob }).ok());
    EXPECT_EQ(session.count(OpError), 2);
    EXPECT_FALSE(fs::exists(folder / "none.kvx"));

    // Without a callback the first unreadable file stops the run.
    PackageEngine quiet(*ann);
    quiet.setFiles({ u16(source / "gone") });
    quiet.setPackagePath(u16(folder / "quiet.kvx"));
    EXPECT_EQ(quiet.create().severity(), SeverityStopped);
    EXPECT_EQ(create({}, folder / "x.kvx", {}).code(), win::ERROR_INVALID_DATA);
    EXPECT_EQ(create(files, fs::path(), {}).code(), win::ERROR_INVALID_DATA);
}

TEST_F(PackageEngineTest, AStopOrFailureInAnyPhaseLeavesTheEarlierPackageAndNoTemporaries)
{
    const fs::path package = folder / "keep.kvx";
    writeText(package, "earlier package");
    // What stops, for whom the package is (nobody: a plain one), and the status that comes back.
    using Recipients = std::vector<const ContactRecord*>;
    const std::vector<std::tuple<const char*, StopWhen, Recipients, std::uint32_t, std::uint32_t>> cases {
        { "copy, plain", at(OpWriteFile), {}, 0, SeverityStopped },
        { "copy", at(OpWriteFile), { bob }, 0, SeverityStopped },
        { "hash, plain", at(OpHash), {}, win::NTE_BAD_HASH, SeverityError },
        { "hash", at(OpHash), { bob }, win::NTE_BAD_HASH, SeverityError },
        { "encrypt", at(OpEncrypt), { bob }, win::ERROR_CANNOT_MAKE, SeverityError },
        { "outer copy", [](const Report& r) { return r.operation == OpWriteFile && r.fileName.rfind(u"KVX", 0) == 0; },
            { bob }, 0, SeverityStopped },
    };
    for (const auto& [what, stopWhen, recipients, code, severity] : cases) {
        const EngineStatus status = create(sourceFiles(), package, recipients, stopWhen);
        EXPECT_EQ(std::pair(status.code(), status.severity()), std::pair(code, severity)) << what;
        EXPECT_EQ(readText(package), "earlier package") << what;
        EXPECT_TRUE(leftoverTempFiles().empty()) << what;
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 2) << what;
    }

    // A full disk at any write is the hardening test's; here a folder that isn't there, and a
    // package path that is a folder, which fails before any work.
    EXPECT_EQ(create(sourceFiles(), folder / "missing" / "p.kvx", { bob }).code(), win::ERROR_FILE_NOT_FOUND);
    fs::create_directories(folder / "taken.kvx");
    for (const auto& recipients : { std::vector<const ContactRecord*> {}, std::vector<const ContactRecord*> { bob } }) {
        EXPECT_EQ(create(sourceFiles(), folder / "taken.kvx", recipients).code(), win::ERROR_ACCESS_DENIED);
        EXPECT_TRUE(session.reports.empty()) << session.reports.size() << " reports before the failure";
        EXPECT_EQ(engine->failure().path, u16(folder / "taken.kvx"));
    }
    EXPECT_TRUE(fs::is_empty(folder / "taken.kvx"));

    // A run that succeeds replaces the earlier package.
    ASSERT_TRUE(create(sourceFiles(), package, { bob }).ok());
    EXPECT_GT(readBytes(package).size(), 15u);
}

TEST_F(PackageEngineTest, NothingIsEverWrittenOutsideTheChosenFolder)
{
    const fs::path outside = folder / "outside";
    fs::create_directories(outside);
    const fs::path out = folder / "out";
    fs::create_directories(out);

    // Which names are refused is the name rules' own test; here one refused name of each code
    // shows that a refusal reaches the run. Name, code, and where the entry lands.
    const std::vector<std::tuple<std::u16string, std::uint32_t, fs::path>> cases {
        { u"a/../../outside/x", win::ERROR_INVALID_NAME, {} },
        { u"\\etc\\x", 0, out / "etc" / "x" },
        { u"\\\\server\\share\\x", 0, out / "server" / "share" / "x" },
        { u"Users\\ann\\Documents\\a.txt", 0, out / "Users" / "ann" / "Documents" / "a.txt" },
        { u"a/b", 0, out / "a" / "b" },
    };
    for (const auto& [name, code, landsAt] : cases) {
        writeBytes(folder / "h.kvx",
            craftedPackage({ { EntryTypeData, u"first", { '1' } }, { EntryTypeData, name, { 'x' } } }));
        EXPECT_EQ(extract(*bob, folder / "h.kvx", out).code(), code) << u8(name).substr(0, 40);
        EXPECT_TRUE(landsAt.empty() || readBytes(landsAt) == Bytes { 'x' }) << landsAt;
    }
    EXPECT_TRUE(fs::is_empty(outside));

    // Links planted inside the folder, to a folder and to a file outside, are never followed.
    fs::create_directory_symlink(outside, out / "link");
    writeText(outside / "target", "keep");
    fs::create_symlink(outside / "target", out / "file");
    for (const auto& [name, shown, link] :
        { std::tuple { u"link\\x", u"link/x", out / "link" }, std::tuple { u"file", u"file", out / "file" } }) {
        writeBytes(folder / "h.kvx", craftedPackage({ { EntryTypeData, name, { 'x' } } }));
        const EngineStatus status = extract(*bob, folder / "h.kvx", out);
        EXPECT_EQ(statusText(status, engine->failure()),
            u"entry \"" + std::u16string(shown) + u"\": " + u16(link) + u": refusing to follow a symbolic link");
    }
    EXPECT_EQ(treeContents(outside), (std::map<std::string, Bytes> { { "target", { 'k', 'e', 'e', 'p' } } }));
    // Refused names behind a valid envelope are the next test's.
}

TEST_F(PackageEngineTest, ARefusedNameWritesNothingAndTheMessageNamesTheEntryAndWhy)
{
    const fs::path out = folder / "out";
    const std::u16string nothing = u"; nothing was extracted";
    const std::vector<std::tuple<std::u16string, std::uint32_t, std::u16string>> cases {
        { u"d", win::ERROR_INVALID_NAME,
            u"entry \"d\": a file of the same name is a folder of another entry (\"d/b.bin\")" },
        { u".\\x", win::ERROR_INVALID_NAME, u"entry \"./x\": an earlier entry has the same name (\"x\")" },
        { u"d/b.bin", win::ERROR_INVALID_NAME, u"entry \"d/b.bin\": an earlier entry has the same name" },
        { u"C:\\x", win::ERROR_INVALID_NAME, u"entry \"C:/x\": the name starts with a drive" },
        { u"d\\\x1b[2J\x9b\\..\\x", win::ERROR_INVALID_NAME, u"entry \"d/\\x1B[2J\\x9B/../x\": the name holds \"..\"" },
        { u"d\\" + std::u16string(256, u'n'), win::ERROR_FILENAME_EXCED_RANGE,
            u"entry \"d/" + std::u16string(118, u'n') + u"…" + std::u16string(120, u'n')
                + u"\": a part of the name is longer than 255 bytes" },
    };
    // Good entries come first, and behind an envelope they are already decrypted into files of
    // their own when the bad name is met.
    for (const bool encrypted : { false, true }) {
        for (const auto& [name, code, says] : cases) {
            const Bytes inner = craftedPackage({ { EntryTypeData, u"d\\b.bin", randomBytes(70000, 4) },
                { EntryTypeData, u"x", { 'x' } }, { EntryTypeData, name, { '!' } } });
            writeBytes(
                folder / "h.kvx", encrypted ? encryptedPackage(inner, bob->identity.certificate(), folder) : inner);
            fs::remove_all(out);
            const EngineStatus status = extract(*bob, folder / "h.kvx", out);
            EXPECT_EQ(status.code(), code) << u8(says);
            EXPECT_TRUE(fs::is_empty(out)) << u8(says);
            EXPECT_EQ(statusText(status, engine->failure()), u16(folder / "h.kvx") + u": " + says + nothing);
        }
    }
}

// Large enough that reading and writing go through the second thread in every layer, and that
// extraction decrypts on a second core while the package's digest is checked: what the caller
// sees must not depend on which of the two finished first.
TEST_F(PackageEngineTest, LargeFilesGiveTheSameResultsAndTrustNothingBeforeTheCheck)
{
    writeBytes(source / "large.bin", randomBytes(20u << 20, 21));
    ASSERT_TRUE(create(sourceFiles(), folder / "p.kvx", { bob }).ok());
    const Bytes package = readBytes(folder / "p.kvx");

    // Every phase in order, each report exactly where a run on one thread would make it.
    ASSERT_TRUE(extract(*bob, folder / "p.kvx", folder / "out").ok());
    EXPECT_EQ(treeContents(folder / "out" / fs::relative(source, "/")), treeContents(source));
    std::vector<std::uint32_t> phases;
    for (const Report& r : session.reports) {
        if (phases.empty() || phases.back() != r.operation)
            phases.push_back(r.operation);
    }
    EXPECT_EQ(phases, (std::vector<std::uint32_t> { OpHash, OpExtractFile, OpDecrypt, OpHash, OpExtractFile }));
    std::vector<std::int64_t> decrypted;
    std::int64_t copied = 0;
    for (const Report& r : session.reports) {
        if (r.operation == OpDecrypt)
            decrypted.push_back(r.processed);
        if (r.operation == OpExtractFile && r.total > (1 << 20) && r.fileName.rfind(u"KVX", 0) == 0) {
            EXPECT_EQ(r.processed, std::min<std::int64_t>(copied + 4096, r.total));
            copied = r.processed;
        }
    }
    // The data entry is the cipher text: all of the package but its headers and the envelope.
    EXPECT_GT(copied, std::int64_t(20) << 20);
    EXPECT_LT(static_cast<std::int64_t>(package.size()) - copied, 4096);
    ASSERT_GT(decrypted.size(), 2u);
    for (std::size_t i = 0; i + 1 < decrypted.size(); ++i)
        ASSERT_EQ(decrypted[i], static_cast<std::int64_t>(992 * (i + 1)) - 16) << i;
    EXPECT_EQ(CryptoSession::cipherLength(decrypted.back()), copied);

    for (const std::uint32_t phase : { OpWriteFile, OpHash, OpEncrypt }) {
        const auto past10MiB = [phase](const Report& r) { return r.operation == phase && r.processed > (10 << 20); };
        EXPECT_FALSE(create(sourceFiles(), folder / "stopped.kvx", { bob }, past10MiB).ok()) << phase;
        EXPECT_FALSE(fs::exists(folder / "stopped.kvx")) << phase;
        EXPECT_TRUE(leftoverTempFiles().empty()) << phase;
    }

    // A package whose digest is wrong is refused after its data has long been decrypted: the
    // check is held up at its first report until the second core is surely done.
    Bytes wrongDigest = package;
    wrongDigest[4] ^= 1;
    writeBytes(folder / "wrong.kvx", wrongDigest);
    const auto holdUp = [](const Report& r) {
        if (r.operation == OpHash && r.processed == 1024)
            std::this_thread::sleep_for(std::chrono::milliseconds(400));
        return false;
    };
    EXPECT_EQ(extract(*bob, folder / "wrong.kvx", folder / "refused", holdUp).code(), win::ERROR_BAD_FORMAT);
    EXPECT_EQ(session.count(OpError), 1);
    EXPECT_EQ(session.count(OpDecrypt), 0);
    EXPECT_EQ(session.count(OpExtractFile), 0);
    EXPECT_TRUE(fs::is_empty(folder / "refused"));
    EXPECT_TRUE(leftoverTempFiles().empty());

    // An inner package whose own digest is wrong: its entry went into a file of its own while it
    // was decrypted, and that file never reaches the folder.
    Bytes badInner = craftedPackage({ { EntryTypeData, u"x", randomBytes(90000, 7) } });
    badInner[4] ^= 1;
    writeBytes(folder / "badinner.kvx", encryptedPackage(badInner, bob->identity.certificate(), folder));
    EXPECT_EQ(extract(*bob, folder / "badinner.kvx", folder / "badinner").code(), win::ERROR_BAD_FORMAT);
    EXPECT_TRUE(fs::is_empty(folder / "badinner"));
    EXPECT_TRUE(leftoverTempFiles().empty());

    // Stops while both cores work answer as they did on one: in the check, in the data entry's
    // copy reports, in the decryption, and in the large file itself, of which nothing is left.
    const auto past4MiB = [](std::uint32_t phase, bool inLargeFile) {
        return [=](const Report& r) {
            return r.operation == phase && r.processed > (4 << 20)
                && (!inLargeFile || r.fileName.find(u"large.bin") != std::u16string::npos);
        };
    };
    const std::vector<std::tuple<std::function<bool(const Report&)>, std::uint32_t, bool>> stops {
        { past4MiB(OpHash, false), win::NTE_BAD_HASH, false },
        { past4MiB(OpExtractFile, false), win::ERROR_CANCELLED, false },
        { past4MiB(OpDecrypt, false), win::ERROR_CANNOT_MAKE, false },
        { past4MiB(OpExtractFile, true), win::ERROR_CANCELLED, true },
    };
    for (const auto& [stopWhen, code, inLargeFile] : stops) {
        const fs::path stopped = folder / ("stopped" + std::to_string(inLargeFile));
        EXPECT_EQ(extract(*bob, folder / "p.kvx", stopped, stopWhen).code(), code);
        EXPECT_TRUE(inLargeFile || fs::is_empty(stopped)) << code;
        EXPECT_FALSE(fs::exists(stopped / fs::relative(source / "large.bin", "/")));
        EXPECT_TRUE(leftoverTempFiles().empty()) << code;
        // Nothing but the failure's own error report reached the caller after the stop.
        auto last = session.reports.rbegin();
        while (last != session.reports.rend() && last->operation == OpError)
            ++last;
        ASSERT_NE(last, session.reports.rend());
        EXPECT_TRUE(stopWhen(*last)) << code;
        EXPECT_LT(last->processed, last->total) << code;
    }

    platform::faults::failAfter(platform::faults::Kind::Write, 30, win::ERROR_DISK_FULL, true);
    // Depending on where the disk fills, the package or its encryption (82, as a whole) fails.
    const EngineStatus full = create(sourceFiles(), folder / "full.kvx", { bob });
    platform::faults::reset();
    EXPECT_TRUE(full.code() == win::ERROR_DISK_FULL || full.code() == win::ERROR_CANNOT_MAKE) << full.code();
    EXPECT_FALSE(fs::exists(folder / "full.kvx"));
}

TEST_F(PackageEngineTest, ExtractionReplacesAFileOnlyWithTheWholeEntry)
{
    ASSERT_TRUE(create(sourceFiles(), folder / "p.kvx", {}).ok());
    const fs::path out = folder / "out";
    const fs::path landed = out / fs::relative(source, "/");
    ASSERT_TRUE(extract(*bob, folder / "p.kvx", out).ok());
    EXPECT_EQ(treeContents(landed), treeContents(source));
    EXPECT_EQ(session.count(OpError), 0);
    const auto whole = treeContents(out);
    const fs::path big = landed / "sub" / "deeper" / "c.bin";
    auto earlierFiles = [&] {
        writeText(big, "earlier c");
        writeText(landed / "a.txt", "earlier a");
        fs::remove(landed / "sub" / "b.bin");
    };
    auto expectEarlierFiles = [&](const char* what) {
        EXPECT_EQ(readText(big), "earlier c") << what;
        // Entries that were complete before the failure are in place; the one cut short is not.
        EXPECT_FALSE(fs::exists(landed / "sub" / "b.bin") && fs::file_size(landed / "sub" / "b.bin") != 4096 * 3 + 17)
            << what;
        for (const auto& entry : fs::recursive_directory_iterator(out))
            EXPECT_NE(entry.path().filename().string().rfind(".KVX", 0), 0u) << what << ": " << entry.path();
    };

    // A stop in the middle of the large entry: same reports, same status, earlier file intact.
    earlierFiles();
    const auto inBigEntry = [](const Report& r) {
        return r.operation == OpExtractFile && r.fileName.find(u"c.bin") != std::u16string::npos && r.processed > 8192;
    };
    EXPECT_EQ(extract(*bob, folder / "p.kvx", out, inBigEntry).code(), win::ERROR_CANCELLED);
    expectEarlierFiles("stop");

    // A full disk at each write of the run up to the large entry's.
    for (int at = 0; at < 3; ++at) {
        earlierFiles();
        platform::faults::failAfter(platform::faults::Kind::Write, at, win::ERROR_DISK_FULL, true);
        const EngineStatus status = extract(*bob, folder / "p.kvx", out);
        platform::faults::reset();
        EXPECT_EQ(status.code(), win::ERROR_DISK_FULL) << at;
        expectEarlierFiles("full disk");
    }

    // A file there with a hard link elsewhere is replaced, not written through, and keeps its
    // mode; so from an encrypted package, whose entries are decrypted into files of their own
    // and find their names taken only when they are published.
    ASSERT_TRUE(create(sourceFiles(), folder / "e.kvx", { bob }).ok());
    const fs::path outside = folder / "outside.txt";
    for (const char* package : { "p.kvx", "e.kvx" }) {
        writeText(outside, "not yours");
        fs::remove(landed / "a.txt");
        fs::create_hard_link(outside, landed / "a.txt");
        fs::permissions(big, fs::perms(0640));
        ASSERT_TRUE(extract(*bob, folder / package, out).ok()) << package;
        EXPECT_EQ(readText(outside), "not yours") << package;
        EXPECT_EQ(treeContents(out), whole) << package;
        EXPECT_EQ(modeOf(big), 0640u) << package;
    }

    // A package extracted into its own folder, with an entry of its own name, is still read
    // whole: the entries after that one come out too.
    const fs::path self = folder / "self";
    fs::create_directories(self);
    writeBytes(self / "p.kvx",
        craftedPackage(
            { { EntryTypeData, u"p.kvx", { 'n', 'e', 'w' } }, { EntryTypeData, u"after", randomBytes(50000, 3) } }));
    ASSERT_TRUE(extract(*bob, self / "p.kvx", self).ok());
    EXPECT_EQ(readBytes(self / "p.kvx"), (Bytes { 'n', 'e', 'w' }));
    EXPECT_EQ(readBytes(self / "after"), randomBytes(50000, 3));
}

TEST_F(PackageEngineTest, NewFilesHonourTheUmaskAndReplacedOnesKeepTheirMode)
{
    // The umask, the mode of the file replaced (none: 0), whether the package is encrypted, and
    // the mode the package and a file extracted from it then have. Content from a package must not
    // run with the rights of whoever owned what it replaced.
    const std::vector<std::tuple<mode_t, unsigned, bool, mode_t>> cases { { 077, 0, false, 0600 },
        { 002, 0, true, 0664 }, { 002, 0640, true, 0640 }, { 002, 0604, false, 0604 }, { 002, 04755, false, 0755 },
        { 002, 02755, true, 0755 } };
    const fs::path package = folder / "m.kvx";
    const fs::path extracted = folder / "o" / fs::relative(source / "a.txt", "/");
    for (const auto& [mask, earlier, encrypted, mode] : cases) {
        const UmaskScope scope(mask);
        for (const fs::path& file : { package, extracted }) {
            fs::remove(file);
            if (earlier) {
                fs::create_directories(file.parent_path());
                writeText(file, "earlier");
                fs::permissions(file, fs::perms(earlier));
            }
        }
        using Recipients = std::vector<const ContactRecord*>;
        ASSERT_TRUE(create(sourceFiles(), package, encrypted ? Recipients { bob } : Recipients {}).ok());
        ASSERT_TRUE(extract(*bob, package, folder / "o").ok());
        EXPECT_EQ(std::pair(modeOf(package), modeOf(extracted)), std::pair(mode, mode)) << std::oct << earlier;
    }

    // While it is being made, nothing of the package shows beside its path.
    const auto before = treeContents(folder);
    std::vector<std::string> seen;
    const auto look = [&](const Report&) {
        for (const auto& entry : fs::directory_iterator(folder))
            if (!before.count(entry.path().filename().string()) && !fs::is_directory(entry.path()))
                seen.push_back(entry.path().filename().string());
        return false;
    };
    ASSERT_TRUE(create(sourceFiles(), folder / "n.kvx", { bob }, look).ok());
    EXPECT_TRUE(seen.empty()) << seen.front();
}

TEST_F(PackageEngineTest, OnlyRegularFilesAreReadAndAFifoNeverBlocks)
{
    const fs::path fifo = source / "pipe";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    FileSet files = sourceFiles();
    files.insert(u16(fifo));
    files.insert(u"/dev/zero");

    // Before the fix the open of the FIFO waited for a writer for ever; the watchdog plays the
    // writer after a while, so that the test fails instead of hanging.
    std::atomic<bool> finished { false };
    std::atomic<bool> blocked { false };
    std::thread watchdog([&] {
        for (int i = 0; i < 100 && !finished; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (!finished) {
            blocked = true;
            const int fd = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK);
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            ::close(fd);
        }
    });
    const EngineStatus status = create(files, folder / "f.kvx", { bob });
    finished = true;
    watchdog.join();
    EXPECT_FALSE(blocked);
    ASSERT_TRUE(status.ok()) << status.code();
    std::map<std::u16string, std::uint32_t> refused;
    for (const Report& r : session.reports)
        if (r.operation == OpError)
            refused[r.fileName] = r.code;
    EXPECT_EQ(refused,
        (std::map<std::u16string, std::uint32_t> {
            { u16(fifo), win::ERROR_CANT_ACCESS_FILE }, { u"/dev/zero", win::ERROR_CANT_ACCESS_FILE } }));
}

TEST_F(PackageEngineTest, EveryFailureNamesWhatItConcernsInWordsAUserCanActOn)
{
    const std::u16string invalid = platform::fromUtf8(platform::InvalidPackageText);
    auto textOf = [&](const fs::path& package, const fs::path& into, StopWhen stopWhen = nullptr) {
        const EngineStatus status = extract(*bob, package, into, stopWhen);
        EXPECT_FALSE(status.ok()) << package;
        return std::make_pair(status.code(), statusText(status, engine->failure(), stopWhen != nullptr));
    };

    // A file shorter than a header (38) and a package whose index holds nothing readable (2) keep
    // their codes and read as not a package, named.
    writeBytes(folder / "short.kvx", { 'k', 'v', 'x' });
    EXPECT_EQ(textOf(folder / "short.kvx", folder / "o"),
        std::make_pair(win::ERROR_HANDLE_EOF, u16(folder / "short.kvx") + u": " + invalid));
    Bytes noIndex = craftedPackage(1, entryHeader(EntryTypeData, 0, 5));
    writeBytes(folder / "noindex.kvx", noIndex);
    EXPECT_EQ(textOf(folder / "noindex.kvx", folder / "o"),
        std::make_pair(win::ERROR_FILE_NOT_FOUND, u16(folder / "noindex.kvx") + u": " + invalid));

    // A stop while the package is checked reads as a stop only.
    ASSERT_TRUE(create(sourceFiles(), folder / "p.kvx", { bob }).ok());
    EXPECT_EQ(textOf(folder / "p.kvx", folder / "o", at(OpHash)),
        std::make_pair(win::NTE_BAD_HASH, platform::errorText(win::ERROR_CANCELLED)));

    // A folder where an entry's file goes is left alone, in words (a link in the way is named
    // where links are refused).
    const fs::path out = folder / "links";
    fs::create_directories(out / "x" / "dir");
    writeBytes(folder / "d.kvx", craftedPackage({ { EntryTypeData, u"x\\dir", { '1' } } }));
    EXPECT_EQ(textOf(folder / "d.kvx", out).second,
        u"entry \"x/dir\": " + u16(out / "x" / "dir") + u": a folder of that name is there already");

    // A folder that can't be written, by its path, after the entry that was to go there, as a
    // denied access.
    const fs::path locked = folder / "locked";
    fs::create_directories(locked);
    {
        const Unwritable readOnly(locked);
        if (readOnly.works()) {
            const auto [code, text] = textOf(folder / "p.kvx", locked);
            EXPECT_NE(code, 0u);
            const std::u16string entry = u"entry \"" + u16(fs::relative(source, "/").begin()->string()) + u"/";
            EXPECT_EQ(text.rfind(entry, 0), 0u) << u8(text);
            EXPECT_NE(text.find(u"\": " + u16(locked)), std::u16string::npos) << u8(text);
            EXPECT_NE(text.find(platform::errorText(win::ERROR_ACCESS_DENIED)), std::u16string::npos) << u8(text);
        }
    }

    // A source that shrinks while it is packed.
    writeBytes(source / "shrinking.bin", randomBytes(6u << 20, 5));
    const auto shrink = [&](const Report& r) {
        if (r.operation == OpWriteFile && r.fileName.find(u"shrinking") != std::u16string::npos)
            fs::resize_file(source / "shrinking.bin", 100);
        return false;
    };
    const EngineStatus shrank = create({ u16(source / "shrinking.bin") }, folder / "s.kvx", {}, shrink);
    EXPECT_EQ(shrank.code(), win::ERROR_HANDLE_EOF);
    EXPECT_EQ(statusText(shrank, engine->failure()),
        u16(source / "shrinking.bin") + u": the file got shorter while it was being read");
    EXPECT_FALSE(fs::exists(folder / "s.kvx"));

    // A source that can't be read at all, when the run stops for it.
    EXPECT_EQ(create({ u16(source / "missing.txt") }, folder / "m.kvx", {}, at(OpError)).severity(), SeverityStopped);
    EXPECT_EQ(engine->failure().path, u16(source / "missing.txt"));
}
