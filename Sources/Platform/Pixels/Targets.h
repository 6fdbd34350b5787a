#pragma once

#include <KVBase/KVExport.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KVBase::Pixels
{

/// The instruction sets that the kernels were compiled for and this machine has, the best one first.
KV_EXPORT std::vector<std::int64_t> availableTargets();

/// Whether the kernels for AVX-512 may use its dot products of bytes and words.
bool hasDotProducts();

KV_EXPORT std::string targetName(std::int64_t target);

/// Makes all kernels of the process run on one instruction set while it lives, for tests and measurements.
class KV_EXPORT ScopedTarget {
public:
    explicit ScopedTarget(std::int64_t target);
    ~ScopedTarget();
    ScopedTarget(const ScopedTarget &) = delete;
    ScopedTarget &operator=(const ScopedTarget &) = delete;
};

} // namespace KVBase::Pixels
