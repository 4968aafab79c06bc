#include "package/ReportRelay.h"

namespace {
// A run is handed over after this many reports even if it goes on, so that the receiver follows
// the work closely (for the cipher that is about every megabyte).
constexpr std::int64_t HandOverEvery = 1024;
}  // namespace

ReportRelay::ReportRelay() { record_.relay = this; }

int ReportRelay::take(std::uint32_t operation, std::int64_t total, std::int64_t processed,
                      KvxUtils::UserParameter* record)
{
    return static_cast<Record*>(record)->relay->add(operation, total, processed);
}

int ReportRelay::add(std::uint32_t operation, std::int64_t total, std::int64_t processed)
{
    if (cancelled_.load(std::memory_order_relaxed))
        return 0;
    const bool named = record_.fileName != nullptr;
    Run& run = pending_;
    const bool extends = run.count > 0 && run.operation == operation && run.total == total && run.named == named
        && operation != OpError && (!named || run.name == record_.fileName)
        && (run.count == 1 || processed == run.first + run.count * run.step);
    if (extends) {
        if (run.count == 1)
            run.step = processed - run.first;
        ++run.count;
    } else {
        handOver();
        run.operation = operation;
        run.total = total;
        run.first = processed;
        run.step = 0;
        run.count = 1;
        run.named = named;
        run.name = named ? std::u16string(record_.fileName) : std::u16string();
        run.status = record_.status;
    }
    if (run.count >= HandOverEvery)
        handOver();
    return 1;
}

void ReportRelay::handOver()
{
    if (pending_.count == 0)
        return;
    {
        std::lock_guard guard(lock_);
        runs_.push_back(pending_);
    }
    changed_.notify_one();
    pending_.count = 0;
}

void ReportRelay::close()
{
    handOver();
    {
        std::lock_guard guard(lock_);
        closed_ = true;
    }
    changed_.notify_one();
}

bool ReportRelay::deliver(EngineCallback callback, KvxUtils::UserParameter* record, std::uint32_t& stoppedOperation)
{
    for (;;) {
        Run run;
        {
            std::unique_lock guard(lock_);
            changed_.wait(guard, [this] { return !runs_.empty() || closed_; });
            if (runs_.empty())
                return true;
            run = std::move(runs_.front());
            runs_.pop_front();
        }
        if (!callback)
            continue;
        for (std::int64_t i = 0; i < run.count; ++i) {
            if (record) {
                record->fileName = run.named ? run.name.c_str() : nullptr;
                if (run.operation == OpError)
                    record->status = run.status;
            }
            const int goOn = callback(run.operation, run.total, run.first + i * run.step, record);
            if (record)
                record->fileName = nullptr;
            if (goOn == 0) {
                cancel();
                stoppedOperation = run.operation;
                return false;
            }
        }
    }
}
