#include <KVBase/Platform/NSRecursiveLock.h>

namespace KVBase
{

/// Whoever wakes up here takes the lock as one that others may wait for: it cannot know better.
void NSRecursiveLock::wait() noexcept
{
    while (state.exchange(Awaited, std::memory_order_acquire) != Free)
        state.wait(Awaited, std::memory_order_relaxed);
    owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

void NSRecursiveLock::wakeOne() noexcept { state.notify_one(); }

} // namespace KVBase
