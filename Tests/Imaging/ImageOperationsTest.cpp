#include "Imaging/ImagingSupport.h"
#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSImage_vImageSupport.h>
#include <KVBase/Platform/NSDrawingSession.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtGui/QPainter>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <sys/stat.h>

namespace KVBase
{
namespace
{

using namespace Tests;
using testing::ElementsAre;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// A representation that is no bitmap: it fills its rectangle with one colour.
class PlainColor : public NSImageRep {
public:
    PlainColor(std::int32_t wide, std::int32_t high, const QColor &given)
        : NSImageRep({static_cast<float>(wide), static_cast<float>(high)}, wide, high), color(given)
    {}

    bool draw(QPainter &painter, const NSRect &inRect) const override
    {
        painter.fillRect(QRectF(inRect.origin.x, inRect.origin.y, inRect.size.width, inRect.size.height),
                         color);
        return true;
    }

private:
    QColor color;
};

Ref<NSImage> imageWith(std::initializer_list<Ref<NSImageRep>> representations)
{
    Ref<NSImage> image = NSImage::create();
    for (const Ref<NSImageRep> &representation : representations)
        image->addRepresentation(representation);
    return image;
}

Ref<NSBitmapImageRep> bitmapIn(const Ref<NSImage> &image)
{
    if (image == nullptr || image->representations().size() != 1)
        return nullptr;
    return std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations().front());
}

Bytes pixelsIn(const Ref<NSImage> &image)
{
    const Ref<NSBitmapImageRep> bitmap = bitmapIn(image);
    return bitmap == nullptr ? Bytes() : pixelsOf(bitmap);
}

/// One of the two forms of each operation.
struct Twin {
    const char *name;
    Ref<NSImageRep> (*biggest)(const Ref<NSImage> &, bool);
    Ref<NSBitmapImageRep> (*biggestBitmap)(const Ref<NSImage> &);
    NSSize (*pixelSize)(const Ref<NSImage> &);
    float (*aspectRatio)(const Ref<NSImage> &);
    Ref<NSImage> (*crop)(const Ref<NSImage> &, const NSRect &);
    Ref<NSImage> (*scale)(const Ref<NSImage> &, const NSSize &);
    Ref<NSImage> (*cover)(const Ref<NSImage> &, const NSSize &, bool);
    Ref<NSImage> (*flip)(const Ref<NSImage> &, KVImageOrientation);
    Ref<NSBitmapImageRep> (*straight)(const Ref<NSImage> &, bool);
};

const Twin kTwins[] = {{"Class", &KVImageUtils::findBiggestImageRep, &KVImageUtils::findBiggestBitmapImageRep,
                        &KVImageUtils::getPixelSize, &KVImageUtils::getPixelAspectRatio,
                        &KVImageUtils::cropImage, &KVImageUtils::scaleImage, &KVImageUtils::scaleAndCropImage,
                        &KVImageUtils::flipImage, &KVImageUtils::create32BitNSBitmapImageRepFromNSImage},
                       {"Category", &vImageSupport::biggestImageRepConsideringBitmapRepsOnly,
                        &vImageSupport::biggestBitmapImageRep, &vImageSupport::pixelSize,
                        &vImageSupport::pixelAspectRatio, &vImageSupport::croppedImageFromRect,
                        &vImageSupport::scaledImageWithSize, &vImageSupport::scaledAndCroppedImageWithSize,
                        &vImageSupport::flippedImageWithOrientation,
                        &vImageSupport::create32BitNSBitmapImageRepAndPrepareForVImageOperations}};

class ImageOperationsTest : public testing::TestWithParam<Twin> {
protected:
    const Twin &twin = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Twins, ImageOperationsTest, testing::ValuesIn(kTwins),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(BiggestRepresentationTest, EqualAreasAreTiedDifferently)
{
    const auto first = rgbaBitmap(Bytes(8 * 4), 2, 4);
    const auto second = rgbaBitmap(Bytes(8 * 4), 4, 2);
    const Ref<NSImage> image = imageWith({first, second});
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(image, false), second);
    EXPECT_EQ(KVImageUtils::findBiggestBitmapImageRep(image), second);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(image, false), first);
    EXPECT_EQ(vImageSupport::biggestBitmapImageRep(image), first);
}

