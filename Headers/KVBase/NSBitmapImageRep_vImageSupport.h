#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVByteBlock.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSGeometry.h>
#include <KVBase/Platform/NSImage.h>
#include <KVBase/Platform/vImage.h>

namespace KVBase
{

/// What `KVImageUtils` does with bitmaps, on the bitmap itself. A nil bitmap answers false, nil or zeros.
namespace vImageSupport
{

/// A bitmap of transparent 32-bit pixels in packed rows, its size in pixels and truncated. nil: a side below
/// 1, too large, no memory.
KV_EXPORT Ref<NSBitmapImageRep> imageRepForVImageOperationsWithSize(const NSSize &size);
KV_EXPORT Ref<NSBitmapImageRep> initForVImageOperationsWithSize(const NSSize &size);

/// Whether the bitmap is interleaved and has four samples of 8 bits with alpha; the bits of a pixel are not
/// looked at. Each condition that fails goes to the assertion handler first, which raises
/// `NSInternalInconsistencyException` in debug builds and writes to the console in others.
KV_EXPORT bool isVImageCompatible(const Ref<NSBitmapImageRep> &rep);

/// The bitmap's memory, which stays its own; four zeros where the former answers false.
KV_EXPORT vImage_Buffer vImageBuffer(const Ref<NSBitmapImageRep> &rep);

/// Moves alpha from the last byte of each pixel to the first (`toARGB`), or back; nothing for an incompatible
/// one.
KV_EXPORT void permuteInPlaceRGBAtoARGB(const Ref<NSBitmapImageRep> &rep, bool toARGB);

/// The pixels with straight colours in packed rows, as `KVImageUtils::create32BitDataFromBitmapImageRep`
/// gives them. Null after a line on the console: another layout or planar; null without one: no data or no
/// memory.
KV_EXPORT KVByteBlock create32BitDataAndPermuteRGBAtoARGB(const Ref<NSBitmapImageRep> &rep, bool toARGB);

/// The bitmap at a size in pixels, rounded down. A bitmap that is RGBA (`formatIsARGB` false) is turned into
/// ARGB and stays so, also on failure. nil: an incompatible bitmap, a size below 1, no memory.
KV_EXPORT Ref<NSImage> scaledImageWithSize(const Ref<NSBitmapImageRep> &rep, const NSSize &size,
                                           bool formatIsARGB);

} // namespace vImageSupport
} // namespace KVBase
