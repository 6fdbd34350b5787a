#include <KVBase/Platform/CoreImage.h>

#include "Platform/Checkerboard.h"

#include <QtCore/QPointF>

#include <cmath>
#include <mutex>

namespace KVBase
{

namespace
{

/// What a float tells apart to the pixel; farther out squares have no defined edge.
constexpr double kFarthest = 1 << 24;

class BitmapCIImage final : public CIImage {
public:
    explicit BitmapCIImage(QImage picture) : image(std::move(picture)) {}

    NSRect extent() const override
    {
        return NSMakeRect(0, 0, static_cast<float>(image.width()), static_cast<float>(image.height()));
    }

private:
    void renderInto(QImage &target, std::int64_t x, std::int64_t y) const override
    {
        const std::int64_t top = y + target.height();
        for (int row = 0; row < target.height(); ++row) {
            const std::int64_t sourceRow = image.height() - top + row;
            if (sourceRow < 0 || sourceRow >= image.height())
                continue;
            const auto *source =
                reinterpret_cast<const QRgb *>(image.constScanLine(static_cast<int>(sourceRow)));
            auto *destination = reinterpret_cast<QRgb *>(target.scanLine(row));
            for (int column = 0; column < target.width(); ++column)
                if (x + column >= 0 && x + column < image.width())
                    destination[column] = source[x + column];
        }
    }

    QImage image;
};

} // namespace

CIImage::~CIImage() = default;

Ref<CIImage> CIImage::create(const Ref<NSBitmapImageRep> &rep)
{
    if (rep == nullptr)
        return nullptr;
    QImage picture = rep->toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (picture.isNull())
        return nullptr;
    picture.detach();
    return std::make_shared<BitmapCIImage>(std::move(picture));
}

QImage CIImage::render(const NSRect &rect) const
{
    const double left = std::floor(double(rect.origin.x));
    const double bottom = std::floor(double(rect.origin.y));
    const double right = std::ceil(double(rect.origin.x) + double(rect.size.width));
    const double top = std::ceil(double(rect.origin.y) + double(rect.size.height));
    if (!(rect.size.width > 0 && rect.size.height > 0))
        return {};
    if (!(left >= -kFarthest && bottom >= -kFarthest && right <= kFarthest && top <= kFarthest))
        return {};
    QImage image(static_cast<int>(right - left), static_cast<int>(top - bottom),
                 QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return {};
    image.fill(Qt::transparent);
    renderInto(image, static_cast<std::int64_t>(left), static_cast<std::int64_t>(bottom));
    return image;
}

struct CIFilter::Private {
    mutable std::mutex mutex;
    CheckerboardInputs inputs;
};

CIFilter::CIFilter() : d(std::make_unique<Private>()) {}

CIFilter::~CIFilter() = default;

Ref<CIFilter> CIFilter::filterWithName(const QString &name)
{
    if (name != QLatin1StringView("CICheckerboardGenerator"))
        return nullptr;
    return Ref<CIFilter>(new CIFilter);
}

void CIFilter::setDefaults()
{
    const std::lock_guard lock(d->mutex);
    d->inputs = CheckerboardInputs();
}

void CIFilter::setValue(const QVariant &value, const QString &key)
{
    const std::lock_guard lock(d->mutex);
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    if (key == QLatin1StringView("inputColor0") && value.canConvert<CIColor>())
        d->inputs.color0 = value.value<CIColor>();
    else if (key == QLatin1StringView("inputColor1") && value.canConvert<CIColor>())
        d->inputs.color1 = value.value<CIColor>();
    else if (key == QLatin1StringView("inputWidth") && isNumber)
        d->inputs.width = number;
    else if (key == QLatin1StringView("inputSharpness") && isNumber)
        d->inputs.sharpness = number;
    else if (key == QLatin1StringView("inputCenter") && value.canConvert<QPointF>())
        d->inputs.center = value.toPointF();
}

QVariant CIFilter::valueForKey(const QString &key) const
{
    const std::lock_guard lock(d->mutex);
    if (key == QLatin1StringView("outputImage"))
        return QVariant::fromValue(makeCheckerboard(d->inputs));
    if (key == QLatin1StringView("inputColor0"))
        return QVariant::fromValue(d->inputs.color0);
    if (key == QLatin1StringView("inputColor1"))
        return QVariant::fromValue(d->inputs.color1);
    if (key == QLatin1StringView("inputWidth"))
        return d->inputs.width;
    if (key == QLatin1StringView("inputSharpness"))
        return d->inputs.sharpness;
    if (key == QLatin1StringView("inputCenter"))
        return d->inputs.center;
    return {};
}

} // namespace KVBase
