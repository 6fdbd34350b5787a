#pragma once

#include "Platform/Pixels/Pixels.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/Platform/KVByteBlock.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSImage.h>
#include <KVBase/Platform/vImage.h>

#include <cstdint>

/// What the functions of images and bitmaps share with their counterparts: everything that does not differ on
/// purpose.
namespace KVBase
{

/// A transparent 32-bit bitmap of its own; nil as `NSBitmapImageRep::create`.
Ref<NSBitmapImageRep> transparentBitmap(std::int32_t wide, std::int32_t high, std::int32_t rowBytes);

/// The bitmap's memory, whatever its layout.
vImage_Buffer bufferOf(const NSBitmapImageRep &rep);

Pixels::Rows rowsOf(const vImage_Buffer &buffer);

/// Moves alpha to the front of each pixel, or back; nothing for a buffer without data.
void permute(const vImage_Buffer &buffer, bool toARGB);

/// Turns a bitmap into straight pixels: one of the two functions that create 32-bit data.
using StraightPixelMaker = KVByteBlock (*)(const Ref<NSBitmapImageRep> &rep, bool toARGB);

/// The image drawn at the pixel size of `biggest` and made straight. nil: not valid, no pixels, no memory.
Ref<NSBitmapImageRep> straightBitmap(const Ref<NSImage> &image, const Ref<NSImageRep> &biggest, bool toARGB,
                                     StraightPixelMaker maker);

/// Scales one buffer of ARGB pixels to the other at high quality. false: either has no data, or it cannot be
/// done.
bool scalePixels(const vImage_Buffer &source, const vImage_Buffer &destination);

/// Mirrors or turns; false as the former. A code without a name leaves the destination alone.
bool flipPixels(const vImage_Buffer &source, const vImage_Buffer &destination,
                KVImageOrientation orientation);

/// An image that shows the bitmap and has its size.
Ref<NSImage> imageOf(const Ref<NSBitmapImageRep> &bitmap);

/// An image of `size` into which the bitmap is drawn at the bottom left.
Ref<NSImage> imageOfSize(const NSSize &size, const Ref<NSBitmapImageRep> &bitmap);

/// Width and height in pixels.
NSSize pixelSizeOf(const NSImageRep &representation);

/// The width of a pixel divided by its height.
float pixelAspectRatioOf(const NSImageRep &representation);

/// The part of the image in a rectangle; nil for a nil image or an empty rectangle.
Ref<NSImage> croppedImage(const Ref<NSImage> &image, const NSRect &rect);

/// The image scaled by `scale` to cover `size` and cropped to it.
Ref<NSImage> coveringImage(const Ref<NSImage> &image, const Ref<NSImageRep> &biggest, const NSSize &size,
                           bool centered, Ref<NSImage> (*scale)(const Ref<NSImage> &, const NSSize &));

} // namespace KVBase