TEST(BiggestRepresentationTest, AreasWrapAt32Bits)
{
    const auto small = std::make_shared<PlainColor>(1, 1, Qt::red);
    const auto wrapped = std::make_shared<PlainColor>(65536, 65536, Qt::red); // 2^32: counts as 0
    const auto half = std::make_shared<PlainColor>(65536, 32768, Qt::red);    // 2^31: negative when signed
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(imageWith({small, wrapped}), false), small);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(imageWith({small, wrapped}), false),
              small);
    EXPECT_EQ(KVImageUtils::findBiggestImageRep(imageWith({small, half}), false), small);
    EXPECT_EQ(vImageSupport::biggestImageRepConsideringBitmapRepsOnly(imageWith({small, half}), false), half);
}

TEST_P(ImageOperationsTest, TheBiggestIsFoundAmongAllOrBitmaps)
{
    const auto color = std::make_shared<PlainColor>(10, 10, Qt::red);
    const auto bitmap = rgbaBitmap(Bytes(16), 2, 2);
    EXPECT_EQ(twin.biggest(imageWith({bitmap, color}), false), color);
    EXPECT_EQ(twin.biggest(imageWith({color, bitmap}), true), bitmap);
    EXPECT_EQ(twin.biggestBitmap(imageWith({color, bitmap})), bitmap);
    EXPECT_EQ(twin.biggest(imageWith({color}), true), nullptr);
    EXPECT_EQ(twin.biggest(imageWith({color}), false), color);
    EXPECT_EQ(twin.biggest(imageWith({std::make_shared<PlainColor>(0, 9, Qt::red)}), false), nullptr);
    EXPECT_EQ(twin.biggest(imageWith({}), false), nullptr);
    EXPECT_EQ(twin.biggest(nullptr, false), nullptr);
    EXPECT_EQ(twin.biggestBitmap(nullptr), nullptr);
}

TEST_P(ImageOperationsTest, PixelSizeAndAspectRatioAreThoseOfTheBiggest)
{
    const auto bitmap = rgbaBitmap(Bytes(720 * 480 * 4), 720, 480);
    bitmap->setSize({640, 480});
    const Ref<NSImage> image = imageWith({rgbaBitmap(Bytes(16), 2, 2), bitmap});
    EXPECT_EQ(twin.pixelSize(image), NSMakeSize(720, 480));
    EXPECT_EQ(twin.aspectRatio(image), (480.0f / 480.0f) / (720.0f / 640.0f));
    EXPECT_NEAR(twin.aspectRatio(image), 0.8888889f, 1e-6f);
    EXPECT_EQ(twin.pixelSize(imageWith({})), NSMakeSize(0, 0));
    EXPECT_EQ(twin.aspectRatio(imageWith({})), 1.0f);
}

TEST_P(ImageOperationsTest, NilImagesAreNamedOnTheConsole)
{
    CapturedLog log;
    EXPECT_EQ(twin.pixelSize(nullptr), NSMakeSize(0, 0));
    EXPECT_EQ(twin.aspectRatio(nullptr), 1.0f);
    EXPECT_THAT(log.lines(), ElementsAre(QStringLiteral("getting pixel size on nil image"),
                                         QStringLiteral("getting aspect ratio on nil image")));
}

TEST_P(ImageOperationsTest, SizesOfZeroPointsFollowTheArithmetic)
{
    const auto bitmap = rgbaBitmap(Bytes(16), 2, 2);
    bitmap->setSize({0, 2});
    EXPECT_EQ(twin.aspectRatio(imageWith({bitmap})), 0.0f);
    bitmap->setSize({0, 0});
    const float ratio = twin.aspectRatio(imageWith({bitmap}));
    EXPECT_NE(ratio, ratio);
}

