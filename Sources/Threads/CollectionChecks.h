#pragma once

#include <KVBase/Platform/KVNil.h>

#include <QtCore/QVariant>

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// How many places a capacity reserves at most: it is a hint, and a wild one must not ask for all memory.
inline constexpr std::uint32_t kLargestReserve = 1u << 16;

[[noreturn]] void raiseNilObject(const char *method);
[[noreturn]] void raiseBeyondBounds(std::uint32_t index, std::size_t bound, const char *method);

/// Raises `NSInvalidArgumentException` that names `method` when `object` is nil; answers its type. The test
/// is that of `isNil`, without a call for each step.
inline int requireObject(const QVariant &object, const char *method)
{
    const int type = object.typeId();
    const bool isNilText =
        type == QMetaType::QString && isNil(*static_cast<const QString *>(object.constData()));
    if (type == QMetaType::UnknownType || isNilText)
        raiseNilObject(method);
    return type;
}

/// Raises `NSRangeException` that names `method` unless `index` is below `bound`.
inline void requireIndex(std::uint32_t index, std::size_t bound, const char *method)
{
    if (index >= bound)
        raiseBeyondBounds(index, bound, method);
}

} // namespace KVBase
