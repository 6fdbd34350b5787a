#include <KVBase/Platform/NSDrawingSession.h>

#include "Platform/Canvas.h"

#include <QtGui/QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace KVBase
{

namespace
{

/// A rectangle of whole pixels, y growing downwards.
struct PixelRect {
    std::int64_t left = 0;
    std::int64_t top = 0;
    std::int64_t wide = 0;
    std::int64_t high = 0;
};

/// The pixels that `rect` touches on a canvas of `canvasHigh` rows.
PixelRect pixelsTouched(const NSRect &rect, std::int64_t canvasHigh)
{
    const double left = std::floor(double{rect.origin.x});
    const double right = std::ceil(double{rect.origin.x} + double{rect.size.width});
    const double bottom = std::floor(double{rect.origin.y});
    const double top = std::ceil(double{rect.origin.y} + double{rect.size.height});
    return {static_cast<std::int64_t>(left), canvasHigh - static_cast<std::int64_t>(top),
            static_cast<std::int64_t>(right - left), static_cast<std::int64_t>(top - bottom)};
}

bool fitsPixelNumbers(const NSRect &rect)
{
    constexpr float kFarthest = 1e9f;
    return std::abs(rect.origin.x) < kFarthest && std::abs(rect.origin.y) < kFarthest &&
           rect.size.width < kFarthest && rect.size.height < kFarthest;
}

std::int64_t wholePixels(float points)
{
    return std::isfinite(points) && points > 0 && points < 1e9f ? static_cast<std::int64_t>(std::ceil(points))
                                                                : 0;
}

/// Copies the part of `source` that lies in `target` when the source's top left is put at (left, top) of it.
void copyOverlap(const QImage &source, QImage &target, std::int64_t left, std::int64_t top)
{
    const std::int64_t fromX = std::max<std::int64_t>(0, -left);
    const std::int64_t fromY = std::max<std::int64_t>(0, -top);
    const std::int64_t untilX = std::min<std::int64_t>(source.width(), target.width() - left);
    const std::int64_t untilY = std::min<std::int64_t>(source.height(), target.height() - top);
    if (fromX >= untilX)
        return;
    for (std::int64_t y = fromY; y < untilY; ++y)
        std::memcpy(target.scanLine(static_cast<int>(y + top)) + (fromX + left) * 4,
                    source.constScanLine(static_cast<int>(y)) + fromX * 4,
                    static_cast<std::size_t>(untilX - fromX) * 4);
}

/// The picture of a bitmap as it is drawn; null for another kind of representation.
QImage bitmapPicture(const Ref<NSImageRep> &representation)
{
    const auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(representation);
    return bitmap != nullptr ? bitmap->toImage().convertToFormat(QImage::Format_RGBA8888_Premultiplied)
                             : QImage();
}

/// Where the whole image lies when `fromRect` of it is drawn into `inRect`.
NSRect placeOfWhole(const NSSize &size, const NSRect &inRect, const NSRect &fromRect)
{
    if (fromRect == NSRect{{0, 0}, size})
        return inRect; // the quotients below would miss it by a rounding error
    const float across = inRect.size.width / fromRect.size.width;
    const float up = inRect.size.height / fromRect.size.height;
    return {{inRect.origin.x - fromRect.origin.x * across, inRect.origin.y - fromRect.origin.y * up},
            {size.width * across, size.height * up}};
}

} // namespace

struct NSDrawingSession::Private {
    explicit Private(const Ref<NSImage> &given);

    bool isUsable() const { return wide > 0 && high > 0; }
    QImage &canvas();
    QPainter &activePainter();
    QImage visiblePicture();
    void showImageAsItIs();
    void drawRepresentation(const NSImageRep &representation, const NSRect &place, const NSRect &clip,
                            std::uint32_t operation, float fraction);
    bool copyBitmap(const Ref<NSImageRep> &representation, const NSRect &place, const NSRect &clip);

    Ref<NSImage> image;
    std::int64_t wide = 0;
    std::int64_t high = 0;
    QImage pixels;
    QPainter painter;
    bool hasDrawn = false;
    bool isDropped = false;
};

NSDrawingSession::Private::Private(const Ref<NSImage> &given) : image(given)
{
    if (image == nullptr)
        return;
    wide = wholePixels(image->size().width);
    high = wholePixels(image->size().height);
}

/// Made when it is needed: who only takes a bitmap out of a bitmap never pays for one.
QImage &NSDrawingSession::Private::canvas()
{
    if (!pixels.isNull())
        return pixels;
    pixels = transparentCanvas(wide, high);
    if (pixels.isNull()) {
        isDropped = true;
        wide = high = 1;
        pixels = QImage(1, 1, QImage::Format_RGBA8888_Premultiplied);
        pixels.fill(0);
        return pixels;
    }
    showImageAsItIs();
    return pixels;
}

void NSDrawingSession::Private::showImageAsItIs()
{
    const Ref<NSImageRep> best = image->bestRepresentation();
    const NSRect whole{{0, 0}, image->size()};
    if (best != nullptr && isDrawable(whole) && !copyBitmap(best, whole, whole))
        drawRepresentation(*best, whole, whole, NSCompositeCopy, 1);
}

QPainter &NSDrawingSession::Private::activePainter()
{
    QImage &target = canvas();
    if (!painter.isActive()) {
        painter.begin(&target);
        originAtBottomLeft(painter, static_cast<double>(high));
    }
    return painter;
}

/// The canvas; in its place the image's own bitmap when that looks the same.
QImage NSDrawingSession::Private::visiblePicture()
{
    if (pixels.isNull()) {
        const QImage picture = bitmapPicture(image->bestRepresentation());
        if (picture.width() == wide && picture.height() == high &&
            image->size().width == static_cast<float>(wide) &&
            image->size().height == static_cast<float>(high))
            return picture;
    }
    // A view: to copy a picture that is painted on would copy its pixels.
    const QImage &shown = canvas();
    return QImage(shown.constBits(), shown.width(), shown.height(), shown.bytesPerLine(), shown.format());
}

void NSDrawingSession::Private::drawRepresentation(const NSImageRep &representation, const NSRect &place,
                                                   const NSRect &clip, std::uint32_t operation,
                                                   float fraction)
{
    QPainter &target = activePainter();
    target.save();
    originAtBottomLeft(target, static_cast<double>(high));
    target.setClipRect(QRectF(clip.origin.x, clip.origin.y, clip.size.width, clip.size.height));
    target.setCompositionMode(operation == NSCompositeCopy ? QPainter::CompositionMode_Source
                                                           : QPainter::CompositionMode_SourceOver);
    target.setOpacity(fraction);
    representation.draw(target, place);
    target.restore();
}

/// Copies a bitmap that falls on the canvas pixel by pixel. This gives the painter's bytes in a fraction of
/// its time and works on sides that are too long for it. false: it does not fall so.
bool NSDrawingSession::Private::copyBitmap(const Ref<NSImageRep> &representation, const NSRect &place,
                                           const NSRect &clip)
{
    const PixelRect target = pixelsTouched(place, high);
    const bool isWhole = place.origin.x == std::floor(place.origin.x) &&
                         place.origin.y == std::floor(place.origin.y) &&
                         place.size.width == static_cast<float>(representation->pixelsWide()) &&
                         place.size.height == static_cast<float>(representation->pixelsHigh());
    if (!isWhole || clip != place || (painter.isActive() && painter.hasClipping()))
        return false;
    const QImage picture = bitmapPicture(representation);
    if (picture.isNull())
        return false;
    copyOverlap(picture, canvas(), target.left, target.top);
    return true;
}

NSDrawingSession::NSDrawingSession(const Ref<NSImage> &image) : d(std::make_unique<Private>(image)) {}

NSDrawingSession::~NSDrawingSession()
{
    if (d->painter.isActive())
        d->painter.end();
    if (!d->hasDrawn || d->isDropped)
        return;
    const Ref<NSBitmapImageRep> drawing = NSBitmapImageRep::create(d->pixels);
    if (drawing == nullptr)
        return;
    drawing->setSize(d->image->size());
    d->image->replaceRepresentations(drawing);
}

QPainter &NSDrawingSession::painter()
{
    d->hasDrawn = true;
    return d->activePainter();
}

void NSDrawingSession::drawImage(const Ref<NSImage> &image, const NSRect &inRect, const NSRect &fromRect,
                                 std::uint32_t operation, float fraction)
{
    if (image == nullptr || !isDrawable(inRect) || !isDrawable(fromRect) || !fitsPixelNumbers(inRect))
        return;
    const Ref<NSImageRep> best = image->bestRepresentation();
    const NSRect place = placeOfWhole(image->size(), inRect, fromRect);
    if (best == nullptr || !isDrawable(place) || !fitsPixelNumbers(place))
        return;
    d->canvas();
    d->hasDrawn = true;
    if (operation == NSCompositeCopy && fraction == 1 && d->copyBitmap(best, place, inRect))
        return;
    d->drawRepresentation(*best, place, inRect, operation, fraction);
}

Ref<NSBitmapImageRep> NSDrawingSession::bitmapInRect(const NSRect &rect)
{
    if (d->image == nullptr || !isDrawable(rect) || !fitsPixelNumbers(rect))
        return nullptr;
    const QImage visible = d->isUsable() ? d->visiblePicture() : QImage();
    const PixelRect wanted = pixelsTouched(rect, d->high);
    QImage taken = d->isDropped ? QImage() : transparentCanvas(wanted.wide, wanted.high);
    if (taken.isNull())
        return nullptr;
    if (!visible.isNull())
        copyOverlap(visible, taken, -wanted.left, -wanted.top);
    const Ref<NSBitmapImageRep> bitmap = NSBitmapImageRep::create(taken);
    if (bitmap != nullptr)
        bitmap->setSize(rect.size);
    return bitmap;
}

} // namespace KVBase
