#include <KVBase/KVImageUtils.h>

#include "Imaging/StraightPixels.h"
#include "Imaging/WorkingBitmap.h"
#include "Platform/CheckedCast.h"
#include "Platform/Pixels/Pixels.h"

#include <KVBase/KVLog.h>

namespace KVBase
{

namespace
{

constexpr const char *kCreateDataMethod =
    "+[KVImageUtils create32BitDataFromBitmapImageRep:prepareForVImageOperations:]";

/// The line that is logged when there is no memory, a part of the message.
constexpr std::int32_t kAllocationLine = 570;

/// Logs why a bitmap cannot be converted. false: it can.
bool refuses(const Ref<NSBitmapImageRep> &rep)
{
    if (rep == nullptr || rep->bitmapData() == nullptr)
        KVLog("%s returning NULL due to bitmapData == NULL", kCreateDataMethod);
    else if (rep->isPlanar())
        KVLog("%s returning NULL due to isPlanar == YES", kCreateDataMethod);
    else if (rep->bitsPerSample() != 8)
        KVLog("%s returning NULL due to bitsPerSample == %d", kCreateDataMethod, rep->bitsPerSample());
    else if (!hasConvertibleLayout(*rep))
        KVLog(
            "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == %d, bitsPerPixel == %%",
            rep->samplesPerPixel());
    else
        return false;
    return true;
}

} // namespace

bool KVImageUtils::check32BitNSBitmapImageRepWithAlpha(const Ref<NSBitmapImageRep> &rep)
{
    return rep != nullptr && rep->bitsPerPixel() == 32 && rep->bitsPerSample() == 8 && rep->hasAlpha() &&
           rep->samplesPerPixel() == 4;
}

vImage_Buffer KVImageUtils::vImageBufferStructFromNSBitmapImageRep(const Ref<NSBitmapImageRep> &rep)
{
    return check32BitNSBitmapImageRepWithAlpha(rep) ? bufferOf(*rep) : vImage_Buffer{};
}

Ref<NSBitmapImageRep> KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize(const NSSize &size)
{
    if (!(size.height > 0) || !(size.width > 0))
        return nullptr;
    const std::int32_t rowBytes = truncateToInt32(static_cast<double>(size.width) * 4.0);
    return transparentBitmap(truncateToInt32(size.width), truncateToInt32(size.height), rowBytes);
}

void KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB(const Ref<NSBitmapImageRep> &rep, bool toARGB)
{
    permute(vImageBufferStructFromNSBitmapImageRep(rep), toARGB);
}

void KVImageUtils::fillNSBitmapImageRep(const Ref<NSBitmapImageRep> &rep, std::uint8_t alpha,
                                        bool alphaByteFirst)
{
    const vImage_Buffer buffer = vImageBufferStructFromNSBitmapImageRep(rep);
    if (buffer.data != nullptr)
        Pixels::fillByte(rowsOf(buffer), alphaByteFirst ? 0 : 3, alpha);
}

void KVImageUtils::fillNSBitmapImageRep(const Ref<NSBitmapImageRep> &rep, std::uint8_t red,
                                        std::uint8_t green, std::uint8_t blue, std::uint8_t alpha,
                                        bool alphaByteFirst)
{
    const vImage_Buffer buffer = vImageBufferStructFromNSBitmapImageRep(rep);
    if (buffer.data == nullptr)
        return;
    if (alphaByteFirst)
        Pixels::fillPixel(rowsOf(buffer), {alpha, red, green, blue});
    else
        Pixels::fillPixel(rowsOf(buffer), {red, green, blue, alpha});
}

KVByteBlock KVImageUtils::create32BitDataFromBitmapImageRep(const Ref<NSBitmapImageRep> &rep, bool toARGB)
{
    if (refuses(rep))
        return nullptr;
    KVByteBlock block = allocatePackedPixels(*rep);
    if (block == nullptr) {
        KVLog("%s:%d Can't allocate memory.", kCreateDataMethod, kAllocationLine);
        return nullptr;
    }
    writeStraightPixels(*rep, toARGB, block.get());
    return block;
}

} // namespace KVBase
