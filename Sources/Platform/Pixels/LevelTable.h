#pragma once

#include <KVBase/KVExport.h>

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
    bool hasCells() const { return !changes.empty(); }

    /// Where the table begins looking: a value whose bits, shifted right by `shift()`, are `firstCell() + i`
    /// is in cell i, and every smaller one is in cell 0.
    int shift() const { return bitShift; }
    std::int64_t firstCell() const { return first; }

    /// By cell: the value from which on the second byte of `bytes()` holds.
    const double *thresholds() const { return changes.data(); }

    /// By cell: the byte below the threshold in bits 0 to 7, the one from it on in bits 8 to 15.
    const std::int64_t *bytes() const { return pairs.data(); }

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

    double exponent;
    int bitShift = 0;
    std::int64_t first = 0;
    std::vector<double> changes;
    std::vector<std::int64_t> pairs;
};

} // namespace KVBase::Pixels
