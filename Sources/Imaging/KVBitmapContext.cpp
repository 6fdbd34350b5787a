#include <KVBase/KVBitmapContext.h>

#include "Platform/Pixels/ColorMix.h"
#include "Platform/Pixels/Pixels.h"
#include "Platform/Services/Allocator.h"
#include "Platform/Services/FileManager.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVByteBlock.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/vImage.h>

#include <QtCore/QBuffer>
#include <QtCore/QtEndian>
#include <QtGui/QColorTransform>
#include <QtGui/QImageWriter>
#include <QtGui/QPainter>

#include <cstring>
#include <limits>
#include <mutex>

namespace KVBase
{

namespace
{

constexpr char kInitializerName[] = "-[KVBitmapContext initWithBuffer:width:height:rowBytes:colorspace:]";
constexpr char kSourceFile[] = "KVBase/Sources/KVBitmapContext";
constexpr std::uint64_t kRowAlignment = 32;

std::uint64_t alignedRowBytes(std::uint32_t width)
{
    return (std::uint64_t(width) * 4 + (kRowAlignment - 1)) / kRowAlignment * kRowAlignment;
}

KVByteBlock allocatePixels(std::uint64_t rowBytes, std::uint32_t height)
{
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
    if (rowBytes > kLargest || rowBytes * height > kLargest)
        return nullptr;
    return KVByteBlock(
        static_cast<std::uint8_t *>(Service<Allocator>::current()->allocate(rowBytes * height)));
}

/// The table for `gamma`; the last one is kept, as callers correct many surfaces alike.
std::shared_ptr<const Pixels::LevelTable> tableFor(double gamma)
{
    static std::mutex mutex;
    static std::shared_ptr<const Pixels::LevelTable> last;
    {
        const std::lock_guard lock(mutex);
        if (last != nullptr && last->gamma() == gamma)
            return last;
    }
    auto made = std::make_shared<const Pixels::LevelTable>(gamma);
    const std::lock_guard lock(mutex);
    last = made;
    return made;
}

Pixels::ColorMix mixOf(double red, double green, double blue, double saturation)
{
    Pixels::ColorMix mix;
    mix.red = (1 - saturation) * 0.299;
    mix.green = (1 - saturation) * 0.587;
    mix.blue = (1 - saturation) * 0.114;
    mix.ownRed = saturation * red + mix.red;
    mix.ownGreen = saturation * green + mix.green;
    mix.ownBlue = saturation * blue + mix.blue;
    return mix;
}

QColorSpace genericRGB() { return QColorSpace(QColorSpace::SRgb); }

/// The colour's components as the surface's space has them.
QColor colorIn(const QColorSpace &space, const QColor &color)
{
    const QColor rgb = color.toRgb();
    if (space == genericRGB())
        return rgb;
    QColor mapped = genericRGB().transformationToColorSpace(space).map(rgb);
    mapped.setAlphaF(rgb.alphaF());
    return mapped;
}

} // namespace

struct KVBitmapContext::Private {
    std::uint8_t *buffer = nullptr;
    KVByteBlock owned;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t rowBytes = 0;
    QColorSpace colorspace;
    std::shared_ptr<CGContext> context;

    /// Whether the arguments make a surface; logs what does not.
    bool prepare();
    bool sidesAreGiven() const;
    bool choosePixels();

    std::size_t byteCount() const { return std::size_t(rowBytes) * height; }

    void makeContext() { context = CGContext::create(buffer, width, height, rowBytes, colorspace); }

