// halvoren-cli end to end: the built program, driven as a script would drive it.

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <thread>

#include "PackageBytes.h"
#include "TestSupport.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

struct ToolRun {
    int exitCode = -1; // negative: the signal that killed the tool
    std::string out;
    std::string err;
    // The whole outcome, to be compared in one go.
    auto said() const { return std::tuple(exitCode, out, err); }
};

// Another user to run a copy of the tool as.
struct RunAs {
    uid_t uid;
    gid_t gid;
    fs::path tool;
};

// Starts the tool with no standard input, in `folder` if one is given; `whileRunning` may act
// on the child (send a signal). With `user`, the copy runs as that user, with its temporary files
// in `folder`. What the tool prints goes to files, read once it has ended.
ToolRun runTool(const std::vector<std::string>& args, const std::function<void(pid_t)>& whileRunning = nullptr,
    const fs::path& folder = {}, const RunAs* user = nullptr)
{
    const std::string tool = user ? user->tool.string() : HALVOREN_CLI_PATH;
    const fs::path output = freshFolder("output");
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_RDONLY), 0);
        dup2(open((output / "out").c_str(), O_WRONLY | O_CREAT, 0600), 1);
        dup2(open((output / "err").c_str(), O_WRONLY | O_CREAT, 0600), 2);
        if (user && ::getuid() == 0
            && (::setgroups(0, nullptr) != 0 || ::setgid(user->gid) != 0 || ::setuid(user->uid) != 0))
            _exit(126);
        if (!folder.empty() && chdir(folder.c_str()) != 0)
            _exit(126);
        if (user)
            setenv("TMPDIR", folder.c_str(), 1);
        std::vector<char*> argv { const_cast<char*>(tool.c_str()) };
        for (const std::string& arg : args)
            argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        execv(tool.c_str(), argv.data());
        _exit(127);
    }
    if (whileRunning)
        whileRunning(child);
    int status = 0;
    waitpid(child, &status, 0);
    // Death by a signal stays apart from an exit code, so that 130 means the tool stopped itself.
    return { WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), readText(output / "out"),
        readText(output / "err") };
}

const std::string NotARecipient = "The package cannot be decrypted. You are not in the list of recipients who can view "
                                  "the files, you will not be able to access it.";
const std::string InvalidPackage = "This file is not a valid Halvoren package file.";

// A key file of `name` made by openssl, as another program would make it.
fs::path keyFileFor(const fs::path& folder, const std::string& name)
{
    const fs::path file = folder / (name + ".pem");
    const std::string command = "openssl req -utf8 -x509 -newkey rsa:1024 -nodes -days 2 -subj '/CN=" + name
        + "/title=Halvoren' -keyout /dev/null -out '" + file.string() + "' 2>/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << name;
    return file;
}

// Root writes through every file mode, so a run that must meet a read-only file goes as an
// ordinary user: as root the child becomes "nobody", with `home` (below /tmp, where that user
// can reach it) and a copy of the tool made its own.
ToolRun runAsOrdinaryUser(const fs::path& home, const std::vector<std::string>& args)
{
    RunAs user { ::geteuid(), ::getegid(), home / "halvoren-cli" };
    if (user.uid == 0) {
        const passwd* nobody = ::getpwnam("nobody");
        EXPECT_TRUE(nobody);
        if (!nobody)
            return {};
        user.uid = nobody->pw_uid;
        user.gid = nobody->pw_gid;
    }
    fs::copy_file(HALVOREN_CLI_PATH, user.tool, fs::copy_options::overwrite_existing);
    fs::permissions(user.tool, fs::perms(0755));
    EXPECT_EQ(::lchown(home.c_str(), user.uid, user.gid), 0);
    for (const auto& entry : fs::recursive_directory_iterator(home))
        EXPECT_EQ(::lchown(entry.path().c_str(), user.uid, user.gid), 0);
    return runTool(args, nullptr, home, &user);
}

// The run ended with `code` and its error output holds `says`.
testing::AssertionResult ended(const ToolRun& run, int code, const std::string& says)
{
    if (run.exitCode == code && run.err.find(says) != std::string::npos)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "exit " << run.exitCode << ", said: " << run.err;
}

// Everything below `folder`, folders too, by relative path in order.
std::vector<std::string> filesBelow(const fs::path& folder)
{
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        found.push_back(fs::relative(entry.path(), folder).string());
    std::sort(found.begin(), found.end());
    return found;
}

