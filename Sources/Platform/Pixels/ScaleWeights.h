#pragma once

#include "Platform/Pixels/Scratch.h"

#include <KVBase/KVExport.h>

#include <cstddef>
#include <cstdint>

namespace KVBase::Pixels
{

/// How much each source pixel of a line counts for each target pixel: a sinc windowed by its own main lobe,
/// stretched when the line shrinks. Pixels beyond an end count as the end's. In 16 bits, so that the weights
/// of one target pixel add up to 1 << shift exactly and a line of one colour keeps it.
struct KV_EXPORT ScaleWeights {
    /// The weights of the target pixel `index` belong to the source pixels from `first[index]` on, which is
    /// even.
    Scratch<std::int32_t> first;
    Scratch<std::int16_t> weights;

    /// Weights for each target pixel, a multiple of `together`; those beyond the filter, or the line, are 0.
    /// After the last pixel's come 8 more.
    std::size_t taps = 0;
    int shift = 0;

    /// `largestSample` bounds the absolute values that will be multiplied, so that the sums fit into 32 bits.
    /// false: no memory.
    bool make(std::size_t sourceLength, std::size_t targetLength, unsigned lobes, std::int32_t largestSample,
              std::size_t together = 8);

    const std::int16_t *of(std::size_t index) const { return weights.get() + index * taps; }
};

} // namespace KVBase::Pixels
