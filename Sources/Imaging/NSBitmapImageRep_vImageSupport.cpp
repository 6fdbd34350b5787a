#include <KVBase/NSBitmapImageRep_vImageSupport.h>

#include "Imaging/StraightPixels.h"
#include "Imaging/WorkingBitmap.h"
#include "Platform/CheckedCast.h"
#include "Platform/Services/AssertionHandler.h"

#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/NSLog.h>

#include <cmath>

namespace KVBase::vImageSupport
{

namespace
{

/// Hands a parameter that does not hold to the assertion handler, which may throw.
bool satisfied(bool holds, const char *expression, const NSBitmapImageRep *rep, std::int32_t line)
{
    if (!holds)
        Service<AssertionHandler>::current()->handleFailureInMethod(
            QStringLiteral("-[NSBitmapImageRep(vImageSupport) isVImageCompatible]"), rep,
            QStringLiteral("KVBase/Sources/NSBitmapImageRep_vImageSupport"), line,
            stringWithFormat("Invalid parameter not satisfying: %s", expression));
    return holds;
}

bool refuses(const NSBitmapImageRep &rep)
{
    if (rep.isPlanar())
        NSLog("get32BitDataFromBitmapImageRep: returning NULL due to isPlanar == YES");
    else if (rep.bitsPerSample() != 8)
        NSLog("get32BitDataFromBitmapImageRep: returning NULL due to bitsPerSample == %d",
              rep.bitsPerSample());
    else if (!hasConvertibleLayout(rep))
        NSLog(
            "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == %d, bitsPerPixel == %d",
            rep.samplesPerPixel(), rep.bitsPerPixel());
    else
        return false;
    return true;
}

} // namespace

Ref<NSBitmapImageRep> imageRepForVImageOperationsWithSize(const NSSize &size)
{
    return initForVImageOperationsWithSize(size);
}

Ref<NSBitmapImageRep> initForVImageOperationsWithSize(const NSSize &size)
{
    const std::int32_t wide = truncateToInt32(size.width);
    const std::int32_t high = truncateToInt32(size.height);
    // A row length of 0 is worked out: four bytes for each pixel.
    return transparentBitmap(wide, high, 0);
}

bool isVImageCompatible(const Ref<NSBitmapImageRep> &rep)
{
    if (rep == nullptr)
        return false;
    const NSBitmapImageRep *self = rep.get();
    bool holds = satisfied(!self->isPlanar(), "[self isPlanar] == NO", self, __LINE__);
    holds = satisfied(self->hasAlpha(), "[self hasAlpha] == YES", self, __LINE__) && holds;
    holds = satisfied(self->bitsPerSample() == 8, "[self bitsPerSample] == 8", self, __LINE__) && holds;
    return satisfied(self->samplesPerPixel() == 4, "[self samplesPerPixel] == 4", self, __LINE__) && holds;
}

vImage_Buffer vImageBuffer(const Ref<NSBitmapImageRep> &rep)
{
    return isVImageCompatible(rep) ? bufferOf(*rep) : vImage_Buffer{};
}

void permuteInPlaceRGBAtoARGB(const Ref<NSBitmapImageRep> &rep, bool toARGB)
{
    permute(vImageBuffer(rep), toARGB);
}

KVByteBlock create32BitDataAndPermuteRGBAtoARGB(const Ref<NSBitmapImageRep> &rep, bool toARGB)
{
    if (rep == nullptr || refuses(*rep) || rep->bitmapData() == nullptr)
        return nullptr;
    KVByteBlock block = allocatePackedPixels(*rep);
    if (block != nullptr)
        writeStraightPixels(*rep, toARGB, block.get());
    return block;
}

Ref<NSImage> scaledImageWithSize(const Ref<NSBitmapImageRep> &rep, const NSSize &size, bool formatIsARGB)
{
    if (rep == nullptr)
        return nullptr;
    if (!formatIsARGB)
        permuteInPlaceRGBAtoARGB(rep, true);
    const Ref<NSBitmapImageRep> scaled =
        imageRepForVImageOperationsWithSize({std::floor(size.width), std::floor(size.height)});
    if (scaled == nullptr || !scalePixels(vImageBuffer(rep), vImageBuffer(scaled)))
        return nullptr;
    permuteInPlaceRGBAtoARGB(scaled, false);
    return imageOf(scaled);
}

} // namespace KVBase::vImageSupport
