// Mirrors and turns pictures.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/Mirror.cpp"
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

HWY_INLINE void copyPixel(const std::uint8_t *source, std::uint8_t *target)
{
    std::memcpy(target, source, 4);
}

HWY_INLINE void swapPixels(std::uint8_t *a, std::uint8_t *b)
{
    std::uint8_t kept[4];
    copyPixel(a, kept);
    copyPixel(b, a);
    copyPixel(kept, b);
}

/// `count` pixels into another row, the last one first.
void reverseRow(const std::uint8_t *source, std::uint8_t *target, std::size_t count)
{
    const std::size_t step = hn::Lanes(PixelTag());
    std::size_t i = 0;
    for (; i + step <= count; i += step)
        store(hn::Reverse(PixelTag(), load(source + i * 4)), target + (count - i - step) * 4);
    for (; i < count; ++i)
        copyPixel(source + i * 4, target + (count - 1 - i) * 4);
}

/// Two rows that do not overlap change places, each reversed.
void swapRowsReversed(std::uint8_t *a, std::uint8_t *b, std::size_t count)
{
    const std::size_t step = hn::Lanes(PixelTag());
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        std::uint8_t *front = a + i * 4;
        std::uint8_t *back = b + (count - i - step) * 4;
        const PixelVector kept = hn::Reverse(PixelTag(), load(front));
        store(hn::Reverse(PixelTag(), load(back)), front);
        store(kept, back);
    }
    for (; i < count; ++i)
        swapPixels(a + i * 4, b + (count - 1 - i) * 4);
}

/// The two halves of a row change places, each reversed; a middle pixel stays.
void swapHalvesReversed(std::uint8_t *row, std::size_t count)
{
    const std::size_t half = count / 2;
    swapRowsReversed(row, row + (count - half) * 4, half);
}

/// Writes `copy` over the row that it is a copy of, the last pixel first, and fetches the row that is
/// `rowBytes` further meanwhile.
HWY_INLINE void writeReversed(const std::uint8_t *copy, std::uint8_t *row, std::size_t count,
                              std::size_t rowBytes)
{
    const std::size_t step = hn::Lanes(PixelTag());
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        __builtin_prefetch(row + i * 4 + rowBytes, 0, 2);
        store(hn::Reverse(PixelTag(), load(copy + (count - i - step) * 4)), row + i * 4);
    }
    for (; i < count; ++i)
        copyPixel(copy + (count - 1 - i) * 4, row + i * 4);
}

/// Reverses a row. Memory is fastest when read and written in order: a row that is not too long is copied
/// first, instead of being read from both ends.
void reverseRowInPlace(std::uint8_t *row, std::size_t count, std::size_t rowBytes)
{
    constexpr std::size_t kLongestCopy = 8192;
    if (count > kLongestCopy) {
        swapHalvesReversed(row, count);
        return;
    }
    HWY_ALIGN std::uint8_t copy[kLongestCopy * 4];
    std::memcpy(copy, row, count * 4);
    writeReversed(copy, row, count, rowBytes);
}

/// Two rows that do not overlap change places.
void swapRows(std::uint8_t *a, std::uint8_t *b, std::size_t count)
{
    const std::size_t step = hn::Lanes(PixelTag());
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const PixelVector kept = load(a + i * 4);
        store(load(b + i * 4), a + i * 4);
        store(kept, b + i * 4);
    }
    for (; i < count; ++i)
        swapPixels(a + i * 4, b + i * 4);
}

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(reverseRow);
HWY_EXPORT(swapRowsReversed);
HWY_EXPORT(reverseRowInPlace);
HWY_EXPORT(swapHalvesReversed);
HWY_EXPORT(swapRows);

namespace
{

bool isInPlace(const ConstRows &source, const Rows &target) { return source.data == target.data; }

const std::uint8_t *rowOf(const ConstRows &rows, std::size_t y) { return rows.data + y * rows.rowBytes; }

std::uint8_t *rowOf(const Rows &rows, std::size_t y) { return rows.data + y * rows.rowBytes; }

} // namespace

void mirrorLeftRight(const ConstRows &source, const Rows &target)
{
    const bool inPlace = isInPlace(source, target);
    for (std::size_t y = 0; y < target.height; ++y) {
        if (inPlace)
            HWY_DYNAMIC_DISPATCH(reverseRowInPlace)(rowOf(target, y), target.width, target.rowBytes);
        else
            HWY_DYNAMIC_DISPATCH(reverseRow)(rowOf(source, y), rowOf(target, y), target.width);
    }
}

void mirrorTopBottom(const ConstRows &source, const Rows &target)
{
    const std::size_t height = target.height;
    if (!isInPlace(source, target)) {
        for (std::size_t y = 0; y < height; ++y)
            std::memcpy(rowOf(target, height - 1 - y), rowOf(source, y), target.width * 4);
        return;
    }
    for (std::size_t y = 0; y < height / 2; ++y)
        HWY_DYNAMIC_DISPATCH(swapRows)(rowOf(target, y), rowOf(target, height - 1 - y), target.width);
}

void turn180(const ConstRows &source, const Rows &target)
{
    const std::size_t height = target.height;
    if (!isInPlace(source, target)) {
        for (std::size_t y = 0; y < height; ++y)
            HWY_DYNAMIC_DISPATCH(reverseRow)(rowOf(source, y), rowOf(target, height - 1 - y), target.width);
        return;
    }
    for (std::size_t y = 0; y < height / 2; ++y)
        HWY_DYNAMIC_DISPATCH(swapRowsReversed)(rowOf(target, y), rowOf(target, height - 1 - y), target.width);
    if (height % 2 != 0)
        HWY_DYNAMIC_DISPATCH(swapHalvesReversed)(rowOf(target, height / 2), target.width);
}

} // namespace KVBase::Pixels
#endif
