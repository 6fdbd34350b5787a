#include <KVBase/Platform/CGContext.h>

#include "Platform/DrawingRecorder.h"

#include <QtCore/QtEndian>
#include <QtGui/QPainter>

#include <cstring>

namespace KVBase
{

namespace
{

/// The largest side that a painter's coordinates can address to the pixel.
constexpr std::uint32_t kLongestSide = (1u << 24) - 1;

constexpr double kDotsPerMetre = 72 / 0.0254;

} // namespace

struct CGContext::Private {
    std::uint8_t *buffer = nullptr;
    QSize size;
    std::size_t rowBytes = 0;
    QColorSpace colorspace;
    DrawingRecorder *recording = nullptr;

    std::uint8_t *pixel(QPoint at) const
    {
        return buffer + static_cast<std::size_t>(at.y()) * rowBytes + static_cast<std::size_t>(at.x()) * 4;
    }

    QImage read(QRect area) const;
    void write(const QImage &image, QPoint at) const;
    void land(const DrawingRecorder &drawing) const;
};

QImage CGContext::Private::read(QRect area) const
{
    QImage image(area.size(), QImage::Format_RGB32);
    if (image.isNull())
        return image;
    for (int y = 0; y < area.height(); ++y) {
        const std::uint8_t *source = pixel(area.topLeft() + QPoint(0, y));
        auto *destination = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < area.width(); ++x)
            destination[x] = qFromBigEndian<std::uint32_t>(source + 4 * x) | 0xff000000u;
    }
    return image;
}

void CGContext::Private::write(const QImage &image, QPoint at) const
{
    for (int y = 0; y < image.height(); ++y) {
        const auto *source = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        std::uint8_t *destination = pixel(at + QPoint(0, y));
        for (int x = 0; x < image.width(); ++x) {
            const std::uint32_t unused = std::uint32_t(destination[4 * x]) << 24;
            qToBigEndian<std::uint32_t>(unused | (source[x] & 0x00ffffffu), destination + 4 * x);
        }
    }
}

void CGContext::Private::land(const DrawingRecorder &drawing) const
{
    const QRect area = drawing.bounds();
    if (area.isEmpty())
        return;
    QImage image = read(area);
    if (image.isNull())
        return;
    image.setDotsPerMeterX(qRound(kDotsPerMetre));
    image.setDotsPerMeterY(qRound(kDotsPerMetre));
    QPainter painter(&image);
    drawing.replay(painter, area.topLeft());
    painter.end();
    write(image, area.topLeft());
}

std::shared_ptr<CGContext> CGContext::create(std::uint8_t *buffer, std::uint32_t width, std::uint32_t height,
                                             std::uint32_t rowBytes, const QColorSpace &colorspace)
{
    if (buffer == nullptr || width == 0 || height == 0 || width > kLongestSide || height > kLongestSide)
        return nullptr;
    if (rowBytes / 4 < width)
        return nullptr;
    auto made = std::make_unique<Private>();
    made->buffer = buffer;
    made->size = QSize(static_cast<int>(width), static_cast<int>(height));
    made->rowBytes = rowBytes;
    made->colorspace = colorspace;
    return std::shared_ptr<CGContext>(new CGContext(std::move(made)));
}

CGContext::CGContext(std::unique_ptr<Private> made) : d(std::move(made)) {}

CGContext::~CGContext() = default;

void CGContext::draw(const std::function<void(QPainter &)> &work)
{
    if (d->recording != nullptr)
        return;
    DrawingRecorder recorder(d->size);
    d->recording = &recorder;
    // Lands the drawing on every way out, an exception of `work` included.
    struct Landing {
        Private &d;
        ~Landing()
        {
            d.land(*d.recording);
            d.recording = nullptr;
        }
    } landing{*d};
    QPainter painter(&recorder);
    work(painter);
}

void CGContext::flush()
{
    if (d->recording == nullptr)
        return;
    d->land(*d->recording);
    d->recording->forgetDrawing();
}

QImage CGContext::image() const
{
    QImage image = d->read(QRect(QPoint(0, 0), d->size));
    image.setColorSpace(d->colorspace);
    return image;
}

} // namespace KVBase
