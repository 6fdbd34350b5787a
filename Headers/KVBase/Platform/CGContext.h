#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QByteArray>
#include <QtGui/QColorSpace>
#include <QtGui/QImage>

#include <cstdint>
#include <functional>
#include <memory>

class QPainter;

namespace KVBase
{

/// A colour profile: ICC data. A default-constructed profile is nil. An immutable value.
class CMProfile {
public:
    CMProfile() = default;
    explicit CMProfile(const QByteArray &bytes) : icc(bytes), given(true) {}

    bool isNil() const { return !given; }
    QByteArray iccData() const { return icc; }

private:
    QByteArray icc;
    bool given = false;
};

/// A drawing surface over rows of 4-byte pixels in memory, in the order (unused, red, green, blue). The
/// memory belongs to somebody else and must outlive the context. One thread at a time.
class KV_EXPORT CGContext {
public:
    /// A context over `height` rows of `width` pixels, `rowBytes` apart. null when a side is 0, the buffer is
    /// null, a row does not hold its pixels, or a side exceeds 2^24 - 1.
    static std::shared_ptr<CGContext> create(std::uint8_t *buffer, std::uint32_t width, std::uint32_t height,
                                             std::uint32_t rowBytes, const QColorSpace &colorspace);
    ~CGContext();
    CGContext(const CGContext &) = delete;
    CGContext &operator=(const CGContext &) = delete;

    /// Calls `work` once with a painter whose origin is the bottom left pixel's corner, y growing upwards;
    /// texts and images stand upright. What was drawn is in the buffer when `work` has returned, also when it
    /// throws. Byte 0 of a pixel is never changed. The cost follows the area that was drawn to, not the
    /// buffer's size. A call from within `work` draws nothing.
    void draw(const std::function<void(QPainter &)> &work);

    /// Within `draw`: brings what was drawn so far into the buffer. Does nothing otherwise.
    void flush();

    /// A deep copy of the surface, top row first, opaque, in the context's colour space.
    QImage image() const;

private:
    struct Private;
    explicit CGContext(std::unique_ptr<Private> made);
    std::unique_ptr<Private> d;
};

} // namespace KVBase
