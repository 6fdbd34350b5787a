#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/CoreImage.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSImage.h>

/// Turns an image into a bitmap and into an image that is computed where it is rendered. The image is used by
/// one thread at a time.
namespace KVBase::CIImageAdditions
{

/// What the image shows, one pixel a point. nil for a nil image or one of no size.
KV_EXPORT Ref<NSBitmapImageRep> bitmap(const Ref<NSImage> &image);

/// The same as a `CIImage`. The class is looked up by name while the program runs: nil when there is none,
/// and when there is no bitmap. The first call may load a library.
KV_EXPORT Ref<KVBase::CIImage> CIImage(const Ref<NSImage> &image);

} // namespace KVBase::CIImageAdditions
