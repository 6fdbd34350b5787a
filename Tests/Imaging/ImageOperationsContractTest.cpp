#include "Platform/Services/TypeIdentifiers.h"
#include "Support/TestPaths.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSImage_vImageSupport.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtGui/QImage>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

namespace KVBase
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

/// A representation that is no bitmap and draws nothing.
class Sketch final : public NSImageRep {
public:
    Sketch(std::int32_t wide, std::int32_t high) : NSImageRep({10, 10}, wide, high) {}
    bool draw(QPainter &, const NSRect &) const override { return true; }
};

Ref<NSImageRep> sketch(std::int32_t wide, std::int32_t high) { return std::make_shared<Sketch>(wide, high); }

Ref<NSBitmapImageRep> bitmap(int width, int height, const Bytes &bytes = {})
{
    const Ref<NSBitmapImageRep> rep = NSBitmapImageRep::create(
        KVByteBlock(), width, height, 8, 4, true, false, NSCalibratedRGBColorSpace, width * 4, 32);
    if (rep != nullptr && !bytes.empty())
        std::memcpy(rep->bitmapData(), bytes.data(), bytes.size());
    return rep;
}

Ref<NSImage> imageOf(const std::vector<Ref<NSImageRep>> &reps)
{
    const Ref<NSImage> image = NSImage::create();
    for (const Ref<NSImageRep> &rep : reps)
        image->addRepresentation(rep);
    return image;
}

/// The pixel in column x and row y (from the top), opaque and different from every other one.
std::uint32_t colourAt(int x, int y)
{
    return 0xff000000u | static_cast<std::uint32_t>(x << 16 | y << 8 | (x + y) % 256);
}

Ref<NSImage> chart(int width, int height)
{
    QImage picture(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.setPixel(x, y, colourAt(x, y));
    return NSImage::create(picture);
}

std::uint32_t pixel(const QImage &image, int x, int y) { return image.pixel(x, y); }

using Biggest = std::function<Ref<NSImageRep>(const Ref<NSImage> &, bool)>;

TEST(ImageOperationsContractTest, ComparesAreasOf32BitsSignedInOneFormAndUnsignedInTheOther)
{
    const Ref<NSImageRep> negative = sketch(65536, 32768);
    const Ref<NSImageRep> wrapped = sketch(65536, 65536);
    const Ref<NSImageRep> one = bitmap(1, 1);
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(imageOf({negative}), false), nullptr);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(imageOf({negative}), false), negative);
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(imageOf({one, negative}), false), one);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(imageOf({one, negative}), false),
              negative);
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(imageOf({wrapped, one}), false), one);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(imageOf({wrapped, one}), false), one);
}

QString made(const QString &name, const QByteArray &bytes)
{
    const QString path = Tests::scratchFolder() + QLatin1Char('/') + name;
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    return path;
}

TEST(ImageOperationsContractTest, TellsImageFilesByTheirDeclaredType)
{
    for (const char *name : {"a.png", "a.PNG", "a.jpg", "a.jpeg", "a.gif", "a.bmp", "a b\xc3\xa4.png"})
        EXPECT_TRUE(KVImageUtils::isImageFile(made(QString::fromUtf8(name), "text"))) << name;
    for (const char *name : {"a.txt", "a.mov", "a.mp4", "a.html", "a", "png", "a.png.txt", "a.unknown"})
        EXPECT_FALSE(KVImageUtils::isImageFile(made(QString::fromUtf8(name), "\x89PNG\r\n\x1a\n"))) << name;
    EXPECT_FALSE(KVImageUtils::isImageFile(Tests::scratchFolder() + QStringLiteral("/missing.png")));
    EXPECT_FALSE(KVImageUtils::isImageFile(QString()));
    EXPECT_FALSE(KVImageUtils::isImageFile(QStringLiteral("")));
    EXPECT_FALSE(KVImageUtils::isImageFile(Tests::scratchFolder()));
    const QString folder = Tests::scratchFolder() + QStringLiteral("/folder.png");
    ASSERT_TRUE(QDir().mkpath(folder));
    EXPECT_FALSE(KVImageUtils::isImageFile(folder));
}

using Crop = std::function<Ref<NSImage>(const Ref<NSImage> &, const NSRect &)>;

