#include "Platform/Services/AssertionHandler.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSBitmapImageRep_vImageSupport.h>
#include <KVBase/NSImage_vImageSupport.h>

#include <QtGui/QImage>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>
#include <vector>

namespace KVBase
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Ref<NSBitmapImageRep> bitmap(int width, int height, const Bytes &pixel)
{
    const Ref<NSBitmapImageRep> rep = NSBitmapImageRep::create(
        KVByteBlock(), width, height, 8, 4, true, false, NSCalibratedRGBColorSpace, width * 4, 32);
    for (std::size_t i = 0; i < static_cast<std::size_t>(width * height); ++i)
        std::memcpy(rep->bitmapData() + 4 * i, pixel.data(), 4);
    return rep;
}

Bytes contents(const Ref<NSBitmapImageRep> &rep)
{
    return {rep->bitmapData(), rep->bitmapData() + rep->byteCount()};
}

Ref<NSBitmapImageRep> onlyBitmap(const Ref<NSImage> &image)
{
    if (image == nullptr || image->representations().size() != 1)
        return nullptr;
    return std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0]);
}

Bytes repeated(const Bytes &pixel, int count)
{
    Bytes all;
    for (int i = 0; i < count; ++i)
        all.insert(all.end(), pixel.begin(), pixel.end());
    return all;
}

class QuietAssertions : private AssertionHandler {
public:
    int count = 0;

private:
    void handleFailureInMethod(const QString &, const void *, const QString &, std::int32_t,
                               const QString &) override
    {
        ++count;
    }
    ScopedService<AssertionHandler> guard{this};
};

using Scale = std::function<Ref<NSImage>(const Ref<NSBitmapImageRep> &, const NSSize &, bool)>;

const std::vector<Scale> &scalers()
{
    static const std::vector<Scale> both{
        KVImageUtils::scaleBitmapRep, [](const Ref<NSBitmapImageRep> &rep, const NSSize &size, bool isARGB) {
            return vImageSupport::scaledImageWithSize(rep, size, isARGB);
        }};
    return both;
}

TEST(ScalingContractTest, AnswersAnImageOfOneBitmapInRGBA)
{
    for (const Scale &scale : scalers()) {
        const Ref<NSBitmapImageRep> source = bitmap(5, 4, {200, 10, 20, 30});
        const Bytes before = contents(source);
        const Ref<NSImage> image = scale(source, {9.9F, 7.2F}, true);
        const Ref<NSBitmapImageRep> rep = onlyBitmap(image);
        ASSERT_NE(rep, nullptr);
        EXPECT_EQ(image->size(), NSMakeSize(9, 7));
        EXPECT_EQ(rep->pixelsWide(), 9);
        EXPECT_EQ(rep->pixelsHigh(), 7);
        EXPECT_EQ(rep->bytesPerRow(), 36);
        EXPECT_EQ(rep->bitsPerPixel(), 32);
        EXPECT_TRUE(rep->hasAlpha());
        EXPECT_EQ(contents(rep), repeated({10, 20, 30, 200}, 63));
        EXPECT_EQ(contents(source), before);
    }
}

TEST(ScalingContractTest, LeavesAnUnpreparedBitmapInARGB)
{
    for (const Scale &scale : scalers()) {
        const Ref<NSBitmapImageRep> source = bitmap(5, 4, {10, 20, 30, 200});
        EXPECT_EQ(contents(onlyBitmap(scale(source, {3, 2}, false))), repeated({10, 20, 30, 200}, 6));
        EXPECT_EQ(contents(source), repeated({200, 10, 20, 30}, 20));
        // also when it fails
        EXPECT_EQ(scale(source, {0, 2}, false), nullptr);
        EXPECT_EQ(contents(source), repeated({30, 200, 10, 20}, 20));
    }
}

TEST(ScalingContractTest, AnswersNilForUselessSizes)
{
    for (const Scale &scale : scalers()) {
        for (const NSSize &size : {NSSize{0, 5}, NSSize{5, 0}, NSSize{0.9F, 5}, NSSize{5, 0.9F},
                                   NSSize{-1, 5}, NSSize{5, -0.5F}, NSSize{kNaN, 5}, NSSize{5, kNaN},
                                   NSSize{kInfinity, 5}, NSSize{1e10F, 1e10F}, NSSize{100000, 100000}}) {
            EXPECT_EQ(scale(bitmap(2, 2, {1, 2, 3, 4}), size, true), nullptr)
                << size.width << ' ' << size.height;
        }
        EXPECT_EQ(scale(nullptr, {5, 5}, true), nullptr);
        EXPECT_EQ(scale(nullptr, {5, 5}, false), nullptr);
    }
}

