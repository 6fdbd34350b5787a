#include "Threads/LookupGate.h"

#include <pthread.h>
#include <sched.h>

namespace KVBase
{

namespace
{

/// The same number for a thread at every call; thread descriptors lie at least a page apart.
std::size_t stripeOfThisThread(std::size_t stripes) noexcept
{
    const auto descriptor = static_cast<std::uint64_t>(pthread_self());
    return static_cast<std::size_t>((descriptor * 0x9e3779b97f4a7c15u) >> 40) % stripes;
}

} // namespace

std::atomic<std::uint32_t> &LookupGate::enter() noexcept
{
    Bank &bank = banks[current.load(std::memory_order_relaxed) & 1u];
    std::atomic<std::uint32_t> &counter = bank[stripeOfThisThread(kStripes)].lookups;
    counter.fetch_add(1, std::memory_order_seq_cst);
    return counter;
}

void LookupGate::waitUntilEmpty(const Bank &bank) noexcept
{
    for (const Counter &counter : bank) {
        while (counter.lookups.load(std::memory_order_seq_cst) != 0)
            sched_yield();
    }
}

void LookupGate::drain() noexcept
{
    // A lookup that chose its bank just before a switch counts itself there just after it; so both banks are
    // seen empty once, and a lookup counted later than that sees the changed memory.
    for (int turn = 0; turn < 2; ++turn) {
        const std::uint32_t old = current.fetch_xor(1u, std::memory_order_seq_cst) & 1u;
        waitUntilEmpty(banks[old]);
    }
}

} // namespace KVBase
