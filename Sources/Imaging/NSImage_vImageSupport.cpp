#include <KVBase/NSImage_vImageSupport.h>

#include "Imaging/WorkingBitmap.h"

#include <KVBase/NSBitmapImageRep_vImageSupport.h>
#include <KVBase/Platform/NSLog.h>

#include <cmath>

namespace KVBase::vImageSupport
{

namespace
{

/// The product as an unsigned 32-bit number: one that leaves it wraps.
std::uint32_t area(const NSImageRep &representation)
{
    return static_cast<std::uint32_t>(representation.pixelsWide()) *
           static_cast<std::uint32_t>(representation.pixelsHigh());
}

} // namespace

Ref<NSImageRep> biggestImageRepConsideringBitmapRepsOnly(const Ref<NSImage> &image, bool onlyBitmapReps)
{
    if (image == nullptr)
        return nullptr;
    Ref<NSImageRep> biggest;
    std::uint32_t largest = 0;
    for (const Ref<NSImageRep> &entry : image->representations()) {
        const bool isSkipped =
            onlyBitmapReps && std::dynamic_pointer_cast<NSBitmapImageRep>(entry) == nullptr;
        if (isSkipped || area(*entry) <= largest)
            continue;
        biggest = entry;
        largest = area(*entry);
    }
    return biggest;
}

Ref<NSBitmapImageRep> biggestBitmapImageRep(const Ref<NSImage> &image)
{
    return std::dynamic_pointer_cast<NSBitmapImageRep>(biggestImageRepConsideringBitmapRepsOnly(image, true));
}

NSSize pixelSize(const Ref<NSImage> &image)
{
    if (image == nullptr)
        NSLog("getting pixel size on nil image");
    const Ref<NSImageRep> biggest = biggestImageRepConsideringBitmapRepsOnly(image, false);
    return biggest != nullptr ? pixelSizeOf(*biggest) : NSSize{};
}

float pixelAspectRatio(const Ref<NSImage> &image)
{
    if (image == nullptr)
        NSLog("getting aspect ratio on nil image");
    const Ref<NSImageRep> biggest = biggestImageRepConsideringBitmapRepsOnly(image, false);
    return biggest != nullptr ? pixelAspectRatioOf(*biggest) : 1.0f;
}

Ref<NSImage> croppedImageFromRect(const Ref<NSImage> &image, const NSRect &rect)
{
    return croppedImage(image, rect);
}

Ref<NSImage> scaledImageWithSize(const Ref<NSImage> &image, const NSSize &size)
{
    const NSSize whole{std::floor(size.width), std::floor(size.height)};
    return scaledImageWithSize(create32BitNSBitmapImageRepAndPrepareForVImageOperations(image, true), whole,
                               true);
}

Ref<NSImage> scaledAndCroppedImageWithSize(const Ref<NSImage> &image, const NSSize &size, bool centered)
{
    if (image == nullptr)
        return nullptr;
    return coveringImage(image, biggestImageRepConsideringBitmapRepsOnly(image, false), size, centered,
                         &scaledImageWithSize);
}

Ref<NSImage> flippedImageWithOrientation(const Ref<NSImage> &image, KVImageOrientation orientation)
{
    if (image == nullptr || orientation == KVImageOrientation::Unchanged)
        return image;
    const NSSize size = image->size();
    const Ref<NSBitmapImageRep> source =
        create32BitNSBitmapImageRepAndPrepareForVImageOperations(image, true);
    const Ref<NSBitmapImageRep> flipped = imageRepForVImageOperationsWithSize(size);
    if (!flipPixels(vImageBuffer(source), vImageBuffer(flipped), orientation))
        return nullptr;
    permuteInPlaceRGBAtoARGB(flipped, false);
    return imageOfSize(size, flipped);
}

Ref<NSBitmapImageRep> create32BitNSBitmapImageRepAndPrepareForVImageOperations(const Ref<NSImage> &image,
                                                                               bool toARGB)
{
    return straightBitmap(image, biggestImageRepConsideringBitmapRepsOnly(image, false), toARGB,
                          &create32BitDataAndPermuteRGBAtoARGB);
}

} // namespace KVBase::vImageSupport
