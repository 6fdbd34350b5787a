#pragma once

#include "Files/ReleaseTest.h"

#include <atomic>

namespace KVBase
{

/// A version that is asked for until it is other than 0 and then kept until the process ends. Two first calls
/// that race each other store the same number.
class VersionCache {
public:
    constexpr explicit VersionCache(OSType asked) : selector(asked) {}

    std::int32_t value()
    {
        std::int32_t version = cached.load(std::memory_order_relaxed);
        if (version == 0) {
            version = gestaltOrZero(selector);
            cached.store(version, std::memory_order_relaxed);
        }
        return version;
    }

private:
    const OSType selector;
    std::atomic<std::int32_t> cached{0};
};

} // namespace KVBase
