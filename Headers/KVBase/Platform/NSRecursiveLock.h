#pragma once

#include <KVBase/KVExport.h>

#include <atomic>
#include <cstdint>
#include <thread>

namespace KVBase
{

/// A lock that the thread that holds it may take again; it is free once it was released as often as it was
/// taken. Any thread; a thread that waits sleeps. Works with `std::lock_guard` and `std::unique_lock`.
class KV_EXPORT NSRecursiveLock {
public:
    NSRecursiveLock() = default;
    NSRecursiveLock(const NSRecursiveLock &) = delete;
    NSRecursiveLock &operator=(const NSRecursiveLock &) = delete;

    void lock() noexcept
    {
        if (!try_lock())
            wait();
    }

    bool try_lock() noexcept
    {
        const std::thread::id self = std::this_thread::get_id();
        // Another thread's number is never the own one, however old the value is.
        if (owner.load(std::memory_order_relaxed) == self) {
            ++depth;
            return true;
        }
        State expected = Free;
        if (!state.compare_exchange_strong(expected, Held, std::memory_order_acquire,
                                           std::memory_order_relaxed))
            return false;
        owner.store(self, std::memory_order_relaxed);
        return true;
    }

    /// On the thread that holds the lock only.
    void unlock() noexcept
    {
        if (depth > 0) {
            --depth;
            return;
        }
        owner.store(std::thread::id(), std::memory_order_relaxed);
        if (state.exchange(Free, std::memory_order_release) == Awaited)
            wakeOne();
    }

private:
    using State = int;
    /// Nobody holds it; somebody does; somebody does and others may sleep.
    static constexpr State Free = 0;
    static constexpr State Held = 1;
    static constexpr State Awaited = 2;

    void wait() noexcept;
    void wakeOne() noexcept;

    std::atomic<State> state{Free};
    std::atomic<std::thread::id> owner{};
    /// How often the owner took it again. The owner's own.
    std::uint32_t depth = 0;
};

} // namespace KVBase
