#pragma once
// Runs one package operation off the main thread and turns the engine's callback into two
// signals, delivered with a blocking queued connection: the worker waits in each report until the
// window's slot has returned.

#include <QThread>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "engine/EngineCallback.h"
#include "engine/EngineStatus.h"

class PackageEngine;

inline constexpr unsigned PackageOperationNone = 0;
inline constexpr unsigned PackageOperationCreate = 1;
inline constexpr unsigned PackageOperationExtract = 2;

class PackageThread : public QThread {
    Q_OBJECT

public:
    // The cancel flag is the window's; it is only ever set to true while a run is going.
    PackageThread(std::atomic_bool* cancelFlag, QObject* parent = nullptr, PackageEngine* engine = nullptr);
    ~PackageThread() override;

    void setEngine(PackageEngine* engine) { engine_ = engine; }
    void setOperation(unsigned operation) { operation_ = operation; }
    EngineStatus result() const { return result_; }
    KvxUtils::UserParameter* userParameter() const { return userParameter_.get(); }
    bool cancelRequested() const { return cancelFlag_ && cancelFlag_->load(); }

    void emitStatusUpdate(unsigned operation, qint64 dataLength, qint64 processedLength,
                          KvxUtils::UserParameter* userParameter);
    void emitEngineError(KvxUtils::UserParameter* userParameter, bool& status);

    // Progress reaches the window at screen rate, not at the engine's: each report makes the
    // worker wait for the window, and thousands a second would cost more than the work itself.
    // A report goes out when it starts another operation, or when `interval` has passed since
    // the last one; one held back in between is kept and goes out when the operation changes or
    // the run ends, so every phase shows its last state. Errors always go out at once, after any
    // report held back before them. The cancel flag is tested at every report either way.
    void reportProgress(unsigned operation, qint64 dataLength, qint64 processedLength,
                        KvxUtils::UserParameter* userParameter);
    void reportError(KvxUtils::UserParameter* userParameter, bool& status);
    // About one display frame by default; tests choose 0 (every report) or a long one.
    void setReportInterval(std::chrono::nanoseconds interval) { reportInterval_ = interval; }

signals:
    void statusUpdate(unsigned operation, qint64 data_length, qint64 processed_length,
                      KvxUtils::UserParameter* user_parameter);
    void engineError(KvxUtils::UserParameter* user_parameter, bool& status);

protected:
    void run() override;

private:
    PackageEngine* engine_;
    EngineStatus result_;
    std::atomic_bool* cancelFlag_;
    unsigned operation_ = PackageOperationNone;
    std::unique_ptr<KvxUtils::UserParameter> userParameter_;

    void sendHeldBack();

    // Touched by the worker only.
    std::chrono::nanoseconds reportInterval_ = std::chrono::milliseconds(16);
    static constexpr int ClockEvery = 32;
    int unclocked_ = 0;
    bool sentAny_ = false;
    unsigned sentOperation_ = 0;
    std::chrono::steady_clock::time_point sentAt_;
    bool heldBack_ = false;
    unsigned heldOperation_ = 0;
    qint64 heldTotal_ = 0;
    qint64 heldProcessed_ = 0;
    bool heldHasName_ = false;
    std::u16string heldName_;
};

int packageThreadCallback(std::uint32_t operation, std::int64_t data_length, std::int64_t processed_length,
                          KvxUtils::UserParameter* user_parameter);
