// Keeps some of the pixels of a row.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/ThinOut.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Platform/Pixels/PixelVectors-inl.h"
#include "Platform/Pixels/Pixels.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

#if HWY_TARGET == HWY_SCALAR

std::size_t halveRow(const std::uint8_t *, std::uint8_t *, std::size_t) { return 0; }

#else

/// Keeps every second pixel; returns how many are done. Both vectors are read before one is written, which
/// never reaches what is still to be read.
std::size_t halveRow(const std::uint8_t *source, std::uint8_t *target, std::size_t count)
{
    const std::size_t step = hn::Lanes(PixelTag());
    std::size_t i = 0;
    // One pixel behind the last one kept is read: that of the very last one may be none of the caller's.
    for (; i + step < count; i += step) {
        const PixelVector low = load(source + i * 8);
        const PixelVector high = load(source + i * 8 + step * 4);
        store(hn::ConcatEven(PixelTag(), high, low), target + i * 4);
    }
    return i;
}

#endif

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(halveRow);

void thinOut(const std::uint8_t *source, std::uint8_t *target, std::size_t count, std::size_t factor)
{
    std::size_t i = factor == 2 ? HWY_DYNAMIC_DISPATCH(halveRow)(source, target, count) : 0;
    for (; i < count; ++i)
        std::memmove(target + i * 4, source + i * factor * 4, 4);
}

} // namespace KVBase::Pixels
#endif
