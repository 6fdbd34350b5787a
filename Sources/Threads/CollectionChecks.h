#pragma once

#include <QtCore/QVariant>

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// How many places a capacity reserves at most: it is a hint, and a wild one must not ask for all memory.
inline constexpr std::uint32_t kLargestReserve = 1u << 16;

/// Raises `NSInvalidArgumentException` that names `method` when `object` is nil.
void requireObject(const QVariant &object, const char *method);

/// Raises `NSRangeException` that names `method` unless `index` is below `bound`.
void requireIndex(std::uint32_t index, std::size_t bound, const char *method);

} // namespace KVBase
