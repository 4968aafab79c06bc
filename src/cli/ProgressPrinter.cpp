#include "cli/ProgressPrinter.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "cli/Printable.h"
#include "package/StatusText.h"
#include "platform/ErrorText.h"
#include "platform/Utf.h"

namespace {
ProgressPrinter* active = nullptr;
std::atomic<bool> interruptRequested {false};

extern "C" void onInterrupt(int) { interruptRequested.store(true); }

// Sources named relative to the working folder reach the engine as "./name"; the user gave "name".
std::string shownPath(std::u16string_view path)
{
    if (path.substr(0, 2) == u"./")
        path.remove_prefix(2);
    return printable(platform::toUtf8(path));
}

const char* operationName(std::uint32_t operation)
{
    switch (operation) {
    case OpEncrypt: return "Encrypting";
    case OpDecrypt: return "Decrypting";
    case OpHash: return "Checking";
    case OpWriteFile: return "Adding";
    case OpExtractFile: return "Extracting";
    default: return "Working";
    }
}
}  // namespace

ProgressPrinter::ProgressPrinter(Mode mode) : mode_(mode), interactive_(::isatty(STDERR_FILENO) == 1)
{
    active = this;
}

ProgressPrinter::~ProgressPrinter()
{
    clearLine();
    if (active == this)
        active = nullptr;
}

void ProgressPrinter::installInterruptHandlers()
{
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGHUP, &action, nullptr);
}

bool ProgressPrinter::interrupted() { return interruptRequested.load(); }

int ProgressPrinter::callback(std::uint32_t operation, std::int64_t total, std::int64_t processed,
                              KvxUtils::UserParameter* parameter)
{
    const int goOn = active ? active->report(operation, total, processed, parameter) : 1;
    return goOn && !interrupted() ? 1 : 0;
}

void ProgressPrinter::clearLine()
{
    if (drawn_) {
        std::fputs("\r\x1b[K", stderr);
        std::fflush(stderr);
        drawn_ = false;
    }
}

int ProgressPrinter::report(std::uint32_t operation, std::int64_t total, std::int64_t processed,
                            KvxUtils::UserParameter* parameter)
{
    if (operation == OpError) {
        clearLine();
        // A stop makes the package check fail too; it is reported as the stop it is, once, by the
        // command.
        if (interrupted())
            return 0;
        const EngineStatus status = parameter ? parameter->status : EngineStatus();
        // A report without a file name while a package is opened is about the package itself.
        FailureSubject subject;
        subject.packageInvalid = mode_ == Mode::Extract;
        subject.path = parameter && parameter->fileName ? std::u16string(parameter->fileName) : packagePath_;
        const std::string text = printable(platform::toUtf8(
            mode_ == Mode::Create ? platform::userText(status.code()) : ::statusText(status, subject)));
        if (mode_ == Mode::Create && parameter && parameter->fileName) {
            const std::string file = shownPath(parameter->fileName);
            if (skipUnreadable_) {
                // Left out as asked; the rest of the package still gets made.
                std::fprintf(stderr, "halvoren-cli: skipping %s: %s\n", file.c_str(), text.c_str());
                ++skipped_;
                return 1;
            }
            // A package without a file the user named is not what was asked for.
            std::fprintf(stderr, "halvoren-cli: can't read %s: %s\n", file.c_str(), text.c_str());
            reportedFailure_ = true;
            return 0;
        }
        std::fprintf(stderr, "halvoren-cli: %s\n", text.c_str());
        reportedFailure_ = true;
        return 0;
    }
    if (!interactive_)
        return 1;
    // Redraw only when the line would change: the operation, the file or the whole percentage.
    const std::int64_t percent = total > 0 ? std::min<std::int64_t>(processed * 100 / total, 100) : 0;
    const std::u16string_view name = parameter && parameter->fileName ? parameter->fileName : u"";
    if (operation == lastOperation_ && percent == lastPercent_ && name == lastName_)
        return 1;
    lastOperation_ = operation;
    lastPercent_ = percent;
    lastName_.assign(name);
    std::string file = shownPath(name);
    if (file.size() > 50)
        file = "..." + file.substr(file.size() - 47);
    std::fprintf(stderr, "\r\x1b[K%s %s %3lld%%", operationName(operation), file.c_str(), static_cast<long long>(percent));
    std::fflush(stderr);
    drawn_ = true;
    return 1;
}
