// Mixes the colours of pixels in double precision, as many pixels at a time as a vector holds doubles.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/ColorMix.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Platform/Pixels/ColorMix.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using RealTag = hn::ScalableTag<double>;
using Reals = hn::Vec<RealTag>;
using WordTag = hn::Rebind<std::int32_t, RealTag>;
using Words = hn::Vec<WordTag>;
using LongTag = hn::Rebind<std::int64_t, RealTag>;
using Longs = hn::Vec<LongTag>;

/// The colour that starts at bit kShift, from 0 to 1. The sign that shifting spreads is masked off.
template <int kShift>
HWY_INLINE Reals unitAt(Words pixels)
{
    const Words byte = hn::And(hn::ShiftRight<kShift>(pixels), hn::Set(WordTag(), 0xff));
    return hn::Div(hn::PromoteTo(RealTag(), byte), hn::Set(RealTag(), 255.0));
}

/// A comparison with what is no number is false, and leaves 0.
HWY_INLINE Reals clamped(Reals values)
{
    const Reals one = hn::Set(RealTag(), 1.0);
    const Reals positive = hn::IfThenElseZero(hn::Gt(values, hn::Zero(RealTag())), values);
    return hn::Min(positive, one);
}

struct RoundedLevels {
    HWY_INLINE Words operator()(Reals units) const
    {
        const Reals scaled = hn::Add(hn::Mul(units, hn::Set(RealTag(), 255.0)), hn::Set(RealTag(), 0.5));
        return hn::DemoteTo(WordTag(), scaled);
    }
};

struct TableLevels {
    HWY_INLINE Words operator()(Reals units) const
    {
        const LongTag longs;
        const hn::Rebind<std::uint64_t, RealTag> unsignedLongs;
        const auto leading = hn::ShiftRightSame(hn::BitCast(unsignedLongs, units), table.shift());
        const Longs distance = hn::Sub(hn::BitCast(longs, leading), hn::Set(longs, table.firstCell()));
        const Longs cell = hn::Max(distance, hn::Zero(longs));
        const Reals threshold = hn::GatherIndex(RealTag(), table.thresholds(), cell);
        const Longs pair = hn::GatherIndex(longs, table.bytes(), cell);
        const auto beyond = hn::RebindMask(longs, hn::Ge(units, threshold));
        const Longs level = hn::IfThenElse(beyond, hn::ShiftRight<8>(pair), pair);
        const auto byte = hn::BitCast(unsignedLongs, hn::And(level, hn::Set(longs, 0xff)));
        return hn::BitCast(WordTag(), hn::TruncateTo(hn::Rebind<std::uint32_t, RealTag>(), byte));
    }

    const LevelTable &table;
};

template <class Levels>
HWY_INLINE std::size_t mixVectors(std::uint8_t *pixels, std::size_t count, const ColorMix &mix,
                                  const Levels &levels)
{
    const RealTag reals;
    const WordTag words;
    const std::size_t step = hn::Lanes(reals);
    const Reals ownRed = hn::Set(reals, mix.ownRed), ownGreen = hn::Set(reals, mix.ownGreen);
    const Reals ownBlue = hn::Set(reals, mix.ownBlue), fromRed = hn::Set(reals, mix.red);
    const Reals fromGreen = hn::Set(reals, mix.green), fromBlue = hn::Set(reals, mix.blue);
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        HWY_ALIGN std::int32_t block[HWY_MAX_BYTES / sizeof(double)];
        std::memcpy(block, pixels + 4 * i, step * 4);
        const Words old = hn::Load(words, block);
        const Reals red = unitAt<8>(old), green = unitAt<16>(old), blue = unitAt<24>(old);
        // Products are added from left to right, each rounded: a fused addition would give other bytes.
        const Reals newRed =
            hn::Add(hn::Add(hn::Mul(red, ownRed), hn::Mul(green, fromGreen)), hn::Mul(blue, fromBlue));
        const Reals newGreen =
            hn::Add(hn::Add(hn::Mul(newRed, fromRed), hn::Mul(green, ownGreen)), hn::Mul(blue, fromBlue));
        const Reals newBlue =
            hn::Add(hn::Add(hn::Mul(newRed, fromRed), hn::Mul(newGreen, fromGreen)), hn::Mul(blue, ownBlue));
        const Words mixed =
            hn::Or(hn::Or(hn::And(old, hn::Set(words, 0xff)), hn::ShiftLeft<8>(levels(clamped(newRed)))),
                   hn::Or(hn::ShiftLeft<16>(levels(clamped(newGreen))),
                          hn::ShiftLeft<24>(levels(clamped(newBlue)))));
        hn::Store(mixed, words, block);
        std::memcpy(pixels + 4 * i, block, step * 4);
    }
    return i;
}

std::size_t mixRounded(std::uint8_t *pixels, std::size_t count, const ColorMix &mix)
{
    return mixVectors(pixels, count, mix, RoundedLevels());
}

std::size_t mixByTable(std::uint8_t *pixels, std::size_t count, const ColorMix &mix, const LevelTable &table)
{
    return mixVectors(pixels, count, mix, TableLevels{table});
}

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(mixRounded);
HWY_EXPORT(mixByTable);

namespace
{

double clampedUnit(double value) { return value >= 1 ? 1 : value > 0 ? value : 0; }

template <class Level>
void mixPlainly(std::uint8_t *pixels, std::size_t count, const ColorMix &mix, Level level)
{
    for (std::uint8_t *pixel = pixels; pixel != pixels + 4 * count; pixel += 4) {
        const double green = pixel[2] / 255.0;
        const double blue = pixel[3] / 255.0;
        const double newRed = pixel[1] / 255.0 * mix.ownRed + green * mix.green + blue * mix.blue;
        const double newGreen = newRed * mix.red + green * mix.ownGreen + blue * mix.blue;
        const double newBlue = newRed * mix.red + newGreen * mix.green + blue * mix.ownBlue;
        pixel[1] = level(clampedUnit(newRed));
        pixel[2] = level(clampedUnit(newGreen));
        pixel[3] = level(clampedUnit(newBlue));
    }
}

} // namespace

void mixColors(std::uint8_t *pixels, std::size_t count, const ColorMix &mix, const LevelTable *table)
{
    if (table != nullptr) {
        const std::size_t done =
            table->hasCells() ? HWY_DYNAMIC_DISPATCH(mixByTable)(pixels, count, mix, *table) : 0;
        mixPlainly(pixels + 4 * done, count - done, mix, [table](double unit) { return table->level(unit); });
    } else {
        const std::size_t done = HWY_DYNAMIC_DISPATCH(mixRounded)(pixels, count, mix);
        mixPlainly(pixels + 4 * done, count - done, mix,
                   [](double unit) { return static_cast<std::uint8_t>(unit * 255 + 0.5); });
    }
}

} // namespace KVBase::Pixels
#endif
