#pragma once
// Reports made on one thread and delivered, in order, on another. Work that runs ahead on a
// second core keeps its reports here until the phase before it has ended; the receiver then sees
// exactly the reports the work would have made on its own thread, and a stop it answers reaches
// the work at its next report.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "engine/EngineCallback.h"

class ReportRelay {
public:
    ReportRelay();
    ReportRelay(const ReportRelay&) = delete;
    ReportRelay& operator=(const ReportRelay&) = delete;

    // For the working thread: the callback and record to hand to the work.
    static EngineCallback callback() { return &ReportRelay::take; }
    KvxUtils::UserParameter* record() { return &record_; }
    // The working thread has made its last report.
    void close();

    // Every later report of the work answers stop.
    void cancel() { cancelled_.store(true, std::memory_order_relaxed); }
    // On the receiving thread: passes the reports on, in order, as they come, until the work has
    // closed (true) or a report was answered with stop (false; the work is cancelled and
    // `stoppedOperation` says which operation the report was of). A null callback takes them all.
    bool deliver(EngineCallback callback, KvxUtils::UserParameter* record, std::uint32_t& stoppedOperation);

private:
    struct Record : KvxUtils::UserParameter {
        ReportRelay* relay = nullptr;
    };
    // Reports of one operation whose values go up by the same step: a pass over a gigabyte makes a
    // million reports, but only a few runs.
    struct Run {
        std::uint32_t operation = 0;
        std::int64_t total = 0;
        std::int64_t first = 0;
        std::int64_t step = 0;
        std::int64_t count = 0;
        bool named = false;
        std::u16string name;
        EngineStatus status;
    };
    static int take(std::uint32_t operation, std::int64_t total, std::int64_t processed,
                    KvxUtils::UserParameter* record);
    int add(std::uint32_t operation, std::int64_t total, std::int64_t processed);
    void handOver();

    Record record_;
    Run pending_;  // the working thread's current run, not yet handed over
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Run> runs_;
    bool closed_ = false;
    std::atomic<bool> cancelled_ {false};
};