TEST_P(ImageOperationsTest, CropCountsFromTheBottomLeft)
{
    // Rows from the top: (0,0) (1,0) (2,0) / (0,1) (1,1) (2,1)
    const Ref<NSImage> image = imageWith({rgbaBitmap(chart(3, 2), 3, 2)});
    const Ref<NSImage> cropped = twin.crop(image, NSMakeRect(1, 0, 2, 1));
    ASSERT_NE(cropped, nullptr);
    EXPECT_EQ(cropped->size(), NSMakeSize(2, 1));
    EXPECT_THAT(pixelsIn(cropped), ElementsAre(1, 1, 20, 255, 2, 1, 27, 255));
    EXPECT_THAT(pixelsIn(twin.crop(image, NSMakeRect(0, 1, 1, 1))), ElementsAre(0, 0, 0, 255));
    EXPECT_EQ(pixelsIn(image), chart(3, 2)) << "the image itself stays";
}

TEST_P(ImageOperationsTest, CropIsTransparentOutsideTheImage)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({1, 2, 3, 255}, 1, 1)});
    EXPECT_THAT(pixelsIn(twin.crop(image, NSMakeRect(-1, -1, 2, 2))),
                ElementsAre(0, 0, 0, 0, 1, 2, 3, 255, 0, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_THAT(pixelsIn(twin.crop(image, NSMakeRect(5, 5, 1, 1))), ElementsAre(0, 0, 0, 0));
}

TEST_P(ImageOperationsTest, CropRoundsPixelsOutwardsAndKeepsTheSize)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap(chart(4, 4), 4, 4)});
    const Ref<NSImage> cropped = twin.crop(image, NSMakeRect(1.5f, 1.5f, 1.25f, 1));
    ASSERT_NE(bitmapIn(cropped), nullptr);
    EXPECT_EQ(cropped->size(), NSMakeSize(1.25f, 1));
    EXPECT_EQ(bitmapIn(cropped)->pixelsWide(), 2);
    EXPECT_EQ(bitmapIn(cropped)->pixelsHigh(), 2);
    EXPECT_THAT(pixelsIn(cropped), ElementsAre(1, 1, 20, 255, 2, 1, 27, 255, 1, 2, 33, 255, 2, 2, 40, 255));
}

TEST_P(ImageOperationsTest, CropOfNothingIsNil)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({1, 2, 3, 255}, 1, 1)});
    EXPECT_EQ(twin.crop(nullptr, NSMakeRect(0, 0, 1, 1)), nullptr);
    for (const NSRect &rect :
         {NSMakeRect(0, 0, 0, 1), NSMakeRect(0, 0, 1, 0), NSMakeRect(0, 0, -1, 1), NSMakeRect(kNaN, 0, 1, 1),
          NSMakeRect(0, 0, kNaN, 1), NSMakeRect(0, 0, 100000, 100000), NSMakeRect(0, 0, 1e30f, 1e30f)})
        EXPECT_EQ(twin.crop(image, rect), nullptr);
}

TEST_P(ImageOperationsTest, StraightBitmapsHaveTheAskedOrder)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({100, 50, 0, 200, 9, 9, 9, 255}, 2, 1)});
    const auto argb = twin.straight(image, true);
    ASSERT_NE(argb, nullptr);
    EXPECT_THAT(pixelsOf(argb), ElementsAre(200, 127, 63, 0, 255, 9, 9, 9));
    EXPECT_EQ(argb->bytesPerRow(), 8);
    EXPECT_EQ(argb->bitsPerPixel(), 32);
    EXPECT_THAT(pixelsOf(twin.straight(image, false)), ElementsAre(127, 63, 0, 200, 9, 9, 9, 255));
}

TEST_P(ImageOperationsTest, StraightBitmapsAreDrawnAtThePixelSize)
{
    // Shown at half the size in points; two representations, so that the drawing is not left out.
    const auto bitmap = rgbaBitmap(chart(4, 2), 4, 2);
    const Ref<NSImage> image = imageWith({std::make_shared<PlainColor>(1, 1, Qt::red), bitmap});
    image->setSize({2.3f, 1.1f});
    EXPECT_EQ(pixelsOf(twin.straight(image, false)), chart(4, 2));
    image->setSize({0, 0});
    EXPECT_EQ(pixelsOf(twin.straight(image, false)), chart(4, 2))
        << "without a size it is the representation's";
}