TEST(ScalingContractTest, AnswersNilForABitmapOfAnotherKind)
{
    QuietAssertions assertions;
    const Ref<NSBitmapImageRep> rep =
        NSBitmapImageRep::create(KVByteBlock(), 2, 2, 8, 3, false, false, NSCalibratedRGBColorSpace, 6, 24);
    EXPECT_EQ(KVImageUtils::scaleBitmapRep(rep, {4, 4}, false), nullptr);
    EXPECT_EQ(assertions.count, 0);
    EXPECT_EQ(vImageSupport::scaledImageWithSize(rep, {4, 4}, true), nullptr);
    EXPECT_GT(assertions.count, 0);
}

TEST(ScalingContractTest, KeepsChannelsApartAndExtendsTheEdge)
{
    for (const Scale &scale : scalers()) {
        const Ref<NSBitmapImageRep> source = bitmap(40, 30, {255, 0, 128, 64});
        for (std::size_t i = 0; i < 40 * 30; ++i)
            source->bitmapData()[4 * i + 1] = i % 40 < 20 ? 0 : 255;
        for (const NSSize &size : {NSSize{16, 9}, NSSize{80, 61}, NSSize{7, 90}, NSSize{1, 1}}) {
            const Ref<NSBitmapImageRep> rep = onlyBitmap(scale(source, size, true));
            ASSERT_NE(rep, nullptr);
            const Bytes all = contents(rep);
            for (std::size_t i = 0; i < all.size(); i += 4) {
                ASSERT_EQ(all[i + 1], 128);
                ASSERT_EQ(all[i + 2], 64);
                ASSERT_EQ(all[i + 3], 255);
            }
            if (rep->pixelsWide() < 7)
                continue;
            EXPECT_EQ(all[0], 0);
            EXPECT_EQ(all[static_cast<std::size_t>(4 * (rep->pixelsWide() - 1))], 255);
        }
    }
}

TEST(ScalingContractTest, ScalesWholeImages)
{
    for (const auto &scale :
         {std::function<Ref<NSImage>(const Ref<NSImage> &, const NSSize &)>(KVImageUtils::scaleImage),
          std::function<Ref<NSImage>(const Ref<NSImage> &, const NSSize &)>(
              [](const Ref<NSImage> &image, const NSSize &size) {
                  return vImageSupport::scaledImageWithSize(image, size);
              })}) {
        const Ref<NSImage> image = NSImage::create();
        image->addRepresentation(bitmap(8, 6, {100, 50, 0, 200}));
        image->setSize({80, 6});
        const Ref<NSImage> scaled = scale(image, {4.9F, 3.9F});
        ASSERT_NE(onlyBitmap(scaled), nullptr);
        EXPECT_EQ(scaled->size(), NSMakeSize(4, 3));
        EXPECT_EQ(contents(onlyBitmap(scaled)), repeated({127, 63, 0, 200}, 12));
        EXPECT_EQ(image->size(), NSMakeSize(80, 6));
        EXPECT_EQ(scale(nullptr, {4, 4}), nullptr);
        EXPECT_EQ(scale(NSImage::create({4, 4}), {4, 4}), nullptr);
        EXPECT_EQ(scale(image, {0.5F, 4}), nullptr);
        EXPECT_EQ(scale(image, {kNaN, 4}), nullptr);
        EXPECT_EQ(scale(image, {-4, -4}), nullptr);
        EXPECT_EQ(scale(image, {100000, 100000}), nullptr);
    }
}

using ScaleAndCrop = std::function<Ref<NSImage>(const Ref<NSImage> &, const NSSize &, bool)>;

const std::vector<ScaleAndCrop> &scaleAndCroppers()
{
    static const std::vector<ScaleAndCrop> both{KVImageUtils::scaleAndCropImage,
                                                vImageSupport::scaledAndCroppedImageWithSize};
    return both;
}

