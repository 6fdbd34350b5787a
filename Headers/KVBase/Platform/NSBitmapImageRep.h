#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVByteBlock.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSImageRep.h>

#include <QtCore/QString>
#include <QtGui/QImage>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace KVBase
{

/// Names of the colour spaces a bitmap may be in.
inline constexpr QLatin1StringView NSCalibratedRGBColorSpace{"NSCalibratedRGBColorSpace"};
inline constexpr QLatin1StringView NSCalibratedWhiteColorSpace{"NSCalibratedWhiteColorSpace"};

/// The largest storage of one bitmap: 2 GiB. Beyond it no bitmap is made and no memory is asked for.
inline constexpr std::size_t kMaximumBitmapBytes = std::size_t{1} << 31;

/// A bitmap in memory: samples of 1 to 16 bits, interleaved or each in a plane of its own, alpha last, rows
/// from top to bottom, with any padding. Several planes follow each other in one block. Where a bitmap has
/// alpha, its colours count as premultiplied when it is drawn or turned into a `QImage`. Samples of 16 bits
/// are in the machine's byte order.
class KV_EXPORT NSBitmapImageRep final : public NSImageRep {
public:
    /// A bitmap over `plane`, which it owns from here on, also when the answer is nil; a null plane stands
    /// for zeroed storage of its own. A `bytesPerRow` or `bitsPerPixel` of 0 is worked out without padding.
    /// The size in points is the number of pixels. The block must hold `byteCount()` bytes.
    ///
    /// nil: a side below 1, more than 16 bits a sample or 8 samples, rows too short for their pixels, more
    /// than `kMaximumBitmapBytes`, or no memory.
    static Ref<NSBitmapImageRep> create(KVByteBlock plane, std::int32_t pixelsWide, std::int32_t pixelsHigh,
                                        std::int32_t bitsPerSample, std::int32_t samplesPerPixel,
                                        bool hasAlpha, bool isPlanar, const QString &colorSpaceName,
                                        std::int32_t bytesPerRow, std::int32_t bitsPerPixel);

    /// The same over a block that stays its caller's and must outlive the bitmap. A null plane makes a bitmap
    /// with dimensions and no data.
    static Ref<NSBitmapImageRep> createBorrowing(std::uint8_t *plane, std::int32_t pixelsWide,
                                                 std::int32_t pixelsHigh, std::int32_t bitsPerSample,
                                                 std::int32_t samplesPerPixel, bool hasAlpha, bool isPlanar,
                                                 const QString &colorSpaceName, std::int32_t bytesPerRow,
                                                 std::int32_t bitsPerPixel);

    /// The picture as 32-bit RGBA, premultiplied. Shares the image's memory until one of them is written to,
    /// when it has that layout already. nil: a null image or no memory.
    static Ref<NSBitmapImageRep> create(const QImage &image);

    ~NSBitmapImageRep() override;

    /// The first byte, for reading and writing; null when there is no data. Good until the bitmap goes or
    /// `toImage` is called: ask again then, so that a picture handed out does not change.
    std::uint8_t *bitmapData() const;

    std::int32_t bitsPerSample() const;
    std::int32_t samplesPerPixel() const;

    /// The distance from one pixel to the next, in bits; of one sample when planar.
    std::int32_t bitsPerPixel() const;
    std::int32_t bytesPerRow() const;

    /// How many bytes are behind `bitmapData()`.
    std::size_t byteCount() const;
    bool hasAlpha() const;
    bool isPlanar() const;
    QString colorSpaceName() const;

    /// The picture. Without a copy where an image of `QImage` can have the bitmap's layout and the bitmap
    /// owns its data, else converted to 32-bit RGBA, premultiplied. Null without data or memory.
    QImage toImage() const;

    bool draw(QPainter &painter, const NSRect &inRect) const override;

private:
    struct Private;
    explicit NSBitmapImageRep(std::unique_ptr<Private> content);

    std::unique_ptr<Private> d;
};

} // namespace KVBase