// Waits until the tool has the file open, so that a signal sent then finds it at work with its
// handlers in place, however slowly it started (a sanitizer build starts slowly).
void waitUntilOpen(pid_t child, const fs::path& file)
{
    const fs::path wanted = fs::weakly_canonical(file);
    for (int tries = 0; tries < 2000; ++tries) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(child) + "/fd", error)) {
            std::error_code ignored;
            if (fs::read_symlink(entry.path(), ignored) == wanted)
                return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

// Sends `signal` to a run of `args` once the tool has `file` open, `file` made anew by `make` for
// each size until a run doesn't outrun the signal; that run, or none.
std::optional<ToolRun> interruptedRun(const std::vector<std::string>& args, const fs::path& file, int signal,
    const std::function<void(std::uint64_t)>& make, const std::function<bool(const ToolRun&)>& outran)
{
    for (const std::uint64_t size : { std::uint64_t(3) << 30, std::uint64_t(8) << 30 }) {
        make(size);
        const ToolRun run = runTool(args, [&](pid_t child) {
            waitUntilOpen(child, file);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            kill(child, signal);
        });
        if (!outran(run))
            return run;
    }
    ADD_FAILURE() << "the run was never interrupted";
    return std::nullopt;
}

} // namespace

class CliTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        root = new fs::path(freshFolder("cli"));
        // Three people with a profile each, and a profile with an identity and nothing else,
        // copied by the tests that change profiles: its owner is called "C", a name that is also
        // an attribute key of every subject.
        for (const std::string name : { "Ann", "Bob", "Cid", "C" }) {
            const std::string lower(1, char(std::tolower(name[0])));
            const std::string id = lower + name.substr(1);
            std::vector<std::string> create { "identity", "create", name };
            if (name != "C")
                create.insert(create.end(), { "--email", id + "@example.org" });
            const fs::path profile = *root / (name == "C" ? "base" : id);
            const ToolRun made = in(profile, create);
            ASSERT_TRUE(made.exitCode == 0 && made.out.empty()) << made.err;
            ASSERT_EQ(in(profile, { "identity", "export", "-o", (*root / (id + ".kvxk")).string() }).exitCode, 0);
        }
    }

    // A new profile that holds only the identity "C".
    static fs::path freshProfile(const std::string& hint)
    {
        const fs::path profile = freshFolder(hint) / "profile";
        fs::copy(*root / "base", profile, fs::copy_options::recursive);
        return profile;
    }
    static ToolRun in(const fs::path& profile, std::vector<std::string> args, const fs::path& folder = {})
    {
        args.insert(args.begin(), { "--profile", profile.string() });
        return runTool(args, nullptr, folder);
    }
    static void TearDownTestSuite() { delete root; }

    static ToolRun as(const std::string& who, std::vector<std::string> args, const fs::path& folder = {})
    {
        return in(*root / who, std::move(args), folder);
    }

    // What Bob finds in a package that Ann made, unencrypted, of `args` in `folder`; `told` gets
    // what the making said.
    static std::map<std::string, Bytes> packedAndOpened(
        std::vector<std::string> args, const fs::path& folder, std::string* told = nullptr)
    {
        const fs::path package = freshFolder("packed") / "p.kvx";
        args.insert(args.begin(), { "encrypt", "--plain", "-o", package.string() });
        const ToolRun made = as("ann", args, folder);
        EXPECT_EQ(made.exitCode, 0) << made.err;
        if (told)
            *told = made.err;
        const fs::path out = package.parent_path() / "out";
        fs::create_directories(out);
        EXPECT_EQ(as("bob", { "decrypt", package.string(), "-C", out.string() }).exitCode, 0);
        return treeContents(out);
    }

    static inline fs::path* root = nullptr;
};

