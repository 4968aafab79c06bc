#pragma once
// What the engine reports while halvoren-cli runs: a one-line progress display on a terminal,
// warnings for skipped files, the words for a refused package, and the stop on Ctrl-C.

#include <atomic>
#include <cstdint>
#include <string>

#include "engine/EngineCallback.h"

class ProgressPrinter {
public:
    enum class Mode { Create, Extract };

    // Draws progress only if standard error is a terminal.
    explicit ProgressPrinter(Mode mode);
    ~ProgressPrinter();

    // The engine's callback; it reaches the one active printer.
    static int callback(std::uint32_t operation, std::int64_t total, std::int64_t processed,
                        KvxUtils::UserParameter* parameter);
    KvxUtils::UserParameter* record() { return &record_; }

    // With skipping allowed a source that can't be read is left out with a warning; otherwise it
    // stops the run.
    void setSkipUnreadable(bool skip) { skipUnreadable_ = skip; }
    // Whether an OpError was already told to the user, so the run's final status needs no words.
    bool reportedFailure() const { return reportedFailure_; }
    int skippedFiles() const { return skipped_; }
    // The package being opened, named in a report about the package itself.
    void setPackagePath(const std::u16string& path) { packagePath_ = path; }

    // Ctrl-C, SIGTERM and SIGHUP (the terminal went away) set this; the next callback answers stop.
    static void installInterruptHandlers();
    static bool interrupted();

private:
    int report(std::uint32_t operation, std::int64_t total, std::int64_t processed, KvxUtils::UserParameter* parameter);
    void clearLine();

    Mode mode_;
    bool interactive_;
    KvxUtils::UserParameter record_;
    bool drawn_ = false;
    bool reportedFailure_ = false;
    int skipped_ = 0;
    bool skipUnreadable_ = false;
    std::uint32_t lastOperation_ = ~0u;
    std::int64_t lastPercent_ = -1;
    std::u16string lastName_;
    std::u16string packagePath_;
};
