#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// Lets lookups read shared memory without a lock, and lets the one thread that took something out of that
/// memory wait until no lookup can still see it. Lookups are counted in one of two banks, each spread over
/// cache lines by thread; the waiting thread switches the bank that new lookups use, so that the old one
/// drains however many come.
///
/// A lookup never waits. `drain` waits for lookups that began before it; one caller at a time.
class LookupGate {
public:
    /// Counts a lookup while it lives.
    class Pass {
    public:
        explicit Pass(LookupGate &gate) noexcept : counter(gate.enter()) {}
        ~Pass() { counter.fetch_sub(1, std::memory_order_release); }
        Pass(const Pass &) = delete;
        Pass &operator=(const Pass &) = delete;

    private:
        std::atomic<std::uint32_t> &counter;
    };

    /// Returns once every lookup that may have seen the memory before the last sequentially consistent change
    /// to it has ended.
    void drain() noexcept;

private:
    struct alignas(64) Counter {
        std::atomic<std::uint32_t> lookups{0};
    };
    static constexpr std::size_t kStripes = 16;
    using Bank = std::array<Counter, kStripes>;

    std::atomic<std::uint32_t> &enter() noexcept;
    static void waitUntilEmpty(const Bank &bank) noexcept;

    std::array<Bank, 2> banks{};
    std::atomic<std::uint32_t> current{0};
};

} // namespace KVBase