TEST_P(ImageOperationsTest, OtherRepresentationsAndLayoutsAreDrawn)
{
    EXPECT_THAT(
        pixelsOf(twin.straight(imageWith({std::make_shared<PlainColor>(1, 2, QColor(9, 8, 7))}), true)),
        ElementsAre(255, 9, 8, 7, 255, 9, 8, 7));
    EXPECT_THAT(pixelsOf(twin.straight(imageWith({bitmapOf({5, 6, 7}, 1, 1, 3, false)}), true)),
                ElementsAre(255, 5, 6, 7));
    EXPECT_THAT(pixelsOf(twin.straight(imageWith({bitmapOf({90}, 1, 1, 1, false)}), true)),
                ElementsAre(255, 90, 90, 90));
}

TEST_P(ImageOperationsTest, WithoutPixelsOrMemoryThereIsNoStraightBitmap)
{
    EXPECT_EQ(twin.straight(nullptr, true), nullptr);
    EXPECT_EQ(twin.straight(NSImage::create(), true), nullptr);
    EXPECT_EQ(twin.straight(NSImage::create(NSMakeSize(10, 10)), true), nullptr);
    EXPECT_EQ(twin.straight(imageWith({std::make_shared<PlainColor>(0, 0, Qt::red)}), true), nullptr);
    EXPECT_EQ(twin.straight(imageWith({std::make_shared<PlainColor>(100000, 20000, Qt::red)}), true),
              nullptr);
    const Ref<NSImage> image = imageWith({std::make_shared<PlainColor>(3, 3, Qt::red)});
    CapturedLog log;
    for (int blocks = 0; blocks < 3; ++blocks) {
        FailingAllocator memory(blocks);
        const ScopedService<Allocator> guard(&memory);
        EXPECT_EQ(twin.straight(image, true), nullptr) << blocks;
    }
}

TEST_P(ImageOperationsTest, ScaleGivesTheTruncatedSizeInPixels)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({10, 20, 30, 255}, 1, 1)});
    const Ref<NSImage> scaled = twin.scale(image, {3.9f, 2.1f});
    ASSERT_NE(bitmapIn(scaled), nullptr);
    EXPECT_EQ(scaled->size(), NSMakeSize(3, 2));
    Bytes expected;
    for (int i = 0; i < 6; ++i)
        expected.insert(expected.end(), {10, 20, 30, 255});
    EXPECT_EQ(pixelsIn(scaled), expected);
    EXPECT_EQ(pixelsIn(image), (Bytes{10, 20, 30, 255}));
}

TEST_P(ImageOperationsTest, ScaleToTheSameSizeKeepsEveryPixel)
{
    EXPECT_EQ(pixelsIn(twin.scale(imageWith({rgbaBitmap(chart(9, 5), 9, 5)}), {9, 5})), chart(9, 5));
}

TEST_P(ImageOperationsTest, ScaleHandsStraightColoursOut)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({100, 50, 0, 200}, 1, 1)});
    EXPECT_THAT(pixelsIn(twin.scale(image, {1, 1})), ElementsAre(127, 63, 0, 200));
}

TEST_P(ImageOperationsTest, SizesThatMakeNoImageAreNil)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({10, 20, 30, 255}, 1, 1)});
    for (const NSSize &size : {NSMakeSize(0, 1), NSMakeSize(1, 0), NSMakeSize(0.9f, 1), NSMakeSize(-5, 5),
                               NSMakeSize(kNaN, 5), NSMakeSize(100000, 100000), NSMakeSize(1e20f, 1)})
        EXPECT_EQ(twin.scale(image, size), nullptr) << size.width << " x " << size.height;
    EXPECT_EQ(twin.scale(nullptr, {3, 3}), nullptr);
    EXPECT_EQ(twin.scale(NSImage::create(), {3, 3}), nullptr);
}

