#include "Platform/Pixels/LevelTable.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace KVBase::Pixels
{

namespace
{

/// The bits that are shifted out and the two bytes of a cell leave the sign of its entry 0.
constexpr int kLargestShift = 47;

/// Far more than any exponent takes whose changes are all normal numbers.
constexpr std::int64_t kMostCells = 1 << 16;

std::uint64_t bitsOf(double value) { return std::bit_cast<std::uint64_t>(value); }

} // namespace

std::uint8_t LevelTable::raised(double value) const
{
    const double power = std::pow(value, exponent);
    const double unit = power >= 1 ? 1 : power > 0 ? power : 0;
    return static_cast<std::uint8_t>(unit * 255 + 0.5);
}

/// Halves the way between two values until they are neighbours; positive doubles are ordered as their bits.
void LevelTable::findChanges(double low, std::uint8_t lowLevel, double high, std::uint8_t highLevel,
                             std::vector<Change> &found)
{
    if (lowLevel == highLevel)
        return;
    const std::uint64_t distance = bitsOf(high) - bitsOf(low);
    if (distance <= 1) {
        found.push_back({high, highLevel});
        return;
    }
    const double middle = std::bit_cast<double>(bitsOf(low) + distance / 2);
    const std::uint8_t middleLevel = raised(middle);
    findChanges(low, lowLevel, middle, middleLevel, found);
    findChanges(middle, middleLevel, high, highLevel, found);
}

std::int64_t LevelTable::cellOf(double value) const
{
    return std::max<std::int64_t>(static_cast<std::int64_t>(bitsOf(value) >> bitShift) - first, 0);
}

/// The bits that do not choose the cell, in the place that entries have them.
std::int64_t LevelTable::restOf(double value) const
{
    const std::uint64_t rest = bitsOf(value) & ((std::uint64_t{1} << bitShift) - 1);
    return static_cast<std::int64_t>(rest << 16);
}

/// Takes as few leading bits as tell any two changes apart, and begins just below the first change: no lower
/// than 0.
void LevelTable::chooseCells(const std::vector<Change> &found)
{
    std::uint64_t nearest = std::numeric_limits<std::uint64_t>::max();
    for (std::size_t i = 1; i < found.size(); ++i)
        nearest = std::min(nearest, bitsOf(found[i].value) - bitsOf(found[i - 1].value));
    bitShift = std::min(kLargestShift, static_cast<int>(std::bit_width(nearest)) - 1);
    first = found.empty() ? static_cast<std::int64_t>(bitsOf(1) >> bitShift)
                          : std::max<std::int64_t>(
                                static_cast<std::int64_t>(bitsOf(found.front().value) >> bitShift) - 1, 0);
}

LevelTable::LevelTable(double gamma) : exponent(gamma)
{
    std::vector<Change> found;
    const std::uint8_t lowest = raised(0);
    findChanges(0, lowest, 1, raised(1), found);
    chooseCells(found);
    if (cellOf(1) >= kMostCells)
        return;
    const auto cells = static_cast<std::size_t>(cellOf(1) + 1);
    entries.resize(cells);
    std::int64_t level = lowest;
    auto change = found.begin();
    for (std::size_t cell = 0; cell < cells; ++cell) {
        const bool changes = change != found.end() && static_cast<std::size_t>(cellOf(change->value)) == cell;
        const std::int64_t threshold = changes ? restOf(change->value) : 0;
        const std::int64_t next = changes ? (change++)->level : level;
        entries[cell] = threshold | next << 8 | level;
        level = next;
    }
}

std::uint8_t LevelTable::level(double value) const
{
    if (!hasCells())
        return raised(value);
    const std::int64_t entry = entries[static_cast<std::size_t>(cellOf(value))];
    return static_cast<std::uint8_t>(entry > (restOf(value) | 0xffff) ? entry : entry >> 8);
}

} // namespace KVBase::Pixels
