// What a hostile package, a full disk, a killed process or a stop at any moment can do: nothing
// worse than a clear status, and nothing lost.

#include <gtest/gtest.h>
#include <malloc.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <new>
#include <random>
#include <thread>

#include "PackageBytes.h"
#include "TestSupport.h"
#include "contacts/ConfigStore.h"
#include "contacts/RecipientsStore.h"
#include "core/package/Reports.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "engine/AppConstants.h"
#include "package/ContainerFile.h"
#include "package/PackageEngine.h"
#include "platform/FaultInjection.h"
#include "platform/Profile.h"
#include "platform/TempFile.h"

using namespace testing_support;
namespace fs = std::filesystem;

// Peak bytes held through operator new, so a test can see what a hostile length made us allocate.
namespace {
std::atomic<long long> liveBytes { 0 };
std::atomic<long long> peakBytes { 0 };
} // namespace

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
void* operator new(std::size_t size)
{
    void* pointer = std::malloc(size ? size : 1);
    if (!pointer)
        throw std::bad_alloc();
    const long long now = liveBytes += static_cast<long long>(malloc_usable_size(pointer));
    long long peak = peakBytes.load();
    while (now > peak && !peakBytes.compare_exchange_weak(peak, now)) { }
    return pointer;
}
void operator delete(void* pointer) noexcept
{
    if (pointer)
        liveBytes -= static_cast<long long>(malloc_usable_size(pointer));
    std::free(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept { operator delete(pointer); }
constexpr bool CountingAllocations = true;
#else
constexpr bool CountingAllocations = false;
#endif

namespace {

int rounds(int normal)
{
    const char* value = std::getenv("HALVOREN_STRESS_ROUNDS");
    return value ? std::max(normal, std::atoi(value)) : normal;
}

// The kill loops are slow by nature: a few rounds on every run, more in the long form.
int killRounds() { return std::getenv("HALVOREN_STRESS_ROUNDS") ? 20 : 3; }

int goOn(std::uint32_t, std::int64_t, std::int64_t, KvxUtils::UserParameter*) { return 1; }

// Runs `work` over and over in a child process and kills it after `delay`; 1 if the kill ended
// it, 0 if it had ended before.
int killedWhileWorking(const std::function<void()>& work, std::chrono::microseconds delay)
{
    const pid_t child = fork();
    if (child == 0) {
        for (;;)
            work();
    }
    std::this_thread::sleep_for(delay);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 1 : 0;
}

} // namespace

class HardeningTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        profile = new fs::path(freshFolder("profile"));
        platform::setProfileDirectory(u16(*profile));
        closeCertificateStore();
        std::ofstream(*profile / "KvxCfg.xml");
        std::ofstream(*profile / "RecipientsList.xml");
        me = new ContactRecord;
        me->name = u"Hard Case";
        auto identity = IdentityCertificate::create(me->name);
        ASSERT_TRUE(identity);
        me->identity = *identity;
        RecipientsStore store;
        std::vector<ContactRecord> none;
        ASSERT_TRUE(store.load(none, recipientsPath()).ok());
        ASSERT_TRUE(store.add(*me).ok());
        openCertificateStore(me->name);
    }
    static void TearDownTestSuite()
    {
        delete me;
        delete profile;
        closeCertificateStore();
    }
    void TearDown() override { platform::faults::reset(); }

    // The owner's package of `files`, for the owner; or, given a folder `into`, that package read
    // into it.
    EngineStatus run(
        const FileSet& files, const fs::path& package, const fs::path& into = {}, EngineCallback callback = goOn)
    {
        PackageEngine engine(*me);
        KvxUtils::UserParameter record;
        engine.setNameMode(NameModeFullPath);
        engine.setPackagePath(u16(package));
        engine.setCallback(callback);
        engine.setUserParameter(&record);
        if (into.empty()) {
            engine.setFiles(files);
            engine.setRecipients({ me });
            return engine.create();
        }
        fs::create_directories(into);
        engine.setExtractFolder(u16(into));
        return engine.extract();
    }
    FileSet someFiles(const fs::path& folder)
    {
        fs::create_directories(folder / "in" / "sub");
        writeBytes(folder / "in" / "a.bin", randomBytes(40000, 1));
        writeBytes(folder / "in" / "sub" / "b.bin", randomBytes(9000, 2));
        writeText(folder / "in" / "sub" / "c.txt", "c");
        return { u16(folder / "in" / "a.bin"), u16(folder / "in" / "sub" / "b.bin"),
            u16(folder / "in" / "sub" / "c.txt") };
    }

    static inline fs::path* profile = nullptr;
    static inline ContactRecord* me = nullptr;
};

