#include <KVBase/KVImageUtils.h>

#include "Imaging/WorkingBitmap.h"
#include "Platform/CheckedCast.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/TypeIdentifiers.h"

#include <KVBase/Platform/NSLog.h>

#include <algorithm>

namespace KVBase
{

namespace
{

/// The product as a signed 32-bit number: one that leaves it wraps.
std::int32_t area(const NSImageRep &representation)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(representation.pixelsWide()) *
                                     static_cast<std::uint32_t>(representation.pixelsHigh()));
}

bool isKindOfBitmap(const Ref<NSImageRep> &representation)
{
    return std::dynamic_pointer_cast<NSBitmapImageRep>(representation) != nullptr;
}

} // namespace

Ref<NSImageRep> KVImageUtils::findBiggestImageRep(const Ref<NSImage> &image, bool onlyBitmapReps)
{
    if (image == nullptr)
        return nullptr;
    const std::vector<Ref<NSImageRep>> list = image->representations();
    Ref<NSImageRep> biggest;
    std::int32_t largest = 0;
    for (auto entry = list.rbegin(); entry != list.rend(); ++entry) {
        if ((onlyBitmapReps && !isKindOfBitmap(*entry)) || area(**entry) <= largest)
            continue;
        biggest = *entry;
        largest = area(**entry);
    }
    return biggest;
}

Ref<NSBitmapImageRep> KVImageUtils::findBiggestBitmapImageRep(const Ref<NSImage> &image)
{
    return std::dynamic_pointer_cast<NSBitmapImageRep>(findBiggestImageRep(image, true));
}

NSSize KVImageUtils::getPixelSize(const Ref<NSImage> &image)
{
    if (image == nullptr)
        NSLog("getting pixel size on nil image");
    const Ref<NSImageRep> biggest = findBiggestImageRep(image, false);
    return biggest != nullptr ? pixelSizeOf(*biggest) : NSSize{};
}

float KVImageUtils::getPixelAspectRatio(const Ref<NSImage> &image)
{
    if (image == nullptr)
        NSLog("getting aspect ratio on nil image");
    const Ref<NSImageRep> biggest = findBiggestImageRep(image, false);
    return biggest != nullptr ? pixelAspectRatioOf(*biggest) : 1.0f;
}

bool KVImageUtils::isImageFile(const QString &path)
{
    FSRef ref;
    if (Service<FileManager>::current()->makeRef(path, &ref, true) != 0)
        return false;
    TypeIdentifiers &types = *Service<TypeIdentifiers>::current();
    const QString declared = types.contentType(path);
    if (declared.isNull())
        return false;
    const QStringList readable = types.readableImageTypes();
    return std::any_of(readable.begin(), readable.end(), [&](const QString &type) {
        return types.conformsTo(type, QStringLiteral("public.image")) && types.conformsTo(declared, type);
    });
}

Ref<NSImage> KVImageUtils::cropImage(const Ref<NSImage> &image, const NSRect &cropRect)
{
    return croppedImage(image, cropRect);
}

Ref<NSImage> KVImageUtils::scaleImage(const Ref<NSImage> &image, const NSSize &newImageSize)
{
    return scaleBitmapRep(create32BitNSBitmapImageRepFromNSImage(image, true), newImageSize, true);
}

Ref<NSImage> KVImageUtils::scaleBitmapRep(const Ref<NSBitmapImageRep> &rep, const NSSize &newImageSize,
                                          bool isPrepared)
{
    if (rep == nullptr)
        return nullptr;
    if (!isPrepared)
        convertNSBitmapImageRepPixelRGBAtoARGB(rep, true);
    const Ref<NSBitmapImageRep> scaled = createNSBitmapImageRepForVImageOperationsWithSize(
        {static_cast<float>(truncateToInt32(newImageSize.width)),
         static_cast<float>(truncateToInt32(newImageSize.height))});
    if (!scalePixels(vImageBufferStructFromNSBitmapImageRep(rep),
                     vImageBufferStructFromNSBitmapImageRep(scaled)))
        return nullptr;
    convertNSBitmapImageRepPixelRGBAtoARGB(scaled, false);
    return imageOf(scaled);
}

Ref<NSImage> KVImageUtils::scaleAndCropImage(const Ref<NSImage> &image, const NSSize &newImageSize,
                                             bool centered)
{
    if (image == nullptr)
        return nullptr;
    return coveringImage(image, findBiggestImageRep(image, false), newImageSize, centered,
                         &KVImageUtils::scaleImage);
}

Ref<NSImage> KVImageUtils::flipImage(const Ref<NSImage> &image, KVImageOrientation orientation)
{
    if (image == nullptr || orientation == KVImageOrientation::Unchanged)
        return image;
    const NSSize size = image->size();
    const Ref<NSBitmapImageRep> source = create32BitNSBitmapImageRepFromNSImage(image, true);
    const Ref<NSBitmapImageRep> flipped = createNSBitmapImageRepForVImageOperationsWithSize(size);
    if (!flipPixels(vImageBufferStructFromNSBitmapImageRep(source),
                    vImageBufferStructFromNSBitmapImageRep(flipped), orientation))
        return nullptr;
    convertNSBitmapImageRepPixelRGBAtoARGB(flipped, false);
    return imageOfSize(size, flipped);
}

Ref<NSBitmapImageRep> KVImageUtils::create32BitNSBitmapImageRepFromNSImage(const Ref<NSImage> &image,
                                                                           bool toARGB)
{
    return straightBitmap(image, findBiggestImageRep(image, false), toARGB,
                          &create32BitDataFromBitmapImageRep);
}

} // namespace KVBase
