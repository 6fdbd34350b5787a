#pragma once

#include <KVBase/KVExport.h>

#include <bit>
#include <cstdint>
#include <vector>

namespace KVBase::Pixels
{

/// Which byte a value from 0 to 1 leads to after it was raised to a power: truncate(value ^ gamma * 255 +
/// 0.5), the power clamped to 0 ... 1 and 0 where it is no number.
///
/// A power is monotonous, so the values where the byte changes tell the byte of every other value exactly.
/// They are found once, by halving the way down to neighbouring numbers. A cell holds the values that agree
/// in their leading bits; cells are made so small that the byte changes at most once in each. An exponent
/// near 0 has changes so close to 0 that this takes more cells than fit: such a table has none, and only
/// `level` answers. Immutable; any thread.
class KV_EXPORT LevelTable {
public:
    explicit LevelTable(double gamma);

    double gamma() const { return exponent; }

    /// Whether there are cells to look into.
    bool hasCells() const { return !entries.empty(); }

    /// Where the table begins looking: a value whose bits, shifted right by `shift()`, are `firstCell() + i`
    /// is in cell i. Every value up to `lowest()`, in cell 0, leads to the same byte.
    int shift() const { return bitShift; }
    std::int64_t firstCell() const { return first; }
    double lowest() const { return std::bit_cast<double>(first << bitShift); }

    /// By cell: the bits of a threshold that are shifted out, times 2 ^ 16, and the byte from the threshold
    /// on in bits 8 to 15, the one below it in bits 0 to 7.
    const std::int64_t *cells() const { return entries.data(); }

    std::uint8_t level(double value) const;

private:
    struct Change {
        double value;
        std::uint8_t level;
    };

    std::uint8_t raised(double value) const;
    void findChanges(double low, std::uint8_t lowLevel, double high, std::uint8_t highLevel,
                     std::vector<Change> &found);
    void chooseCells(const std::vector<Change> &found);
    std::int64_t cellOf(double value) const;
    std::int64_t restOf(double value) const;

    double exponent;
    int bitShift = 0;
    std::int64_t first = 0;
    std::vector<std::int64_t> entries;
};

} // namespace KVBase::Pixels
