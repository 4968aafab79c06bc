// Measures what a package costs: the engine with a plain callback, the window's worker-thread
// path, halvoren-cli, the arithmetic floor (OpenSSL's MD5 and AES-256-CBC in memory), and gpg,
// age and openssl cms on the same data. Each measured operation runs in a child process, so that
// its peak resident memory can be read from wait4.
//
//   halvoren_bench [--scale S] [--repeat N] [--workloads ABC] [--no-peers]

#include <openssl/evp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "contacts/ConfigStore.h"
#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "package/PackageEngine.h"
#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "platform/Utf.h"
#include "ui/PackageThread.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

struct Options {
    double scale = 1.0;
    int repeat = 3;
    std::string workloads = "ABC";
    bool peers = true;
};

struct Workload {
    std::string name;
    fs::path root;           // the folder (or, for A, the one file) that is packaged
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
};

struct Sample {
    double seconds = -1;
    long peakKiB = 0;
    std::string spread;  // every sample's time, for the log
};

struct Row {
    std::string operation;
    std::string workload;
    Sample sample;
    double floorSeconds = 0;
    double gpgSeconds = 0;
    std::uint64_t bytes = 0;
};

fs::path scratch;
std::vector<ContactRecord> identities;

std::u16string u16(const fs::path& path) { return platform::fromUtf8(path.string()); }

std::string quote(const fs::path& path)
{
    std::string out = "'";
    for (char c : path.string())
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

void fillRandom(std::vector<char>& buffer, std::mt19937_64& generator)
{
    for (std::size_t i = 0; i + 8 <= buffer.size(); i += 8) {
        const std::uint64_t value = generator();
        std::memcpy(buffer.data() + i, &value, 8);
    }
}

void writeRandomFile(const fs::path& path, std::uint64_t size, std::mt19937_64& generator)
{
    std::ofstream out(path, std::ios::binary);
    std::vector<char> buffer(std::min<std::uint64_t>(size, 4 << 20) + 8);
    for (std::uint64_t left = size; left > 0;) {
        fillRandom(buffer, generator);
        const std::uint64_t piece = std::min<std::uint64_t>(left, buffer.size() - 8);
        out.write(buffer.data(), static_cast<std::streamsize>(piece));
        left -= piece;
    }
}

Workload makeWorkload(char which, double scale)
{
    std::mt19937_64 generator(which);
    Workload workload;
    workload.name = std::string(1, which);
    const fs::path folder = scratch / ("work" + workload.name);
    fs::create_directories(folder);
    if (which == 'A') {
        workload.root = folder / "one.bin";
        workload.bytes = static_cast<std::uint64_t>((1ull << 30) * scale) & ~15ull;
        workload.files = 1;
        writeRandomFile(workload.root, workload.bytes, generator);
        return workload;
    }
    const std::uint64_t count = std::max<std::uint64_t>(20, static_cast<std::uint64_t>((which == 'B' ? 2000 : 20000) * scale));
    const std::uint64_t size = which == 'B' ? 256 * 1024 : 1024;
    workload.root = folder / "tree";
    for (std::uint64_t i = 0; i < count; ++i) {
        const fs::path sub = workload.root / ("folder" + std::to_string(i % 20));
        fs::create_directories(sub);
        writeRandomFile(sub / ("file" + std::to_string(i) + ".bin"), size, generator);
    }
    workload.bytes = count * size;
    workload.files = count;
    return workload;
}

FileSet filesOf(const Workload& workload)
{
    FileSet files;
    if (fs::is_regular_file(workload.root)) {
        files.insert(u16(workload.root));
        return files;
    }
    for (const auto& entry : fs::recursive_directory_iterator(workload.root))
        if (entry.is_regular_file())
            files.insert(u16(entry.path()));
    return files;
}

// Runs `work` in a child process; its time is what the child measured, its memory the child's peak.
// `setup` runs in the child before the clock starts.
Sample measure(const std::function<bool()>& work, const std::function<void()>& setup)
{
    int channel[2];
    if (pipe(channel) != 0)
        return {};
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        if (setup)
            setup();
        const auto start = Clock::now();
        const bool ok = work();
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        const double result = ok ? seconds : -1;
        [[maybe_unused]] auto written = write(channel[1], &result, sizeof result);
        _exit(ok ? 0 : 1);
    }
    close(channel[1]);
    Sample sample;
    if (read(channel[0], &sample.seconds, sizeof sample.seconds) != sizeof sample.seconds)
        sample.seconds = -1;
    close(channel[0]);
    int status = 0;
    rusage usage {};
    wait4(child, &status, 0, &usage);
    sample.peakKiB = usage.ru_maxrss;
    return sample;
}

