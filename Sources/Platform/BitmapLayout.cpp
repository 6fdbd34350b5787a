#include "Platform/BitmapLayout.h"

#include <KVBase/Platform/NSBitmapImageRep.h>

namespace KVBase
{

namespace
{

constexpr std::int32_t kMaximumBitsPerSample = 16;
constexpr std::int32_t kMaximumSamplesPerPixel = 8;
constexpr std::int64_t kMaximumBitsPerPixel = 256;

std::int64_t bytesForBits(std::int64_t bits) { return (bits + 7) / 8; }

} // namespace

bool BitmapLayout::complete()
{
    if (wide < 1 || high < 1 || bitsPerSample < 1 || bitsPerSample > kMaximumBitsPerSample)
        return false;
    if (samplesPerPixel < 1 || samplesPerPixel > kMaximumSamplesPerPixel || colorSamples() < 0)
        return false;
    const std::int64_t fewestBits = bitsPerSample * (isPlanar ? 1 : samplesPerPixel);
    const std::int64_t pixelBits = bitsPerPixel != 0 ? bitsPerPixel : fewestBits;
    // A planar bitmap may state the bits of a whole pixel: the distance inside a plane is what counts.
    const std::int64_t stepBits = isPlanar ? bitsPerSample : pixelBits;
    if (pixelBits < fewestBits || pixelBits > kMaximumBitsPerPixel)
        return false;
    const std::int64_t fewestBytes = bytesForBits(wide * stepBits);
    const std::int64_t rowBytes = bytesPerRow != 0 ? bytesPerRow : fewestBytes;
    if (rowBytes < fewestBytes || rowBytes > INT32_MAX)
        return false;
    bitsPerPixel = static_cast<std::int32_t>(pixelBits);
    bytesPerRow = static_cast<std::int32_t>(rowBytes);
    return byteCount() <= kMaximumBitmapBytes;
}

std::size_t BitmapLayout::byteCount() const
{
    const std::size_t plane = static_cast<std::size_t>(bytesPerRow) * static_cast<std::size_t>(high);
    const std::size_t planes = isPlanar ? static_cast<std::size_t>(samplesPerPixel) : 1;
    return plane > SIZE_MAX / planes ? SIZE_MAX : plane * planes;
}

QImage::Format BitmapLayout::imageFormat(const std::uint8_t *data) const
{
    const auto fits = [&](std::int32_t sample, std::int32_t samples, bool alpha) {
        return bitsPerSample == sample && samplesPerPixel == samples && hasAlpha == alpha &&
               bitsPerPixel == sample * samples;
    };
    const auto aligned = [&](std::size_t unit) {
        return reinterpret_cast<std::uintptr_t>(data) % unit == 0 &&
               static_cast<std::size_t>(bytesPerRow) % unit == 0;
    };
    if (isPlanar)
        return QImage::Format_Invalid;
    if (fits(8, 4, true) && aligned(4))
        return QImage::Format_RGBA8888_Premultiplied;
    if (fits(8, 3, false))
        return QImage::Format_RGB888;
    if (fits(8, 1, false))
        return QImage::Format_Grayscale8;
    if (fits(16, 4, true) && aligned(8))
        return QImage::Format_RGBA64_Premultiplied;
    if (fits(16, 1, false) && aligned(2))
        return QImage::Format_Grayscale16;
    return QImage::Format_Invalid;
}

} // namespace KVBase