TEST_P(ImageOperationsTest, ScaleWithoutMemoryIsNil)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({10, 20, 30, 255}, 1, 1)});
    CapturedLog log;
    Ref<NSImage> scaled;
    int blocks = 0;
    for (; scaled == nullptr && blocks < 100; ++blocks) {
        FailingAllocator memory(blocks);
        const ScopedService<Allocator> guard(&memory);
        scaled = twin.scale(image, {2, 2});
    }
    EXPECT_NE(scaled, nullptr);
    EXPECT_GT(blocks, 3);
}

TEST_P(ImageOperationsTest, CoverScalesAndCropsTheMiddle)
{
    // Left third red, rest blue, 400 x 300: the 200 pixels from 33 on of 266.
    QImage picture(400, 300, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    QPainter painter(&picture);
    painter.fillRect(0, 0, 200, 300, Qt::red);
    painter.end();
    const Ref<NSImage> image = NSImage::create(picture);
    image->setSize({40, 30});
    const Ref<NSImage> covered = twin.cover(image, {200.9f, 200.2f}, true);
    ASSERT_NE(bitmapIn(covered), nullptr);
    EXPECT_EQ(covered->size(), NSMakeSize(200, 200));
    EXPECT_EQ(bitmapIn(covered)->pixelsWide(), 200);
    EXPECT_EQ(bitmapIn(covered)->pixelsHigh(), 200);
    EXPECT_EQ(image->size(), NSMakeSize(400, 300))
        << "the image's size in points becomes its pixels and stays so";
    const QImage result = covered->toImage();
    // The border at half of 266 lies 100 pixels into the crop.
    EXPECT_EQ(result.pixelColor(80, 100), QColor(255, 0, 0));
    EXPECT_EQ(result.pixelColor(120, 100), QColor(0, 0, 255));
    const QImage left = twin.cover(image, {200, 200}, false)->toImage();
    EXPECT_EQ(left.pixelColor(120, 100), QColor(255, 0, 0)) << "not centred, it starts at the left";
    EXPECT_EQ(left.pixelColor(145, 100), QColor(0, 0, 255));
}

TEST_P(ImageOperationsTest, CoverKeepsTheBottomWhenItIsNotCentred)
{
    QImage picture(10, 40, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    QPainter painter(&picture);
    painter.fillRect(0, 30, 10, 10, Qt::red);
    painter.end();
    const QImage bottom = twin.cover(NSImage::create(picture), {10, 10}, false)->toImage();
    EXPECT_EQ(bottom.size(), QSize(10, 10));
    EXPECT_EQ(bottom.pixelColor(5, 5), QColor(255, 0, 0));
}

TEST_P(ImageOperationsTest, CoverOfTheSameSizeIsTheSameObject)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap(Bytes(400 * 300 * 4), 400, 300)});
    image->setSize({20, 20});
    EXPECT_EQ(twin.cover(image, {400.7f, 300.2f}, true), image);
    EXPECT_EQ(image->size(), NSMakeSize(400, 300));
}

TEST_P(ImageOperationsTest, CoverChangesTheSizeOnFailureToo)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({1, 2, 3, 255}, 1, 1)});
    image->setSize({20, 20});
    EXPECT_EQ(twin.cover(image, {100000, 100000}, true), nullptr);
    EXPECT_EQ(image->size(), NSMakeSize(1, 1));
    EXPECT_EQ(twin.cover(image, {0, 0}, true), nullptr);
    EXPECT_EQ(twin.cover(image, {-3, 5}, true), nullptr);
    EXPECT_EQ(twin.cover(image, {kNaN, 5}, true), nullptr);
    EXPECT_EQ(twin.cover(nullptr, {5, 5}, true), nullptr);
    EXPECT_EQ(twin.cover(NSImage::create(NSMakeSize(5, 5)), {5, 5}, true), nullptr);
    const Ref<NSImage> empty = NSImage::create();
    EXPECT_EQ(twin.cover(empty, {0.5f, 0}, true), empty) << "no pixels are as many as it has";
    EXPECT_EQ(twin.cover(empty, {0, 1}, true), nullptr);
}

