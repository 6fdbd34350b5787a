// The pass of scaling that makes each row wider or narrower.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/ScaleRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Platform/Pixels/Products-inl.h"
#include "Platform/Pixels/ScalePasses.h"
#include "Platform/Pixels/Targets.h"

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

#if HWY_TARGET != HWY_SCALAR

/// Gives each block of a vector the weights of one pair of pixels, for each of the four channels.
struct WeightOrder {
    alignas(64) std::uint8_t bytes[64];
};

constexpr WeightOrder makeWeightOrder()
{
    WeightOrder order{};
    for (std::size_t i = 0; i < 64; ++i)
        order.bytes[i] = static_cast<std::uint8_t>(i / 16 * 4 + i % 4);
    return order;
}

constexpr WeightOrder kWeightOrder = makeWeightOrder();

/// In block n the sum of the blocks of sums[n].
HWY_INLINE Sums sumOfBlocks(const Sums (&sums)[kBlocks])
{
#if HWY_TARGET == HWY_AVX3
    const auto added = [](__m512i a, __m512i b) HWY_ATTR {
        const Sums even{_mm512_shuffle_i32x4(a, b, _MM_SHUFFLE(2, 0, 2, 0))};
        const Sums odd{_mm512_shuffle_i32x4(a, b, _MM_SHUFFLE(3, 1, 3, 1))};
        return hn::Add(even, odd).raw;
    };
    return Sums{added(added(sums[0].raw, sums[1].raw), added(sums[2].raw, sums[3].raw))};
#elif HWY_TARGET == HWY_AVX2
    const SumTag tag;
    return hn::Add(hn::ConcatLowerLower(tag, sums[1], sums[0]), hn::ConcatUpperUpper(tag, sums[1], sums[0]));
#else
    static_assert(kBlocks == 1);
    return sums[0];
#endif
}

/// Weighs the pixels of `kBlocks` rows; block n of the result is the target pixel in row n.
template <class Products>
HWY_INLINE Sums weighPixel(const std::int16_t *from, std::size_t rowValues, const std::int16_t *weights,
                           std::size_t taps)
{
    const WordTag words;
    const auto order = hn::Load(ByteTag(), kWeightOrder.bytes);
    Sums sums[kBlocks];
#pragma GCC unroll 4
    for (Sums &sum : sums)
        sum = hn::Zero(SumTag());
    for (std::size_t tap = 0; tap < taps; tap += 2 * kBlocks) {
        const auto some = hn::BitCast(ByteTag(), hn::LoadDup128(words, weights + tap));
        const Words pairs = hn::BitCast(words, hn::TableLookupBytes(some, order));
#pragma GCC unroll 4
        for (std::size_t row = 0; row < kBlocks; ++row)
            sums[row] = Products::add(hn::LoadU(words, from + row * rowValues + tap * 4), pairs, sums[row]);
    }
    return sumOfBlocks(sums);
}

/// Puts the first `count` bytes of each block where its row wants them.
HWY_INLINE void storeBlocks(Words pixels, std::int16_t *const *targets, std::size_t at, std::size_t count)
{
    HWY_ALIGN std::int16_t blocks[kBlocks * 8];
    hn::Store(pixels, WordTag(), blocks);
#pragma GCC unroll 4
    for (std::size_t row = 0; row < kBlocks; ++row)
        std::memcpy(targets[row] + at * 4, blocks + row * 8, count * 8);
}

HWY_INLINE void storeBlocks(Words pixels, std::uint8_t *const *targets, std::size_t at, std::size_t count)
{
    const hn::Rebind<std::uint8_t, WordTag> bytes;
    HWY_ALIGN std::uint8_t blocks[kBlocks * 8];
    hn::Store(hn::DemoteTo(bytes, pixels), bytes, blocks);
#pragma GCC unroll 4
    for (std::size_t row = 0; row < kBlocks; ++row)
        std::memcpy(targets[row] + at * 4, blocks + row * 8, count * 4);
}

