#include "Platform/Pixels/ScaleBands.h"

#include <algorithm>
#include <cstring>

namespace KVBase::Pixels
{

namespace
{

/// Four words become their upper bytes and the rests: word = 256 * upper + rest, both signed.
void splitBundle(std::int16_t *weights)
{
    std::int8_t bytes[2 * kBundleRows];
    for (std::size_t i = 0; i < kBundleRows; ++i) {
        const int upper = (weights[i] + 128) >> 8;
        bytes[i] = static_cast<std::int8_t>(upper);
        bytes[kBundleRows + i] = static_cast<std::int8_t>(weights[i] - upper * 256);
    }
    std::memcpy(weights, bytes, sizeof bytes);
}

} // namespace

bool ScaleBands::make(const ScaleWeights &weights, std::size_t lines, bool split)
{
    down = &weights;
    height = lines;
    isSplit = split;
    for (std::size_t line = 0; line < lines; line += kBandLines)
        mostBundles = std::max(mostBundles, bundles(line));
    arranged = Scratch<std::int16_t>(kBandLines * mostRows());
    return static_cast<bool>(arranged);
}

std::size_t ScaleBands::lineCount(std::size_t line) const
{
    const std::size_t left = (height - line + kRowsTogether - 1) / kRowsTogether * kRowsTogether;
    return std::min(kBandLines, left);
}

std::size_t ScaleBands::bundles(std::size_t line) const
{
    const std::size_t last = firstRow(std::min(line + kBandLines, height) - 1);
    return (last - firstRow(line) + down->taps + kBundleRows - 1) / kBundleRows;
}

void ScaleBands::describe(std::size_t line, ColumnLine (&lines)[kBandLines])
{
    std::fill_n(arranged.get(), kBandLines * mostRows(), std::int16_t{0});
    for (std::size_t i = 0; i < lineCount(line); ++i) {
        const std::size_t described = std::min(line + i, height - 1);
        lines[i] =
            describeLine(described, firstRow(described) - firstRow(line), arranged.get() + i * mostRows());
    }
}

/// `offset`: how far below the band's first row the line's weights begin.
ColumnLine ScaleBands::describeLine(std::size_t line, std::size_t offset, std::int16_t *band) const
{
    const std::int16_t *weights = down->of(line);
    std::size_t first = 0;
    std::size_t end = down->taps;
    for (; first < end && weights[first] == 0;)
        ++first;
    for (; end > first && weights[end - 1] == 0;)
        --end;
    std::copy(weights + first, weights + end, band + offset + first);
    const ColumnLine described{band, (offset + first) / kBundleRows,
                               (offset + end + kBundleRows - 1) / kBundleRows};
    for (std::size_t bundle = described.begin; isSplit && bundle < described.end; ++bundle)
        splitBundle(band + bundle * kBundleRows);
    return described;
}

} // namespace KVBase::Pixels
