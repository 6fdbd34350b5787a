#pragma once

#include <cstdint>

namespace KVBase
{

/// The location of a range that does not exist.
inline constexpr std::uint32_t NSNotFound = 0x7fffffff;

/// A run of elements: the first one's index and their number. The unit is named by the function that answers
/// it.
struct NSRange {
    std::uint32_t location = 0;
    std::uint32_t length = 0;

    bool operator==(const NSRange &) const = default;
};

} // namespace KVBase
