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

using SumTag = hn::ScalableTag<std::int32_t>;
using WordTag = hn::Repartition<std::int16_t, SumTag>;
using Sums = hn::Vec<SumTag>;
using Words = hn::Vec<WordTag>;

/// Adds the products of neighbouring words, two by two.
HWY_INLINE Sums addProducts(Words a, Words b, Sums sum)
{
#if HWY_TARGET == HWY_AVX3_DL
    return Sums{_mm512_dpwssd_epi32(sum.raw, a.raw, b.raw)};
#else
    Sums other = hn::Zero(SumTag());
    const Sums both = hn::ReorderWidenMulAccumulate(SumTag(), a, b, sum, other);
    return hn::RearrangeToOddPlusEven(both, other);
#endif
}

/// Two weights next to each other, in every pair of words.
HWY_INLINE Words pairOfWeights(const std::int16_t *weights)
{
    std::int32_t pair = 0;
    std::memcpy(&pair, weights, sizeof pair);
    return hn::BitCast(WordTag(), hn::Set(SumTag(), pair));
}

/// The running sums of one vector's worth of bytes.
struct ColumnSums {
    Sums low;
    Sums high;

    explicit ColumnSums(Sums start) : low(start), high(start) {}

    HWY_INLINE void add(const std::uint8_t *upper, const std::uint8_t *lower, Words weights)
    {
        const WordTag words;
        const hn::Rebind<std::uint8_t, WordTag> bytes;
        const Words a = hn::PromoteTo(words, hn::LoadU(bytes, upper));
        const Words b = hn::PromoteTo(words, hn::LoadU(bytes, lower));
        low = addProducts(hn::InterleaveLower(words, a, b), weights, low);
        high = addProducts(hn::InterleaveUpper(words, a, b), weights, high);
    }

    HWY_INLINE void store(int shift, std::int16_t *target) const
    {
        const WordTag words;
        const Words packed =
            hn::ReorderDemote2To(words, hn::ShiftRightSame(low, shift), hn::ShiftRightSame(high, shift));
        hn::StoreU(packed, words, target);
    }
};

/// Weighs `taps` rows of `count` bytes; `taps` is even.
void weighColumns(const std::uint8_t *const *rows, const std::int16_t *weights, std::size_t taps, int shift,
                  std::int16_t *target, std::size_t count)
{
    const Sums half = hn::Set(SumTag(), std::int32_t{1} << (shift - 1));
    const std::size_t step = hn::Lanes(WordTag());
    std::size_t i = 0;
    for (; i + 2 * step <= count; i += 2 * step) {
        ColumnSums left(half);
        ColumnSums right(half);
        for (std::size_t tap = 0; tap < taps; tap += 2) {
            const Words pair = pairOfWeights(weights + tap);
            left.add(rows[tap] + i, rows[tap + 1] + i, pair);
            right.add(rows[tap] + i + step, rows[tap + 1] + i + step, pair);
        }
        left.store(shift, target + i);
        right.store(shift, target + i + step);
    }
    for (; i < count; ++i)
        target[i] = columnValue(rows, weights, taps, shift, i);
}

/// Byte orders inside blocks of 16 bytes, for vectors of up to four blocks.
struct BlockOrders {
    /// Brings the words of a channel in two pixels next to each other.
    alignas(64) std::uint8_t pixels[64];

    /// Gives block n the weights of pixels 2 n and 2 n + 1, for each of its four channels.
    alignas(64) std::uint8_t weights[64];
};

constexpr BlockOrders makeBlockOrders()
{
    constexpr std::uint8_t order[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};
    BlockOrders orders{};
    for (std::size_t i = 0; i < 64; ++i) {
        orders.pixels[i] = order[i % 16];
        orders.weights[i] = static_cast<std::uint8_t>(i / 16 * 4 + i % 4);
    }
    return orders;
}

constexpr BlockOrders kBlockOrders = makeBlockOrders();

/// The sum of a vector's blocks of four sums.
template <class V>
HWY_INLINE hn::Vec<hn::FixedTag<std::int32_t, 4>> sumOfBlocks(V sum)
{
    const hn::DFromV<V> tag;
    if constexpr (hn::MaxLanes(hn::DFromV<V>()) > 4)
        return sumOfBlocks(hn::Add(hn::LowerHalf(sum), hn::UpperHalf(hn::Half<decltype(tag)>(), sum)));
    else
        return sum;
}

/// Weighs the pixels of a row of 16-bit values for `count` target pixels. `taps` is a multiple of 8; the row
/// goes on for as many pixels, and the weights for 8 more.
void weighRow(const std::int16_t *source, const std::int32_t *first, const std::int16_t *weights,
              std::size_t taps, int shift, std::uint8_t *target, std::size_t count)
{
    const WordTag words;
    const hn::Repartition<std::uint8_t, WordTag> bytes;
    const hn::FixedTag<std::int32_t, 4> pixelSums;
    const hn::FixedTag<std::uint8_t, 4> pixelBytes;
    const auto pixelOrder = hn::Load(bytes, kBlockOrders.pixels);
    const auto weightOrder = hn::Load(bytes, kBlockOrders.weights);
    const std::size_t step = hn::Lanes(words) / 4;
    const auto half = hn::Set(pixelSums, std::int32_t{1} << (shift - 1));
    for (std::size_t i = 0; i < count; ++i) {
        const std::int16_t *from = source + static_cast<std::size_t>(first[i]) * 4;
        const std::int16_t *weight = weights + i * taps;
        Sums sum = hn::Zero(SumTag());
        for (std::size_t tap = 0; tap < taps; tap += step) {
            const auto pixels = hn::TableLookupBytes(hn::LoadU(words, from + tap * 4), pixelOrder);
            const auto pairs = hn::TableLookupBytes(hn::LoadDup128(words, weight + tap), weightOrder);
            sum = addProducts(hn::BitCast(words, pixels), hn::BitCast(words, pairs), sum);
        }
        const auto total = hn::ShiftRightSame(hn::Add(sumOfBlocks(sum), half), shift);
        hn::StoreU(hn::DemoteTo(pixelBytes, total), pixelBytes, target + i * 4);
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
