#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSGeometry.h>

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtGui/QImage>

#include <memory>

namespace KVBase
{

/// An opaque colour in the RGB space, each component from 0 to 1.
struct CIColor {
    double red = 0;
    double green = 0;
    double blue = 0;

    bool operator==(const CIColor &) const = default;

    static CIColor colorWithRed(double red, double green, double blue) { return {red, green, blue}; }
};

/// An image that is computed where it is rendered. Immutable; any thread.
class KV_EXPORT CIImage {
public:
    virtual ~CIImage();

    /// The picture of a bitmap as it is now (`initWithBitmapImageRep:`). nil for a nil bitmap.
    static Ref<CIImage> create(const Ref<NSBitmapImageRep> &rep);

    /// Where the image is, in pixels, origin at the bottom left. A generator's image is everywhere: its
    /// origin is minus infinity and its size infinite.
    virtual NSRect extent() const = 0;

    /// The pixels of `rect`, rounded outwards, top row first; transparent outside the extent. null for an
    /// empty rectangle, one that is not finite, or one too large for memory.
    QImage render(const NSRect &rect) const;

protected:
    CIImage() = default;
    CIImage(const CIImage &) = delete;
    CIImage &operator=(const CIImage &) = delete;

private:
    /// Fills `image`, which is transparent 32-bit premultiplied and whose bottom left pixel is (`x`, `y`).
    virtual void renderInto(QImage &image, std::int64_t x, std::int64_t y) const = 0;
};

/// A generator of images with named inputs. Thread-safe.
class KV_EXPORT CIFilter {
public:
    /// nil when no filter has that name; "CICheckerboardGenerator" is known.
    static Ref<CIFilter> filterWithName(const QString &name);
    ~CIFilter();
    CIFilter(const CIFilter &) = delete;
    CIFilter &operator=(const CIFilter &) = delete;

    /// Puts every input to its default: the checkerboard is white and black in squares 80 wide, its centre at
    /// (150, 150).
    void setDefaults();

    /// Sets the input `key`: "inputColor0" and "inputColor1" hold a `CIColor`, "inputWidth" and
    /// "inputSharpness" a number, "inputCenter" a `QPointF`. An unknown key or a value of another kind
    /// changes nothing.
    void setValue(const QVariant &value, const QString &key);

    /// An input, or under "outputImage" a `std::shared_ptr<CIImage>` with the inputs of this moment. nil for
    /// an unknown key.
    QVariant valueForKey(const QString &key) const;

private:
    struct Private;
    CIFilter();
    std::unique_ptr<Private> d;
};

} // namespace KVBase

Q_DECLARE_METATYPE(KVBase::CIColor)