TEST_F(CliTest, PeopleExchangeKeysAndOnlyRecipientsOpenThePackage)
{
    for (const char* other : { "bob.kvxk", "cid.kvxk" })
        ASSERT_EQ(as("ann", { "contacts", "import", (*root / other).string() }).exitCode, 0);
    ASSERT_EQ(as("bob", { "contacts", "import", (*root / "ann.kvxk").string() }).exitCode, 0);
    EXPECT_TRUE(ended(as("ann", { "contacts", "import", (*root / "bob.kvxk").string() }), 1,
        "Contact already exists. Please select another contact key file."));

    EXPECT_EQ(as("ann", { "contacts", "list" }).out, "Ann\tann@example.org\t(me)\nBob\t\nCid\t\n");
    const ToolRun show = as("ann", { "identity", "show" });
    EXPECT_NE(show.out.find("name: Ann\n"), std::string::npos);
    EXPECT_NE(show.out.find("fingerprint (SHA-256): "), std::string::npos);

    const fs::path source = *root / "tree";
    fs::create_directories(source / "docs" / "deep");
    writeBytes(source / "docs" / "deep" / "data.bin", randomBytes(2 * 1024 * 1024 + 3, 5));
    writeText(source / "docs" / "note \xc3\xa9t\xc3\xa9.txt", "summer");
    writeText(source / "empty", "");
    const fs::path package = *root / "tree.kvx";
    const ToolRun made = as("ann", { "encrypt", "-o", package.string(), "-r", "Bob", "-r", "Cid", source.string() });
    ASSERT_TRUE(made.exitCode == 0 && made.out.empty() && made.err.empty()) << made.err;

    for (const char* reader : { "bob", "cid" }) {
        const fs::path out = *root / (std::string("out-") + reader);
        const ToolRun opened = as(reader, { "decrypt", package.string(), "-C", out.string() });
        ASSERT_EQ(opened.exitCode, 0) << opened.err;
        EXPECT_EQ(treeContents(out / fs::relative(source, "/")), treeContents(source));
    }

    // Ann didn't encrypt for herself: she is a third party to her own package.
    EXPECT_TRUE(
        ended(as("ann", { "decrypt", package.string(), "-C", (*root / "out-ann").string() }), 1, NotARecipient));
    EXPECT_TRUE(leftoverTempFiles().empty());

    ASSERT_EQ(as("ann", { "contacts", "remove", "Cid" }).exitCode, 0);
    EXPECT_EQ(as("ann", { "contacts", "list" }).out, "Ann\tann@example.org\t(me)\nBob\t\n");
    EXPECT_EQ(as("ann", { "contacts", "remove", "Ann" }).exitCode, 1);
}

TEST_F(CliTest, UnreadableSourcesStopTheRunUnlessSkippingIsAsked)
{
    const fs::path folder = freshFolder("unreadable");
    writeText(folder / "a.txt", "abc");
    // Permissions stop everybody but root; a write-only kernel setting stops root too.
    fs::path locked = folder / "locked";
    if (geteuid() != 0) {
        writeText(locked, "secret");
        fs::permissions(locked, fs::perms::none);
    } else {
        locked = "/proc/sys/vm/drop_caches";
    }
    if (const int fd = open(locked.c_str(), O_RDONLY); fd >= 0) {
        close(fd);
        GTEST_SKIP() << "no file here that exists and can't be read";
    }

    // Without the option: exit 1, and the package of an earlier run stays as it was.
    const fs::path package = folder / "one.kvx";
    writeText(package, "earlier");
    const ToolRun stopped = as("ann",
        { "encrypt", "--plain", "--flat", "-o", package.string(), locked.string(), (folder / "a.txt").string() });
    EXPECT_TRUE(ended(stopped, 1, "can't read " + locked.string() + ": "));
    EXPECT_NE(stopped.err.find("--skip-unreadable"), std::string::npos) << stopped.err;
    EXPECT_EQ(readText(package), "earlier");

    // With it: one warning per file, a count at the end, and the rest in the package.
    const ToolRun partly = as("ann",
        { "encrypt", "--plain", "--flat", "--skip-unreadable", "-o", package.string(), locked.string(),
            (folder / "a.txt").string() });
    const std::string warning = "skipping " + locked.string() + ": ";
    EXPECT_TRUE(ended(partly, 0, warning));
    EXPECT_EQ(partly.err.find(warning), partly.err.rfind(warning)) << partly.err;
    EXPECT_NE(partly.err.find("without 1 source that couldn't be read"), std::string::npos) << partly.err;
    EXPECT_EQ(readBytes(package), craftedPackage({ { EntryTypeData, u"a.txt", { 'a', 'b', 'c' } } }));

    // Nothing readable is no package, with the option too.
    EXPECT_TRUE(ended(as("ann", { "encrypt", "--plain", "--skip-unreadable", "-o", package.string(), locked.string() }),
        1, "no package was made"));
    EXPECT_TRUE(leftoverTempFiles().empty());

    // A kernel file that says it is empty but holds text is refused by name, never stored empty.
    const fs::path proc = folder / "proc.kvx";
    EXPECT_TRUE(ended(
        as("ann", { "encrypt", "--plain", "-o", proc.string(), "/proc/cpuinfo" }), 1, "can't read /proc/cpuinfo"));
    EXPECT_FALSE(fs::exists(proc));
}

