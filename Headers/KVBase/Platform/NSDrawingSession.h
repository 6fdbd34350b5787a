#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSGeometry.h>
#include <KVBase/Platform/NSImage.h>

#include <cstdint>
#include <memory>

class QPainter;

namespace KVBase
{

/// Compositing operations.
inline constexpr std::uint32_t NSCompositeCopy = 1;
inline constexpr std::uint32_t NSCompositeSourceOver = 2;

/// Drawing into an image, from `lockFocus` (the constructor) to `unlockFocus` (the destructor). The canvas
/// shows the image as it is, one pixel for each point, sides rounded up; the origin is at the bottom left and
/// y grows upwards.
///
/// A session that has drawn leaves one bitmap, the canvas, as the image's only representation; one that only
/// took bitmaps out of it leaves the image as it was. Sessions on one image may overlap: each has a canvas of
/// its own, and the last one to end decides. A nil image and a canvas beyond `kMaximumBitmapBytes` or without
/// memory take the drawing and drop it. Used by one thread.
class KV_EXPORT NSDrawingSession {
public:
    NSDrawingSession(const Ref<NSImage> &image);
    ~NSDrawingSession();
    NSDrawingSession(const NSDrawingSession &) = delete;
    NSDrawingSession &operator=(const NSDrawingSession &) = delete;

    /// Draws on the canvas, in points. Never inactive. Its transformation may be changed by the caller; the
    /// methods below do not depend on it.
    QPainter &painter();

    /// Draws the part `fromRect` of `image`, in the image's points, into `inRect` of the canvas. The
    /// operation is copy, or source over for every other value; `fraction` is the opacity. Nothing is drawn
    /// for a nil or empty image or an empty rectangle.
    void drawImage(const Ref<NSImage> &image, const NSRect &inRect, const NSRect &fromRect,
                   std::uint32_t operation, float fraction);

    /// What the canvas shows in `rect` (`initWithFocusedViewRect:`): 32-bit RGBA, premultiplied, of the
    /// rectangle's size, its pixels rounded outwards; what lies outside the canvas is transparent. nil: an
    /// empty rectangle, one that is not finite, a nil image, or no memory.
    Ref<NSBitmapImageRep> bitmapInRect(const NSRect &rect);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
