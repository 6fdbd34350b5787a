#include <KVBase/KVLog.h>

#include <atomic>

namespace KVBase
{

namespace
{

/// Negative: not read from the user defaults yet.
constinit std::atomic<std::int32_t> sDestination{-1};

} // namespace

void KVLogSetDefaultDestination() { sDestination.store(1); }

void KVLogSetDestination(std::int32_t destination) { sDestination.store(destination); }

std::int32_t KVLogDestination() { return sDestination.load(std::memory_order_relaxed); }

} // namespace KVBase
