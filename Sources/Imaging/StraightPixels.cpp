#include "Imaging/StraightPixels.h"

#include "Platform/Pixels/Pixels.h"
#include "Platform/Services/Allocator.h"

namespace KVBase
{

namespace
{

bool isRGB(const NSBitmapImageRep &rep) { return rep.samplesPerPixel() == 3 && rep.bitsPerPixel() == 24; }

bool isRGBA(const NSBitmapImageRep &rep) { return rep.samplesPerPixel() == 4 && rep.bitsPerPixel() == 32; }

} // namespace

bool hasConvertibleLayout(const NSBitmapImageRep &rep) { return isRGB(rep) || isRGBA(rep); }

KVByteBlock allocatePackedPixels(const NSBitmapImageRep &rep)
{
    // A bitmap's sides are positive 32-bit numbers: four times their product fits.
    const std::uint64_t bytes = std::uint64_t{4} * static_cast<std::uint32_t>(rep.pixelsWide()) *
                                static_cast<std::uint32_t>(rep.pixelsHigh());
    if (bytes > kMaximumBitmapBytes)
        return nullptr;
    return KVByteBlock(static_cast<std::uint8_t *>(Service<Allocator>::current()->allocate(bytes)));
}

void writeStraightPixels(const NSBitmapImageRep &rep, bool toARGB, std::uint8_t *packed)
{
    const Pixels::ConstRows rows{rep.bitmapData(), static_cast<std::size_t>(rep.pixelsWide()),
                                 static_cast<std::size_t>(rep.pixelsHigh()),
                                 static_cast<std::size_t>(rep.bytesPerRow())};
    if (isRGB(rep))
        Pixels::opaqueFromRGB(rows, packed, toARGB);
    else
        Pixels::straightFromPremultiplied(rows, packed, toARGB);
}

} // namespace KVBase