TEST_F(CliTest, EntriesAreStoredUnderThePathsAsGivenOrRefusedByName)
{
    const fs::path folder = freshFolder("tarlike");
    const fs::path work = folder / "work";
    fs::create_directories(work / "docs" / "sub");
    writeText(work / "docs" / "a.txt", "a");
    writeText(work / "docs" / "sub" / "b.txt", "b");
    writeText(work / "top.txt", "t");
    writeText(folder / "outside.txt", "o");
    // Two names that are not UTF-8, which once both became U+FFFD.
    fs::create_directories(work / "odd");
    writeText(work / "odd" / "caf\xff", "ff");
    writeText(work / "odd" / "caf\xfe", "fe");

    // Relative paths are taken from the current folder, and keep their form; names keep their bytes.
    EXPECT_EQ(
        packedAndOpened({ "docs/", "./docs/sub/../sub", "top.txt", (folder / "outside.txt").string(), "odd" }, work),
        (std::map<std::string, Bytes> {
            { "docs/a.txt", { 'a' } },
            { "docs/sub/b.txt", { 'b' } },
            { fs::relative(folder / "outside.txt", "/").string(), { 'o' } },
            { "odd/caf\xfe", { 'f', 'e' } },
            { "odd/caf\xff", { 'f', 'f' } },
            { "top.txt", { 't' } },
        }));
    // A folder is walked through links to files but not into linked folders; those, a FIFO and a
    // broken link are left out at walk time, and told. A path with "." and ".." goes into the
    // package as the plain path it stands for.
    const fs::path links = work / "links";
    fs::create_directories(links);
    fs::create_symlink("../top.txt", links / "filelink");
    fs::create_symlink("../docs", links / "dirlink");
    fs::create_symlink("../nowhere", links / "broken");
    ASSERT_EQ(::mkfifo((links / "fifo").c_str(), 0600), 0);
    const bool root = geteuid() == 0;
    if (!root) {
        fs::create_directories(links / "locked");
        writeText(links / "locked" / "hidden", "x");
        fs::permissions(links / "locked", fs::perms::none);
    }
    std::string told;
    EXPECT_EQ(
        packedAndOpened({ "--skip-unreadable", (work / "docs" / ".." / "." / "links" / "").string() }, work, &told),
        (std::map<std::string, Bytes> { { fs::relative(links, "/").string() + "/filelink", { 't' } } }));
    if (!root)
        fs::permissions(links / "locked", fs::perms::owner_all);
    EXPECT_EQ(told.find("skipping the folder") != std::string::npos, !root) << told;
    EXPECT_NE(told.find("1 link to a folder and 2 items that are not files"), std::string::npos) << told;

    // "." stores what lies in the folder; --flat stores bare names whatever the path.
    EXPECT_EQ(packedAndOpened({ "." }, work / "docs"),
        (std::map<std::string, Bytes> { { "a.txt", { 'a' } }, { "sub/b.txt", { 'b' } } }));
    EXPECT_EQ(packedAndOpened({ "--flat", "../outside.txt", "docs/sub" }, work),
        (std::map<std::string, Bytes> { { "b.txt", { 'b' } }, { "outside.txt", { 'o' } } }));

    // Refused by name before anything is written: a path above the current folder (no extraction
    // accepts its entries), a backslash (it would come back as a folder), and --flat with two
    // files of one bare name.
    writeText(work / "docs" / "sub" / "x.txt", "1");
    writeText(work / "odd" / "x.txt", "2");
    writeText(work / "docs" / "a\\b.txt", "2");
    writeText(folder / "kept.kvx", "earlier");
    auto refused = [&](std::vector<std::string> sources, const std::string& says) {
        sources.insert(sources.begin(), { "encrypt", "--plain", "-o", "../kept.kvx" });
        return ended(as("ann", sources, work), 1, says);
    };
    EXPECT_TRUE(refused({ "../outside.txt" }, "../outside.txt lies outside the current folder"));
    EXPECT_TRUE(refused({ "docs" }, "docs/a\\b.txt: a name with a backslash"));
    EXPECT_TRUE(refused({ "--flat", "docs/a\\b.txt" }, "a\\b.txt: a name with a backslash"));
    EXPECT_TRUE(refused({ "--flat", "docs/sub", "odd" },
        "--flat would store both " + work.string() + "/docs/sub/x.txt and " + work.string() + "/odd/x.txt as 'x.txt'"));
    EXPECT_EQ(readText(folder / "kept.kvx"), "earlier");
    EXPECT_TRUE(leftoverTempFiles().empty());
}

