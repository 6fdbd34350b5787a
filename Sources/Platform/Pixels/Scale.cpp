#include "Platform/Pixels/Scale.h"

#include "Platform/Pixels/ScaleBands.h"
#include "Platform/Pixels/ScalePasses.h"
#include "Platform/Pixels/ScaleWeights.h"
#include "Platform/Pixels/Targets.h"

#include <algorithm>
#include <cstdint>

namespace KVBase::Pixels
{

namespace
{

/// Bits behind the point in the values between the passes: 255 and the overshoot of the filter still fit into
/// 16 bits.
constexpr int kFractionBits = 6;

std::size_t roundedUp(std::size_t value, std::size_t step) { return (value + step - 1) / step * step; }

/// A row of pixels in pairs, with room for what the passes read and write beyond its end.
std::size_t pairedValues(std::size_t width, const ScaleWeights &across)
{
    return roundedUp(roundedUp(width * 4, kStripValues) + across.taps * 4, kStripValues);
}

template <class To>
RowBand<To> rowBand(const ScaleWeights &across, int shift, std::size_t width)
{
    RowBand<To> band;
    band.first = across.first.get();
    band.weights = across.weights.get();
    band.taps = across.taps;
    band.shift = shift;
    band.count = width;
    return band;
}

/// Makes lines from rows, and then each line narrower or wider.
class ColumnsFirst {
public:
    ColumnsFirst(const ConstRows &from, const Rows &to) : source(from), target(to) {}

    bool prepare(unsigned lobes)
    {
        const bool split = hasDotProducts();
        if (!down.make(source.height, target.height, lobes, 255) ||
            !across.make(source.width, target.width, lobes, INT16_MAX, tapsTogether()) ||
            !bands.make(down, target.height, split))
            return false;
        between = Scratch<std::int16_t>(kBandLines * pairedValues(source.width, across));
        rows = Scratch<const std::uint8_t *>(bands.mostRows());
        columns.count = source.width * 4;
        columns.shift = down.shift - kFractionBits;
        columns.rows = rows.get();
        weightsAreSplit = split;
        return between && rows;
    }

    void run()
    {
        for (std::size_t y = 0; y < target.height; y += kBandLines)
            makeBand(y);
    }

private:
    void makeBand(std::size_t y)
    {
        const std::size_t first = bands.firstRow(y);
        columns.bundles = bands.bundles(y);
        // Weights beyond the last row are 0; they may stand for any row.
        for (std::size_t i = 0; i < columns.bundles * kBundleRows; ++i)
            rows[i] = source.data + std::min(first + i, source.height - 1) * source.rowBytes;
        columns.lineCount = bands.lineCount(y);
        bands.describe(y, columns.lines);
        for (std::size_t i = 0; i < columns.lineCount; ++i)
            columns.targets[i] = between.get() + i * pairedValues(source.width, across);
        weighColumns(columns, weightsAreSplit);
        auto band = rowBand<std::uint8_t>(across, across.shift + kFractionBits, target.width);
        band.rowValues = pairedValues(source.width, across);
        for (std::size_t i = 0; i < columns.lineCount; i += kRowsTogether) {
            band.rows = columns.targets[i];
            for (std::size_t k = 0; k < kRowsTogether; ++k)
                band.targets[k] = target.data + std::min(y + i + k, target.height - 1) * target.rowBytes;
            weighRows(band);
        }
    }

    const ConstRows &source;
    const Rows &target;
    ScaleWeights down;
    ScaleWeights across;
    ScaleBands bands;
    Scratch<std::int16_t> between;
    Scratch<const std::uint8_t *> rows;
    ColumnBand<std::uint8_t, std::int16_t> columns;
    bool weightsAreSplit = false;
};

/// Makes each row narrower or wider, and then lines from those rows that are still needed.
class RowsFirst {
public:
    RowsFirst(const ConstRows &from, const Rows &to) : source(from), target(to) {}

    bool prepare(unsigned lobes)
    {
        if (!across.make(source.width, target.width, lobes, 255, tapsTogether()) ||
            !down.make(source.height, target.height, lobes, INT16_MAX) ||
            !bands.make(down, target.height, false))
            return false;
        kept = bands.mostRows() + kRowsTogether;
        rowValues = roundedUp(target.width * 4, kStripValues);
        paired = Scratch<std::int16_t>(kRowsTogether * pairedValues(source.width, across));
        between = Scratch<std::int16_t>(kept * rowValues);
        rows = Scratch<const std::int16_t *>(bands.mostRows());
        columns.rows = rows.get();
        columns.count = target.width * 4;
        columns.shift = down.shift + kFractionBits;
        return paired && between && rows;
    }

    void run()
    {
        for (std::size_t y = 0; y < target.height; y += kBandLines)
            makeBand(y);
    }

private:
    std::int16_t *row(std::size_t y) const { return between.get() + y % kept * rowValues; }

    void makeBand(std::size_t y)
    {
        const std::size_t first = bands.firstRow(y);
        columns.bundles = bands.bundles(y);
        const std::size_t end = std::min(first + columns.bundles * kBundleRows, source.height);
        while (made < end)
            makeRows();
        for (std::size_t i = 0; i < columns.bundles * kBundleRows; ++i)
            rows[i] = row(std::min(first + i, source.height - 1));
        columns.lineCount = bands.lineCount(y);
        bands.describe(y, columns.lines);
        for (std::size_t i = 0; i < columns.lineCount; ++i)
            columns.targets[i] = target.data + std::min(y + i, target.height - 1) * target.rowBytes;
        weighColumns(columns);
    }

    void makeRows()
    {
        auto band = rowBand<std::int16_t>(across, across.shift - kFractionBits, target.width);
        for (std::size_t i = 0; i < kRowsTogether; ++i) {
            const std::size_t y = std::min(made + i, source.height - 1);
            std::int16_t *pairs = paired.get() + i * pairedValues(source.width, across);
            pairPixels(source.data + y * source.rowBytes, pairs, source.width);
            band.targets[i] = row(y);
        }
        band.rows = paired.get();
        band.rowValues = pairedValues(source.width, across);
        weighRows(band);
        made += kRowsTogether;
    }

    const ConstRows &source;
    const Rows &target;
    ScaleWeights down;
    ScaleWeights across;
    ScaleBands bands;
    std::size_t kept = 0;
    std::size_t rowValues = 0;
    std::size_t made = 0;
    Scratch<std::int16_t> paired;
    Scratch<std::int16_t> between;
    Scratch<const std::int16_t *> rows;
    ColumnBand<std::int16_t, std::uint8_t> columns;
};

template <class Order>
bool scaleInOrder(const ConstRows &source, const Rows &target, unsigned lobes)
{
    Order order(source, target);
    if (!order.prepare(lobes))
        return false;
    order.run();
    return true;
}

} // namespace

bool scale(const ConstRows &source, const Rows &target, unsigned lobes)
{
    // A picture that does not get lower has fewer rows than lines: they are made wider while they are few.
    return target.height < source.height ? scaleInOrder<ColumnsFirst>(source, target, lobes)
                                         : scaleInOrder<RowsFirst>(source, target, lobes);
}

} // namespace KVBase::Pixels