    vImage_Buffer pixels() const { return {buffer, height, width, rowBytes}; }
};

bool KVBitmapContext::Private::sidesAreGiven() const
{
    if (width == 0)
        KVLog("%s: inWidth is 0...", kInitializerName);
    if (height == 0)
        KVLog("%s: inHeight is 0...", kInitializerName);
    return width != 0 && height != 0;
}

bool KVBitmapContext::Private::choosePixels()
{
    if (buffer != nullptr)
        return true;
    const std::uint64_t chosen = rowBytes == 0 ? alignedRowBytes(width) : rowBytes;
    owned = allocatePixels(chosen, height);
    if (owned == nullptr) {
        KVLog("%s: Failed to allocte buffer...", kInitializerName);
        return false;
    }
    rowBytes = static_cast<std::uint32_t>(chosen);
    buffer = owned.get();
    return true;
}

bool KVBitmapContext::Private::prepare()
{
    if (!sidesAreGiven() || !choosePixels())
        return false;
    if (!colorspace.isValid())
        colorspace = genericRGB();
    makeContext();
    if (context == nullptr)
        KVLog("%s: Failed to create bitmap context...", kInitializerName);
    return context != nullptr;
}

std::shared_ptr<KVBitmapContext> KVBitmapContext::create(std::uint8_t *buffer, std::uint32_t width,
                                                         std::uint32_t height, std::uint32_t rowBytes,
                                                         const QColorSpace &colorspace)
{
    auto made = std::make_unique<Private>();
    made->buffer = buffer;
    made->width = width;
    made->height = height;
    made->rowBytes = rowBytes;
    made->colorspace = colorspace;
    if (!made->prepare())
        return nullptr;
    return std::shared_ptr<KVBitmapContext>(new KVBitmapContext(std::move(made)));
}

std::shared_ptr<KVBitmapContext>
KVBitmapContext::bitmapContextWithBuffer(std::uint8_t *buffer, std::uint32_t width, std::uint32_t height,
                                         std::uint32_t rowBytes, const QColorSpace &colorspace)
{
    return create(buffer, width, height, rowBytes, colorspace);
}

std::shared_ptr<KVBitmapContext>
KVBitmapContext::bitmapContextWithBuffer(std::uint8_t *buffer, std::uint32_t width, std::uint32_t height,
                                         std::uint32_t rowBytes, const CMProfile &profile)
{
    const QColorSpace space =
        profile.isNil() ? QColorSpace() : QColorSpace::fromIccProfile(profile.iccData());
    return create(buffer, width, height, rowBytes, space);
}

KVBitmapContext::KVBitmapContext(std::unique_ptr<Private> made) : d(std::move(made)) {}

KVBitmapContext::~KVBitmapContext() = default;

std::uint8_t *KVBitmapContext::buffer() const { return d->buffer; }

std::uint32_t KVBitmapContext::width() const { return d->width; }

std::uint32_t KVBitmapContext::height() const { return d->height; }

std::uint32_t KVBitmapContext::rowBytes() const { return d->rowBytes; }

QColorSpace KVBitmapContext::colorspace() const { return d->colorspace; }

std::shared_ptr<CGContext> KVBitmapContext::context() const { return d->context; }

void KVBitmapContext::flipHorizotal()
{
    const vImage_Buffer pixels = d->pixels();
    // Logged under the vertical mirror's name: readers of old logs look for that line.
    KVLogError(vImageHorizontalReflect_ARGB8888(&pixels, &pixels, kvImageDoNotTile),
               "vImageVerticalReflect_ARGB8888", kSourceFile, 456);
}

void KVBitmapContext::flipVertical()
{
    const vImage_Buffer pixels = d->pixels();
    KVLogError(vImageVerticalReflect_ARGB8888(&pixels, &pixels, kvImageDoNotTile),
               "vImageVerticalReflect_ARGB8888", kSourceFile, 443);
}

void KVBitmapContext::subSampleWithFactor(std::uint32_t factor)
{
    if (factor == 0)
        return;
    const std::uint32_t height = d->height / factor;
    const std::uint32_t width = d->width / factor;
    if (height != 0 && width != 0) {
        for (std::uint32_t row = 0; row < height; ++row)
            Pixels::thinOut(d->buffer + std::size_t(row) * factor * d->rowBytes,
                            d->buffer + std::size_t(row) * width * 4, width, factor);
    }
    d->width = width;
    d->height = height;
    d->rowBytes = width * 4;
    d->makeContext();
}

void KVBitmapContext::colorCorrectWithRedFactor(double red, double green, double blue, double saturation,
                                                double gamma)
{
    if (red == 1 && green == 1 && blue == 1 && saturation == 1 && gamma == 1)
        return;
    const std::shared_ptr<const Pixels::LevelTable> table = gamma == 1 ? nullptr : tableFor(gamma);
    Pixels::mixColors(d->buffer, d->byteCount() / 4, mixOf(red, green, blue, saturation), table.get());
}

void KVBitmapContext::fillAlphaWithValue(std::uint8_t value)
{
    // The whole buffer is one row of groups: padding is filled as well.
    Pixels::fillByte({d->buffer, d->byteCount() / 4, 1, d->byteCount()}, 0, value);
}

void KVBitmapContext::eraseToColor(const QColor &color)
{
    if (!color.isValid() || d->context == nullptr)
        return;
    const QRectF whole(0, 0, d->width, d->height);
    d->context->draw([&](QPainter &painter) { painter.fillRect(whole, colorIn(d->colorspace, color)); });
}

QImage KVBitmapContext::image() const { return d->context == nullptr ? QImage() : d->context->image(); }

QByteArray KVBitmapContext::imageDescription() const
{
    constexpr std::uint32_t kSize = 86;
    constexpr std::uint32_t kRawCodec = 0x72617720; // "raw "
    constexpr std::uint32_t kVendor = 0x4b454c56;   // "KELV"
    constexpr std::uint32_t kLossless = 0x00000400;
    constexpr std::uint32_t kResolution = 0x00480000; // 72.0 in 16.16 fixed point
    QByteArray record(kSize, '\0');
    const auto put32 = [&record](qsizetype offset, std::uint32_t value) {
        qToBigEndian(value, record.data() + offset);
    };
    const auto put16 = [&record](qsizetype offset, std::uint32_t value) {
        qToBigEndian(static_cast<std::uint16_t>(value), record.data() + offset);
    };
    put32(0, kSize);
    put32(4, kRawCodec);
    put16(16, 2);
    put32(20, kVendor);
    put32(28, kLossless);
    put16(32, d->width);
    put16(34, d->height);
    put32(36, kResolution);
    put32(40, kResolution);
    put32(44, d->rowBytes * d->height);
    put16(48, 1);
    put16(82, d->width != 0 && d->rowBytes / d->width < 4 ? 24 : 32);
    put16(84, 0xffff);
    return record;
}

bool KVBitmapContext::savePNGFileAtPath(const QString &path) const
{
    if (isNil(path))
        return false;
    FileManager *files = Service<FileManager>::current();
    const QImage contents = image();
    if (!contents.isNull()) {
        QByteArray encoded;
        QBuffer buffer(&encoded);
        buffer.open(QIODevice::WriteOnly);
        if (QImageWriter(&buffer, "png").write(contents))
            files->write(path, encoded);
    }
    return files->exists(path);
}

} // namespace KVBase