TEST_P(ImageOperationsTest, FlipMirrorsAndTurns)
{
    const Bytes a{1, 1, 1, 255}, b{2, 2, 2, 255}, c{3, 3, 3, 255}, d{4, 4, 4, 255};
    const auto rows = [](const Bytes &p, const Bytes &q, const Bytes &r, const Bytes &s) {
        Bytes all;
        for (const Bytes &pixel : {p, q, r, s})
            all.insert(all.end(), pixel.begin(), pixel.end());
        return all;
    };
    const Ref<NSImage> image = imageWith({rgbaBitmap(rows(a, b, c, d), 2, 2)});
    EXPECT_EQ(pixelsIn(twin.flip(image, KVImageOrientation::MirrorLeftRight)), rows(b, a, d, c));
    EXPECT_EQ(pixelsIn(twin.flip(image, KVImageOrientation::MirrorTopBottom)), rows(c, d, a, b));
    EXPECT_EQ(pixelsIn(twin.flip(image, KVImageOrientation::Turn180)), rows(d, c, b, a));
    EXPECT_EQ(pixelsIn(image), rows(a, b, c, d));
    EXPECT_EQ(twin.flip(image, KVImageOrientation::Turn180)->size(), NSMakeSize(2, 2));
}

TEST_P(ImageOperationsTest, FlipByNothingIsTheSameObject)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap({1, 2, 3, 255}, 1, 1)});
    EXPECT_EQ(twin.flip(image, KVImageOrientation::Unchanged), image);
    const Ref<NSImage> empty = NSImage::create();
    EXPECT_EQ(twin.flip(empty, KVImageOrientation::Unchanged), empty);
    EXPECT_EQ(twin.flip(nullptr, KVImageOrientation::Unchanged), nullptr);
    EXPECT_EQ(twin.flip(nullptr, KVImageOrientation::Turn180), nullptr);
    EXPECT_EQ(twin.flip(empty, KVImageOrientation::Turn180), nullptr);
}

TEST_P(ImageOperationsTest, FlipByAnUnnamedCodeIsTransparent)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap(chart(3, 2), 3, 2)});
    for (const std::uint32_t code : {4u, 7u, 0xffffffffu}) {
        const Ref<NSImage> flipped = twin.flip(image, KVImageOrientation{code});
        ASSERT_NE(flipped, nullptr);
        EXPECT_EQ(flipped->size(), NSMakeSize(3, 2));
        EXPECT_EQ(pixelsIn(flipped), Bytes(24));
    }
    EXPECT_EQ(twin.flip(NSImage::create(), KVImageOrientation{7}), nullptr);
}

TEST_P(ImageOperationsTest, FlipWorksInPoints)
{
    // Four by two pixels shown at two by four points: the common two by two from the top left are mirrored.
    const Ref<NSImage> image = imageWith({rgbaBitmap(chart(4, 2), 4, 2)});
    image->setSize({2, 4});
    const Ref<NSImage> flipped = twin.flip(image, KVImageOrientation::MirrorLeftRight);
    ASSERT_NE(bitmapIn(flipped), nullptr);
    EXPECT_EQ(flipped->size(), NSMakeSize(2, 4));
    Bytes expected{1, 0, 7, 255, 0, 0, 0, 255, 1, 1, 20, 255, 0, 1, 13, 255};
    expected.resize(2 * 4 * 4);
    EXPECT_EQ(pixelsIn(flipped), expected);
}

