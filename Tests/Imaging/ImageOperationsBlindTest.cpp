#include "Platform/Services/AssertionHandler.h"
#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSBitmapImageRep_vImageSupport.h>
#include <KVBase/NSImage_vImageSupport.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtGui/QImage>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

namespace KVBase
{
namespace
{

using Tests::CapturedLog;
using Bytes = std::vector<std::uint8_t>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

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

TEST(KVImageOperationsBlindTest, TakesTheLaterOfEqualAreasInOneFormAndTheEarlierInTheOther)
{
    const std::vector<Ref<NSImageRep>> reps{bitmap(1, 1), bitmap(2, 6), bitmap(3, 4), bitmap(4, 3),
                                            bitmap(2, 2)};
    const Ref<NSImage> image = imageOf(reps);
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(image, true), reps[3]);
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(image, false), reps[3]);
    EXPECT_EQ(KVImageUtils::findBiggestBitmapImageRep(image), reps[3]);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(image, true), reps[1]);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(image, false), reps[1]);
    EXPECT_EQ(vImageSupport::biggestBitmapImageRep(image), reps[1]);
}

TEST(KVImageOperationsBlindTest, SkipsWhatIsNoBitmapWhenOnlyBitmapsAreWanted)
{
    const Ref<NSImageRep> drawn = sketch(100, 100);
    for (const Biggest &biggest : {Biggest(KVImageUtils::findBiggestImageRep),
                                   Biggest(vImageSupport::biggestImageRepConsideringBitmapRepsOnly)}) {
        EXPECT_EQ(biggest(imageOf({drawn}), true), nullptr);
        EXPECT_EQ(biggest(imageOf({drawn}), false), drawn);
        const Ref<NSImageRep> small = bitmap(2, 2);
        EXPECT_EQ(biggest(imageOf({small, drawn}), true), small);
        EXPECT_EQ(biggest(imageOf({small, drawn}), false), drawn);
        EXPECT_EQ(biggest(imageOf({sketch(0, 0), sketch(5, 0)}), false), nullptr);
        EXPECT_EQ(biggest(NSImage::create(), false), nullptr);
        EXPECT_EQ(biggest(nullptr, false), nullptr);
    }
}

TEST(KVImageOperationsBlindTest, ComparesAreasOf32BitsSignedInOneFormAndUnsignedInTheOther)
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

TEST(KVImageOperationsBlindTest, ReadsThePixelSizeOfTheLargestRepresentation)
{
    const Ref<NSImage> image = imageOf({bitmap(8, 4), sketch(20, 30), bitmap(3, 3)});
    EXPECT_EQ(KVImageUtils::getPixelSize(image), NSMakeSize(20, 30));
    EXPECT_EQ(vImageSupport::pixelSize(image), NSMakeSize(20, 30));
    EXPECT_EQ(KVImageUtils::getPixelSize(NSImage::create({5, 5})), NSMakeSize(0, 0));

    CapturedLog log;
    KVLogSetDestination(0);
    EXPECT_EQ(KVImageUtils::getPixelSize(nullptr), NSMakeSize(0, 0));
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral("getting pixel size on nil image")});
    log.clear();
    EXPECT_EQ(KVImageUtils::getPixelAspectRatio(nullptr), 1.0F);
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral("getting aspect ratio on nil image")});
}

TEST(KVImageOperationsBlindTest, DividesTheWidthOfAPixelByItsHeight)
{
    const Ref<NSBitmapImageRep> rep = bitmap(720, 480);
    rep->setSize({640, 480});
    const Ref<NSImage> image = imageOf({rep});
    const volatile float horizontal = 720.0F / 640.0F;
    const float expected = 1.0F / horizontal;
    EXPECT_EQ(KVImageUtils::getPixelAspectRatio(image), expected);
    EXPECT_EQ(vImageSupport::pixelAspectRatio(image), expected);
    EXPECT_NEAR(KVImageUtils::getPixelAspectRatio(image), 0.88888889, 1e-6);
    rep->setSize({720, 240});
    EXPECT_EQ(KVImageUtils::getPixelAspectRatio(image), 2.0F);
    rep->setSize({0, 480});
    EXPECT_EQ(KVImageUtils::getPixelAspectRatio(image), 0.0F);
    rep->setSize({720, 0});
    EXPECT_TRUE(std::isinf(KVImageUtils::getPixelAspectRatio(image)));
    rep->setSize({0, 0});
    EXPECT_TRUE(std::isnan(vImageSupport::pixelAspectRatio(image)));
    EXPECT_EQ(KVImageUtils::getPixelAspectRatio(NSImage::create({3, 4})), 1.0F);
    EXPECT_EQ(vImageSupport::pixelAspectRatio(NSImage::create({3, 4})), 1.0F);
}

