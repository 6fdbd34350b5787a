// Scales pictures: columns first into one row of 16-bit values, then that row.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/Scale.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Platform/Pixels/Scale.h"
#include "Platform/Pixels/ScaleWeights.h"

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

/// One value of the row between the two passes.
HWY_INLINE std::int16_t columnValue(const std::uint8_t *const *rows, const std::int16_t *weights,
                                    std::size_t taps, int shift, std::size_t index)
{
    std::int32_t sum = std::int32_t{1} << (shift - 1);
    for (std::size_t tap = 0; tap < taps; ++tap)
        sum += weights[tap] * rows[tap][index];
    return static_cast<std::int16_t>(std::clamp<std::int32_t>(sum >> shift, INT16_MIN, INT16_MAX));
}

#if HWY_TARGET != HWY_SCALAR

/// Weighs `taps` rows of `count` bytes; `taps` is even.
void weighColumns(const std::uint8_t *const *rows, const std::int16_t *weights, std::size_t taps, int shift,
                  std::int16_t *target, std::size_t count)
{
    const hn::ScalableTag<std::int32_t> sums;
    const hn::Repartition<std::int16_t, decltype(sums)> words;
    const hn::Rebind<std::uint8_t, decltype(words)> bytes;
    const std::size_t step = hn::Lanes(words);
    const auto half = hn::Set(sums, std::int32_t{1} << (shift - 1));
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        auto low = half;
        auto high = half;
        auto unused = hn::Zero(sums);
        for (std::size_t tap = 0; tap < taps; tap += 2) {
            std::int32_t pair = 0;
            std::memcpy(&pair, weights + tap, sizeof pair);
            const auto weight = hn::BitCast(words, hn::Set(sums, pair));
            const auto a = hn::PromoteTo(words, hn::LoadU(bytes, rows[tap] + i));
            const auto b = hn::PromoteTo(words, hn::LoadU(bytes, rows[tap + 1] + i));
            low = hn::ReorderWidenMulAccumulate(sums, hn::InterleaveLower(words, a, b), weight, low, unused);
            high =
                hn::ReorderWidenMulAccumulate(sums, hn::InterleaveUpper(words, a, b), weight, high, unused);
        }
        low = hn::ShiftRightSame(low, shift);
        high = hn::ShiftRightSame(high, shift);
        hn::StoreU(hn::ReorderDemote2To(words, low, high), words, target + i);
    }
    for (; i < count; ++i)
        target[i] = columnValue(rows, weights, taps, shift, i);
}

/// Weighs the pixels of a row of 16-bit values for `count` target pixels.
void weighRow(const std::int16_t *source, const std::int32_t *first, const std::int16_t *weights,
              std::size_t taps, int shift, std::uint8_t *target, std::size_t count)
{
    const hn::FixedTag<std::int32_t, 4> sums;
    const hn::FixedTag<std::int16_t, 8> words;
    const hn::FixedTag<std::int16_t, 4> pixel;
    const hn::FixedTag<std::uint8_t, 4> bytes;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int16_t *from = source + static_cast<std::size_t>(first[i]) * 4;
        const std::int16_t *weight = weights + i * taps;
        auto sum = hn::Set(sums, std::int32_t{1} << (shift - 1));
        auto unused = hn::Zero(sums);
        for (std::size_t tap = 0; tap < taps; tap += 2, from += 8) {
            std::int32_t pair = 0;
            std::memcpy(&pair, weight + tap, sizeof pair);
            const auto a = hn::LoadU(pixel, from);
            const auto b = hn::LoadU(pixel, from + 4);
            const auto both =
                hn::InterleaveLower(words, hn::ZeroExtendVector(words, a), hn::ZeroExtendVector(words, b));
            sum = hn::ReorderWidenMulAccumulate(sums, both, hn::BitCast(words, hn::Set(sums, pair)), sum,
                                                unused);
        }
        hn::StoreU(hn::DemoteTo(bytes, hn::ShiftRightSame(sum, shift)), bytes, target + i * 4);
    }
}

#else

void weighColumns(const std::uint8_t *const *rows, const std::int16_t *weights, std::size_t taps, int shift,
                  std::int16_t *target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = columnValue(rows, weights, taps, shift, i);
}

void weighRow(const std::int16_t *source, const std::int32_t *first, const std::int16_t *weights,
              std::size_t taps, int shift, std::uint8_t *target, std::size_t count)
{
    for (std::size_t i = 0; i < count * 4; ++i) {
        const std::int16_t *from = source + static_cast<std::size_t>(first[i / 4]) * 4 + i % 4;
        const std::int16_t *weight = weights + i / 4 * taps;
        std::int32_t sum = std::int32_t{1} << (shift - 1);
        for (std::size_t tap = 0; tap < taps; ++tap)
            sum += weight[tap] * from[tap * 4];
        target[i] = static_cast<std::uint8_t>(std::clamp<std::int32_t>(sum >> shift, 0, 255));
    }
}

#endif

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(weighColumns);
HWY_EXPORT(weighRow);

namespace
{

/// Bits behind the point in the row between the passes: 255 and the overshoot of the filter still fit into 16
/// bits.
constexpr int kFractionBits = 6;

/// Points at the source rows that count for one target row.
void pointAtRows(const ConstRows &source, std::size_t first, const Scratch<const std::uint8_t *> &rows,
                 std::size_t taps)
{
    for (std::size_t tap = 0; tap < taps; ++tap) {
        // Weights beyond the last row are 0; they may stand for any row.
        const std::size_t y = std::min(first + tap, source.height - 1);
        rows[tap] = source.data + y * source.rowBytes;
    }
}

} // namespace

bool scale(const ConstRows &source, const Rows &target, unsigned lobes)
{
    ScaleWeights down;
    ScaleWeights across;
    if (!down.make(source.height, target.height, lobes, 255) ||
        !across.make(source.width, target.width, lobes, INT16_MAX))
        return false;
    const std::size_t values = source.width * 4;
    const Scratch<std::int16_t> between(values + across.taps * 4);
    const Scratch<const std::uint8_t *> rows(down.taps);
    if (!between || !rows)
        return false;
    for (std::size_t y = 0; y < target.height; ++y) {
        pointAtRows(source, static_cast<std::size_t>(down.first[y]), rows, down.taps);
        HWY_DYNAMIC_DISPATCH(weighColumns)
        (rows.get(), down.of(y), down.taps, down.shift - kFractionBits, between.get(), values);
        HWY_DYNAMIC_DISPATCH(weighRow)
        (between.get(), across.first.get(), across.weights.get(), across.taps, across.shift + kFractionBits,
         target.data + y * target.rowBytes, target.width);
    }
    return true;
}

} // namespace KVBase::Pixels
#endif