TEST_F(CliTest, TwoImportsAtOnceBothArrive)
{
    for (int round = 0; round < 50; ++round) {
        const fs::path profile = freshProfile("concurrent");
        ToolRun second;
        std::thread other([&] { second = in(profile, { "contacts", "import", (*root / "cid.kvxk").string() }); });
        const ToolRun first = in(profile, { "contacts", "import", (*root / "bob.kvxk").string() });
        other.join();
        ASSERT_TRUE(first.exitCode == 0 && second.exitCode == 0) << first.err << second.err;
        const std::string list = in(profile, { "contacts", "list" }).out;
        ASSERT_TRUE(list == "C\t\t(me)\nBob\t\nCid\t\n" || list == "C\t\t(me)\nCid\t\nBob\t\n") << round << list;
    }
}

TEST_F(CliTest, BrokenProfileIsExplainedAndRepaired)
{
    const fs::path profile = freshProfile("broken");
    ASSERT_EQ(in(profile, { "contacts", "import", (*root / "bob.kvxk").string() }).exitCode, 0);
    // The state an interrupted import used to leave: Bob's certificate without his entry.
    writeText(profile / "RecipientsList.xml", "<Recipients><Recipient Name=\"C\"/></Recipients>");
    ToolRun list = in(profile, { "contacts", "list" });
    EXPECT_TRUE(ended(list, 1, "the certificate of 'Bob' has no entry in"));
    EXPECT_NE(list.err.find("halvoren-cli contacts repair"), std::string::npos) << list.err;
    EXPECT_EQ(in(profile, { "contacts", "repair" }).said(), std::tuple(0, "filed again: Bob\n", ""));

    // A contact list that isn't XML at all is kept aside, and every certificate filed again.
    writeText(profile / "RecipientsList.xml", "garbage <");
    EXPECT_TRUE(ended(in(profile, { "contacts", "list" }), 1, "contacts repair"));
    ASSERT_EQ(in(profile, { "contacts", "repair" }).exitCode, 0);
    EXPECT_EQ(readText(profile / "RecipientsList.xml.unreadable"), "garbage <");
    EXPECT_EQ(in(profile, { "contacts", "list" }).out, "C\t\t(me)\nBob\t\n");

    // A certificate file that can't be read is named and kept (its mending by a new import is the
    // certificate store's test).
    fs::path bobFile;
    for (const auto& entry : fs::directory_iterator(profile / "certificates")) {
        if (entry.path().extension() == ".der" && readBytes(entry.path()) != readBytes(*root / "c.kvxk"))
            bobFile = entry.path();
    }
    ASSERT_FALSE(bobFile.empty());
    const Bytes whole = readBytes(bobFile);
    writeBytes(bobFile, Bytes(whole.begin(), whole.begin() + 40));
    list = in(profile, { "contacts", "list" });
    EXPECT_TRUE(ended(list, 0, "the certificate of 'Bob' can't be read (" + bobFile.string()));
    EXPECT_EQ(list.out, "C\t\t(me)\n");
    EXPECT_EQ(fs::file_size(bobFile), 40u);
}

// Which name finds which certificate is the certificate store's test; here the tool's own
// look-ups by name, at import and removal, go by the whole name in any case.
TEST_F(CliTest, OnePersonIsNeverTakenForAnother)
{
    const fs::path folder = freshFolder("who");
    const fs::path own = folder / "own";
    ASSERT_EQ(in(own, { "identity", "create", "Ann Short" }).exitCode, 0);
    // Names that are pieces of another name, or of the title, are other people.
    for (const char* name : { "Joann Tester", "Ann Tester", "T", "Oren", "Ann" })
        EXPECT_TRUE(ended(in(own, { "contacts", "import", keyFileFor(folder, name).string() }), 0, "")) << name;
    EXPECT_TRUE(ended(
        in(own, { "contacts", "import", keyFileFor(folder, "ann short").string() }), 1, "Contact already exists."));
    EXPECT_TRUE(ended(in(own, { "contacts", "remove", "Ann Tester" }), 0, ""));
    EXPECT_EQ(in(own, { "contacts", "list" }).out, "Ann Short\t\t(me)\nJoann Tester\t\nT\t\nOren\t\nAnn\t\n");
}

