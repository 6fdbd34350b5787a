#pragma once

#include <cstddef>
#include <cstdint>

/// The two passes of scaling. Between them stand 16-bit values.
namespace KVBase::Pixels
{

/// As many lines are made together as this, which share what is read and arranged for them.
constexpr std::size_t kBandLines = 16;

/// As many rows are made narrower or wider together, which share the weights.
constexpr std::size_t kRowsTogether = 4;

/// Rows whose values are arranged next to each other.
constexpr std::size_t kBundleRows = 4;

/// Rows of values may be written this many values further than they go, rounded up to as many.
constexpr std::size_t kStripValues = 64;

/// What one line is made of: the bundles from `begin` up to `end` of its band. The weights are 8 bytes a
/// bundle, from the band's first one on: four words; or the upper bytes of four words, signed, and then the
/// signed rests.
struct ColumnLine {
    const std::int16_t *weights = nullptr;
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// Up to 16 lines, each a weighted sum of some rows of `count` values.
template <class From, class To>
struct ColumnBand {
    /// For each bundle four rows.
    const From *const *rows = nullptr;
    std::size_t bundles = 0;
    ColumnLine lines[kBandLines];
    To *targets[kBandLines] = {};
    std::size_t lineCount = 0;
    std::size_t count = 0;
    int shift = 0;
};

/// Four rows of pixels in pairs, each a weighted sum of pixels of one source row. Targets may be the same
/// where rows are.
template <class To>
struct RowBand {
    const std::int16_t *rows = nullptr;

    /// From one row to the next.
    std::size_t rowValues = 0;
    To *targets[kRowsTogether] = {};

    /// By target pixel: the first source pixel, which is even, and `taps` weights.
    const std::int32_t *first = nullptr;
    const std::int16_t *weights = nullptr;
    std::size_t taps = 0;
    int shift = 0;
    std::size_t count = 0;
};

/// Where a value is in a row of pixels in pairs: the same channel of both next to each other.
constexpr std::size_t placeInPairs(std::size_t pixel, std::size_t channel)
{
    return pixel / 2 * 8 + channel * 2 + pixel % 2;
}

/// From rows of pixels to pixels in pairs. `weightsAreSplit` needs `hasDotProducts`.
void weighColumns(const ColumnBand<std::uint8_t, std::int16_t> &band, bool weightsAreSplit);

/// From rows of values to pixels, which are written exactly.
void weighColumns(const ColumnBand<std::int16_t, std::uint8_t> &band);

void weighRows(const RowBand<std::uint8_t> &band);
void weighRows(const RowBand<std::int16_t> &band);

/// As many weights of a pixel as a vector takes: `taps` must be a multiple of it.
std::size_t tapsTogether();

/// Arranges pixels in pairs.
void pairPixels(const std::uint8_t *pixels, std::int16_t *paired, std::size_t count);

} // namespace KVBase::Pixels
