// The pass of scaling that makes lines from rows. A strip of a few columns of all rows is arranged so that
// the values to be multiplied with neighbouring weights are neighbours, and then weighed for each line.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/ScaleColumns.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Platform/Pixels/Products-inl.h"
#include "Platform/Pixels/ScalePasses.h"
#include "Platform/Pixels/Targets.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

#if HWY_TARGET != HWY_SCALAR

/// The columns of a strip, of which four vectors hold the sums.
constexpr std::size_t kStrip = 4 * hn::MaxLanes(SumTag());

/// The bundles that are arranged before they are weighed: 16 KB of words, which stay in the nearest cache.
constexpr std::size_t kBundlesAtOnce = 32;

struct FourSums {
    Sums at[4];
};

HWY_INLINE Words loadWords(const std::int16_t *values) { return hn::LoadU(WordTag(), values); }

HWY_INLINE Words loadWords(const std::uint8_t *values)
{
    return hn::PromoteTo(WordTag(), hn::LoadU(hn::Rebind<std::uint8_t, WordTag>(), values));
}

/// The values of two rows side by side, as words. Sum n of a strip is that of every fourth pixel from the
/// n-th of each half on.
template <class Products, class From>
struct WordColumns {
    static constexpr std::size_t kBundleBytes = kBundleRows * kStrip * sizeof(std::int16_t);
    static constexpr bool kOrdered = true;

    static HWY_INLINE void arrange(const From *const *rows, std::uint8_t *bundle)
    {
        const WordTag words;
        auto *arranged = reinterpret_cast<std::int16_t *>(bundle);
        const std::size_t step = hn::MaxLanes(words);
        for (std::size_t row = 0; row < kBundleRows; row += 2) {
            for (std::size_t at = 0; at < kStrip; at += step, arranged += 2 * step) {
                const Words a = loadWords(rows[row] + at);
                const Words b = loadWords(rows[row + 1] + at);
                hn::Store(hn::InterleaveLower(words, a, b), words, arranged);
                hn::Store(hn::InterleaveUpper(words, a, b), words, arranged + step);
            }
        }
    }

    HWY_INLINE void add(const std::uint8_t *bundle, const std::int16_t *weights)
    {
        const WordTag words;
        const auto *arranged = reinterpret_cast<const std::int16_t *>(bundle);
        const std::size_t step = hn::MaxLanes(words);
        const Words upper = hn::BitCast(words, sameInAllLanes(weights));
        const Words lower = hn::BitCast(words, sameInAllLanes(weights + 2));
#pragma GCC unroll 4
        for (std::size_t i = 0; i < 4; ++i)
            even.at[i] = Products::add(hn::Load(words, arranged + i * step), upper, even.at[i]);
#pragma GCC unroll 4
        for (std::size_t i = 0; i < 4; ++i)
            odd.at[i] = Products::add(hn::Load(words, arranged + (4 + i) * step), lower, odd.at[i]);
    }

    HWY_INLINE Sums sum(std::size_t i) const { return hn::Add(even.at[i], odd.at[i]); }

    FourSums even;
    FourSums odd;
};

#if HWY_TARGET == HWY_AVX3

/// The values of four rows side by side, as bytes, and weights in two halves. Sum n of a strip is that of
/// every fourth pixel from the n-th on.
struct ByteColumns {
    static constexpr std::size_t kBundleBytes = kBundleRows * kStrip;
    static constexpr bool kOrdered = false;

    static HWY_INLINE void arrange(const std::uint8_t *const *rows, std::uint8_t *bundle)
    {
        const ByteTag bytes;
        const hn::Repartition<std::uint16_t, ByteTag> pairs;
        const Bytes a = hn::LoadU(bytes, rows[0]), b = hn::LoadU(bytes, rows[1]);
        const Bytes c = hn::LoadU(bytes, rows[2]), d = hn::LoadU(bytes, rows[3]);
        const auto lowerAB = hn::BitCast(pairs, hn::InterleaveLower(bytes, a, b));
        const auto upperAB = hn::BitCast(pairs, hn::InterleaveUpper(bytes, a, b));
        const auto lowerCD = hn::BitCast(pairs, hn::InterleaveLower(bytes, c, d));
        const auto upperCD = hn::BitCast(pairs, hn::InterleaveUpper(bytes, c, d));
        const auto store = [&](auto arranged, std::size_t i) HWY_ATTR {
            hn::Store(hn::BitCast(bytes, arranged), bytes, bundle + i * sizeof(Bytes));
        };
        store(hn::InterleaveLower(pairs, lowerAB, lowerCD), 0);
        store(hn::InterleaveUpper(pairs, lowerAB, lowerCD), 1);
        store(hn::InterleaveLower(pairs, upperAB, upperCD), 2);
        store(hn::InterleaveUpper(pairs, upperAB, upperCD), 3);
    }

