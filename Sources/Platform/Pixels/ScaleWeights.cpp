#include "Platform/Pixels/ScaleWeights.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace KVBase::Pixels
{

namespace
{

constexpr std::size_t kSpareTaps = 8;
constexpr int kSmallestShift = 8;
constexpr int kLargestShift = 22;
constexpr double kLargestWeight = 32000; // leaves room for rounding in 16 bits

/// The sine and the cosine of pi * x.
struct Turn {
    explicit Turn(double x) : sine(std::sin(std::numbers::pi * x)), cosine(std::cos(std::numbers::pi * x)) {}

    double sine;
    double cosine;
};

/// sin(pi * x) at evenly spaced x. Each step turns the last point by the same angle, which costs a fraction
/// of a sine and is exact to about 1e-12 over a million of them.
class SineWalk {
public:
    SineWalk(double start, const Turn &eachStep) : at(start), step(eachStep) {}

    double next()
    {
        const double result = at.sine;
        at.sine = result * step.cosine + at.cosine * step.sine;
        at.cosine = at.cosine * step.cosine - result * step.sine;
        return result;
    }

private:
    Turn at;
    Turn step;
};

/// Where a filter lies on the source line.
class Filter {
public:
    Filter(std::size_t sourceLength, std::size_t targetLength, unsigned lobeCount)
        : length(static_cast<std::int64_t>(sourceLength)),
          ratio(static_cast<double>(sourceLength) / static_cast<double>(targetLength)),
          stretch(std::max(ratio, 1.0)), lobes(lobeCount), fastStep(1 / stretch),
          slowStep(1 / stretch / lobes)
    {}

    double center(std::size_t target) const { return (static_cast<double>(target) + 0.5) * ratio - 0.5; }
    std::int64_t begin(std::size_t target) const { return ceiling(center(target) - lobes * stretch); }
    std::int64_t end(std::size_t target) const { return ceiling(center(target) + lobes * stretch); }

    /// The most weights that a target pixel can have inside the line.
    std::size_t mostTaps() const
    {
        const std::int64_t most = static_cast<std::int64_t>(std::ceil(2 * lobes * stretch)) + 1;
        return static_cast<std::size_t>(std::min(most, length));
    }

    /// The weights of `target`, of which there are up to `count`, beginning with the first pixel inside the
    /// line.
    void weightsOf(std::size_t target, double *line, std::size_t count) const
    {
        std::fill_n(line, count, 0.0);
        const std::int64_t base = firstInside(target);
        const std::int64_t start = begin(target);
        const std::int64_t stop = end(target);
        const double step = 1 / stretch;
        double x = (static_cast<double>(start) - center(target)) * step;
        SineWalk fast(x, fastStep);
        SineWalk slow(x / lobes, slowStep);
        double sum = 0;
        for (std::int64_t source = start; source < stop; ++source, x += step) {
            const double sines = fast.next() * slow.next();
            const double angle = std::numbers::pi * x;
            const double weight = std::abs(x) < 1e-6 ? 1 : lobes * sines / (angle * angle);
            line[std::clamp<std::int64_t>(source, 0, length - 1) - base] += weight;
            sum += weight;
        }
        const double share = 1 / sum;
        std::for_each(line, line + count, [share](double &weight) { weight *= share; });
    }

    std::int64_t firstInside(std::size_t target) const
    {
        return std::clamp<std::int64_t>(begin(target), 0, length - 1);
    }

    std::size_t countInside(std::size_t target) const
    {
        const std::int64_t last = std::clamp<std::int64_t>(end(target) - 1, 0, length - 1);
        return static_cast<std::size_t>(last - firstInside(target) + 1);
    }

private:
    static std::int64_t ceiling(double value) { return static_cast<std::int64_t>(std::ceil(value)); }

    std::int64_t length;
    double ratio;
    double stretch;
    double lobes;
    Turn fastStep;
    Turn slowStep;
};

/// The largest weight and the largest sum of absolute weights over the whole line.
struct Extent {
    double weight = 0;
    double sum = 0;

    void include(const double *line, std::size_t count)
    {
        double absolute = 0;
        for (std::size_t i = 0; i < count; ++i) {
            weight = std::max(weight, std::abs(line[i]));
            absolute += std::abs(line[i]);
        }
        sum = std::max(sum, absolute);
    }
};

int shiftFor(const Extent &extent, std::int32_t largestSample)
{
    constexpr double kLargestSum = 2147483647.0 - 8388608.0; // leaves room for rounding
    int shift = kLargestShift;
    while (shift > kSmallestShift && (std::ldexp(extent.weight, shift) > kLargestWeight ||
                                      std::ldexp(extent.sum * largestSample, shift) > kLargestSum))
        --shift;
    return shift;
}

/// Rounds the running sum instead of each weight, so that the total is exact and errors cancel out along the
/// line.
void quantise(const double *line, std::size_t count, int shift, std::int16_t *weights)
{
    double sum = 0;
    std::int64_t given = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sum += line[i];
        const bool isLast = i + 1 == count;
        const std::int64_t upToHere =
            isLast ? std::int64_t{1} << shift : std::llround(std::ldexp(sum, shift));
        weights[i] = static_cast<std::int16_t>(upToHere - given);
        given = upToHere;
    }
}

} // namespace

bool ScaleWeights::make(std::size_t sourceLength, std::size_t targetLength, unsigned lobes,
                        std::int32_t largestSample, std::size_t together)
{
    const Filter filter(sourceLength, targetLength, lobes);
    const std::size_t count = filter.mostTaps();
    first = Scratch<std::int32_t>(targetLength);
    const Scratch<double> line(count);
    if (!first || !line)
        return false;
    // Two walks instead of a table of all lines: the shift must be known before the first weight is rounded.
    Extent extent;
    std::int64_t needed = 0;
    for (std::size_t target = 0; target < targetLength; ++target) {
        filter.weightsOf(target, line.get(), count);
        extent.include(line.get(), count);
        const std::int64_t begin = filter.firstInside(target);
        first[target] = static_cast<std::int32_t>(begin / 2 * 2);
        needed = std::max(needed, begin % 2 + static_cast<std::int64_t>(filter.countInside(target)));
    }
    taps = (static_cast<std::size_t>(needed) + together - 1) / together * together;
    weights = Scratch<std::int16_t>(targetLength * taps + kSpareTaps);
    if (!weights)
        return false;
    shift = shiftFor(extent, largestSample);
    for (std::size_t target = 0; target < targetLength; ++target) {
        filter.weightsOf(target, line.get(), count);
        const std::int64_t skipped = filter.firstInside(target) - first[target];
        quantise(line.get(), filter.countInside(target), shift, weights.get() + target * taps + skipped);
    }
    return true;
}

} // namespace KVBase::Pixels
