#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/KVImageUtils.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSGeometry.h>
#include <KVBase/Platform/NSImage.h>

namespace KVBase
{

/// What `KVImageUtils` does with images, on the image itself; each function is the counterpart of one there
/// and differs only where it says so.
namespace vImageSupport
{

/// Counterpart of `findBiggestImageRep`: of equal ones the first in the list.
KV_EXPORT Ref<NSImageRep> biggestImageRepConsideringBitmapRepsOnly(const Ref<NSImage> &image,
                                                                   bool onlyBitmapReps);
KV_EXPORT Ref<NSBitmapImageRep> biggestBitmapImageRep(const Ref<NSImage> &image);

KV_EXPORT NSSize pixelSize(const Ref<NSImage> &image);
KV_EXPORT float pixelAspectRatio(const Ref<NSImage> &image);
KV_EXPORT Ref<NSImage> croppedImageFromRect(const Ref<NSImage> &image, const NSRect &rect);

/// Counterpart of `scaleImage`: the size is rounded down.
KV_EXPORT Ref<NSImage> scaledImageWithSize(const Ref<NSImage> &image, const NSSize &size);
KV_EXPORT Ref<NSImage> scaledAndCroppedImageWithSize(const Ref<NSImage> &image, const NSSize &size,
                                                     bool centered);
KV_EXPORT Ref<NSImage> flippedImageWithOrientation(const Ref<NSImage> &image, KVImageOrientation orientation);
KV_EXPORT Ref<NSBitmapImageRep>
create32BitNSBitmapImageRepAndPrepareForVImageOperations(const Ref<NSImage> &image, bool toARGB);

} // namespace vImageSupport
} // namespace KVBase
