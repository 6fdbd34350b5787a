// Turns premultiplied and opaque pixels into straight ones with alpha.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/Straight.cpp"
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

using FloatTag = hn::ScalableTag<float>;
using IntegerTag = hn::ScalableTag<std::int32_t>;

using Floats = hn::Vec<FloatTag>;

HWY_INLINE Floats toFloats(PixelVector values)
{
    return hn::ConvertTo(FloatTag(), hn::BitCast(IntegerTag(), values));
}

/// Without the steps that the library's own conversion takes for numbers that do not fit.
HWY_INLINE PixelVector truncated(Floats values)
{
#if HWY_TARGET == HWY_AVX3
    return PixelVector{_mm512_cvttps_epu32(values.raw)};
#elif HWY_TARGET == HWY_AVX2
    return PixelVector{_mm256_cvttps_epi32(values.raw)};
#elif HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_SSSE3
    return PixelVector{_mm_cvttps_epi32(values.raw)};
#else
    return hn::BitCast(PixelTag(), hn::ConvertTo(IntegerTag(), values));
#endif
}

/// The channel that starts at bit kShift, multiplied by `scale`, at the same place; the bits around it may be
/// any. It is not shifted down and up again: powers of two leave the digits of a product as they are.
template <int kShift>
HWY_INLINE PixelVector straightChannel(PixelVector pixels, Floats scale)
{
    const Floats channel = toFloats(hn::And(pixels, hn::Set(PixelTag(), 0xffu << kShift)));
#if HWY_TARGET != HWY_AVX3
    // Up to 65025 * 2 ^ 16 would not fit into 31 bits.
    if constexpr (kShift == 16) {
        const Floats down = hn::Mul(scale, hn::Set(FloatTag(), 1.0f / 65536));
        return hn::ShiftLeft<kShift>(truncated(hn::Mul(channel, down)));
    }
#endif
    return truncated(hn::Mul(channel, scale));
}

/// The bits of `lower` where `mask` has ones, else those of `upper`.
HWY_INLINE PixelVector joined(std::uint32_t mask, PixelVector lower, PixelVector upper)
{
#if HWY_TARGET == HWY_SCALAR
    return hn::Set(PixelTag(), (hn::GetLane(lower) & mask) | (hn::GetLane(upper) & ~mask));
#else
    return hn::IfVecThenElse(hn::Set(PixelTag(), mask), lower, upper);
#endif
}

HWY_INLINE PixelVector straightPixels(PixelVector pixels)
{
    const Floats alpha = toFloats(hn::ShiftRight<24>(pixels));
    const Floats none = hn::Zero(FloatTag());
    // Under alpha 0 every colour is multiplied by 0.
    const Floats scale = hn::IfThenElseZero(hn::Gt(alpha, none), hn::Div(hn::Set(FloatTag(), 255.0f), alpha));
    const PixelVector upper = joined(0xffffff, straightChannel<16>(pixels, scale), pixels);
    return joined(0xff, straightChannel<0>(pixels, scale),
                  joined(0xffff, straightChannel<8>(pixels, scale), upper));
}

HWY_INLINE std::uint32_t straightPixel(std::uint32_t pixel)
{
    const std::uint32_t alpha = pixel >> 24;
    if (alpha == 0)
        return 0;
    const float scale = 255.0f / static_cast<float>(alpha);
    std::uint32_t result = alpha << 24;
    for (unsigned shift = 0; shift < 24; shift += 8) {
        const float product = static_cast<float>(pixel >> shift & 0xff) * scale;
        result |= (static_cast<std::uint32_t>(product) & 0xff) << shift;
    }
    return result;
}

template <bool kAlphaFirst>
HWY_INLINE void straightRowInOrder(const std::uint8_t *source, std::uint8_t *target, std::size_t count)
{
    const std::size_t step = hn::Lanes(PixelTag());
    const PixelVector opaque = hn::Set(PixelTag(), 0xff000000u);
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const PixelVector pixels = load(source + i * 4);
        // Multiplying by 255 / 255 changes nothing, and most pictures are opaque nearly everywhere.
        const bool isOpaque = hn::AllTrue(PixelTag(), hn::Eq(hn::And(pixels, opaque), opaque));
        PixelVector straight = isOpaque ? pixels : straightPixels(pixels);
        if constexpr (kAlphaFirst)
            straight = hn::RotateRight<24>(straight);
        store(straight, target + i * 4);
    }
    for (; i < count; ++i) {
        std::uint32_t pixel = straightPixel(loadOne(source + i * 4));
        if constexpr (kAlphaFirst)
            pixel = pixel << 8 | pixel >> 24;
        storeOne(pixel, target + i * 4);
    }
}

void straightRow(const std::uint8_t *source, std::uint8_t *target, std::size_t count, bool alphaFirst)
{
    if (alphaFirst)
        straightRowInOrder<true>(source, target, count);
    else
        straightRowInOrder<false>(source, target, count);
}

void opaqueRow(const std::uint8_t *source, std::uint8_t *target, std::size_t count, bool alphaFirst)
{
    const hn::ScalableTag<std::uint8_t> bytes;
    const std::size_t step = hn::Lanes(bytes);
    const auto opaque = hn::Set(bytes, std::uint8_t{255});
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        hn::Vec<decltype(bytes)> red, green, blue;
        hn::LoadInterleaved3(bytes, source + i * 3, red, green, blue);
        if (alphaFirst)
            hn::StoreInterleaved4(opaque, red, green, blue, bytes, target + i * 4);
        else
            hn::StoreInterleaved4(red, green, blue, opaque, bytes, target + i * 4);
    }
    for (; i < count; ++i) {
        std::memcpy(target + i * 4 + (alphaFirst ? 1 : 0), source + i * 3, 3);
        target[i * 4 + (alphaFirst ? 0 : 3)] = 255;
    }
}

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(straightRow);
HWY_EXPORT(opaqueRow);

namespace
{

template <class Row>
void intoPackedRows(const ConstRows &source, std::uint8_t *packed, const Row &row)
{
    for (std::size_t y = 0; y < source.height; ++y)
        row(source.data + y * source.rowBytes, packed + y * source.width * 4);
}

} // namespace

void straightFromPremultiplied(const ConstRows &source, std::uint8_t *packed, bool alphaFirst)
{
    intoPackedRows(source, packed, [&](const std::uint8_t *from, std::uint8_t *to) {
        HWY_DYNAMIC_DISPATCH(straightRow)(from, to, source.width, alphaFirst);
    });
}

void opaqueFromRGB(const ConstRows &source, std::uint8_t *packed, bool alphaFirst)
{
    intoPackedRows(source, packed, [&](const std::uint8_t *from, std::uint8_t *to) {
        HWY_DYNAMIC_DISPATCH(opaqueRow)(from, to, source.width, alphaFirst);
    });
}

} // namespace KVBase::Pixels
#endif
