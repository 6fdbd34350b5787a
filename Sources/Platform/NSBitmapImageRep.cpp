#include <KVBase/Platform/NSBitmapImageRep.h>

#include "Platform/BitmapLayout.h"
#include "Platform/Canvas.h"
#include "Platform/Services/Allocator.h"

#include <QtGui/QPainter>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace KVBase
{

/// The bytes are in `picture` once an image shares them, else in `block`, or they are the caller's.
struct NSBitmapImageRep::Private {
    BitmapLayout layout;
    KVByteBlock block;
    std::uint8_t *borrowed = nullptr;
    QImage picture;

    const std::uint8_t *bytes() const;
    std::uint8_t *writableBytes();
    bool separateFromPicture();
    QImage share();
    QImage view() const;
    QImage converted() const;
};

namespace
{

KVByteBlock emptyBlock(std::size_t size)
{
    return KVByteBlock(static_cast<std::uint8_t *>(Service<Allocator>::current()->allocateZeroed(size)));
}

/// A copy of the picture without the ratio of a screen, which would scale it a second time when drawn.
QImage inPixels(const QImage &image)
{
    QImage picture = image;
    if (picture.devicePixelRatio() != 1.0)
        picture.setDevicePixelRatio(1.0);
    return picture.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
}

} // namespace

const std::uint8_t *NSBitmapImageRep::Private::bytes() const
{
    if (!picture.isNull())
        return picture.constBits();
    return borrowed != nullptr ? borrowed : block.get();
}

std::uint8_t *NSBitmapImageRep::Private::writableBytes()
{
    if (picture.isNull())
        return borrowed != nullptr ? borrowed : block.get();
    if (picture.isDetached()) {
        std::uint8_t *bits = picture.bits();
        if (picture.bytesPerLine() == layout.bytesPerRow)
            return bits;
    }
    return separateFromPicture() ? block.get() : nullptr;
}

bool NSBitmapImageRep::Private::separateFromPicture()
{
    block = emptyBlock(layout.byteCount());
    if (block == nullptr)
        return false;
    const std::size_t rowBytes = static_cast<std::size_t>(layout.bytesPerRow);
    const std::size_t copied = std::min(rowBytes, static_cast<std::size_t>(picture.bytesPerLine()));
    for (std::int32_t y = 0; y < layout.high; ++y)
        std::memcpy(block.get() + static_cast<std::size_t>(y) * rowBytes, picture.constScanLine(y), copied);
    picture = QImage();
    return true;
}

QImage NSBitmapImageRep::Private::share()
{
    if (!picture.isNull())
        return picture;
    const QImage::Format format = layout.imageFormat(bytes());
    if (format == QImage::Format_Invalid)
        return converted();
    if (borrowed != nullptr)
        return view().copy();
    std::uint8_t *data = block.get();
    picture = QImage(data, layout.wide, layout.high, layout.bytesPerRow, format, &std::free, data);
    if (!picture.isNull())
        static_cast<void>(block.release());
    return picture;
}

QImage NSBitmapImageRep::Private::view() const
{
    if (!picture.isNull() || bytes() == nullptr)
        return picture;
    const QImage::Format format = layout.imageFormat(bytes());
    if (format == QImage::Format_Invalid)
        return converted();
    return QImage(bytes(), layout.wide, layout.high, layout.bytesPerRow, format);
}

QImage NSBitmapImageRep::Private::converted() const
{
    QImage result = transparentCanvas(layout.wide, layout.high);
    if (!result.isNull())
        convertToRGBA(layout, bytes(), result);
    return result;
}

Ref<NSBitmapImageRep> NSBitmapImageRep::create(KVByteBlock plane, std::int32_t pixelsWide,
                                               std::int32_t pixelsHigh, std::int32_t bitsPerSample,
                                               std::int32_t samplesPerPixel, bool hasAlpha, bool isPlanar,
                                               const QString &colorSpaceName, std::int32_t bytesPerRow,
                                               std::int32_t bitsPerPixel)
{
    auto content = std::make_unique<Private>();
    content->layout = {pixelsWide, pixelsHigh,  bitsPerSample, samplesPerPixel, hasAlpha,
                       isPlanar,   bytesPerRow, bitsPerPixel,  colorSpaceName};
    if (!content->layout.complete())
        return nullptr;
    content->block = plane != nullptr ? std::move(plane) : emptyBlock(content->layout.byteCount());
    if (content->block == nullptr)
        return nullptr;
    return Ref<NSBitmapImageRep>(new NSBitmapImageRep(std::move(content)));
}

Ref<NSBitmapImageRep> NSBitmapImageRep::createBorrowing(std::uint8_t *plane, std::int32_t pixelsWide,
                                                        std::int32_t pixelsHigh, std::int32_t bitsPerSample,
                                                        std::int32_t samplesPerPixel, bool hasAlpha,
                                                        bool isPlanar, const QString &colorSpaceName,
                                                        std::int32_t bytesPerRow, std::int32_t bitsPerPixel)
{
    auto content = std::make_unique<Private>();
    content->layout = {pixelsWide, pixelsHigh,  bitsPerSample, samplesPerPixel, hasAlpha,
                       isPlanar,   bytesPerRow, bitsPerPixel,  colorSpaceName};
    if (!content->layout.complete())
        return nullptr;
    content->borrowed = plane;
    return Ref<NSBitmapImageRep>(new NSBitmapImageRep(std::move(content)));
}

Ref<NSBitmapImageRep> NSBitmapImageRep::create(const QImage &image)
{
    auto content = std::make_unique<Private>();
    content->picture = inPixels(image);
    const QImage &picture = content->picture;
    if (picture.isNull() || picture.bytesPerLine() > INT32_MAX)
        return nullptr;
    content->layout = {picture.width(),
                       picture.height(),
                       8,
                       4,
                       true,
                       false,
                       static_cast<std::int32_t>(picture.bytesPerLine()),
                       32,
                       QString(NSCalibratedRGBColorSpace)};
    if (!content->layout.complete())
        return nullptr;
    return Ref<NSBitmapImageRep>(new NSBitmapImageRep(std::move(content)));
}

NSBitmapImageRep::NSBitmapImageRep(std::unique_ptr<Private> content)
    : NSImageRep({static_cast<float>(content->layout.wide), static_cast<float>(content->layout.high)},
                 content->layout.wide, content->layout.high),
      d(std::move(content))
{}

NSBitmapImageRep::~NSBitmapImageRep() = default;

std::uint8_t *NSBitmapImageRep::bitmapData() const { return d->writableBytes(); }

std::int32_t NSBitmapImageRep::bitsPerSample() const { return d->layout.bitsPerSample; }

std::int32_t NSBitmapImageRep::samplesPerPixel() const { return d->layout.samplesPerPixel; }

std::int32_t NSBitmapImageRep::bitsPerPixel() const { return d->layout.bitsPerPixel; }

std::int32_t NSBitmapImageRep::bytesPerRow() const { return d->layout.bytesPerRow; }

std::size_t NSBitmapImageRep::byteCount() const { return d->bytes() == nullptr ? 0 : d->layout.byteCount(); }

bool NSBitmapImageRep::hasAlpha() const { return d->layout.hasAlpha; }

bool NSBitmapImageRep::isPlanar() const { return d->layout.isPlanar; }

QString NSBitmapImageRep::colorSpaceName() const { return d->layout.colorSpaceName; }

QImage NSBitmapImageRep::toImage() const { return d->bytes() == nullptr ? QImage() : d->share(); }

bool NSBitmapImageRep::draw(QPainter &painter, const NSRect &inRect) const
{
    if (!painter.isActive() || !isDrawable(inRect))
        return false;
    const QImage picture = d->view();
    if (picture.isNull())
        return false;
    drawUpright(painter, picture, inRect);
    return true;
}

} // namespace KVBase
