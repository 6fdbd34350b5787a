#include <KVBase/KVLog.h>

#include <KVBase/Platform/NSUserDefaults.h>

#include <algorithm>
#include <atomic>
#include <limits>

namespace KVBase
{

namespace
{

/// Negative: not read from the user defaults yet.
constinit std::atomic<std::int32_t> sDestination{-1};

std::int32_t storedDestination()
{
    using Limits = std::numeric_limits<std::int32_t>;
    const std::int64_t stored = NSUserDefaults::standardUserDefaults().integerForKey(kKVLogDestinationKey);
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(stored, Limits::min(), Limits::max()));
}

} // namespace

void KVLogSetDefaultDestination()
{
    sDestination.store(-1, std::memory_order_relaxed);
    NSUserDefaults::standardUserDefaults().registerDefaults({{kKVLogDestinationKey, 1}});
}

void KVLogSetDestination(std::int32_t destination)
{
    sDestination.store(destination, std::memory_order_relaxed);
    NSUserDefaults::standardUserDefaults().setInteger(destination, kKVLogDestinationKey);
}

std::int32_t KVLogDestination()
{
    const std::int32_t cached = sDestination.load(std::memory_order_relaxed);
    if (cached >= 0)
        return cached;
    const std::int32_t stored = storedDestination();
    // A destination that was set meanwhile stays.
    std::int32_t unread = cached;
    sDestination.compare_exchange_strong(unread, stored, std::memory_order_relaxed);
    return stored;
}

} // namespace KVBase
