// Vectors of whole pixels; included once for each instruction set.
#if defined(KVBASE_PIXEL_VECTORS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KVBASE_PIXEL_VECTORS_INL
#undef KVBASE_PIXEL_VECTORS_INL
#else
#define KVBASE_PIXEL_VECTORS_INL
#endif

#include <hwy/highway.h>

#include <cstdint>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using PixelTag = hn::ScalableTag<std::uint32_t>;
using PixelVector = hn::Vec<PixelTag>;

HWY_INLINE std::uint32_t loadOne(const std::uint8_t *bytes)
{
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, bytes, sizeof pixel);
    return pixel;
}

HWY_INLINE void storeOne(std::uint32_t pixel, std::uint8_t *bytes)
{
    std::memcpy(bytes, &pixel, sizeof pixel);
}

/// The first byte of a pixel is the lowest of its word. Pixels need not be aligned.
HWY_INLINE PixelVector load(const std::uint8_t *bytes)
{
#if HWY_TARGET == HWY_SCALAR
    return hn::Set(PixelTag(), loadOne(bytes));
#else
    return hn::BitCast(PixelTag(), hn::LoadU(hn::Repartition<std::uint8_t, PixelTag>(), bytes));
#endif
}

HWY_INLINE void store(PixelVector pixels, std::uint8_t *bytes)
{
#if HWY_TARGET == HWY_SCALAR
    storeOne(hn::GetLane(pixels), bytes);
#else
    const hn::Repartition<std::uint8_t, PixelTag> anyBytes;
    hn::StoreU(hn::BitCast(anyBytes, pixels), anyBytes, bytes);
#endif
}

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#endif