QString made(const QString &name, const QByteArray &bytes)
{
    const QString path = Tests::scratchFolder() + QLatin1Char('/') + name;
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    return path;
}

TEST(KVImageOperationsBlindTest, TellsImageFilesByTheirDeclaredType)
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

TEST(KVImageOperationsBlindTest, CropsFromTheBottomLeft)
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

TEST(KVImageOperationsBlindTest, CropsNothingUsefulWithoutFault)
{
    for (const Crop &crop : croppers()) {
        EXPECT_EQ(crop(nullptr, NSMakeRect(0, 0, 1, 1)), nullptr);
        EXPECT_EQ(crop(chart(4, 4), NSMakeRect(0, 0, 0, 4)), nullptr);
        EXPECT_EQ(crop(chart(4, 4), NSMakeRect(0, 0, -2, 4)), nullptr);
        EXPECT_EQ(crop(chart(4, 4), NSMakeRect(0, 0, kNaN, 4)), nullptr);
        EXPECT_EQ(crop(chart(4, 4), NSMakeRect(0, 0, 100000, 100000)), nullptr);
        const Ref<NSImage> partly = crop(chart(4, 4), NSMakeRect(2, 2, 4, 4));
        ASSERT_NE(partly, nullptr);
        EXPECT_EQ(partly->size(), NSMakeSize(4, 4));
        EXPECT_EQ(pixel(partly->toImage(), 0, 3), colourAt(2, 1));
        EXPECT_EQ(pixel(partly->toImage(), 3, 0), 0u);
        const Ref<NSImage> outside = crop(chart(4, 4), NSMakeRect(50, 50, 2, 2));
        ASSERT_NE(outside, nullptr);
        EXPECT_EQ(pixel(outside->toImage(), 1, 1), 0u);
    }
}

TEST(KVImageOperationsBlindTest, CroppingLeavesTheSourceAlone)
{
    const Ref<NSImage> source = imageOf({bitmap(6, 6), sketch(2, 2)});
    const auto before = source->representations();
    for (const Crop &crop : croppers())
        ASSERT_NE(crop(source, NSMakeRect(0, 0, 2, 2)), nullptr);
    EXPECT_EQ(source->representations(), before);
}

using Render = std::function<Ref<NSBitmapImageRep>(const Ref<NSImage> &, bool)>;

TEST(KVImageOperationsBlindTest, RendersAnImageIntoAStraightBitmap)
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

TEST(KVImageOperationsBlindTest, RendersAtThePixelSizeWhateverThePoints)
{
    const Ref<NSImage> image = imageOf({bitmap(4, 2)});
    image->setSize({40, 7});
    const Ref<NSBitmapImageRep> rep = KVImageUtils::create32BitNSBitmapImageRepFromNSImage(image, true);
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->pixelsWide(), 4);
    EXPECT_EQ(rep->pixelsHigh(), 2);
    EXPECT_EQ(image->size(), NSMakeSize(40, 7));
}

using Flip = std::function<Ref<NSImage>(const Ref<NSImage> &, KVImageOrientation)>;

const std::vector<Flip> &flippers()
{
    static const std::vector<Flip> both{KVImageUtils::flipImage, vImageSupport::flippedImageWithOrientation};
    return both;
}

TEST(KVImageOperationsBlindTest, MirrorsAndTurns)
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

TEST(KVImageOperationsBlindTest, AnswersAnEmptyPictureForOtherOrientations)
{
    for (const Flip &flip : flippers()) {
        for (const std::uint32_t code : {4u, 7u, 4294967295u}) {
            const Ref<NSImage> flipped = flip(chart(5, 3), KVImageOrientation{code});
            ASSERT_NE(flipped, nullptr);
            EXPECT_EQ(flipped->size(), NSMakeSize(5, 3));
            EXPECT_EQ(pixel(flipped->toImage(), 0, 0), 0u);
            EXPECT_EQ(pixel(flipped->toImage(), 4, 2), 0u);
        }
    }
}

TEST(KVImageOperationsBlindTest, FlipsIntoADestinationSizedInPoints)
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
