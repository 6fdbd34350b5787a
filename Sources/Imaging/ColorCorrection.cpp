#include "Imaging/ColorCorrection.h"

#include <array>
#include <bit>
#include <cmath>
#include <memory>
#include <mutex>

namespace KVBase
{

namespace
{

constexpr double kRedLuminance = 0.299;
constexpr double kGreenLuminance = 0.587;
constexpr double kBlueLuminance = 0.114;

/// 0 for what is no number, too.
double clampToUnit(double value)
{
    if (value >= 1)
        return 1;
    return value > 0 ? value : 0;
}

std::uint8_t levelOf(double unit, double gamma)
{
    return static_cast<std::uint8_t>(clampToUnit(std::pow(unit, gamma)) * 255 + 0.5);
}

/// The byte that each clamped value leads to. A power is monotonous, so the values where the byte changes
/// tell the result of every other one exactly; a table over the leading bits says where to begin looking.
class LevelTable {
public:
    explicit LevelTable(double given);

    double gamma() const { return exponent; }

    std::uint8_t level(double unit) const
    {
        std::size_t step = firstStep[static_cast<std::size_t>(unit * kCells)];
        while (step < steps && unit >= thresholds[step])
            ++step;
        return levels[step];
    }

private:
    static constexpr std::size_t kCells = 4096;

    void findSteps(double low, std::uint8_t lowLevel, double high, std::uint8_t highLevel);

    double exponent;
    std::size_t steps = 0;
    // levels[i + 1] holds from thresholds[i] on; thresholds rise.
    std::array<double, 256> thresholds = {};
    std::array<std::uint8_t, 257> levels = {};
    std::array<std::uint16_t, kCells + 1> firstStep = {};
};

/// Halves the way between two values until they are neighbours; non-negative doubles are ordered as their
/// bits.
void LevelTable::findSteps(double low, std::uint8_t lowLevel, double high, std::uint8_t highLevel)
{
    if (lowLevel == highLevel)
        return;
    const auto lowBits = std::bit_cast<std::uint64_t>(low);
    const auto highBits = std::bit_cast<std::uint64_t>(high);
    if (highBits - lowBits <= 1) {
        thresholds[steps] = high;
        levels[++steps] = highLevel;
        return;
    }
    const double middle = std::bit_cast<double>(lowBits + (highBits - lowBits) / 2);
    const std::uint8_t middleLevel = levelOf(middle, exponent);
    findSteps(low, lowLevel, middle, middleLevel);
    findSteps(middle, middleLevel, high, highLevel);
}

LevelTable::LevelTable(double given) : exponent(given)
{
    levels[0] = levelOf(0, exponent);
    findSteps(0, levels[0], 1, levelOf(1, exponent));
    std::size_t step = 0;
    for (std::size_t cell = 0; cell <= kCells; ++cell) {
        const double start = static_cast<double>(cell) / kCells;
        while (step < steps && thresholds[step] <= start)
            ++step;
        firstStep[cell] = static_cast<std::uint16_t>(step);
    }
}

/// The table for `gamma`; the last one is kept, as callers correct many surfaces alike.
std::shared_ptr<const LevelTable> tableFor(double gamma)
{
    static std::mutex mutex;
    static std::shared_ptr<const LevelTable> last;
    {
        const std::lock_guard lock(mutex);
        if (last != nullptr &&
            std::bit_cast<std::uint64_t>(last->gamma()) == std::bit_cast<std::uint64_t>(gamma))
            return last;
    }
    auto made = std::make_shared<const LevelTable>(gamma);
    const std::lock_guard lock(mutex);
    last = made;
    return made;
}

/// The mixing coefficients, each the sum that one colour is multiplied with.
struct Mix {
    explicit Mix(const ColorFactors &factors)
        : red((1 - factors.saturation) * kRedLuminance), green((1 - factors.saturation) * kGreenLuminance),
          blue((1 - factors.saturation) * kBlueLuminance), ownRed(factors.saturation * factors.red + red),
          ownGreen(factors.saturation * factors.green + green),
          ownBlue(factors.saturation * factors.blue + blue)
    {}

    double red, green, blue;
    double ownRed, ownGreen, ownBlue;
};

template <class Level>
void correct(std::uint8_t *groups, std::size_t count, const Mix &mix, Level level)
{
    for (std::uint8_t *pixel = groups; pixel != groups + 4 * count; pixel += 4) {
        const double red = pixel[1] / 255.0;
        const double green = pixel[2] / 255.0;
        const double blue = pixel[3] / 255.0;
        const double newRed = red * mix.ownRed + green * mix.green + blue * mix.blue;
        const double newGreen = newRed * mix.red + green * mix.ownGreen + blue * mix.blue;
        const double newBlue = newRed * mix.red + newGreen * mix.green + blue * mix.ownBlue;
        pixel[1] = level(clampToUnit(newRed));
        pixel[2] = level(clampToUnit(newGreen));
        pixel[3] = level(clampToUnit(newBlue));
    }
}

} // namespace

void correctColors(std::uint8_t *groups, std::size_t count, const ColorFactors &factors)
{
    const Mix mix(factors);
    if (factors.gamma == 1) {
        correct(groups, count, mix, [](double unit) { return static_cast<std::uint8_t>(unit * 255 + 0.5); });
        return;
    }
    const std::shared_ptr<const LevelTable> table = tableFor(factors.gamma);
    correct(groups, count, mix, [&table = *table](double unit) { return table.level(unit); });
}

} // namespace KVBase
