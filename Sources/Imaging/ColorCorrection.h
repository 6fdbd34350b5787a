#pragma once

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// Factors of a colour correction; see `KVBitmapContext::colorCorrectWithRedFactor`.
struct ColorFactors {
    double red = 1;
    double green = 1;
    double blue = 1;
    double saturation = 1;
    double gamma = 1;

    bool operator==(const ColorFactors &) const = default;
};

/// Corrects `count` groups of (untouched, red, green, blue) in place.
void correctColors(std::uint8_t *groups, std::size_t count, const ColorFactors &factors);

} // namespace KVBase
