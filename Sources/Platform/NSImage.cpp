#include <KVBase/Platform/NSImage.h>

#include "Platform/Canvas.h"

#include <KVBase/Platform/NSBitmapImageRep.h>

#include <QtGui/QPainter>

#include <algorithm>
#include <cmath>
#include <memory>

namespace KVBase
{

namespace
{

std::int64_t pixelCount(const NSImageRep &representation)
{
    if (representation.pixelsWide() < 1 || representation.pixelsHigh() < 1)
        return 0;
    return std::int64_t{representation.pixelsWide()} * representation.pixelsHigh();
}

NSSize pointsOf(const QImage &image)
{
    const double ratio = image.devicePixelRatio();
    return {static_cast<float>(image.width() / ratio), static_cast<float>(image.height() / ratio)};
}

/// Pixels of a representation that has none of its own: one for each point.
std::int32_t pixelsOr(std::int32_t pixels, float points)
{
    const float rounded = std::ceil(points);
    return pixels > 0 ? pixels : rounded >= 1 && rounded < 1e9f ? static_cast<std::int32_t>(rounded) : 0;
}

QImage drawn(const NSImageRep &representation)
{
    const std::int32_t wide = pixelsOr(representation.pixelsWide(), representation.size().width);
    const std::int32_t high = pixelsOr(representation.pixelsHigh(), representation.size().height);
    QImage canvas = transparentCanvas(wide, high);
    if (canvas.isNull())
        return canvas;
    QPainter painter(&canvas);
    originAtBottomLeft(painter, high);
    const bool done =
        representation.draw(painter, {{0, 0}, {static_cast<float>(wide), static_cast<float>(high)}});
    painter.end();
    return done ? canvas : QImage();
}

} // namespace

Ref<NSImage> NSImage::create() { return create(NSSize{}); }

Ref<NSImage> NSImage::create(const NSSize &size) { return Ref<NSImage>(new NSImage(size)); }

Ref<NSImage> NSImage::create(const QImage &image)
{
    const Ref<NSBitmapImageRep> bitmap = NSBitmapImageRep::create(image);
    if (bitmap == nullptr)
        return nullptr;
    bitmap->setSize(pointsOf(image));
    Ref<NSImage> result = create(bitmap->size());
    result->addRepresentation(bitmap);
    return result;
}

NSImage::NSImage(const NSSize &size) : ownSize(size) {}

NSImage::~NSImage() = default;

NSSize NSImage::size() const
{
    if (ownSize != NSSize{})
        return ownSize;
    const Ref<NSImageRep> best = bestRepresentation();
    return best != nullptr ? best->size() : NSSize{};
}

void NSImage::setSize(const NSSize &size) { ownSize = size; }

bool NSImage::isValid() const { return !list.empty(); }

std::vector<Ref<NSImageRep>> NSImage::representations() const { return list; }

void NSImage::addRepresentation(const Ref<NSImageRep> &representation)
{
    if (representation != nullptr)
        list.push_back(representation);
}

void NSImage::replaceRepresentations(const Ref<NSImageRep> &replacement) { list.assign(1, replacement); }

Ref<NSImageRep> NSImage::bestRepresentation() const
{
    // The first of equal ones, as max_element answers.
    const auto best = std::max_element(list.begin(), list.end(), [](const auto &a, const auto &b) {
        return pixelCount(*a) < pixelCount(*b);
    });
    return best != list.end() ? *best : nullptr;
}

QImage NSImage::toImage() const
{
    const Ref<NSImageRep> best = bestRepresentation();
    if (best == nullptr)
        return {};
    if (const auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(best))
        return bitmap->toImage();
    return drawn(*best);
}

} // namespace KVBase
