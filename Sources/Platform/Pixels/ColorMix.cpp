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

/// `byte` / 255, rounded as a division rounds, which takes several times as long: multiplied by 1 / 255 and
/// by what rounding took from that. No quotient is so near the middle of two numbers that this would matter.
HWY_INLINE Reals unitOf(Reals byte)
{
#if HWY_NATIVE_FMA
    constexpr double kShare = 1 / 255.0;
    constexpr double kRest = 0x1.0101010101010p-64;
    return hn::MulAdd(byte, hn::Set(RealTag(), kShare), hn::Mul(byte, hn::Set(RealTag(), kRest)));
#else
    return hn::Div(byte, hn::Set(RealTag(), 255.0));
#endif
}

/// The colour that starts at bit kShift, from 0 to 1. The sign that shifting spreads is masked off.
template <int kShift>
HWY_INLINE Reals unitAt(Words pixels)
{
    const Words byte = hn::And(hn::ShiftRight<kShift>(pixels), hn::Set(WordTag(), 0xff));
    return unitOf(hn::PromoteTo(RealTag(), byte));
}

/// Three levels as the bytes 1 to 3 of a pixel whose byte 0 is 0.
struct RoundedLevels {
    double lowest() const { return 0; }

    static HWY_INLINE Words level(Reals units)
    {
        const Reals scaled = hn::Add(hn::Mul(units, hn::Set(RealTag(), 255.0)), hn::Set(RealTag(), 0.5));
        return hn::DemoteTo(WordTag(), scaled);
    }

    HWY_INLINE Words operator()(Reals red, Reals green, Reals blue) const
    {
        return hn::Or(hn::ShiftLeft<8>(level(red)),
                      hn::Or(hn::ShiftLeft<16>(level(green)), hn::ShiftLeft<24>(level(blue))));
    }
};

struct TableLevels {
    double lowest() const { return table.lowest(); }

    HWY_INLINE Longs level(Reals units) const
    {
        const LongTag longs;
        const Longs bits = hn::BitCast(longs, units);
        const Longs cell =
            hn::Sub(hn::ShiftRightSame(bits, table.shift()), hn::Set(longs, table.firstCell()));
        const Longs entry = hn::GatherIndex(longs, table.cells(), cell);
        const Longs shiftedOut = hn::Set(longs, ((std::int64_t{1} << table.shift()) - 1) << 16);
        const Longs rest = hn::Or(hn::And(hn::ShiftLeft<16>(bits), shiftedOut), hn::Set(longs, 0xffff));
        const Longs chosen = hn::IfThenElse(hn::Gt(entry, rest), entry, hn::ShiftRight<8>(entry));
        return hn::And(chosen, hn::Set(longs, 0xff));
    }

    HWY_INLINE Words operator()(Reals red, Reals green, Reals blue) const
    {
        const Longs levels = hn::Or(hn::ShiftLeft<8>(level(red)),
                                    hn::Or(hn::ShiftLeft<16>(level(green)), hn::ShiftLeft<24>(level(blue))));
        const auto bytes = hn::BitCast(hn::Rebind<std::uint64_t, RealTag>(), levels);
        return hn::BitCast(WordTag(), hn::TruncateTo(hn::Rebind<std::uint32_t, RealTag>(), bytes));
    }

    const LevelTable &table;
};

/// From `lowest` to 1. A comparison with what is no number is false, and leaves `lowest`.
HWY_INLINE Reals clamped(Reals values, Reals lowest)
{
    const Reals raised = hn::IfThenElse(hn::Gt(values, lowest), values, lowest);
    return hn::Min(raised, hn::Set(RealTag(), 1.0));
}

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
    const Reals lowest = hn::Set(reals, levels.lowest());
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
            levels(clamped(newRed, lowest), clamped(newGreen, lowest), clamped(newBlue, lowest));
        hn::Store(hn::Or(hn::And(old, hn::Set(words, 0xff)), mixed), words, block);
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
