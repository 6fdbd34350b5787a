#pragma once

#include "Platform/Pixels/ScalePasses.h"
#include "Platform/Pixels/ScaleWeights.h"

namespace KVBase::Pixels
{

/// The target lines of a picture, a band at a time: which rows each band needs and what they weigh.
class ScaleBands {
public:
    /// For `lines` lines, whose weights must stay; split into bytes where asked to. false: no memory.
    bool make(const ScaleWeights &weights, std::size_t lines, bool split);

    /// The most rows that a band needs, always whole bundles.
    std::size_t mostRows() const { return mostBundles * kBundleRows; }

    /// The first row that the band from the line `line` on needs, and how many bundles of rows.
    std::size_t firstRow(std::size_t line) const { return static_cast<std::size_t>(down->first[line]); }
    std::size_t bundles(std::size_t line) const;

    /// How many lines that band has, a multiple of `kRowsTogether`: the last one may be there several times.
    std::size_t lineCount(std::size_t line) const;

    /// Describes the lines of that band, until it is asked for another.
    void describe(std::size_t line, ColumnLine (&lines)[kBandLines]);

private:
    ColumnLine describeLine(std::size_t line, std::size_t offset, std::int16_t *band) const;

    const ScaleWeights *down = nullptr;
    std::size_t height = 0;
    bool isSplit = false;
    std::size_t mostBundles = 0;
    Scratch<std::int16_t> arranged;
};

} // namespace KVBase::Pixels
