#pragma once

#include <atomic>
#include <cstdint>

namespace KVBase
{

/// Lets lookups read shared memory without a lock, and lets the one thread that took something out of that
/// memory wait until no lookup can still see it. Each thread counts in a seat of its own, which nobody else
/// writes to meanwhile: the count is odd during a lookup.
///
/// A lookup never waits. `drain` waits for lookups that began before it; one caller at a time. A process has
/// one gate, because a thread has one seat.
class LookupGate {
    struct alignas(64) Seat {
        std::atomic<std::uint64_t> count{0};
        std::atomic<bool> isTaken{true};
        Seat *next = nullptr;
    };

public:
    /// Counts a lookup while it lives. There is no lookup inside a lookup.
    class Pass {
    public:
        explicit Pass(LookupGate &gate) noexcept
            : seat(ownSeat != nullptr ? ownSeat : gate.takeSeat()),
              before(seat->count.load(std::memory_order_relaxed))
        {
            seat->count.store(before + 1, std::memory_order_seq_cst);
        }

        ~Pass()
        {
            seat->count.store(before + 2, std::memory_order_release);
            // A thread that ends has no seat any more, and borrows one.
            if (seat != ownSeat)
                leave(*seat);
        }

        Pass(const Pass &) = delete;
        Pass &operator=(const Pass &) = delete;

    private:
        Seat *seat;
        std::uint64_t before;
    };

    /// Returns once every lookup that may have seen the memory before the last sequentially consistent change
    /// to it has ended.
    void drain() noexcept;

private:
    struct Tenant;

    Seat *takeSeat() noexcept;
    Seat *freeSeat() noexcept;
    static void leave(Seat &seat) noexcept { seat.isTaken.store(false, std::memory_order_release); }

    /// The calling thread's; null before its first lookup and while it ends. Of a model that costs no call.
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Seat *ownSeat;

    /// All there are. A seat is never freed: it outlives its thread, and the next one takes it.
    std::atomic<Seat *> seats{nullptr};
};

} // namespace KVBase
