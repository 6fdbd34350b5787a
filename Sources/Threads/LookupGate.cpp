#include "Threads/LookupGate.h"

#include <sched.h>

namespace KVBase
{

constinit thread_local LookupGate::Seat *LookupGate::ownSeat = nullptr;

/// Holds the thread's seat until the thread ends.
struct LookupGate::Tenant {
    ~Tenant()
    {
        hasLeft = true;
        if (Seat *const seat = ownSeat) {
            ownSeat = nullptr;
            leave(*seat);
        }
    }

    static constinit thread_local bool hasLeft;
};

constinit thread_local bool LookupGate::Tenant::hasLeft = false;

/// One that nobody uses, a new one when there is none.
LookupGate::Seat *LookupGate::freeSeat() noexcept
{
    for (Seat *seat = seats.load(std::memory_order_acquire); seat != nullptr; seat = seat->next)
        if (!seat->isTaken.load(std::memory_order_relaxed) &&
            !seat->isTaken.exchange(true, std::memory_order_acquire))
            return seat;
    // Without memory for it the process ends.
    auto *const added = new Seat; // NOLINT(bugprone-unhandled-exception-at-new)
    added->next = seats.load(std::memory_order_relaxed);
    while (!seats.compare_exchange_weak(added->next, added, std::memory_order_seq_cst))
        continue;
    return added;
}

LookupGate::Seat *LookupGate::takeSeat() noexcept
{
    Seat *const seat = freeSeat();
    if (!Tenant::hasLeft) {
        static thread_local const Tenant tenant;
        static_cast<void>(tenant);
        ownSeat = seat;
    }
    return seat;
}

void LookupGate::drain() noexcept
{
    // A lookup that is counted later than its seat is looked at here sees the changed memory.
    for (const Seat *seat = seats.load(std::memory_order_seq_cst); seat != nullptr; seat = seat->next) {
        const std::uint64_t count = seat->count.load(std::memory_order_seq_cst);
        const bool isLookingUp = count % 2 != 0;
        while (isLookingUp && seat->count.load(std::memory_order_acquire) == count)
            sched_yield();
    }
}

} // namespace KVBase