template <class Products, class To>
HWY_INLINE void weighSomeRows(const RowBand<To> &band, std::size_t firstRow)
{
    // Copies, which no byte that is stored can change.
    To *targets[kBlocks];
    std::copy_n(band.targets + firstRow, kBlocks, targets);
    const std::int16_t *const rows = band.rows + firstRow * band.rowValues;
    const std::size_t rowValues = band.rowValues;
    const std::int32_t *const first = band.first;
    const std::int16_t *const weights = band.weights;
    const std::size_t taps = band.taps;
    const std::size_t count = band.count;
    const int shift = band.shift;
    const Sums half = hn::Set(SumTag(), std::int32_t{1} << (shift - 1));
    const auto pixel = [&](std::size_t i) HWY_ATTR {
        const std::int16_t *from = rows + static_cast<std::size_t>(first[i]) * 4;
        const Sums sum = weighPixel<Products>(from, rowValues, weights + i * taps, taps);
        return hn::ShiftRightSame(hn::Add(sum, half), shift);
    };
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2)
        storeBlocks(hn::ReorderDemote2To(WordTag(), pixel(i), pixel(i + 1)), targets, i, 2);
    if (i < count)
        storeBlocks(hn::ReorderDemote2To(WordTag(), pixel(i), hn::Zero(SumTag())), targets, i, 1);
}

template <class To>
HWY_INLINE void weighAllRows(const RowBand<To> &band)
{
    for (std::size_t row = 0; row < kRowsTogether; row += kBlocks) {
#if HWY_TARGET == HWY_AVX3
        if (hasDotProducts()) {
            weighSomeRows<OneStep>(band, row);
            continue;
        }
#endif
        weighSomeRows<TwoSteps>(band, row);
    }
}

void pairRow(const std::uint8_t *pixels, std::int16_t *paired, std::size_t count)
{
    const WordTag words;
    const hn::Rebind<std::uint8_t, WordTag> bytes;
    const std::size_t step = hn::MaxLanes(words) / 4;
    alignas(16) constexpr std::uint8_t kOrder[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};
    const auto order = hn::LoadDup128(ByteTag(), kOrder);
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const Words values = hn::PromoteTo(words, hn::LoadU(bytes, pixels + i * 4));
        const auto pairs = hn::TableLookupBytes(hn::BitCast(ByteTag(), values), order);
        hn::StoreU(hn::BitCast(words, pairs), words, paired + i * 4);
    }
    for (; i < count; ++i) {
        for (std::size_t channel = 0; channel < 4; ++channel)
            paired[placeInPairs(i, channel)] = pixels[i * 4 + channel];
    }
}

std::size_t tapsOfVector() { return 2 * kBlocks; }

#else

HWY_INLINE void storeValue(std::int32_t value, std::uint8_t *target)
{
    *target = static_cast<std::uint8_t>(std::clamp<std::int32_t>(value, 0, 255));
}

HWY_INLINE void storeValue(std::int32_t value, std::int16_t *target)
{
    *target = static_cast<std::int16_t>(value);
}

template <class To>
void weighAllRows(const RowBand<To> &band)
{
    for (std::size_t row = 0; row < kRowsTogether; ++row) {
        for (std::size_t i = 0; i < band.count * 4; ++i) {
            std::int32_t sum = std::int32_t{1} << (band.shift - 1);
            for (std::size_t tap = 0; tap < band.taps; ++tap) {
                const std::size_t pixel = static_cast<std::size_t>(band.first[i / 4]) + tap;
                sum += band.weights[i / 4 * band.taps + tap] *
                       band.rows[row * band.rowValues + placeInPairs(pixel, i % 4)];
            }
            storeValue(sum >> band.shift, band.targets[row] + i);
        }
    }
}

void pairRow(const std::uint8_t *pixels, std::int16_t *paired, std::size_t count)
{
    for (std::size_t i = 0; i < count * 4; ++i)
        paired[placeInPairs(i / 4, i % 4)] = pixels[i];
}

std::size_t tapsOfVector() { return 2; }

#endif

void weighToBytes(const RowBand<std::uint8_t> &band) { weighAllRows(band); }

void weighToWords(const RowBand<std::int16_t> &band) { weighAllRows(band); }

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(weighToBytes);
HWY_EXPORT(weighToWords);
HWY_EXPORT(pairRow);
HWY_EXPORT(tapsOfVector);

void weighRows(const RowBand<std::uint8_t> &band) { HWY_DYNAMIC_DISPATCH(weighToBytes)(band); }

void weighRows(const RowBand<std::int16_t> &band) { HWY_DYNAMIC_DISPATCH(weighToWords)(band); }

void pairPixels(const std::uint8_t *pixels, std::int16_t *paired, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(pairRow)(pixels, paired, count);
}

std::size_t tapsTogether() { return HWY_DYNAMIC_DISPATCH(tapsOfVector)(); }

} // namespace KVBase::Pixels
#endif
