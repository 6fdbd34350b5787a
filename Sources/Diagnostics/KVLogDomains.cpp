#include <KVBase/KVLog.h>

#include <iterator>

namespace KVBase
{

constinit std::atomic<std::int32_t> sDomainLevel[128];

void KVLogSetDomainLevel(std::uint32_t domain, std::int32_t level)
{
    if (domain < std::size(sDomainLevel))
        sDomainLevel[domain].store(level, std::memory_order_relaxed);
}

std::int32_t KVLogDomainLevel(std::uint32_t domain)
{
    return domain < std::size(sDomainLevel) ? sDomainLevel[domain].load(std::memory_order_relaxed) : 0;
}

} // namespace KVBase