TEST_F(CliTest, TheOwnIdentityOutlivesItsSettings)
{
    const fs::path profile = freshProfile("settings");
    const fs::path folder = profile.parent_path();
    writeText(folder / "mine.txt", "mine");
    const fs::path package = folder / "self.kvx";
    ASSERT_EQ(
        in(profile, { "encrypt", "--self", "--flat", "-o", package.string(), (folder / "mine.txt").string() }).exitCode,
        0);

    // Without settings the identity is recognised by its key, said so, and written back.
    fs::remove(profile / "KvxCfg.xml");
    const ToolRun listed = in(profile, { "contacts", "list" });
    EXPECT_TRUE(ended(listed, 0, "'C' was recognised by its key and written back"));
    EXPECT_EQ(listed.out, "C\t\t(me)\n");
    EXPECT_NE(readText(profile / "KvxCfg.xml").find("<OwnerName>C</OwnerName>"), std::string::npos);

    // A damaged key file is told as such, never as a package that isn't for this identity.
    const fs::path damaged = folder / "damaged";
    fs::copy(profile, damaged, fs::copy_options::recursive);
    for (const auto& key : fs::directory_iterator(damaged / "keys"))
        fs::resize_file(key.path(), 100);
    EXPECT_TRUE(ended(in(damaged, { "decrypt", package.string(), "-C", (folder / "out2").string() }), 1,
        "Your private key can't be read"));

    // Settings cut short are named and left as they are; the identity is neither removed nor
    // replaced, and still opens what was sent to it.
    const std::string cut = "<Configuration><Own";
    writeText(profile / "KvxCfg.xml", cut);
    const ToolRun removal = in(profile, { "contacts", "remove", "C" });
    EXPECT_TRUE(ended(removal, 1, "your own identity"));
    EXPECT_NE(removal.err.find((profile / "KvxCfg.xml").string() + " can't be read"), std::string::npos) << removal.err;
    EXPECT_EQ(in(profile, { "identity", "create", "Dee" }).exitCode, 1);
    EXPECT_TRUE(ended(in(profile, { "decrypt", package.string(), "-C", (folder / "out").string() }), 0, ""));
    EXPECT_EQ(readText(folder / "out" / "mine.txt"), "mine");
    EXPECT_EQ(readText(profile / "KvxCfg.xml"), cut);

    // A creation that fails leaves no private key behind.
    const fs::path empty = freshFolder("no-key") / "profile";
    fs::create_directories(empty / "KvxCfg.xml");
    EXPECT_EQ(in(empty, { "identity", "create", "Dee" }).exitCode, 1);
    EXPECT_TRUE(!fs::exists(empty / "keys") || fs::is_empty(empty / "keys"));
}