TEST_F(HardeningTest, HostilePackagesAreRefusedWithoutBigAllocations)
{
    const fs::path folder = freshFolder("hostile");
    const fs::path out = folder / "out";
    // A walk of the entries that fails is "no index" to the engine: code 2.
    const std::vector<std::tuple<const char*, Bytes, std::uint32_t>> cases {
        { "name length of 4 GiB", craftedPackage(1, entryHeader(EntryTypeData, 0xFFFFFFFE, 0)),
            win::ERROR_FILE_NOT_FOUND },
        { "entry count of 2^32-1", craftedPackage(0xFFFFFFFF, entryHeader(EntryTypeData, 0, 0)),
            win::ERROR_FILE_NOT_FOUND },
        { "data size of 2^63", craftedPackage(1, entryHeader(EntryTypeData, 0, std::uint64_t(1) << 63)),
            win::ERROR_FILE_NOT_FOUND },
        { "name with a NUL before a parent step",
            craftedPackage({ { EntryTypeData, std::u16string(u"ok\0..\\..\\x", 10), { 'x' } } }), 0 },
        { "encrypted package without an envelope that decodes",
            craftedPackage({ { EntryTypeKey, u"k", randomBytes(300, 3) }, { EntryTypeData, u"d", randomBytes(64, 4) } },
                ContainerTypeEncrypted),
            win::ERROR_CANNOT_MAKE },
        // A real envelope for us, in front of cipher text that isn't a whole number of blocks.
        { "cipher text not a multiple of 16", encryptedPackage({ 'x' }, me->identity.certificate(), folder, { 0 }),
            win::ERROR_CANNOT_MAKE },
    };
    for (const auto& [what, bytes, code] : cases) {
        writeBytes(folder / "h.kvx", bytes);
        peakBytes = liveBytes.load();
        const long long before = liveBytes.load();
        EXPECT_EQ(run({}, folder / "h.kvx", out).code(), code) << what;
        EXPECT_TRUE(!CountingAllocations || peakBytes.load() - before < (8ll << 20)) << what;
        EXPECT_TRUE(leftoverTempFiles().empty()) << what;
    }
    // What the NUL case left: the name up to the NUL, inside the folder, and nothing else.
    EXPECT_EQ(treeContents(out), (std::map<std::string, Bytes> { { "ok", { 'x' } } }));
}

TEST_F(HardeningTest, AFullDiskAtAnyWriteLeavesNoPackageAndNoTemporaries)
{
    const fs::path folder = freshFolder("full");
    const FileSet files = someFiles(folder);
    const fs::path package = folder / "p.kvx";
    writeText(package, "earlier");
    // A full disk at every write a whole run needs: the package's own write reports it, one in
    // the middle of the encryption fails it as a whole; the count of runs that failed.
    auto failuresOf = [&](bool creating) {
        int failures = 0;
        for (int at = 0; at < 40; ++at, ++failures) {
            fs::remove_all(folder / "out");
            platform::faults::failAfter(platform::faults::Kind::Write, at, win::ERROR_DISK_FULL, true);
            const EngineStatus status = run(files, package, creating ? fs::path() : folder / "out");
            platform::faults::reset();
            if (status.ok())
                break;
            EXPECT_TRUE(status.code() == win::ERROR_DISK_FULL || status.code() == win::ERROR_CANNOT_MAKE)
                << "at write " << at << ": " << status.code();
            EXPECT_TRUE(leftoverTempFiles().empty()) << "at write " << at;
            if (creating) {
                EXPECT_EQ(readText(package), "earlier") << "at write " << at;
                EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 2) << at;
            }
        }
        return failures;
    };
    EXPECT_GE(failuresOf(true), 5);
    ASSERT_TRUE(run(files, package).ok());
    EXPECT_GE(failuresOf(false), 3);
}

TEST_F(HardeningTest, AStopAtAnyReportLeavesNoPackageAndNoTemporaries)
{
    const fs::path folder = freshFolder("cancel");
    const FileSet files = someFiles(folder);
    const fs::path package = folder / "p.kvx";
    std::mt19937 random(42);
    package_tests::Recorder recorder;
    package_tests::active = &recorder;
    for (const bool creating : { true, false }) {
        auto recorded = [&] {
            fs::remove_all(folder / "out");
            recorder.reports.clear();
            return run(files, package, creating ? fs::path() : folder / "out", package_tests::recordingCallback);
        };
        recorder.stopWhen = nullptr;
        ASSERT_TRUE(recorded().ok());
        const int reports = static_cast<int>(recorder.reports.size()) - recorder.count(OpError);
        ASSERT_GT(reports, 20);
        if (creating)
            fs::remove(package);
        for (int i = 0, n = rounds(100); i < n; ++i) {
            // Reports of failures don't count: a stop is an answer to progress.
            int left = static_cast<int>(random() % static_cast<unsigned>(reports));
            const int at = left;
            recorder.stopWhen
                = [&left](const package_tests::Report& r) { return r.operation != OpError && left-- == 0; };
            EXPECT_FALSE(recorded().ok()) << "stop at report " << at;
            EXPECT_TRUE(!creating || !fs::exists(package)) << "stop at report " << at;
            EXPECT_TRUE(leftoverTempFiles().empty()) << "stop at report " << at;
        }
        ASSERT_TRUE(run(files, package).ok());
    }
}

