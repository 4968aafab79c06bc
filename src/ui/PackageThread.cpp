#include "ui/PackageThread.h"

#include "package/PackageEngine.h"
#include "platform/CrashGuard.h"

PackageThread::PackageThread(std::atomic_bool* cancelFlag, QObject* parent, PackageEngine* engine)
    : QThread(parent), engine_(engine), cancelFlag_(cancelFlag),
      userParameter_(std::make_unique<KvxUtils::UserParameter>())
{
    userParameter_->thread = this;
}

// `finished` can reach the window before the thread has quite left; the object may only go once it
// has. The worker can't be waiting for the main thread here, since its reports ended with the run.
PackageThread::~PackageThread() { wait(); }

void PackageThread::emitStatusUpdate(unsigned operation, qint64 dataLength, qint64 processedLength,
                                     KvxUtils::UserParameter* userParameter)
{
    emit statusUpdate(operation, dataLength, processedLength, userParameter);
}

void PackageThread::emitEngineError(KvxUtils::UserParameter* userParameter, bool& status)
{
    emit engineError(userParameter, status);
}

void PackageThread::reportProgress(unsigned operation, qint64 dataLength, qint64 processedLength,
                                   KvxUtils::UserParameter* userParameter)
{
    const bool newOperation = !sentAny_ || operation != sentOperation_;
    if (newOperation)
        sendHeldBack();
    // The clock is read every few reports only: a pass over a gigabyte makes a million of them,
    // microseconds apart, so the frame is kept all the same.
    bool due = newOperation || reportInterval_.count() == 0;
    if (!due && ++unclocked_ >= ClockEvery) {
        unclocked_ = 0;
        due = std::chrono::steady_clock::now() - sentAt_ >= reportInterval_;
    }
    if (due) {
        heldBack_ = false;
        sentAny_ = true;
        sentOperation_ = operation;
        sentAt_ = std::chrono::steady_clock::now();
        unclocked_ = 0;
        emitStatusUpdate(operation, dataLength, processedLength, userParameter);
        return;
    }
    // The reporter's name is only valid during this call; keep a copy for a later send.
    heldBack_ = true;
    heldOperation_ = operation;
    heldTotal_ = dataLength;
    heldProcessed_ = processedLength;
    heldHasName_ = userParameter->fileName != nullptr;
    heldName_.assign(heldHasName_ ? userParameter->fileName : u"");
}

void PackageThread::reportError(KvxUtils::UserParameter* userParameter, bool& status)
{
    sendHeldBack();
    emitEngineError(userParameter, status);
}

void PackageThread::sendHeldBack()
{
    if (!heldBack_)
        return;
    heldBack_ = false;
    KvxUtils::UserParameter* record = userParameter_.get();
    const char16_t* reporterName = record->fileName;
    record->fileName = heldHasName_ ? heldName_.c_str() : nullptr;
    sentAt_ = std::chrono::steady_clock::now();
    emitStatusUpdate(heldOperation_, heldTotal_, heldProcessed_, record);
    record->fileName = reporterName;
}

void PackageThread::run()
{
    const bool registered = platform::CrashGuard::installForThread();
    sentAny_ = false;
    heldBack_ = false;
    unclocked_ = 0;
    if (engine_) {
        engine_->setCallback(packageThreadCallback);
        engine_->setUserParameter(userParameter_.get());
        if (operation_ == PackageOperationCreate)
            result_ = engine_->create();
        else if (operation_ == PackageOperationExtract)
            result_ = engine_->extract();
        sendHeldBack();
    }
    if (registered)
        platform::CrashGuard::uninstallForThread();
}

int packageThreadCallback(std::uint32_t operation, std::int64_t data_length, std::int64_t processed_length,
                          KvxUtils::UserParameter* user_parameter)
{
    if (!user_parameter || !user_parameter->thread)
        return 1;
    PackageThread* thread = user_parameter->thread;
    bool status = true;
    if (operation == OpError)
        thread->reportError(user_parameter, status);
    else
        thread->reportProgress(operation, data_length, processed_length, user_parameter);
    return !thread->cancelRequested() && status ? 1 : 0;
}