const std::vector<Crop> &croppers()
{
    static const std::vector<Crop> both{KVImageUtils::cropImage, vImageSupport::croppedImageFromRect};
    return both;
}

TEST(ImageOperationsContractTest, CropsFromTheBottomLeft)
{
    for (const Crop &crop : croppers()) {
        const Ref<NSImage> cropped = crop(chart(7, 5), NSMakeRect(2, 1, 3, 2));
        ASSERT_NE(cropped, nullptr);
        EXPECT_EQ(cropped->size(), NSMakeSize(3, 2));
        ASSERT_EQ(cropped->representations().size(), 1u);
        EXPECT_EQ(cropped->representations()[0]->pixelsWide(), 3);
        EXPECT_EQ(cropped->representations()[0]->pixelsHigh(), 2);
        EXPECT_NE(std::dynamic_pointer_cast<NSBitmapImageRep>(cropped->representations()[0]), nullptr);
        const QImage picture = cropped->toImage();
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 3; ++x)
                EXPECT_EQ(pixel(picture, x, y), colourAt(x + 2, y + 2)) << x << ' ' << y;
    }
}

TEST(ImageOperationsContractTest, CroppingLeavesTheSourceAlone)
{
    const Ref<NSImage> source = imageOf({bitmap(6, 6), sketch(2, 2)});
    const auto before = source->representations();
    for (const Crop &crop : croppers())
        ASSERT_NE(crop(source, NSMakeRect(0, 0, 2, 2)), nullptr);
    EXPECT_EQ(source->representations(), before);
}

using Render = std::function<Ref<NSBitmapImageRep>(const Ref<NSImage> &, bool)>;

TEST(ImageOperationsContractTest, RendersAnImageIntoAStraightBitmap)
{
    const Bytes source{100, 50, 0, 200, 9, 8, 7, 255, 0, 0, 0, 0, 30, 0, 60, 90};
    const Bytes rgba{127, 63, 0, 200, 9, 8, 7, 255, 0, 0, 0, 0, 85, 0, 170, 90};
    const Bytes argb{200, 127, 63, 0, 255, 9, 8, 7, 0, 0, 0, 0, 90, 85, 0, 170};
    for (const Render &render :
         {Render(KVImageUtils::create32BitNSBitmapImageRepFromNSImage),
          Render(vImageSupport::create32BitNSBitmapImageRepAndPrepareForVImageOperations)}) {
        const Ref<NSImage> image = imageOf({bitmap(2, 2, source)});
        for (const bool toARGB : {false, true}) {
            const Ref<NSBitmapImageRep> rep = render(image, toARGB);
            ASSERT_NE(rep, nullptr);
            EXPECT_EQ(rep->pixelsWide(), 2);
            EXPECT_EQ(rep->pixelsHigh(), 2);
            EXPECT_EQ(rep->bytesPerRow(), 8);
            EXPECT_EQ(rep->bitsPerPixel(), 32);
            EXPECT_EQ(rep->bitsPerSample(), 8);
            EXPECT_EQ(rep->samplesPerPixel(), 4);
            EXPECT_TRUE(rep->hasAlpha());
            EXPECT_FALSE(rep->isPlanar());
            EXPECT_EQ(rep->colorSpaceName(), NSCalibratedRGBColorSpace);
            EXPECT_EQ(Bytes(rep->bitmapData(), rep->bitmapData() + 16), toARGB ? argb : rgba);
        }
        EXPECT_EQ(render(nullptr, true), nullptr);
        EXPECT_EQ(render(NSImage::create(), true), nullptr);
        EXPECT_EQ(render(NSImage::create({5, 5}), true), nullptr);
    }
}

using Flip = std::function<Ref<NSImage>(const Ref<NSImage> &, KVImageOrientation)>;

const std::vector<Flip> &flippers()
{
    static const std::vector<Flip> both{KVImageUtils::flipImage, vImageSupport::flippedImageWithOrientation};
    return both;
}