/// Three bands of equal thickness, red, green and blue, from the top (or the left).
Ref<NSImage> bands(int width, int height, bool sideBySide)
{
    QImage picture(width, height, QImage::Format_ARGB32);
    constexpr std::uint32_t colours[] = {0xffff0000u, 0xff00ff00u, 0xff0000ffu};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.setPixel(x, y, colours[sideBySide ? 3 * x / width : 3 * y / height]);
    return NSImage::create(picture);
}

TEST(ScalingContractTest, KeepsTheMiddleOrTheBottomLeft)
{
    for (const ScaleAndCrop &scaleAndCrop : scaleAndCroppers()) {
        EXPECT_EQ(scaleAndCrop(bands(100, 300, false), {100, 100}, true)->toImage().pixel(50, 1),
                  0xff00ff00u);
        EXPECT_EQ(scaleAndCrop(bands(100, 300, false), {100, 100}, true)->toImage().pixel(50, 98),
                  0xff00ff00u);
        EXPECT_EQ(scaleAndCrop(bands(100, 300, false), {100, 100}, false)->toImage().pixel(50, 1),
                  0xff0000ffu);
        EXPECT_EQ(scaleAndCrop(bands(100, 300, false), {100, 100}, false)->toImage().pixel(50, 98),
                  0xff0000ffu);
        EXPECT_EQ(scaleAndCrop(bands(300, 100, true), {100, 100}, true)->toImage().pixel(1, 50), 0xff00ff00u);
        EXPECT_EQ(scaleAndCrop(bands(300, 100, true), {100, 100}, false)->toImage().pixel(98, 50),
                  0xffff0000u);
    }
}

TEST(ScalingContractTest, CropsAtTheRowsAndColumnsThatTheGeometryNames)
{
    // nothing is scaled, and 5 x 4 fits into 5 x 9 at height 2.5, which rounds to 3: rows 3 to 6 from the
    // bottom
    QImage picture(5, 9, QImage::Format_ARGB32);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 5; ++x)
            picture.setPixel(x, y, qRgb(20 * x, 20 * y, 7));
    for (const ScaleAndCrop &scaleAndCrop : scaleAndCroppers()) {
        for (const bool centred : {false, true}) {
            const QImage result = scaleAndCrop(NSImage::create(picture), {5, 4}, centred)->toImage();
            ASSERT_EQ(result.size(), QSize(5, 4));
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 5; ++x)
                    EXPECT_EQ(result.pixel(x, y), picture.pixel(x, y + (centred ? 2 : 5)))
                        << centred << x << y;
        }
    }
}

TEST(ScalingContractTest, HandsStraightColoursOutThroughTheCropToo)
{
    for (const ScaleAndCrop &scaleAndCrop : scaleAndCroppers()) {
        const Ref<NSImage> image = NSImage::create();
        image->addRepresentation(bitmap(6, 4, {100, 50, 0, 200}));
        EXPECT_EQ(contents(onlyBitmap(scaleAndCrop(image, {2, 2}, true))), repeated({127, 63, 0, 200}, 4));
    }
}

TEST(ScalingContractTest, ChangesTheImagesSizeEvenWhenItFails)
{
    for (const ScaleAndCrop &scaleAndCrop : scaleAndCroppers()) {
        EXPECT_EQ(scaleAndCrop(nullptr, {5, 5}, true), nullptr);
        const Ref<NSImage> image = bands(40, 30, false);
        for (const NSSize &size : {NSSize{0, 5}, NSSize{5, 0}, NSSize{-5, 5}, NSSize{kNaN, 5},
                                   NSSize{5, kInfinity}, NSSize{100000, 100000}, NSSize{0.5F, 0.5F}}) {
            image->setSize({4, 3});
            EXPECT_EQ(scaleAndCrop(image, size, true), nullptr) << size.width << ' ' << size.height;
            EXPECT_EQ(image->size(), NSMakeSize(40, 30));
        }
        const Ref<NSImage> empty = NSImage::create({7, 8});
        EXPECT_EQ(scaleAndCrop(empty, {5, 5}, true), nullptr);
        EXPECT_EQ(empty->size(), NSMakeSize(0, 0));
    }
}

} // namespace
} // namespace KVBase