    HWY_INLINE void add(const std::uint8_t *bundle, const std::int16_t *weights)
    {
        const Sums upper = sameInAllLanes(weights);
        const Sums lower = sameInAllLanes(weights + 2);
#pragma GCC unroll 4
        for (std::size_t i = 0; i < 4; ++i) {
            const Bytes values = hn::Load(ByteTag(), bundle + i * sizeof(Bytes));
            high.at[i] = OneStep::addBytes(values, upper, high.at[i]);
            low.at[i] = OneStep::addBytes(values, lower, low.at[i]);
        }
    }

    HWY_INLINE Sums sum(std::size_t i) const { return hn::Add(hn::ShiftLeft<8>(high.at[i]), low.at[i]); }

    FourSums high;
    FourSums low;
};

/// Blocks of `a` and `b` by turns, in both.
HWY_INLINE void alternateBlocks(Sums &a, Sums &b)
{
    const __m512i lower = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
    const __m512i upper = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
    const Sums first{_mm512_permutex2var_epi64(a.raw, lower, b.raw)};
    b = Sums{_mm512_permutex2var_epi64(a.raw, upper, b.raw)};
    a = first;
}

#else

HWY_INLINE void alternateBlocks(Sums &, Sums &) {}

#endif

/// Stores the values of a strip as pixels in pairs.
template <bool kOrdered>
HWY_INLINE void storeStrip(const FourSums &values, std::int16_t *target, std::size_t)
{
    const Sums low = hn::Set(SumTag(), 0xffff);
    Sums left = hn::Or(hn::And(values.at[0], low), hn::ShiftLeft<16>(values.at[1]));
    Sums right = hn::Or(hn::And(values.at[2], low), hn::ShiftLeft<16>(values.at[3]));
    if constexpr (!kOrdered)
        alternateBlocks(left, right);
    hn::StoreU(hn::BitCast(WordTag(), left), WordTag(), target);
    hn::StoreU(hn::BitCast(WordTag(), right), WordTag(), target + hn::MaxLanes(WordTag()));
}

/// Stores the first `count` values of a strip as bytes.
template <bool kOrdered>
HWY_INLINE void storeStrip(const FourSums &values, std::uint8_t *target, std::size_t count)
{
    static_assert(kOrdered);
    const WordTag words;
    const hn::Rebind<std::uint8_t, WordTag> bytes;
    const std::size_t step = hn::MaxLanes(words);
    HWY_ALIGN std::uint8_t partial[kStrip];
    std::uint8_t *stored = count < kStrip ? partial : target;
    const Words left = hn::ReorderDemote2To(words, values.at[0], values.at[1]);
    const Words right = hn::ReorderDemote2To(words, values.at[2], values.at[3]);
    hn::StoreU(hn::DemoteTo(bytes, left), bytes, stored);
    hn::StoreU(hn::DemoteTo(bytes, right), bytes, stored + step);
    if (count < kStrip)
        std::memcpy(target, partial, count);
}

/// So many bytes ahead rows are fetched: they are too many to be recognised as read in order.
constexpr std::size_t kBytesAhead = 1024;

/// Arranges the columns from `at` on of four rows; those beyond the last count as 0.
template <class Columns, class From>
HWY_INLINE void arrangeBundle(const From *const *rows, std::size_t at, std::size_t count,
                              std::uint8_t *bundle)
{
    for (std::size_t row = 0; row < kBundleRows; ++row)
        __builtin_prefetch(reinterpret_cast<const std::uint8_t *>(rows[row] + at) + kBytesAhead, 0, 2);
    if (at + kStrip <= count) {
        const From *const strip[kBundleRows] = {rows[0] + at, rows[1] + at, rows[2] + at, rows[3] + at};
        Columns::arrange(strip, bundle);
        return;
    }
    From copies[kBundleRows][kStrip] = {};
    for (std::size_t row = 0; row < kBundleRows; ++row)
        std::memcpy(copies[row], rows[row] + at, (count - at) * sizeof(From));
    const From *const strip[kBundleRows] = {copies[0], copies[1], copies[2], copies[3]};
    Columns::arrange(strip, bundle);
}