TEST_F(CliTest, TheUsersOwnFilesAreLeftAlone)
{
    const fs::path profile = freshProfile("mine");
    const fs::path folder = freshFolder("mine-files");
    writeText(folder / "thesis.txt", "thesis");
    writeText(folder / "notes.txt", "notes");

    // The package would replace one of its own sources: refused before anything is written.
    EXPECT_TRUE(ended(in(profile, { "encrypt", "--self", "-o", "notes.txt", "thesis.txt", "notes.txt" }, folder), 1,
        "notes.txt is one of the files to encrypt"));
    EXPECT_EQ(readText(folder / "notes.txt"), "notes");

    // A read-only file at the package's path is refused, not replaced.
    char pattern[] = "/tmp/halvoren-readonly-XXXXXX";
    ASSERT_TRUE(::mkdtemp(pattern));
    const fs::path home = pattern;
    writeText(home / "a.txt", "a");
    writeText(home / "out.kvx", "keep");
    fs::permissions(home / "out.kvx", fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    ASSERT_EQ(runAsOrdinaryUser(home, { "--profile", "p", "identity", "create", "Nob" }).exitCode, 0);
    EXPECT_TRUE(ended(runAsOrdinaryUser(home, { "--profile", "p", "encrypt", "--self", "-o", "out.kvx", "a.txt" }), 1,
        "out.kvx is read-only"));
    EXPECT_EQ(readText(home / "out.kvx"), "keep");

    // What a read-only folder stops is told as a denied access: here a contact's certificate on its
    // way into the store (an extraction's sub-folders are the engine's test).
    fs::permissions(home / "p" / "certificates", fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_TRUE(
        ended(runAsOrdinaryUser(home, { "--profile", "p", "contacts", "import", (*root / "bob.kvxk").string() }), 1,
            "Access is denied"));
    fs::remove_all(home);
}

TEST_F(CliTest, UsageErrorsHelpAndExitCodes)
{
    EXPECT_EQ(runTool({}).exitCode, 2);
    for (const std::string command : { "", "identity", "contacts", "encrypt", "decrypt", "list", "verify" }) {
        const ToolRun help = command.empty() ? runTool({ "--help" }) : runTool({ command, "--help" });
        const std::string heading = command.empty() ? "Usage: halvoren-cli" : "halvoren-cli " + command;
        EXPECT_TRUE(help.exitCode == 0 && help.out.find(heading) != std::string::npos) << command;
    }
    const fs::path folder = freshFolder("usage");
    writeText(folder / "f", "1");
    const std::string f = (folder / "f").string();
    const std::string o = (folder / "o.kvx").string();
    const std::vector<std::vector<std::string>> mistakes { { "frobnicate" }, { "encrypt", "--bogus" },
        { "encrypt", "-o", o, f }, { "encrypt", "-o", o, "--plain", "--self", f },
        { "encrypt", "-o", o, "-r", "Nobody", f }, { "encrypt", "-o", o, "--self" }, { "decrypt", o }, { "verify" },
        { "list", o, "-C", folder.string() }, { "decrypt", o, "--skip-unreadable", "-C", folder.string() } };
    for (const auto& args : mistakes)
        EXPECT_EQ(as("ann", args).exitCode, 2) << args[0] << " with " << args.size() - 1 << " more";
    // A name from the command line is echoed with its control characters spelled out.
    const ToolRun missing = as("ann", { "encrypt", "--self", "-o", o, "\x1b]2;owned\x07\x1b[2J" });
    EXPECT_TRUE(ended(missing, 1, "\\x1b]2;owned\\x07\\x1b[2J"));
    EXPECT_EQ(missing.err.find_first_of("\x1b\x07"), std::string::npos) << missing.err;
    EXPECT_EQ(as("ann", { "identity", "create", "Another" }).exitCode, 1);
    EXPECT_EQ(as("fresh", { "identity", "show" }).exitCode, 1);
    EXPECT_FALSE(fs::exists(o));
}

TEST_F(CliTest, AnInterruptStopsTheRunLeavesNothingAndSaysOnlyThatItStopped)
{
    // Ctrl-C, and the hang-up of a terminal that was closed.
    for (const int signal : { SIGINT, SIGHUP }) {
        SCOPED_TRACE(signal);
        const fs::path folder = freshFolder("interrupt");
        const fs::path big = folder / "big.bin";
        const fs::path package = folder / "big.kvx";
        // A sparse file costs nothing to make and seconds to encrypt: time enough to be interrupted.
        const auto run = interruptedRun(
            { "--profile", (*root / "ann").string(), "encrypt", "--self", "-o", package.string(), big.string() }, big,
            signal,
            [&](std::uint64_t size) {
                fs::remove(package);
                writeText(big, "");
                fs::resize_file(big, size);
            },
            [](const ToolRun& run) { return run.exitCode == 0; });
        if (!run)
            continue;
        EXPECT_EQ(run->exitCode, 130) << run->err;
        EXPECT_TRUE(leftoverTempFiles().empty());
        // Only the source is left in the folder: no package, and none staged beside the target.
        EXPECT_EQ(filesBelow(folder), std::vector<std::string> { "big.bin" });
    }

    // Ctrl-C while a large package is checked: its digest is wrong, so a check that ran to the
    // end would call it invalid; the stop must say only that it stopped.
    const fs::path big = freshFolder("interrupt-check") / "big.kvx";
    const auto run = interruptedRun(
        { "--profile", (*root / "bob").string(), "decrypt", big.string(), "-C", (big.parent_path() / "out").string() },
        big, SIGINT,
        [&](std::uint64_t size) {
            writeBytes(big, craftedPackage(1, entryHeader(EntryTypeData, 0, size - 52)));
            fs::resize_file(big, size);
        },
        [](const ToolRun& run) {
            return run.exitCode == 1 && run.err.find(InvalidPackage) != std::string::npos
                && run.err.find("stopped") == std::string::npos;
        });
    ASSERT_TRUE(run);
    EXPECT_TRUE(ended(*run, 130, "stopped"));
    EXPECT_EQ(run->err.find(InvalidPackage), std::string::npos) << run->err;
}

// Which names are refused, and why, is the engine's test; here the refusal reaches the terminal
// as the engine words it, with no control character from the sender, and nothing is written.
TEST_F(CliTest, AHostilePackageWritesNothingAndNamesTheEntryPlainly)
{
    const fs::path folder = freshFolder("hostile");
    const fs::path out = folder / "out";
    writeBytes(folder / "h.kvx",
        craftedPackage({ { EntryTypeData, u"d\\b.bin", randomBytes(70000, 2) },
            { EntryTypeData, u"evil\x1b]0;owned\x07\\..\\x", { '!' } } }));
    const ToolRun run = as("bob", { "decrypt", (folder / "h.kvx").string(), "-C", out.string() });
    EXPECT_TRUE(ended(run, 1, "entry \"evil\\x1B]0;owned\\x07/../x\": the name holds \"..\"; nothing was extracted"));
    EXPECT_EQ(run.err.find_first_of("\x1b\x07"), std::string::npos) << run.err;
    EXPECT_TRUE(fs::is_empty(out));
}

TEST_F(CliTest, ListAndVerifyCheckEveryDigestAndWriteNothing)
{
    const fs::path work = freshFolder("check");
    const fs::path profile = freshProfile("check-profile");
    ASSERT_EQ(in(profile, { "contacts", "import", (*root / "bob.kvxk").string() }).exitCode, 0);
    fs::create_directories(work / "tree" / "sub");
    writeBytes(work / "tree" / "big.bin", randomBytes(300000, 3));
    writeText(work / "tree" / "empty", "");
    writeText(work / "tree" / "sub" / "b\x1b[2J.txt", "summer");
    const fs::path plain = work / "plain.kvx";
    const fs::path sealed = work / "sealed.kvx";
    ASSERT_EQ(in(profile, { "encrypt", "--plain", "-o", plain.string(), "tree" }, work).exitCode, 0);
    ASSERT_EQ(in(profile, { "encrypt", "-r", "Bob", "-o", sealed.string(), "tree" }, work).exitCode, 0);

    // Damage that each check must find: the outer digest, the inner digest behind a recomputed
    // outer one, the padding of the last block, and an index that runs past the end of a package
    // whose digest matches. A check reads as extraction does but writes nowhere, so a digest it
    // skipped would show only here.
    auto flipped = [](Bytes bytes, std::size_t at, bool mended) {
        bytes[at] ^= 0x01;
        if (mended)
            rehash(bytes);
        return bytes;
    };
    const Bytes s = readBytes(sealed);
    const std::vector<std::pair<std::string, Bytes>> damaged { { "outer", flipped(s, s.size() / 2, false) },
        { "inner", flipped(s, s.size() / 2, true) }, { "padding", flipped(s, s.size() - 1, true) },
        { "index", craftedPackage(1, entryHeader(EntryTypeData, 0, 5)) } };
    for (const auto& [name, bytes] : damaged)
        writeBytes(work / (name + ".kvx"), bytes);

    // The checks run in an empty folder of their own, where anything written would show.
    const fs::path here = work / "here";
    fs::create_directories(here);
    const fs::path temporary = std::getenv("TMPDIR");
    const auto workBefore = filesBelow(work);
    const auto temporaryBefore = filesBelow(temporary);

    const std::string listing = "tree/big.bin\t300000\ntree/empty\t0\ntree/sub/b\\x1b[2J.txt\t6\n";
    for (const fs::path& package : { plain, sealed }) {
        const bool encrypted = package == sealed;
        EXPECT_EQ(as("bob", { "list", package.string() }, here).said(), std::tuple(0, listing, ""));
        const std::string shown = "../" + package.filename().string();
        EXPECT_EQ(as("bob", { "verify", shown }, here).said(),
            std::tuple(0,
                shown + ": intact (" + (encrypted ? "encrypted, opened with your key" : "not encrypted")
                    + "; 3 files, 300006 bytes)\n",
                ""));
    }
    for (const auto& [name, bytes] : damaged) {
        for (const char* command : { "list", "verify" })
            EXPECT_EQ(as("bob", { command, "../" + name + ".kvx" }, here).said(),
                std::tuple(1, "", "halvoren-cli: ../" + name + ".kvx: " + InvalidPackage + "\n"))
                << command;
    }
    // The maker didn't encrypt for herself: she hears what decrypt would tell her.
    const ToolRun outsider = in(profile, { "verify", sealed.string() }, here);
    EXPECT_TRUE(ended(outsider, 1, NotARecipient));
    EXPECT_TRUE(outsider.out.empty());
    EXPECT_EQ(filesBelow(work), workBefore);
    EXPECT_EQ(filesBelow(temporary), temporaryBefore);
}