TEST_F(HardeningTest, StoresSurviveAKillAtAnyMomentOfASave)
{
    const fs::path folder = freshFolder("kill");
    // A profile of its own, whose files the writer rewrites until it is killed.
    const fs::path writerProfile = folder / "profile";
    fs::create_directories(writerProfile);
    fs::copy(*profile, writerProfile, fs::copy_options::recursive);
    const std::string first = "first" + std::string(20000, '1');
    const std::string second = "second" + std::string(30000, '2');

    std::mt19937 random(7);
    const int n = rounds(100);
    int interrupted = 0;
    for (int i = 0; i < n; ++i) {
        interrupted += killedWhileWorking(
            [&] {
                execl(HALVOREN_STORE_WRITER, HALVOREN_STORE_WRITER, writerProfile.c_str(), nullptr);
                _exit(127);
            },
            std::chrono::microseconds(2000 + random() % 30000));

        platform::setProfileDirectory(u16(writerProfile));
        closeCertificateStore();
        // A parse failure would show as a non-zero code with severity 0.
        ConfigStore config;
        const EngineStatus configLoaded = config.load(configPath());
        ASSERT_TRUE(configLoaded.ok() && configLoaded.code() == 0u) << "round " << i << ": " << configLoaded.code();
        const std::string probe = u8(config.getString(u"Probe"));
        EXPECT_TRUE(probe.empty() || probe == first || probe == second) << "round " << i << ": " << probe.size();
        RecipientsStore recipients;
        std::vector<ContactRecord> contacts;
        const EngineStatus loaded = recipients.load(contacts, recipientsPath());
        ASSERT_TRUE(loaded.ok() && loaded.code() == 0u) << "round " << i << ": " << loaded.code();
        ASSERT_EQ(contacts.size(), 1u) << "round " << i;
        const std::string comments = u8(contacts[0].comments);
        EXPECT_TRUE(comments.empty() || comments == first || comments == second) << "round " << i;
    }
    EXPECT_GT(interrupted, n / 2);
    platform::setProfileDirectory(u16(*profile));
    closeCertificateStore();
    openCertificateStore(me->name);
}

TEST_F(HardeningTest, AHugeIndexStaysWithinItsMemoryLimitAndDeepNamesAreRefused)
{
    const fs::path folder = freshFolder("index");
    const fs::path package = folder / "many.kvx";
    // Five million entries without data, each named "x": 24 bytes apiece on disk.
    constexpr std::uint32_t Count = 5'000'000;
    {
        Bytes entry = entryHeader(EntryTypeData, 4, 0);
        const Bytes name = utf16z(u"x");
        entry.insert(entry.end(), name.begin(), name.end());
        Bytes body;
        body.reserve(entry.size() * Count);
        for (std::uint32_t i = 0; i < Count; ++i)
            body.insert(body.end(), entry.begin(), entry.end());
        writeBytes(package, craftedPackage(Count, body, ContainerTypePlain));
    }

    ContainerFile container;
    ASSERT_TRUE(container.openForRead(platform::openFile(u16(package), win::OPEN_EXISTING, win::GENERIC_READ)).ok());
    ContainerIndex index;
    const long long before = liveBytes.load();
    peakBytes = before;
    ASSERT_TRUE(container.readIndex(index).ok());
    ASSERT_EQ(index.size(), Count);
    EXPECT_EQ(index.entry(Count - 1).name(), u"x");
    EXPECT_EQ(index.entry(Count - 1).dataOffset(), static_cast<std::int64_t>(fs::file_size(package)));
    EXPECT_LE(index.memoryUse(), ContainerFile::DefaultIndexLimit);
    if (CountingAllocations) {
        EXPECT_LE(peakBytes.load() - before, static_cast<long long>(ContainerFile::DefaultIndexLimit));
        // Little more than the index's own bytes on disk, not several times them.
        EXPECT_LT(peakBytes.load() - before, static_cast<long long>(fs::file_size(package)) * 3 / 2);
    }
    // The same index under a tighter limit is refused as a package that isn't valid, and nothing
    // of it is kept.
    container.setIndexLimit(64 << 20);
    EXPECT_EQ(container.readIndex(index).code(), win::ERROR_BAD_FORMAT);
    EXPECT_EQ(index.size(), 0u);
    EXPECT_LT(index.memoryUse(), 64u);
    container.close();
    fs::remove(package);

    // An entry whose path below the folder would pass the system's limit is refused before a
    // single folder is made; one just short of it is written.
    const fs::path out = folder / "out";
    fs::create_directories(out);
    auto nameOfPathLength = [&](std::size_t total) {
        std::u16string name;
        std::size_t length = out.string().size();
        while (total - length > 201) {
            name += std::u16string(200, u'd') + u'\\';
            length += 201;
        }
        return name + std::u16string(total - length - 1, u'f');
    };
    writeBytes(folder / "over.kvx", craftedPackage({ { EntryTypeData, nameOfPathLength(4096), { 'z' } } }));
    EXPECT_EQ(run({}, folder / "over.kvx", out).code(), win::ERROR_FILENAME_EXCED_RANGE);
    EXPECT_TRUE(fs::is_empty(out));
    writeBytes(folder / "edge.kvx", craftedPackage({ { EntryTypeData, nameOfPathLength(4095), { 'y' } } }));
    EXPECT_TRUE(run({}, folder / "edge.kvx", out).ok());
}

