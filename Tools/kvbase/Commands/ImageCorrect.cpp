#include "kvbase/ImageCommands.h"

#include <KVBase/KVBitmapContext.h>

#include <QtCore/QtEndian>

#include <cstddef>
#include <cstdint>
#include <memory>

using namespace KVBase;

namespace kvbase
{
namespace
{

struct CorrectOptions {
    ImageFiles files;
    double red = 1;
    double green = 1;
    double blue = 1;
    double saturation = 1;
    double gamma = 1;
};

/// A surface with the colours of `picture`, which is 32-bit and not premultiplied; the alpha lies in the byte
/// that the surface does not draw into.
std::shared_ptr<KVBitmapContext> surfaceOf(const QImage &picture)
{
    const auto width = static_cast<std::uint32_t>(picture.width());
    const auto height = static_cast<std::uint32_t>(picture.height());
    auto surface = KVBitmapContext::create(nullptr, width, height, width * 4, QColorSpace());
    if (surface == nullptr)
        return nullptr;
    for (int y = 0; y < picture.height(); ++y) {
        const auto *source = reinterpret_cast<const QRgb *>(picture.constScanLine(y));
        std::uint8_t *row = surface->buffer() + static_cast<std::size_t>(y) * surface->rowBytes();
        for (std::size_t x = 0; x < width; ++x)
            qToBigEndian<std::uint32_t>(source[x], row + 4 * x);
    }
    return surface;
}

/// Puts the surface's pixels into `picture`, of the same size and format.
void copyPixels(const KVBitmapContext &surface, QImage &picture)
{
    for (int y = 0; y < picture.height(); ++y) {
        const std::uint8_t *row = surface.buffer() + static_cast<std::size_t>(y) * surface.rowBytes();
        auto *target = reinterpret_cast<QRgb *>(picture.scanLine(y));
        for (std::size_t x = 0; x < surface.width(); ++x)
            target[x] = qFromBigEndian<std::uint32_t>(row + 4 * x);
    }
}

Ref<NSImage> corrected(const Ref<NSImage> &image, const CorrectOptions &options)
{
    QImage picture = image->toImage().convertToFormat(QImage::Format_ARGB32);
    if (picture.isNull())
        return nullptr;
    const std::shared_ptr<KVBitmapContext> surface = surfaceOf(picture);
    if (surface == nullptr)
        return nullptr;
    surface->colorCorrectWithRedFactor(options.red, options.green, options.blue, options.saturation,
                                       options.gamma);
    copyPixels(*surface, picture);
    return NSImage::create(picture);
}

const ImageCommandRegistration kCorrect{
    "correct", "Correct the colours of pictures", [](CLI::App &app, const Context &context) {
        auto options = std::make_shared<CorrectOptions>();
        options->files.addTo(app);
        app.add_option("--red", options->red, "Factor of red; 1 keeps it");
        app.add_option("--green", options->green, "Factor of green; 1 keeps it");
        app.add_option("--blue", options->blue, "Factor of blue; 1 keeps it");
        app.add_option("--saturation", options->saturation, "0 takes the colours away, 1 keeps them");
        app.add_option("--gamma", options->gamma, "Exponent of every colour; below 1 is brighter");
        return [options, &context] {
            return runOnImages(options->files, context,
                               [options](const Ref<NSImage> &image) { return corrected(image, *options); });
        };
    }};

} // namespace
} // namespace kvbase
