#pragma once
// Runs one package operation off the main thread and turns the engine's callback into two
// signals, delivered with a blocking queued connection: the worker waits in each report until the
// window's slot has returned.

#include <QThread>
#include <atomic>
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

    // Whether a progress report could change what the window shows: another operation, another
    // file, or another whole percentage than the last report that was sent. Reports that
    // couldn't are not sent at all, which keeps the worker from waiting on the window thousands
    // of times a second; the cancel flag is still tested at every one.
    bool reportIsVisible(unsigned operation, qint64 dataLength, qint64 processedLength, const char16_t* fileName);

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

    // What the last sent progress report showed; touched by the worker only.
    bool sentAny_ = false;
    unsigned sentOperation_ = 0;
    qint64 sentPercent_ = 0;
    std::u16string sentFileName_;
};

int packageThreadCallback(std::uint32_t operation, std::int64_t data_length, std::int64_t processed_length,
                          KvxUtils::UserParameter* user_parameter);