TEST_F(HardeningTest, AKillDuringEncryptionOrDecryptionLeavesNoPlainText)
{
    const fs::path folder = freshFolder("killed");
    const std::string marker = "plain text that must not outlive the process";
    FileSet files;
    std::map<fs::path, Bytes> sources;
    fs::create_directories(folder / "in");
    for (int i = 0; i < 4; ++i) {
        Bytes data = randomBytes(3u << 20, 50 + i);
        for (std::size_t at = 0; at + marker.size() < data.size(); at += 64 * 1024)
            std::copy(marker.begin(), marker.end(), data.begin() + static_cast<std::ptrdiff_t>(at));
        const fs::path path = folder / "in" / ("f" + std::to_string(i));
        writeBytes(path, data);
        sources[path] = data;
        files.insert(u16(path));
    }
    const fs::path package = folder / "p.kvx";
    const fs::path out = folder / "out";
    const fs::path tmp = std::getenv("TMPDIR");
    ASSERT_TRUE(run(files, package).ok());

    // Anything with the marker outside the sources and the finished extracted files is a leak.
    auto leaks = [&](const fs::path& top) {
        std::vector<std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(top)) {
            const fs::path path = entry.path();
            if (!entry.is_regular_file() || path.parent_path() == folder / "in")
                continue;
            const Bytes bytes = readBytes(path);
            if (path.string().rfind(out.string(), 0) == 0) {
                const auto source = sources.find(folder / "in" / path.filename());
                if (source != sources.end() && source->second == bytes)
                    continue; // a whole extracted file is what the user asked for
            }
            if (std::search(bytes.begin(), bytes.end(), marker.begin(), marker.end()) != bytes.end()
                || path.filename().string().rfind(".", 0) == 0)
                found.push_back(path.string());
        }
        return found;
    };

    std::mt19937 random(99);
    for (const bool encrypting : { true, false }) {
        int killed = 0;
        for (int round = 0; round < killRounds(); ++round) {
            killed += killedWhileWorking([&] { run(files, package, encrypting ? fs::path() : out); },
                std::chrono::milliseconds(20 + random() % 150));
            // A file that replaces an earlier one takes a name of its own for the moment between
            // two system calls; a kill right there leaves it, complete, for the next run to sweep.
            platform::sweepStaleTemporaries(u16(folder), platform::HiddenTempPrefix);
            if (fs::exists(out))
                for (const auto& entry : fs::recursive_directory_iterator(out))
                    if (entry.is_directory())
                        platform::sweepStaleTemporaries(u16(entry.path()), platform::HiddenTempPrefix);
            EXPECT_EQ(leaks(folder), std::vector<std::string> {})
                << (encrypting ? "encrypt" : "decrypt") << ", round " << round;
            EXPECT_EQ(leaks(tmp), std::vector<std::string> {})
                << (encrypting ? "encrypt" : "decrypt") << ", round " << round;
            EXPECT_TRUE(leftoverTempFiles().empty());
        }
        EXPECT_EQ(killed, killRounds());
        // The package a killed run leaves is the last whole one.
        if (encrypting) {
            ASSERT_TRUE(run(files, package, out).ok());
        }
    }
}
