#pragma once

#include "Platform/Pixels/LevelTable.h"

#include <KVBase/KVExport.h>

#include <cstddef>
#include <cstdint>

namespace KVBase::Pixels
{

/// What the colours of a pixel are multiplied with and added up. Green is made from the new red, and blue
/// from the new red and the new green.
struct ColorMix {
    double ownRed = 1;
    double ownGreen = 1;
    double ownBlue = 1;
    double red = 0;
    double green = 0;
    double blue = 0;
};

/// Mixes the colours of `count` pixels of the order (untouched, red, green, blue) in double precision, clamps
/// them to 0 ... 1, what is no number to 0, and stores the byte that `table` gives; without a table the
/// rounded one. Every instruction set gives the bytes of the plain loop.
KV_EXPORT void mixColors(std::uint8_t *pixels, std::size_t count, const ColorMix &mix,
                         const LevelTable *table);

} // namespace KVBase::Pixels