TEST(ImageOperationsContractTest, MirrorsAndTurns)
{
    for (const Flip &flip : flippers()) {
        const Ref<NSImage> image = chart(5, 3);
        EXPECT_EQ(flip(image, KVImageOrientation::Unchanged), image);
        for (const std::uint32_t code : {1u, 2u, 3u}) {
            const Ref<NSImage> flipped = flip(image, KVImageOrientation{code});
            ASSERT_NE(flipped, nullptr);
            EXPECT_NE(flipped, image);
            EXPECT_EQ(flipped->size(), NSMakeSize(5, 3));
            const QImage picture = flipped->toImage();
            ASSERT_EQ(picture.size(), QSize(5, 3));
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 5; ++x)
                    EXPECT_EQ(pixel(picture, x, y),
                              colourAt((code & 1) != 0 ? 4 - x : x, (code & 2) != 0 ? 2 - y : y))
                        << code << ": " << x << ' ' << y;
        }
    }
}

TEST(ImageOperationsContractTest, HandsStraightColoursOutOfAFlip)
{
    for (const Flip &flip : flippers()) {
        const Ref<NSImage> image = imageOf({bitmap(2, 1, {100, 50, 0, 200, 10, 5, 0, 10})});
        const auto flipped = std::dynamic_pointer_cast<NSBitmapImageRep>(
            flip(image, KVImageOrientation::MirrorLeftRight)->representations().at(0));
        ASSERT_NE(flipped, nullptr);
        EXPECT_EQ(Bytes(flipped->bitmapData(), flipped->bitmapData() + 8),
                  (Bytes{255, 127, 0, 10, 127, 63, 0, 200}));
    }
}

/// Two picture types, a document that can be read too, and files that are what their last letter says.
class FewTypes final : private TypeIdentifiers {
    QString contentType(const QString &path) override { return path.back(); }
    QString preferredIdentifier(const QString &) override { return QString(); }
    QString preferredExtension(const QString &) override { return QString(); }
    QString mimeType(const QString &) override { return QString(); }
    bool conformsTo(const QString &type, const QString &other) override
    {
        if (type == other)
            return true;
        if (other == QLatin1StringView("public.image"))
            return type == QLatin1StringView("p") || type == QLatin1StringView("q") ||
                   type == QLatin1StringView("r");
        return type == QLatin1StringView("r") && other == QLatin1StringView("q");
    }
    QStringList readableImageTypes() override { return {QStringLiteral("d"), QStringLiteral("q")}; }

    ScopedService<TypeIdentifiers> guard{this};
};

TEST(ImageOperationsContractTest, CountsTypesThatConformToAReadableOne)
{
    const QString readable = made(QStringLiteral("q"), "");
    const QString special = made(QStringLiteral("r"), "");
    const QString unreadable = made(QStringLiteral("p"), "");
    const QString document = made(QStringLiteral("d"), "");
    const FewTypes types;
    EXPECT_TRUE(KVImageUtils::isImageFile(readable));
    EXPECT_TRUE(KVImageUtils::isImageFile(special));
    EXPECT_FALSE(KVImageUtils::isImageFile(unreadable)) << "a picture that nothing reads";
    EXPECT_FALSE(KVImageUtils::isImageFile(document)) << "readable, but no picture";
}

TEST(ImageOperationsContractTest, FlipsIntoADestinationSizedInPoints)
{
    for (const Flip &flip : flippers()) {
        for (const NSSize &points : {NSMakeSize(2, 2), NSMakeSize(9, 8), NSMakeSize(9, 1)}) {
            const Ref<NSImage> image = chart(4, 4);
            image->setSize(points);
            for (const std::uint32_t code : {1u, 2u, 3u, 9u}) {
                const Ref<NSImage> flipped = flip(image, KVImageOrientation{code});
                ASSERT_NE(flipped, nullptr);
                EXPECT_EQ(flipped->size(), points);
            }
            EXPECT_EQ(image->size(), points);
        }
        const Ref<NSImage> thin = chart(4, 4);
        thin->setSize({0.5F, 4});
        EXPECT_EQ(flip(thin, KVImageOrientation{1}), nullptr);
        EXPECT_EQ(flip(nullptr, KVImageOrientation{1}), nullptr);
        EXPECT_EQ(flip(nullptr, KVImageOrientation{0}), nullptr);
        EXPECT_EQ(flip(NSImage::create({4, 4}), KVImageOrientation{1}), nullptr);
        const Ref<NSImage> empty = NSImage::create({4, 4});
        EXPECT_EQ(flip(empty, KVImageOrientation{0}), empty);
    }
}

} // namespace
} // namespace KVBase
