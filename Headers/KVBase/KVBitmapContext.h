#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/CGContext.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtGui/QColor>
#include <QtGui/QColorSpace>
#include <QtGui/QImage>

#include <cstdint>
#include <memory>

namespace KVBase
{

/// One 32-bit drawing surface: a pixel buffer, its own or the caller's, a drawing context over it and the
/// colour space. A pixel is 4 bytes in the order (unused, red, green, blue), the top row comes first. The
/// buffer is the truth: every operation works on it in place.
///
/// One thread at a time. A caller's buffer must outlive the object; one that was freed too early is not
/// noticed.
class KV_EXPORT KVBitmapContext {
public:
    /// A surface of `width` x `height` pixels.
    ///
    /// Without a buffer one is allocated, and freed with the object; `rowBytes` 0 then chooses rows of a
    /// multiple of 32 bytes. With a buffer `rowBytes` must be given. An invalid `colorspace` stands for the
    /// generic RGB space. nil, after a log line, when a side is 0, there is no memory, or `rowBytes` is below
    /// `width` x 4.
    static std::shared_ptr<KVBitmapContext> create(std::uint8_t *buffer, std::uint32_t width,
                                                   std::uint32_t height, std::uint32_t rowBytes,
                                                   const QColorSpace &colorspace);

    /// The same as `create`.
    static std::shared_ptr<KVBitmapContext> bitmapContextWithBuffer(std::uint8_t *buffer, std::uint32_t width,
                                                                    std::uint32_t height,
                                                                    std::uint32_t rowBytes,
                                                                    const QColorSpace &colorspace);

    /// The same with the colour space of an ICC profile. A nil or unreadable profile stands for generic RGB.
    static std::shared_ptr<KVBitmapContext> bitmapContextWithBuffer(std::uint8_t *buffer, std::uint32_t width,
                                                                    std::uint32_t height,
                                                                    std::uint32_t rowBytes,
                                                                    const CMProfile &profile);
    ~KVBitmapContext();
    KVBitmapContext(const KVBitmapContext &) = delete;
    KVBitmapContext &operator=(const KVBitmapContext &) = delete;

    /// The first byte of the pixels.
    std::uint8_t *buffer() const;

    /// Pixels in a row.
    std::uint32_t width() const;

    /// Rows.
    std::uint32_t height() const;

    /// Bytes from one row to the next.
    std::uint32_t rowBytes() const;

    QColorSpace colorspace() const;

    /// Draws into the buffer. null after sub-sampling to nothing.
    std::shared_ptr<CGContext> context() const;

    /// Mirrors left and right. The name is kept as other frameworks link against it.
    void flipHorizotal();

    /// Mirrors top and bottom.
    void flipVertical();

    /// Keeps every `factor`-th pixel of every `factor`-th row and packs the rows at `width` x 4 bytes. Sides
    /// are divided without rounding; when one becomes 0 nothing is copied and no context remains. A factor of
    /// 0 does nothing.
    void subSampleWithFactor(std::uint32_t factor);

    /// Multiplies, mixes and bends the colours of every 4-byte group of the buffer, row padding included; an
    /// incomplete group at the end and byte 0 of each group stay. Green is computed from the new red, blue
    /// from the new red and green. Five times 1.0 does nothing. Values that are no numbers count as 0, others
    /// are clamped to 0 ... 1 before and after `gamma`, which is the exponent as given.
    void colorCorrectWithRedFactor(double red, double green, double blue, double saturation, double gamma);

    /// Writes `value` into byte 0 of every 4-byte group of the buffer, row padding included.
    void fillAlphaWithValue(std::uint8_t value);

    /// Draws `color`, its alpha included, over the whole surface. An invalid colour does nothing.
    void eraseToColor(const QColor &color);

    /// A deep copy of the contents; null without a context.
    QImage image() const;

    /// The buffer as a big-endian image description record of 86 bytes. Sides keep their low 16 bits.
    QByteArray imageDescription() const;

    /// Writes the contents as PNG, with the colour space, whole or not at all, and answers whether there is a
    /// file at `path` afterwards: an old file that could not be replaced counts too. Blocks on the disk.
    bool savePNGFileAtPath(const QString &path) const;

private:
    struct Private;
    explicit KVBitmapContext(std::unique_ptr<Private> made);
    std::unique_ptr<Private> d;
};

} // namespace KVBase
