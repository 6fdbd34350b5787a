#include "Platform/Canvas.h"

#include "Platform/Services/Allocator.h"

#include <KVBase/Platform/NSBitmapImageRep.h>

#include <QtGui/QPainter>

#include <cmath>
#include <cstdlib>

namespace KVBase
{

QImage transparentCanvas(std::int64_t wide, std::int64_t high)
{
    constexpr std::int64_t kMostPixels = static_cast<std::int64_t>(kMaximumBitmapBytes / 4);
    if (wide < 1 || high < 1 || wide > kMostPixels || high > kMostPixels / wide)
        return {};
    const std::size_t rowBytes = static_cast<std::size_t>(wide) * 4;
    void *block = Service<Allocator>::current()->allocateZeroed(rowBytes * static_cast<std::size_t>(high));
    if (block == nullptr)
        return {};
    QImage canvas(static_cast<uchar *>(block), static_cast<int>(wide), static_cast<int>(high),
                  static_cast<qsizetype>(rowBytes), QImage::Format_RGBA8888_Premultiplied, &std::free, block);
    if (canvas.isNull())
        std::free(block);
    return canvas;
}

void drawUpright(QPainter &painter, const QImage &picture, const NSRect &inRect)
{
    const double wide = inRect.size.width;
    const double high = inRect.size.height;
    painter.save();
    painter.translate(inRect.origin.x, inRect.origin.y + high);
    painter.scale(1, -1);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRectF(0, 0, wide, high), picture);
    painter.restore();
}

void originAtBottomLeft(QPainter &painter, double high)
{
    painter.resetTransform();
    painter.translate(0, high);
    painter.scale(1, -1);
}

bool isDrawable(const NSRect &rect)
{
    return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
           std::isfinite(rect.size.height) && rect.size.width > 0 && rect.size.height > 0;
}

} // namespace KVBase
