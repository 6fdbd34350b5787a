#include "Platform/Checkerboard.h"

#include <QtGui/QColor>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace KVBase
{

namespace
{

QRgb pixelOf(const CIColor &color)
{
    const auto level = [](double component) {
        return component > 0 ? static_cast<int>(std::min(component, 1.0) * 255 + 0.5) : 0;
    };
    return qRgb(level(color.red), level(color.green), level(color.blue));
}

class CheckerboardImage final : public CIImage {
public:
    explicit CheckerboardImage(const CheckerboardInputs &given)
        : center(given.center), width(given.width), pixels{pixelOf(given.color0), pixelOf(given.color1)}
    {}

    NSRect extent() const override
    {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        return NSMakeRect(-kInfinity, -kInfinity, kInfinity, kInfinity);
    }

private:
    /// 0 or 1: which of two neighbouring stripes the middle of the pixel at `position` lies in.
    unsigned stripe(double position, double origin) const
    {
        if (!(width > 0))
            return 0;
        const double number = std::floor((position + 0.5 - origin) / width);
        return std::fmod(number, 2) != 0 ? 1 : 0;
    }

    void renderInto(QImage &image, std::int64_t x, std::int64_t y) const override
    {
        std::vector<unsigned> columns(static_cast<std::size_t>(image.width()));
        for (std::size_t i = 0; i < columns.size(); ++i)
            columns[i] = stripe(static_cast<double>(x) + static_cast<double>(i), center.x());
        for (int row = 0; row < image.height(); ++row) {
            const unsigned line = stripe(static_cast<double>(y + image.height() - 1 - row), center.y());
            auto *destination = reinterpret_cast<QRgb *>(image.scanLine(row));
            for (std::size_t i = 0; i < columns.size(); ++i)
                destination[i] = pixels[columns[i] ^ line];
        }
    }

    QPointF center;
    double width;
    QRgb pixels[2];
};

} // namespace

Ref<CIImage> makeCheckerboard(const CheckerboardInputs &inputs)
{
    return std::make_shared<CheckerboardImage>(inputs);
}

} // namespace KVBase
