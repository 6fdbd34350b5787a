#include "Platform/ByteSearch.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/ByteSearch.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace KVBase::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

/// The first place below `places` that matches, from `position` on; `places` when there is none.
inline std::size_t findByByte(const char *bytes, std::size_t position, std::size_t places,
                              const char *pattern, std::size_t length)
{
    while (position < places) {
        const void *const hit = std::memchr(bytes + position, pattern[0], places - position);
        if (hit == nullptr)
            return places;
        position = static_cast<std::size_t>(static_cast<const char *>(hit) - bytes);
        if (std::memcmp(bytes + position, pattern, length) == 0)
            return position;
        ++position;
    }
    return places;
}

/// As the function of the same name outside, by position; `size - length + 1`, the number of places, is above
/// 0.
std::size_t FindBytes(const char *bytes, std::size_t places, const char *pattern, std::size_t length)
{
    const hn::ScalableTag<std::uint8_t> tag;
    const std::size_t lanes = hn::Lanes(tag);
    const auto *const first = reinterpret_cast<const std::uint8_t *>(bytes);
    const std::uint8_t *const last = first + length - 1;
    const auto firstByte = hn::Set(tag, static_cast<std::uint8_t>(pattern[0]));
    const auto lastByte = hn::Set(tag, static_cast<std::uint8_t>(pattern[length - 1]));
    const auto candidates = [&](std::size_t position) {
        return hn::And(hn::Eq(hn::LoadU(tag, first + position), firstByte),
                       hn::Eq(hn::LoadU(tag, last + position), lastByte));
    };

    // From an aligned place on, half of the loads stay within one cache line.
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(bytes) % lanes;
    std::size_t position = std::min(misaligned == 0 ? 0 : lanes - misaligned, places);
    const std::size_t early = findByByte(bytes, 0, position, pattern, length);
    if (early != position)
        return early;
    while (position + 4 * lanes <= places) {
        // Four vectors at a time: matches are rare, and one test serves all.
        const auto one = hn::Or(candidates(position), candidates(position + lanes));
        const auto two = hn::Or(candidates(position + 2 * lanes), candidates(position + 3 * lanes));
        const std::size_t end = position + 4 * lanes;
        if (!hn::AllFalse(tag, hn::Or(one, two))) {
            const std::size_t match = findByByte(bytes, position, end, pattern, length);
            if (match != end)
                return match;
        }
        position = end;
    }
    return findByByte(bytes, position, places, pattern, length);
}

} // namespace KVBase::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase
{

HWY_EXPORT(FindBytes);

const char *findBytes(const char *bytes, std::size_t size, const char *pattern, std::size_t length)
{
    if (length == 0 || length > size)
        return nullptr;
    const std::size_t places = size - length + 1;
    const std::size_t found = HWY_DYNAMIC_DISPATCH(FindBytes)(bytes, places, pattern, length);
    return found < places ? bytes + found : nullptr;
}

} // namespace KVBase
#endif
