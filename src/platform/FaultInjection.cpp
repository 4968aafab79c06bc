#include "platform/FaultInjection.h"

#include <atomic>

#include "platform/LastError.h"

namespace platform::faults {

namespace {
struct Slot {
    std::atomic<int> remaining{-1};
    std::atomic<std::uint32_t> code{0};
    std::atomic<bool> sticky{false};
};
Slot slots[static_cast<int>(Kind::Count)];
std::atomic<bool> armed{false};
}  // namespace

void failAfter(Kind kind, int callsToPass, std::uint32_t code, bool sticky)
{
    Slot& slot = slots[static_cast<int>(kind)];
    slot.code = code;
    slot.sticky = sticky;
    slot.remaining = callsToPass;
    armed = true;
}

void reset()
{
    for (Slot& slot : slots) {
        slot.remaining = -1;
        slot.sticky = false;
    }
    armed = false;
}

bool shouldFail(Kind kind)
{
    if (!armed.load(std::memory_order_relaxed))
        return false;
    Slot& slot = slots[static_cast<int>(kind)];
    int remaining = slot.remaining.load();
    while (remaining > 0) {
        if (slot.remaining.compare_exchange_weak(remaining, remaining - 1))
            return false;
    }
    if (remaining < 0)
        return false;
    if (!slot.sticky)
        slot.remaining = -1;
    setLastError(slot.code);
    return true;
}

}  // namespace platform::faults