TEST_P(ImageOperationsTest, FlipKeepsAFractionalSize)
{
    const Ref<NSImage> image = imageWith({rgbaBitmap(chart(2, 2), 2, 2)});
    image->setSize({2.5f, 2.5f});
    const Ref<NSImage> flipped = twin.flip(image, KVImageOrientation::Turn180);
    ASSERT_NE(bitmapIn(flipped), nullptr);
    EXPECT_EQ(flipped->size(), NSMakeSize(2.5f, 2.5f));
    // Three by three pixels with the bitmap at the bottom left.
    EXPECT_THAT(pixelsIn(flipped), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 20, 255, 0, 1, 13,
                                               255, 0, 0, 0, 0, 1, 0, 7, 255, 0, 0, 0, 255, 0, 0, 0, 0));
    image->setSize({0.5f, 2});
    EXPECT_EQ(twin.flip(image, KVImageOrientation::Turn180), nullptr) << "less than one pixel";
    image->setSize({kNaN, 2});
    EXPECT_EQ(twin.flip(image, KVImageOrientation::Turn180), nullptr);
}

TEST(ScaleBitmapRepTest, AnUnpreparedBitmapStaysInARGB)
{
    const auto rep = rgbaBitmap({10, 20, 30, 40}, 1, 1);
    const Ref<NSImage> scaled = KVImageUtils::scaleBitmapRep(rep, {2, 1}, false);
    EXPECT_THAT(pixelsIn(scaled), ElementsAre(10, 20, 30, 40, 10, 20, 30, 40));
    EXPECT_THAT(bytesOf(rep), ElementsAre(40, 10, 20, 30));
    EXPECT_THAT(pixelsIn(KVImageUtils::scaleBitmapRep(rep, {1.9f, 1.9f}, true)), ElementsAre(10, 20, 30, 40));
    EXPECT_THAT(bytesOf(rep), ElementsAre(40, 10, 20, 30));
    EXPECT_EQ(KVImageUtils::scaleBitmapRep(rep, {0, 4}, false), nullptr);
    EXPECT_THAT(bytesOf(rep), ElementsAre(30, 40, 10, 20)) << "turned once more, although it failed";
    EXPECT_EQ(KVImageUtils::scaleBitmapRep(nullptr, {4, 4}, false), nullptr);
    EXPECT_EQ(KVImageUtils::scaleBitmapRep(bitmapOf({1, 2, 3}, 1, 1, 3, false), {4, 4}, true), nullptr);
}

class IsImageFileTest : public testing::Test {
protected:
    QString folder = scratchFolder() + QStringLiteral("/isImageFile");

    QString file(const char *name)
    {
        QDir().mkpath(folder);
        const QString path = folder + u'/' + QString::fromUtf8(name);
        QFile out(path);
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write("text");
        return path;
    }
};

TEST_F(IsImageFileTest, GoesByTheDeclaredType)
{
    EXPECT_TRUE(KVImageUtils::isImageFile(file("text named as a picture.png")));
    EXPECT_TRUE(KVImageUtils::isImageFile(file("photo.JPG")));
    EXPECT_TRUE(KVImageUtils::isImageFile(file("b\u00fccher.jpeg")));
    EXPECT_FALSE(KVImageUtils::isImageFile(file("note.txt")));
    EXPECT_FALSE(KVImageUtils::isImageFile(file("without an extension")));
}

TEST_F(IsImageFileTest, WhatIsMissingOrAFolderIsNone)
{
    EXPECT_FALSE(KVImageUtils::isImageFile(folder + QStringLiteral("/missing.png")));
    EXPECT_FALSE(KVImageUtils::isImageFile(QString()));
    EXPECT_FALSE(KVImageUtils::isImageFile(QStringLiteral("")));
    QDir().mkpath(folder + QStringLiteral("/folder.png"));
    EXPECT_FALSE(KVImageUtils::isImageFile(folder + QStringLiteral("/folder.png")));
}

TEST_F(IsImageFileTest, APipeIsNotOpened)
{
    QDir().mkpath(folder);
    const QByteArray path = (folder + QStringLiteral("/pipe.png")).toUtf8();
    ASSERT_EQ(mkfifo(path.constData(), 0600), 0);
    KVImageUtils::isImageFile(QString::fromUtf8(path)); // would wait for a writer
}

} // namespace
} // namespace KVBase
