#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVByteBlock.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSGeometry.h>
#include <KVBase/Platform/NSImage.h>
#include <KVBase/Platform/NSImageRep.h>
#include <KVBase/Platform/vImage.h>

#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// What `flipImage` does. Another code, `KVImageOrientation{7}`, gives an image of transparent pixels.
enum class KVImageOrientation : std::uint32_t {
    Unchanged = 0,
    MirrorLeftRight = 1,
    MirrorTopBottom = 2,
    Turn180 = 3
};

/// Geometry, pixel buffers and whole-image operations, as functions of the image. Nothing raises. The
/// functions keep no state: any thread may call them, each image being used by one at a time. Images of which
/// a working copy is needed take 4 bytes a pixel and fail where `kMaximumBitmapBytes` does not hold it.
///
/// The same on the image or bitmap itself, with small differences that are meant, is in `vImageSupport`.
class KV_EXPORT KVImageUtils {
public:
    /// The rectangle into which `source` is scaled to fit inside `target`: relative to the target's own
    /// origin (the origins of both are ignored), at (0, 0) or centred, rounded half away from zero. With
    /// equal aspect ratios it is the whole target. Single precision throughout; degenerate sizes follow its
    /// arithmetic.
    static NSRect calcFloatNSRectToFitInNSRect(const NSRect &source, const NSRect &target, bool centered);

    /// The same, limited to the range of a signed 32-bit integer.
    static NSRect calcNSRectToFitInNSRect(const NSRect &source, const NSRect &target, bool centered);

    /// The same for sizes; the origin of the result is the centring offset.
    static NSRect calcNSSizeToFitInNSSize(const NSSize &source, const NSSize &target, bool centered);

    /// The size to which `source` is scaled to cover `target`, in whole numbers, truncated at each step.
    /// Centred, the origin says where the target lies inside the scaled source: what is to be cropped at the
    /// left and the bottom.
    static NSRect calcNSSizeToCoverNSSize(const NSSize &source, const NSSize &target, bool centered);

    /// The fit of legacy rectangles; top and left of the result are the centring offset.
    static Rect calcRectToFitInRect(const Rect &source, const Rect &target, bool centered);

    /// Neither conversion turns the picture upside down. The second truncates and keeps the low 16 bits of
    /// each edge.
    static NSRect convertQTRectToNSRect(const Rect &rect);
    static Rect convertNSRectToQTRect(const NSRect &rect);

    /// Whether a bitmap has 32 bits a pixel in four samples of 8 with alpha; planarity is not looked at.
    /// false: nil.
    static bool check32BitNSBitmapImageRepWithAlpha(const Ref<NSBitmapImageRep> &rep);

    /// The bitmap's memory, which stays its own; four zeros where the former answers false.
    static vImage_Buffer vImageBufferStructFromNSBitmapImageRep(const Ref<NSBitmapImageRep> &rep);

    /// A bitmap of transparent 32-bit pixels, size in pixels and truncated, whose row length is the truncated
    /// fourfold of the width as given. nil: a side not above 0 or below 1, too large, no memory.
    static Ref<NSBitmapImageRep> createNSBitmapImageRepForVImageOperationsWithSize(const NSSize &size);

    /// Moves alpha from the last byte of each pixel to the first (`toARGB`), or back. These three do nothing
    /// where `check32BitNSBitmapImageRepWithAlpha` answers false.
    static void convertNSBitmapImageRepPixelRGBAtoARGB(const Ref<NSBitmapImageRep> &rep, bool toARGB);

    /// Sets the alpha of each pixel, its first or its last byte, and keeps the rest.
    static void fillNSBitmapImageRep(const Ref<NSBitmapImageRep> &rep, std::uint8_t alpha,
                                     bool alphaByteFirst);

    /// Sets all four bytes of each pixel.
    static void fillNSBitmapImageRep(const Ref<NSBitmapImageRep> &rep, std::uint8_t red, std::uint8_t green,
                                     std::uint8_t blue, std::uint8_t alpha, bool alphaByteFirst);

    /// The pixels with straight colours in packed rows of 4 bytes a pixel, alpha first or last; the bitmap
    /// may be RGB, or RGBA taken as premultiplied. A colour above its alpha wraps. Null, after a log line:
    /// another layout, planar or missing data, or no memory.
    static KVByteBlock create32BitDataFromBitmapImageRep(const Ref<NSBitmapImageRep> &rep, bool toARGB);

    /// The representation with the most pixels, the last one in the list of equal ones. nil: none has pixels.
    static Ref<NSImageRep> findBiggestImageRep(const Ref<NSImage> &image, bool onlyBitmapReps);
    static Ref<NSBitmapImageRep> findBiggestBitmapImageRep(const Ref<NSImage> &image);

    /// Of the biggest representation. A nil image answers a zero size, respectively 1, after a line on the
    /// console.
    static NSSize getPixelSize(const Ref<NSImage> &image);

    /// The width of a pixel divided by its height; 1 without a representation.
    static float getPixelAspectRatio(const Ref<NSImage> &image);

    /// Whether something exists at the path whose name declares a type of image that can be read. The
    /// contents are not looked at; a folder is none. Blocks on the file system.
    static bool isImageFile(const QString &path);

    /// The part of the image in `cropRect`, in points from its bottom left; transparent where it lies
    /// outside. The result has the rectangle's size, its pixels are rounded outwards. nil: a nil image, an
    /// empty rectangle.
    static Ref<NSImage> cropImage(const Ref<NSImage> &image, const NSRect &cropRect);

    /// The image at a size in pixels, truncated. The result's colours are straight. nil: an image without
    /// pixels, a size below 1, no memory.
    static Ref<NSImage> scaleImage(const Ref<NSImage> &image, const NSSize &newImageSize);

    /// The same for a bitmap in ARGB; one that is not prepared is turned into it and stays so. nil also for a
    /// bitmap that has not 32 bits a pixel.
    static Ref<NSImage> scaleBitmapRep(const Ref<NSBitmapImageRep> &rep, const NSSize &newImageSize,
                                       bool isPrepared);

    /// The image scaled to cover the size and cropped to it, the middle or the bottom left. Sets the size of
    /// `image` to its pixels for good. The image itself, when it has that many pixels already. nil: nil, no
    /// pixels, no memory.
    static Ref<NSImage> scaleAndCropImage(const Ref<NSImage> &image, const NSSize &newImageSize,
                                          bool centered);

    /// The image mirrored or turned, in as many pixels as it has points; where that is not the number of its
    /// own pixels, the area common to both, counted from the top left, is worked on. `Unchanged` answers the
    /// image itself. nil: an image without pixels, no memory.
    static Ref<NSImage> flipImage(const Ref<NSImage> &image, KVImageOrientation orientation);

    /// The image drawn at its pixel size, with straight colours, alpha first or last. The bitmap owns its
    /// block, which must not be freed. nil: an image that cannot be drawn or has no pixels, no memory.
    static Ref<NSBitmapImageRep> create32BitNSBitmapImageRepFromNSImage(const Ref<NSImage> &image,
                                                                        bool toARGB);
};

} // namespace KVBase
