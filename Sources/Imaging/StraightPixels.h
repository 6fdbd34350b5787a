#pragma once

#include <KVBase/Platform/KVByteBlock.h>
#include <KVBase/Platform/NSBitmapImageRep.h>

namespace KVBase
{

/// Whether the pixels are RGB in 24 bits or RGBA in 32, which is all that can be converted.
bool hasConvertibleLayout(const NSBitmapImageRep &rep);

/// Memory for the pixels of `rep` in packed rows of 4 bytes a pixel; null: no memory, or more than
/// `kMaximumBitmapBytes`.
KVByteBlock allocatePackedPixels(const NSBitmapImageRep &rep);

/// Fills such a block with the straight pixels of a bitmap with data and a convertible layout of 8-bit
/// samples.
void writeStraightPixels(const NSBitmapImageRep &rep, bool toARGB, std::uint8_t *packed);

} // namespace KVBase
