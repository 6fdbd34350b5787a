#pragma once

#include <QtCore/QString>
#include <QtGui/QImage>

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// How the samples of a bitmap lie in memory.
struct BitmapLayout {
    std::int32_t wide = 0;
    std::int32_t high = 0;
    std::int32_t bitsPerSample = 0;
    std::int32_t samplesPerPixel = 0;
    bool hasAlpha = false;
    bool isPlanar = false;
    std::int32_t bytesPerRow = 0;
    std::int32_t bitsPerPixel = 0;
    QString colorSpaceName;

    /// Works out a row length and a pixel distance of 0. false: the numbers make no bitmap.
    bool complete();

    /// The bytes of all rows of all planes.
    std::size_t byteCount() const;

    /// Samples that are colour, not alpha.
    std::int32_t colorSamples() const { return samplesPerPixel - (hasAlpha ? 1 : 0); }

    /// The format in which `QImage` can use rows of this layout at `data` as they are, else `Format_Invalid`.
    QImage::Format imageFormat(const std::uint8_t *data) const;
};

/// Converts any layout to 32-bit RGBA, premultiplied, into rows that `target` already has.
void convertToRGBA(const BitmapLayout &layout, const std::uint8_t *data, QImage &target);

} // namespace KVBase