// The median of the samples, with the highest peak of memory; failed if any sample failed.
Sample summarize(std::vector<Sample> samples)
{
    if (samples.empty())
        return {};
    for (const Sample& s : samples)
        if (s.seconds < 0)
            return s;
    std::sort(samples.begin(), samples.end(), [](const Sample& a, const Sample& b) { return a.seconds < b.seconds; });
    Sample result = samples[samples.size() / 2];
    for (const Sample& s : samples) {
        result.peakKiB = std::max(result.peakKiB, s.peakKiB);
        char text[32];
        std::snprintf(text, sizeof text, "%s%.3f", result.spread.empty() ? "" : " ", s.seconds);
        result.spread += text;
    }
    return result;
}

bool shell(const std::string& command)
{
    return std::system(("{ set -e; " + command + "; } >/dev/null 2>&1").c_str()) == 0;
}

bool have(const char* tool) { return shell(std::string("command -v ") + tool); }

int plainCallback(std::uint32_t, std::int64_t, std::int64_t, KvxUtils::UserParameter*) { return 1; }

std::vector<const ContactRecord*> recipients()
{
    std::vector<const ContactRecord*> list;
    for (const ContactRecord& record : identities)
        list.push_back(&record);
    return list;
}

bool engineCreate(const Workload& workload, const fs::path& package)
{
    PackageEngine engine(identities[0]);
    KvxUtils::UserParameter record;
    engine.setNameMode(NameModeFullPath);
    engine.setFiles(filesOf(workload));
    engine.setPackagePath(u16(package));
    engine.setRecipients(recipients());
    engine.setCallback(plainCallback);
    engine.setUserParameter(&record);
    return engine.create().ok() && fs::exists(package);
}

bool engineExtract(const fs::path& package, const fs::path& folder)
{
    PackageEngine engine(identities[0]);
    KvxUtils::UserParameter record;
    engine.setPackagePath(u16(package));
    engine.setExtractFolder(u16(folder));
    engine.setCallback(plainCallback);
    engine.setUserParameter(&record);
    return engine.extract().ok();
}

// The program's application object exists long before any package is made, so the thread rows
// make theirs before the clock starts.
void makeApplication()
{
    static int argc = 1;
    static char name[] = "bench";
    static char* argv[] = {name, nullptr};
    new QCoreApplication(argc, argv);  // lives until the child exits
}

// The window's road: the worker reports by blocking queued signals to slots on the main thread.
class Window : public QObject {
public:
    QString status;
    int bar = 0;
    long deliveries = 0;
    void on_StatusUpdate(unsigned, qint64 total, qint64 processed, KvxUtils::UserParameter* parameter)
    {
        ++deliveries;
        if (parameter->fileName)
            status = QString::fromUtf16(parameter->fileName);
        bar = total > 0 ? static_cast<int>(processed * 100 / total) : 0;
    }
    void on_EngineError(KvxUtils::UserParameter*, bool& goOn) { goOn = true; }
};