template <class Columns, class From, class To>
HWY_INLINE void finishLine(const Columns &sums, const ColumnBand<From, To> &band, std::size_t line,
                           std::size_t at)
{
    const Sums half = hn::Set(SumTag(), std::int32_t{1} << (band.shift - 1));
    FourSums values;
#pragma GCC unroll 4
    for (std::size_t i = 0; i < 4; ++i)
        values.at[i] = hn::ShiftRightSame(hn::Add(sums.sum(i), half), band.shift);
    storeStrip<Columns::kOrdered>(values, band.targets[line] + at, band.count - at);
}

template <class Columns, class From, class To>
HWY_INLINE void weighStrip(const ColumnBand<From, To> &band, std::size_t at)
{
    HWY_ALIGN std::uint8_t arranged[kBundlesAtOnce * Columns::kBundleBytes];
    Columns unfinished[kBandLines];
    for (std::size_t begin = 0; begin < band.bundles; begin += kBundlesAtOnce) {
        const std::size_t end = std::min(begin + kBundlesAtOnce, band.bundles);
        for (std::size_t bundle = begin; bundle < end; ++bundle)
            arrangeBundle<Columns>(band.rows + bundle * kBundleRows, at, band.count,
                                   arranged + (bundle - begin) * Columns::kBundleBytes);
        for (std::size_t i = 0; i < band.lineCount; ++i) {
            const ColumnLine &line = band.lines[i];
            Columns sums = begin == 0 ? Columns{} : unfinished[i];
            for (std::size_t bundle = std::max(begin, line.begin); bundle < std::min(end, line.end); ++bundle)
                sums.add(arranged + (bundle - begin) * Columns::kBundleBytes,
                         line.weights + bundle * kBundleRows);
            if (end < band.bundles)
                unfinished[i] = sums;
            else
                finishLine(sums, band, i, at);
        }
    }
}

template <class Columns, class From, class To>
HWY_INLINE void weighStrips(const ColumnBand<From, To> &band)
{
    for (std::size_t at = 0; at < band.count; at += kStrip)
        weighStrip<Columns>(band, at);
}

void weighPixels(const ColumnBand<std::uint8_t, std::int16_t> &band, bool weightsAreSplit)
{
#if HWY_TARGET == HWY_AVX3
    if (weightsAreSplit)
        return weighStrips<ByteColumns>(band);
#endif
    static_cast<void>(weightsAreSplit);
    weighStrips<WordColumns<TwoSteps, std::uint8_t>>(band);
}

void weighValues(const ColumnBand<std::int16_t, std::uint8_t> &band)
{
#if HWY_TARGET == HWY_AVX3
    if (hasDotProducts())
        return weighStrips<WordColumns<OneStep, std::int16_t>>(band);
#endif
    weighStrips<WordColumns<TwoSteps, std::int16_t>>(band);
}

#else

template <class From, class To, class Store>
void weighPlainly(const ColumnBand<From, To> &band, const Store &store)
{
    for (std::size_t i = 0; i < band.lineCount; ++i) {
        const ColumnLine &line = band.lines[i];
        for (std::size_t at = 0; at < band.count; ++at) {
            std::int32_t sum = std::int32_t{1} << (band.shift - 1);
            for (std::size_t row = line.begin * kBundleRows; row < line.end * kBundleRows; ++row)
                sum += line.weights[row] * band.rows[row][at];
            store(band.targets[i], at, sum >> band.shift);
        }
    }
}

void weighPixels(const ColumnBand<std::uint8_t, std::int16_t> &band, bool)
{
    weighPlainly(band, [](std::int16_t *target, std::size_t at, std::int32_t value) {
        target[placeInPairs(at / 4, at % 4)] = static_cast<std::int16_t>(value);
    });
}

void weighValues(const ColumnBand<std::int16_t, std::uint8_t> &band)
{
    weighPlainly(band, [](std::uint8_t *target, std::size_t at, std::int32_t value) {
        target[at] = static_cast<std::uint8_t>(std::clamp<std::int32_t>(value, 0, 255));
    });
}

#endif

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(weighPixels);
HWY_EXPORT(weighValues);

void weighColumns(const ColumnBand<std::uint8_t, std::int16_t> &band, bool weightsAreSplit)
{
    HWY_DYNAMIC_DISPATCH(weighPixels)(band, weightsAreSplit);
}

void weighColumns(const ColumnBand<std::int16_t, std::uint8_t> &band)
{
    HWY_DYNAMIC_DISPATCH(weighValues)(band);
}

} // namespace KVBase::Pixels
#endif
