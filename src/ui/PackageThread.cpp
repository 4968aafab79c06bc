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

bool PackageThread::reportIsVisible(unsigned operation, qint64 dataLength, qint64 processedLength,
                                    const char16_t* fileName)
{
    const qint64 percent = dataLength > 0 ? processedLength * 100 / dataLength : 0;
    const std::u16string_view name = fileName ? std::u16string_view(fileName) : std::u16string_view();
    if (sentAny_ && operation == sentOperation_ && percent == sentPercent_ && name == sentFileName_)
        return false;
    sentAny_ = true;
    sentOperation_ = operation;
    sentPercent_ = percent;
    sentFileName_.assign(name);
    return true;
}

void PackageThread::run()
{
    const bool registered = platform::CrashGuard::installForThread();
    sentAny_ = false;
    if (engine_) {
        engine_->setCallback(packageThreadCallback);
        engine_->setUserParameter(userParameter_.get());
        if (operation_ == PackageOperationCreate)
            result_ = engine_->create();
        else if (operation_ == PackageOperationExtract)
            result_ = engine_->extract();
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
        thread->emitEngineError(user_parameter, status);
    else if (thread->reportIsVisible(operation, data_length, processed_length, user_parameter->fileName))
        thread->emitStatusUpdate(operation, data_length, processed_length, user_parameter);
    return !thread->cancelRequested() && status ? 1 : 0;
}
