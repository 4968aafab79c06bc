// PackageThread with a real engine, a real event loop and a receiver on the main thread connected
// as the window connects it.

#include <QCoreApplication>
#include <QEventLoop>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <functional>

#include "QtTestSupport.h"
#include "TestSupport.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "package/PackageEngine.h"
#include "platform/Profile.h"
#include "ui/PackageThread.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

struct Seen {
    unsigned operation;
    qint64 total;
    qint64 processed;
    QString fileName;
    bool onMainThread;
};

// Stands in for the main window's progress slot. Its error slot is the flows test's: a vanished
// source answered in the window's question.
class Receiver : public QObject {
    Q_OBJECT
public:
    std::vector<Seen> updates;
    std::function<void(const Seen&)> onUpdate;

public slots:
    void on_StatusUpdate(unsigned operation, qint64 total, qint64 processed, KvxUtils::UserParameter* parameter)
    {
        Seen seen { operation, total, processed,
            parameter->fileName ? QString::fromUtf16(parameter->fileName) : QString(),
            QThread::currentThread() == QCoreApplication::instance()->thread() };
        updates.push_back(seen);
        if (onUpdate)
            onUpdate(seen);
    }
};

} // namespace

class PackageThreadTest : public QObject {
    Q_OBJECT

private:
    fs::path folder;
    std::unique_ptr<ContactRecord> me;
    std::unique_ptr<PackageEngine> engine;
    std::atomic_bool cancel { false };
    std::unique_ptr<PackageThread> thread;
    Receiver receiver;

    void runAndWait(unsigned operation)
    {
        // As the window does: `finished` queued to the main thread, which never waits on the worker.
        QEventLoop loop;
        bool done = false;
        connect(
            thread.get(), &QThread::finished, &loop, [&] { done = true, loop.quit(); }, Qt::QueuedConnection);
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        thread->setOperation(operation);
        thread->start(QThread::InheritPriority);
        loop.exec();
        QVERIFY(done);
    }

    void prepareCreate(const fs::path& package)
    {
        FileSet files;
        for (const auto& entry : fs::recursive_directory_iterator(folder / "source"))
            if (entry.is_regular_file())
                files.insert(u16(entry.path()));
        engine->setFiles(files);
        engine->setPackagePath(u16(package));
        engine->setRecipients({ me.get() });
    }

private slots:
    void initTestCase()
    {
        folder = freshFolder("thread");
        platform::setProfileDirectory(u16(folder / "profile"));
        closeCertificateStore();
        me = std::make_unique<ContactRecord>();
        me->name = u"Thread Tester";
        auto identity = IdentityCertificate::create(me->name);
        QVERIFY(identity);
        QVERIFY(identity->addToStore().ok());
        me->identity = *identity;
        engine = std::make_unique<PackageEngine>(*me);
        engine->setNameMode(NameModeFullPath);
        thread = std::make_unique<PackageThread>(&cancel, nullptr, nullptr);
        thread->setEngine(engine.get());
        connect(thread.get(), &PackageThread::statusUpdate, &receiver, &Receiver::on_StatusUpdate,
            Qt::BlockingQueuedConnection);

        fs::create_directories(folder / "source" / "sub");
        writeBytes(folder / "source" / "big.bin", randomBytes(3 * 1024 * 1024 + 5, 1));
        writeBytes(folder / "source" / "sub" / "small.bin", randomBytes(9000, 2));
        writeText(folder / "source" / "sub" / "tiny.txt", "x");
    }

    void init()
    {
        receiver.updates.clear();
        receiver.onUpdate = nullptr;
        cancel = false;
    }

    void progressReachesTheWindowAtScreenRateWithEveryPhaseComplete()
    {
        // With no interval every report of the engine reaches the window, on the main thread.
        thread->setReportInterval(std::chrono::nanoseconds(0));
        prepareCreate(folder / "p.kvx");
        runAndWait(PackageOperationCreate);
        QVERIFY(thread->result().ok());
        const std::vector<Seen> all = receiver.updates;
        std::set<QString> files;
        for (const Seen& seen : all) {
            QVERIFY(seen.onMainThread);
            if (seen.operation == OpWriteFile)
                files.insert(seen.fileName);
        }
        QCOMPARE(files.size(), std::size_t(4)); // three sources and the cipher text entry

        // The same run with a long interval: each phase shows its first and its last report, in
        // order and with the same values and names, and nothing in between.
        auto phases = [](const std::vector<Seen>& reports) {
            // The cipher text is written from a temporary whose name differs from run to run.
            auto key = [](const Seen& seen) {
                return std::make_tuple(seen.operation, seen.total, seen.processed,
                    seen.fileName.startsWith(QStringLiteral("KVX")) ? QStringLiteral("KVX") : seen.fileName);
            };
            std::vector<std::pair<decltype(key(reports[0])), decltype(key(reports[0]))>> list;
            for (const Seen& seen : reports) {
                if (list.empty() || std::get<0>(list.back().first) != seen.operation)
                    list.push_back({ key(seen), key(seen) });
                else
                    list.back().second = key(seen);
            }
            return list;
        };
        init();
        thread->setReportInterval(std::chrono::hours(1));
        runAndWait(PackageOperationCreate);
        thread->setReportInterval(std::chrono::milliseconds(16));
        QVERIFY(thread->result().ok());
        QVERIFY(phases(all).size() >= 5); // files, hash, encryption, outer entries, outer hash
        QVERIFY(phases(receiver.updates) == phases(all));
        QVERIFY(receiver.updates.size() <= 2 * phases(all).size());
    }

    // A cancel that comes while the window shows a report stops the run at that very callback: the
    // flag is read after the report, not before it.
    void cancelStopsAtTheCallbackItCameIn()
    {
        receiver.onUpdate = [this](const Seen&) { cancel = true; };
        prepareCreate(folder / "d.kvx");
        runAndWait(PackageOperationCreate);
        QCOMPARE(thread->result().severity(), SeverityStopped);
        QCOMPARE(receiver.updates.size(), std::size_t(1));
        QVERIFY(!fs::exists(folder / "d.kvx"));
    }

    void callbackWithoutRecordGoesOn()
    {
        QCOMPARE(packageThreadCallback(OpHash, 1, 1, nullptr), 1);
        KvxUtils::UserParameter orphan;
        QCOMPARE(packageThreadCallback(OpHash, 1, 1, &orphan), 1);
    }

    void cleanupTestCase() { closeCertificateStore(); }
};

int main(int argc, char** argv) { return runQtTest<PackageThreadTest, QCoreApplication>(argc, argv); }

#include "PackageThreadTest.moc"
