#include "Imaging/WorkingBitmap.h"

#include "Imaging/StraightPixels.h"
#include "Platform/CheckedCast.h"

#include <KVBase/Platform/NSDrawingSession.h>

#include <QtGui/QPainter>

#include <cmath>
#include <utility>

namespace KVBase
{

namespace
{

/// Whether drawing the image at the bitmap's pixel size would give just the bitmap's pixels, so that the
/// drawing can be left out.
bool isWholeImage(const NSBitmapImageRep &bitmap, const NSImage &image)
{
    const NSSize size = image.size();
    const bool isShown =
        std::isfinite(size.width) && std::isfinite(size.height) && size.width > 0 && size.height > 0;
    const bool hasPlainLayout = !bitmap.isPlanar() && bitmap.bitsPerSample() == 8 &&
                                hasConvertibleLayout(bitmap) &&
                                bitmap.hasAlpha() == (bitmap.samplesPerPixel() == 4);
    return isShown && hasPlainLayout && image.representations().size() == 1;
}

/// The image drawn into a canvas of `size` pixels and captured.
Ref<NSBitmapImageRep> captured(const Ref<NSImage> &image, const NSSize &size)
{
    const NSRect everything{{0, 0}, size};
    NSDrawingSession session(NSImage::create(size));
    session.drawImage(image, everything, {{0, 0}, image->size()}, NSCompositeCopy, 1.0f);
    return session.bitmapInRect(everything);
}

Ref<NSBitmapImageRep> bitmapOver(KVByteBlock block, const NSSize &size)
{
    return NSBitmapImageRep::create(
        std::move(block), truncateToInt32(size.width), truncateToInt32(size.height), 8, 4, true, false,
        QString(NSCalibratedRGBColorSpace), truncateToInt32(static_cast<double>(size.width) * 4.0), 32);
}

} // namespace

Ref<NSBitmapImageRep> transparentBitmap(std::int32_t wide, std::int32_t high, std::int32_t rowBytes)
{
    return NSBitmapImageRep::create(nullptr, wide, high, 8, 4, true, false,
                                    QString(NSCalibratedRGBColorSpace), rowBytes, 32);
}

vImage_Buffer bufferOf(const NSBitmapImageRep &rep)
{
    return {rep.bitmapData(), static_cast<std::size_t>(rep.pixelsHigh()),
            static_cast<std::size_t>(rep.pixelsWide()), static_cast<std::size_t>(rep.bytesPerRow())};
}

Pixels::Rows rowsOf(const vImage_Buffer &buffer)
{
    return {static_cast<std::uint8_t *>(buffer.data), buffer.width, buffer.height, buffer.rowBytes};
}

void permute(const vImage_Buffer &buffer, bool toARGB)
{
    if (buffer.data == nullptr)
        return;
    if (toARGB)
        Pixels::lastByteToFront(rowsOf(buffer));
    else
        Pixels::firstByteToBack(rowsOf(buffer));
}

Ref<NSBitmapImageRep> straightBitmap(const Ref<NSImage> &image, const Ref<NSImageRep> &biggest, bool toARGB,
                                     StraightPixelMaker maker)
{
    if (image == nullptr || !image->isValid() || biggest == nullptr)
        return nullptr;
    const NSSize size = pixelSizeOf(*biggest);
    Ref<NSBitmapImageRep> bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(biggest);
    if (bitmap == nullptr || !isWholeImage(*bitmap, *image))
        bitmap = captured(image, size);
    if (bitmap == nullptr)
        return nullptr;
    KVByteBlock block = maker(bitmap, toARGB);
    return block != nullptr ? bitmapOver(std::move(block), size) : nullptr;
}

bool scalePixels(const vImage_Buffer &source, const vImage_Buffer &destination)
{
    return vImageScale_ARGB8888(&source, &destination, nullptr,
                                kvImageHighQualityResampling | kvImageEdgeExtend) == kvImageNoError;
}

bool flipPixels(const vImage_Buffer &source, const vImage_Buffer &destination, KVImageOrientation orientation)
{
    if (source.data == nullptr || destination.data == nullptr)
        return false;
    constexpr Pixel_8888 kWhite{255, 255, 255, 255};
    switch (orientation) {
    case KVImageOrientation::MirrorLeftRight:
        return vImageHorizontalReflect_ARGB8888(&source, &destination, kvImageDoNotTile) == kvImageNoError;
    case KVImageOrientation::MirrorTopBottom:
        return vImageVerticalReflect_ARGB8888(&source, &destination, kvImageDoNotTile) == kvImageNoError;
    case KVImageOrientation::Turn180:
        return vImageRotate90_ARGB8888(&source, &destination, kRotate180DegreesClockwise, kWhite,
                                       kvImageDoNotTile) == kvImageNoError;
    default:
        return true;
    }
}

Ref<NSImage> imageOf(const Ref<NSBitmapImageRep> &bitmap)
{
    Ref<NSImage> image = NSImage::create();
    image->addRepresentation(bitmap);
    return image;
}

Ref<NSImage> imageOfSize(const NSSize &size, const Ref<NSBitmapImageRep> &bitmap)
{
    Ref<NSImage> image = NSImage::create(size);
    if (bitmap->size() == size) {
        // Drawn onto nothing at its own size, the bitmap is what the drawing would be.
        image->addRepresentation(bitmap);
        return image;
    }
    NSDrawingSession session(image);
    bitmap->draw(session.painter(), {{0, 0}, bitmap->size()});
    return image;
}

NSSize pixelSizeOf(const NSImageRep &representation)
{
    return {static_cast<float>(representation.pixelsWide()), static_cast<float>(representation.pixelsHigh())};
}

float pixelAspectRatioOf(const NSImageRep &representation)
{
    const NSSize points = representation.size();
    const NSSize pixels = pixelSizeOf(representation);
    return (pixels.height / points.height) / (pixels.width / points.width);
}

Ref<NSImage> croppedImage(const Ref<NSImage> &image, const NSRect &rect)
{
    const Ref<NSBitmapImageRep> bitmap = NSDrawingSession(image).bitmapInRect(rect);
    if (bitmap == nullptr)
        return nullptr;
    Ref<NSImage> cropped = NSImage::create(rect.size);
    cropped->addRepresentation(bitmap);
    return cropped;
}

Ref<NSImage> coveringImage(const Ref<NSImage> &image, const Ref<NSImageRep> &biggest, const NSSize &size,
                           bool centered, Ref<NSImage> (*scale)(const Ref<NSImage> &, const NSSize &))
{
    const NSSize pixels = biggest != nullptr ? pixelSizeOf(*biggest) : NSSize{};
    image->setSize(pixels);
    const std::int32_t wide = truncateToInt32(size.width);
    const std::int32_t high = truncateToInt32(size.height);
    const bool isThatSize = biggest != nullptr
                                ? biggest->pixelsWide() == wide && biggest->pixelsHigh() == high
                                : wide == 0 && high == 0;
    if (isThatSize)
        return image;
    const NSRect cover = KVImageUtils::calcNSSizeToCoverNSSize(pixels, size, centered);
    const Ref<NSImage> scaled = scale(image, cover.size);
    const NSRect wanted{{0, 0}, {static_cast<float>(wide), static_cast<float>(high)}};
    return croppedImage(scaled, KVImageUtils::calcNSRectToFitInNSRect(wanted, cover, centered));
}

} // namespace KVBase
