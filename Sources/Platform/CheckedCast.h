#pragma once

#include <concepts>
#include <cstdint>
#include <limits>

namespace KVBase
{

/// Truncates toward zero as the platform's processors do, without the undefined behaviour of a plain cast: a
/// value beyond the target's range saturates, and a NaN becomes the most negative value (0 for an unsigned
/// target).
template <std::integral Target, std::floating_point Source>
constexpr Target checkedCast(Source value) noexcept
{
    // Both bounds are powers of two or zero and therefore exact in every floating-point type.
    constexpr Source lowest = static_cast<Source>(std::numeric_limits<Target>::min());
    constexpr Target half = std::numeric_limits<Target>::max() / 2 + 1;
    constexpr Source beyond = static_cast<Source>(half) * Source(2);
    if (value != value || value < lowest)
        return std::numeric_limits<Target>::min();
    if (value >= beyond)
        return std::numeric_limits<Target>::max();
    return static_cast<Target>(value);
}

/// `checkedCast` to a signed 32-bit integer.
template <std::floating_point Source>
constexpr std::int32_t truncateToInt32(Source value) noexcept
{
    return checkedCast<std::int32_t>(value);
}

} // namespace KVBase
