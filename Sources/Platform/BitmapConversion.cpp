#include "Platform/BitmapLayout.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace KVBase
{

namespace
{

/// Reads samples of any layout as 8-bit values.
class SampleReader {
public:
    SampleReader(const BitmapLayout &given, const std::uint8_t *bytes) : layout(given), data(bytes) {}

    std::uint32_t operator()(std::int32_t x, std::int32_t y, std::int32_t sample) const
    {
        const std::size_t rowBytes = static_cast<std::size_t>(layout.bytesPerRow);
        const std::uint8_t *row = data + static_cast<std::size_t>(y) * rowBytes;
        std::size_t bit = static_cast<std::size_t>(x);
        if (layout.isPlanar) {
            row += static_cast<std::size_t>(sample) * rowBytes * static_cast<std::size_t>(layout.high);
            bit *= static_cast<std::size_t>(layout.bitsPerSample);
        } else {
            bit = bit * static_cast<std::size_t>(layout.bitsPerPixel) +
                  static_cast<std::size_t>(sample * layout.bitsPerSample);
        }
        return scaled(rawBits(row, bit));
    }

private:
    std::uint32_t rawBits(const std::uint8_t *row, std::size_t bit) const
    {
        if (layout.bitsPerSample == 16 && bit % 8 == 0) {
            std::uint16_t value = 0;
            std::memcpy(&value, row + bit / 8, sizeof value);
            return value;
        }
        std::uint32_t value = 0;
        for (std::int32_t i = 0; i < layout.bitsPerSample; ++i, ++bit)
            value = value << 1 | (row[bit / 8] >> (7 - bit % 8) & 1u);
        return value;
    }

    std::uint32_t scaled(std::uint32_t value) const
    {
        const std::uint32_t largest = (1u << layout.bitsPerSample) - 1;
        return (value * 255 + largest / 2) / largest;
    }

    const BitmapLayout &layout;
    const std::uint8_t *data;
};

/// The colour of one pixel: grey, RGB or CMYK, by the number of its samples, the latter under black as
/// printed.
std::array<std::uint32_t, 3> colorAt(const BitmapLayout &layout, const SampleReader &sample, std::int32_t x,
                                     std::int32_t y)
{
    const std::int32_t samples = layout.colorSamples();
    if (samples == 0)
        return {0, 0, 0};
    const std::uint32_t first = sample(x, y, 0);
    if (samples < 3)
        return {first, first, first};
    const std::array<std::uint32_t, 3> color{first, sample(x, y, 1), sample(x, y, 2)};
    if (samples == 3)
        return color;
    const std::uint32_t light = 255 - sample(x, y, 3);
    const auto printed = [light](std::uint32_t ink) { return ((255 - ink) * light + 127) / 255; };
    return {printed(color[0]), printed(color[1]), printed(color[2])};
}

} // namespace

void convertToRGBA(const BitmapLayout &layout, const std::uint8_t *data, QImage &target)
{
    const SampleReader sample(layout, data);
    for (std::int32_t y = 0; y < layout.high; ++y) {
        uchar *out = target.scanLine(y);
        for (std::int32_t x = 0; x < layout.wide; ++x, out += 4) {
            const std::array<std::uint32_t, 3> color = colorAt(layout, sample, x, y);
            const std::uint32_t alpha =
                layout.hasAlpha ? sample(x, y, layout.samplesPerPixel - 1) : std::uint32_t{255};
            out[0] = static_cast<uchar>(color[0]);
            out[1] = static_cast<uchar>(color[1]);
            out[2] = static_cast<uchar>(color[2]);
            out[3] = static_cast<uchar>(alpha);
        }
    }
}

} // namespace KVBase