bool threadRun(unsigned operation, const Workload* workload, const fs::path& package, const fs::path& folder)
{
    PackageEngine engine(identities[0]);
    engine.setNameMode(NameModeFullPath);
    if (workload)
        engine.setFiles(filesOf(*workload));
    engine.setPackagePath(u16(package));
    engine.setExtractFolder(u16(folder));
    engine.setRecipients(recipients());
    std::atomic_bool cancel {false};
    PackageThread thread(&cancel, nullptr, &engine);
    Window window;
    QObject::connect(&thread, &PackageThread::statusUpdate, &window, &Window::on_StatusUpdate,
                     Qt::BlockingQueuedConnection);
    QObject::connect(&thread, &PackageThread::engineError, &window, &Window::on_EngineError,
                     Qt::BlockingQueuedConnection);
    QEventLoop loop;
    QObject::connect(&thread, &QThread::finished, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    thread.setOperation(operation);
    thread.start(QThread::InheritPriority);
    loop.exec();
    thread.wait();
    // Each delivery is a round trip between the threads; their number tells what they cost.
    std::fprintf(stderr, "      %ld reports reached the window\n", window.deliveries);
    return thread.result().ok();
}

// Seconds per byte of OpenSSL's MD5 and AES-256-CBC over a buffer in memory.
struct Floor {
    double md5 = 0;
    double encrypt = 0;
    double decrypt = 0;
};

Floor measureFloor()
{
    std::vector<unsigned char> in(64 << 20, 7);
    std::vector<unsigned char> out(in.size() + 32);
    unsigned char key[32] = {1};
    unsigned char iv[16] = {2};
    auto timeIt = [&](const std::function<void()>& work) {
        double best = 1e9;
        for (int i = 0; i < 3; ++i) {
            const auto start = Clock::now();
            work();
            best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
        }
        return best / static_cast<double>(in.size());
    };
    Floor floor;
    floor.md5 = timeIt([&] {
        unsigned char digest[16];
        unsigned int length = 0;
        EVP_Digest(in.data(), in.size(), digest, &length, EVP_md5(), nullptr);
    });
    auto cipher = [&](bool encrypt) {
        EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
        EVP_CipherInit_ex(context, EVP_aes_256_cbc(), nullptr, key, iv, encrypt ? 1 : 0);
        EVP_CIPHER_CTX_set_padding(context, 0);
        int produced = 0;
        EVP_CipherUpdate(context, out.data(), &produced, in.data(), static_cast<int>(in.size()));
        EVP_CIPHER_CTX_free(context);
    };
    floor.encrypt = timeIt([&] { cipher(true); });
    floor.decrypt = timeIt([&] { cipher(false); });
    return floor;
}

struct Peers {
    bool gpg = false;
    bool age = false;
    bool cms = false;
    fs::path gnupgHome;
    std::vector<fs::path> ageKeys;
    std::vector<std::string> agePublic;
    std::vector<fs::path> certs;
    std::vector<fs::path> keys;
};

Peers preparePeers()
{
    Peers peers;
    if (have("gpg")) {
        peers.gnupgHome = scratch / "gnupg";
        fs::create_directories(peers.gnupgHome);
        fs::permissions(peers.gnupgHome, fs::perms::owner_all);
        bool ok = true;
        for (int i = 0; i < 3; ++i)
            ok = ok && shell("GNUPGHOME=" + quote(peers.gnupgHome) + " gpg --batch --pinentry-mode loopback --passphrase ''"
                             " --quick-gen-key 'Bench " + std::to_string(i) + " <b" + std::to_string(i) +
                             "@bench.invalid>' rsa3072 encr never");
        peers.gpg = ok;
    }
    if (have("age") && have("age-keygen")) {
        bool ok = true;
        for (int i = 0; i < 3 && ok; ++i) {
            const fs::path key = scratch / ("age" + std::to_string(i) + ".key");
            ok = shell("age-keygen -o " + quote(key));
            std::ifstream in(key);
            std::string line;
            while (ok && std::getline(in, line))
                if (line.rfind("# public key: ", 0) == 0)
                    peers.agePublic.push_back(line.substr(14));
            peers.ageKeys.push_back(key);
        }
        peers.age = ok && peers.agePublic.size() == 3;
    }
    if (have("openssl")) {
        bool ok = true;
        for (int i = 0; i < 3 && ok; ++i) {
            const fs::path cert = scratch / ("cms" + std::to_string(i) + ".pem");
            const fs::path key = scratch / ("cms" + std::to_string(i) + ".key");
            ok = shell("openssl req -x509 -newkey rsa:3072 -nodes -days 2 -subj /CN=bench" + std::to_string(i) +
                       " -keyout " + quote(key) + " -out " + quote(cert));
            peers.certs.push_back(cert);
            peers.keys.push_back(key);
        }
        peers.cms = ok;
    }
    return peers;
}

// Peers are run as their users run them: a file is given to the tool itself, by name, and the
// tool writes its output file; a folder goes through tar, since the tools take a single stream.
bool isFolder(const Workload& workload) { return !fs::is_regular_file(workload.root); }

// A peer's `command`, which reads standard input or the file named last, given the workload.
std::string peerCreate(const Workload& workload, const std::string& command)
{
    return isFolder(workload) ? "tar -C " + quote(workload.root) + " -cf - . | " + command
                              : command + " " + quote(workload.root);
}

// A peer's `command`, which writes standard output or the file named after `output`, taken into
// `out`.
std::string peerExtract(const Workload& workload, const std::string& command, const std::string& output,
                        const fs::path& out)
{
    return isFolder(workload) ? command + " | tar -C " + quote(out) + " -xf -"
                              : command + " " + output + quote(out / "one.bin");
}

void resetFolder(const fs::path& folder)
{
    fs::remove_all(folder);
    fs::create_directories(folder);
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--scale" && i + 1 < argc)
            options.scale = std::atof(argv[++i]);
        else if (arg == "--repeat" && i + 1 < argc)
            options.repeat = std::max(1, std::atoi(argv[++i]));
        else if (arg == "--workloads" && i + 1 < argc)
            options.workloads = argv[++i];
        else if (arg == "--no-peers")
            options.peers = false;
        else {
            std::fprintf(stderr, "usage: halvoren_bench [--scale S] [--repeat N] [--workloads ABC] [--no-peers]\n");
            return 2;
        }
    }
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/halvoren-bench-XXXXXX";
    if (!mkdtemp(pattern.data()))
        return 1;
    scratch = pattern;
    // The engine's temporaries go to the scratch folder too, so one cleanup removes everything.
    setenv("TMPDIR", (scratch / "tmp").c_str(), 1);
    fs::create_directories(scratch / "tmp");
    platform::setProfileDirectory(u16(scratch / "profile"));
    closeCertificateStore();
    // Three identities in one profile, filed as the program files contacts, so that the
    // command-line tool finds them too.
    {
        std::ofstream(platform::toUtf8(configPath()));
        std::ofstream(platform::toUtf8(recipientsPath()));
        ConfigStore config;
        RecipientsStore store;
        std::vector<ContactRecord> none;
        config.load(configPath());
        store.load(none, recipientsPath());
        for (const char* name : {"Bench Ann", "Bench Bob", "Bench Cid"}) {
            ContactRecord record;
            record.name = platform::fromUtf8(name);
            auto identity = IdentityCertificate::create(record.name);
            if (!identity) {
                std::fprintf(stderr, "cannot make the bench identities\n");
                return 1;
            }
            record.identity = *identity;
            if (!store.add(record).ok()) {
                std::fprintf(stderr, "cannot file the bench identities\n");
                return 1;
            }
            identities.push_back(record);
        }
        config.setString(ConfigKey::OwnerName, identities[0].name);
    }
    const fs::path cliProfile = scratch / "profile";

    std::fprintf(stderr, "measuring the floor...\n");
    const Floor floor = measureFloor();
    std::fprintf(stderr, "preparing peers...\n");
    const Peers peers = options.peers ? preparePeers() : Peers {};

    std::vector<Row> rows;
    std::vector<fs::path> spent;
    int extractions = 0;
    for (char which : options.workloads) {
        std::fprintf(stderr, "workload %c: making data...\n", which);
        const Workload workload = makeWorkload(which, options.scale);
        const fs::path package = scratch / "package.kvx";
        // Each extraction gets a folder of its own. A folder of many files is removed only at the
        // end of the run: on a file system without a journal, ext4 won't hand out the numbers of
        // files deleted in the last half minute, and creating thousands of files right after
        // deleting thousands crawls, which would measure the clean-up instead of the program.
        fs::path out;
        const double bytes = static_cast<double>(workload.bytes);
        const double createFloor = bytes * (2 * floor.md5 + floor.encrypt);
        const double extractFloor = bytes * (2 * floor.md5 + floor.decrypt);
        auto add = [&](const std::string& operation, const Sample& sample, double floorSeconds) {
            rows.push_back({operation, workload.name, sample, floorSeconds, 0, workload.bytes});
            std::fprintf(stderr, "  %-22s %8.3f s   (%s)\n", operation.c_str(), sample.seconds, sample.spread.c_str());
        };
        auto fresh = [&] {
            if (!out.empty()) {
                const auto files = std::distance(fs::recursive_directory_iterator(out), fs::recursive_directory_iterator());
                if (files > 1000)
                    spent.push_back(out);
                else
                    fs::remove_all(out);
            }
            out = scratch / ("out" + std::to_string(++extractions));
            resetFolder(out);
            return true;
        };

        struct Operation {
            std::string name;
            std::function<bool()> prepare;
            std::function<bool()> work;
            std::function<void()> setup;
            double floorSeconds = 0;
            std::vector<Sample> samples;
        };
        std::vector<Operation> operations;
        auto creates = [&](const std::string& name, std::function<bool()> work, std::function<void()> setup = {}) {
            operations.push_back({name + " create", nullptr, std::move(work), std::move(setup), createFloor, {}});
        };
        auto extracts = [&](const std::string& name, std::function<bool()> work, std::function<void()> setup = {}) {
            operations.push_back({name + " extract", fresh, std::move(work), std::move(setup), extractFloor, {}});
        };

        creates("engine", [&] { return engineCreate(workload, package); });
        extracts("engine", [&] { return engineExtract(package, out); });
        creates("thread", [&] { return threadRun(PackageOperationCreate, &workload, package, out); }, makeApplication);
        extracts("thread", [&] { return threadRun(PackageOperationExtract, nullptr, package, out); }, makeApplication);

        const std::string cli = std::string(HALVOREN_CLI_PATH) + " --profile " + quote(cliProfile);
        creates("cli", [&] {
            return shell(cli + " encrypt -o " + quote(package) + " -r 'Bench Ann' -r 'Bench Bob' -r 'Bench Cid' " +
                         quote(workload.root));
        });
        extracts("cli", [&] { return shell(cli + " decrypt " + quote(package) + " -C " + quote(out)); });

        // Each peer has a package of its own, since the operations take turns.
        const fs::path gpgOut = scratch / "peer.gpg";
        const fs::path ageOut = scratch / "peer.age";
        const fs::path cmsOut = scratch / "peer.cms";
        if (peers.gpg) {
            const std::string gpg = "GNUPGHOME=" + quote(peers.gnupgHome) + " gpg --batch --yes --trust-model always";
            creates("gpg", [&, gpg] {
                return shell(peerCreate(workload, gpg + " -z 0 --cipher-algo AES256 -r b0@bench.invalid -r b1@bench.invalid"
                                                        " -r b2@bench.invalid -o " + quote(gpgOut) + " -e"));
            });
            extracts("gpg", [&, gpg] {
                return shell(isFolder(workload) ? peerExtract(workload, gpg + " -d " + quote(gpgOut), "", out)
                                                : gpg + " -o " + quote(out / "one.bin") + " -d " + quote(gpgOut));
            });
        }
        if (peers.age) {
            creates("age", [&] {
                return shell(peerCreate(workload, "age -r " + peers.agePublic[0] + " -r " + peers.agePublic[1] + " -r " +
                                                      peers.agePublic[2] + " -o " + quote(ageOut)));
            });
            extracts("age", [&] {
                return shell(isFolder(workload)
                                 ? peerExtract(workload, "age -d -i " + quote(peers.ageKeys[0]) + " " + quote(ageOut), "", out)
                                 : "age -d -i " + quote(peers.ageKeys[0]) + " -o " + quote(out / "one.bin") + " " +
                                       quote(ageOut));
            });
        }
        if (peers.cms) {
            // The recipients' certificates close the command, so a file is named before them.
            const std::string certificates =
                " " + quote(peers.certs[0]) + " " + quote(peers.certs[1]) + " " + quote(peers.certs[2]);
            creates("openssl cms", [&, certificates] {
                const std::string command = "openssl cms -encrypt -aes256 -binary -stream -outform DER -out " + quote(cmsOut);
                return shell(isFolder(workload) ? peerCreate(workload, command + certificates)
                                                : command + " -in " + quote(workload.root) + certificates);
            });
            extracts("openssl cms", [&] {
                return shell(peerExtract(workload,
                                         "openssl cms -decrypt -binary -inform DER -in " + quote(cmsOut) + " -recip " +
                                             quote(peers.certs[0]) + " -inkey " + quote(peers.keys[0]),
                                         "-out ", out));
            });
        }

        // The operations take turns, one sample each per round, creations before extractions, and
        // each round starts one further on: what the machine does over a run (its page cache
        // filling, memory coming back from the host after a greedy peer) then falls on all of them
        // alike instead of on whichever comes first or last.
        for (int round = 0; round < options.repeat; ++round) {
            for (const bool extraction : {false, true}) {
                for (std::size_t turn = 0; turn < operations.size(); ++turn) {
                    Operation& operation = operations[(turn + static_cast<std::size_t>(round) * 2) % operations.size()];
                    if ((operation.prepare != nullptr) != extraction)
                        continue;
                    if (!operation.samples.empty() && operation.samples.back().seconds < 0)
                        continue;
                    if (operation.prepare && !operation.prepare()) {
                        operation.samples.push_back({});
                        continue;
                    }
                    // Each sample starts with nothing left to write back from the one before, so
                    // that no operation pays for the disk traffic of another.
                    ::sync();
                    operation.samples.push_back(measure(operation.work, operation.setup));
                }
            }
        }
        for (Operation& operation : operations)
            add(operation.name, summarize(operation.samples), operation.floorSeconds);

        fs::remove_all(scratch / ("work" + workload.name));
        fs::remove(package);
        for (const char* peerFile : {"peer.gpg", "peer.age", "peer.cms"})
            fs::remove(scratch / peerFile);
        fs::remove_all(out);
    }

    std::map<std::string, double> gpgTime;
    for (const Row& row : rows)
        if (row.operation.rfind("gpg ", 0) == 0)
            gpgTime[row.workload + (row.operation.find("create") != std::string::npos ? "c" : "x")] = row.sample.seconds;

    std::printf("\n%-20s %-8s %9s %9s %9s %9s %10s\n", "operation", "workload", "seconds", "MB/s", "x floor", "x gpg",
                "peak MiB");
    for (const Row& row : rows) {
        const double seconds = row.sample.seconds;
        const std::string key = row.workload + (row.operation.find("create") != std::string::npos ? "c" : "x");
        const double gpg = gpgTime.count(key) ? gpgTime[key] : 0;
        if (seconds < 0) {
            std::printf("%-20s %-8s %9s\n", row.operation.c_str(), row.workload.c_str(), "failed");
            continue;
        }
        std::printf("%-20s %-8s %9.3f %9.1f %9.2f %9s %10.1f\n", row.operation.c_str(), row.workload.c_str(), seconds,
                    static_cast<double>(row.bytes) / 1e6 / seconds, seconds / row.floorSeconds,
                    gpg > 0 ? std::to_string(seconds / gpg).substr(0, 5).c_str() : "-",
                    static_cast<double>(row.sample.peakKiB) / 1024.0);
    }
    std::printf("\nfloor per GB: MD5 %.3f s, AES-256-CBC encrypt %.3f s, decrypt %.3f s (create = 2 MD5 + encrypt)\n",
                floor.md5 * 1e9, floor.encrypt * 1e9, floor.decrypt * 1e9);
    // gpg leaves an agent running with its sockets in the scratch folder.
    if (peers.gpg)
        shell("GNUPGHOME=" + quote(peers.gnupgHome) + " gpgconf --kill all");
    std::error_code ignored;
    fs::remove_all(scratch, ignored);
    return 0;
}
