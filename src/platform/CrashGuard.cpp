#include "platform/CrashGuard.h"

#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/AtomicFile.h"
#include "platform/Utf.h"

namespace platform {

namespace {
constexpr int Signals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr std::size_t SignalCount = sizeof Signals / sizeof Signals[0];

// Everything the handler needs is prepared before a crash: it may not allocate.
char reportFolder[1024];
char versionText[64];
struct sigaction previous[SignalCount];
std::atomic<bool> installed {false};

thread_local void* threadStack = nullptr;
thread_local stack_t previousStack {};

void writeText(int fd, const char* text) { [[maybe_unused]] auto ignored = ::write(fd, text, std::strlen(text)); }

void writeNumber(int fd, long value)
{
    char digits[24];
    int i = sizeof digits;
    bool negative = value < 0;
    unsigned long magnitude = negative ? 0ul - static_cast<unsigned long>(value) : static_cast<unsigned long>(value);
    do {
        digits[--i] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude && i > 1);
    if (negative)
        digits[--i] = '-';
    [[maybe_unused]] auto ignored = ::write(fd, digits + i, sizeof digits - static_cast<std::size_t>(i));
}

void onFatalSignal(int signal)
{
    const long now = static_cast<long>(::time(nullptr));
    char path[1200];
    std::size_t length = std::strlen(reportFolder);
    std::memcpy(path, reportFolder, length);
    const char prefix[] = "/crash-";
    std::memcpy(path + length, prefix, sizeof prefix - 1);
    length += sizeof prefix - 1;
    char digits[24];
    int i = sizeof digits;
    long value = now;
    do {
        digits[--i] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value && i > 0);
    std::memcpy(path + length, digits + i, sizeof digits - static_cast<std::size_t>(i));
    length += sizeof digits - static_cast<std::size_t>(i);
    const char suffix[] = ".txt";
    std::memcpy(path + length, suffix, sizeof suffix);

    const int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd >= 0) {
        writeText(fd, "Halvoren ");
        writeText(fd, versionText);
        writeText(fd, " crashed\nsignal: ");
        writeNumber(fd, signal);
        writeText(fd, "\ntime: ");
        writeNumber(fd, now);
        writeText(fd, "\nbacktrace:\n");
        void* frames[64];
        const int count = ::backtrace(frames, 64);
        ::backtrace_symbols_fd(frames, count, fd);
        ::close(fd);
    }
    // SA_RESETHAND put the default action back: raising again ends the process as it would have.
    ::raise(signal);
}
}  // namespace

bool CrashGuard::install(const std::u16string& folder, const std::u16string& version)
{
    if (installed)
        return true;
    const std::string nativeFolder = toUtf8(folder);
    const std::string nativeVersion = toUtf8(version);
    if (nativeFolder.empty() || nativeFolder.size() >= sizeof reportFolder - 64 || nativeVersion.size() >= sizeof versionText)
        return false;
    makePrivateDirectory(folder);
    std::memcpy(reportFolder, nativeFolder.c_str(), nativeFolder.size() + 1);
    std::memcpy(versionText, nativeVersion.c_str(), nativeVersion.size() + 1);
    // backtrace loads its unwinder on first use; do that now, not inside the handler.
    void* warmUp[1];
    ::backtrace(warmUp, 1);

    struct sigaction action {};
    action.sa_handler = onFatalSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND | SA_ONSTACK;
    for (std::size_t i = 0; i < SignalCount; ++i)
        ::sigaction(Signals[i], &action, &previous[i]);
    installed = true;
    return true;
}

void CrashGuard::uninstall()
{
    if (!installed.exchange(false))
        return;
    for (std::size_t i = 0; i < SignalCount; ++i)
        ::sigaction(Signals[i], &previous[i], nullptr);
}

bool CrashGuard::isInstalled() { return installed; }

bool CrashGuard::installForThread()
{
    if (threadStack)
        return true;
    const std::size_t size = 64 * 1024;
    threadStack = std::malloc(size);
    if (!threadStack)
        return false;
    stack_t stack {};
    stack.ss_sp = threadStack;
    stack.ss_size = size;
    if (::sigaltstack(&stack, &previousStack) != 0) {
        std::free(threadStack);
        threadStack = nullptr;
        return false;
    }
    return true;
}

void CrashGuard::uninstallForThread()
{
    if (!threadStack)
        return;
    stack_t current {};
    ::sigaltstack(nullptr, &current);
    if (current.ss_sp == threadStack) {
        if (previousStack.ss_sp)
            ::sigaltstack(&previousStack, nullptr);
        else {
            stack_t disable {};
            disable.ss_flags = SS_DISABLE;
            ::sigaltstack(&disable, nullptr);
        }
    }
    std::free(threadStack);
    threadStack = nullptr;
}

}  // namespace platform
