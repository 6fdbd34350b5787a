#include <KVBase/CIImageAdditions.h>
#include <KVBase/KVCIFilterUtils.h>
#include <KVBase/Platform/CoreImage.h>
#include <KVBase/Platform/NSBitmapImageRep.h>
#include <KVBase/Platform/NSClass.h>
#include <KVBase/Platform/NSImage.h>

#include <QtGui/QImage>

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

constexpr std::uint32_t kWhite = 0xffffffffu;
constexpr std::uint32_t kGrey = 0xffccccccu;

float width(const Ref<CIFilter> &filter)
{
    return filter->valueForKey(QStringLiteral("inputWidth")).toFloat();
}

TEST(KVCheckerboardBlindTest, SharesOneFilterAndTwoImages)
{
    const Ref<CIFilter> filter = KVCIFilterUtils::sharedCheckerboardGeneratorFilter();
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardGeneratorFilter(), filter);
    EXPECT_EQ(filter->valueForKey(QStringLiteral("inputColor0")).value<CIColor>(), (CIColor{1, 1, 1}));
    EXPECT_EQ(filter->valueForKey(QStringLiteral("inputColor1")).value<CIColor>(), (CIColor{0.8, 0.8, 0.8}));
    const Ref<CIImage> thumbnail = KVCIFilterUtils::sharedThumbnailCheckerboardImage();
    const Ref<CIImage> image = KVCIFilterUtils::sharedCheckerboardImage();
    ASSERT_NE(image, nullptr);
    ASSERT_NE(thumbnail, nullptr);
    EXPECT_NE(image, thumbnail);
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardGeneratorFilter(), filter);
    const float last = width(filter);
    EXPECT_TRUE(last == 9 || last == 5);
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardImage(), image);
    EXPECT_EQ(width(filter), last);
    EXPECT_EQ(KVCIFilterUtils::sharedThumbnailCheckerboardImage(), thumbnail);
    EXPECT_EQ(width(filter), last);
}

void expectSquares(const Ref<CIImage> &image, int side, float x, float y)
{
    const int count = 6 * side;
    const auto length = static_cast<float>(count);
    const QImage drawn = image->render(NSMakeRect(x, y, length, length));
    ASSERT_EQ(drawn.size(), QSize(count, count));
    // the boundaries lie a whole number of squares from each other, in both directions
    int boundary = 1;
    while (drawn.pixel(boundary, 0) == drawn.pixel(boundary - 1, 0))
        ++boundary;
    ASSERT_LE(boundary, side);
    int row = 1;
    while (drawn.pixel(0, row) == drawn.pixel(0, row - 1))
        ++row;
    ASSERT_LE(row, side);
    const std::uint32_t first = drawn.pixel(0, 0);
    for (int v = 0; v < count; ++v) {
        for (int u = 0; u < count; ++u) {
            const bool other = ((u + side - boundary) / side + (v + side - row) / side) % 2 != 0;
            const bool white = (first == kWhite) != other;
            ASSERT_EQ(drawn.pixel(u, v), white ? kWhite : kGrey) << u << ' ' << v;
        }
    }
}

TEST(KVCheckerboardBlindTest, DrawsSquaresOfNineAndFive)
{
    for (const float x : {0.0F, -1000.0F, 123457.0F}) {
        expectSquares(KVCIFilterUtils::sharedCheckerboardImage(), 9, x, -x);
        expectSquares(KVCIFilterUtils::sharedThumbnailCheckerboardImage(), 5, x, 3);
    }
    for (const Ref<CIImage> &image :
         {KVCIFilterUtils::sharedCheckerboardImage(), KVCIFilterUtils::sharedThumbnailCheckerboardImage()}) {
        EXPECT_TRUE(std::isinf(image->extent().size.width));
        EXPECT_TRUE(std::isinf(image->extent().size.height));
        EXPECT_TRUE(image->render(NSMakeRect(0, 0, 0, 5)).isNull());
        EXPECT_TRUE(image->render(NSMakeRect(0, 0, 1e9F, 1e9F)).isNull());
    }
}

TEST(KVCheckerboardBlindThreads, MakesEachObjectOnce)
{
    std::vector<const void *> seen(24);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 8; ++i) {
        threads.emplace_back([&seen, i] {
            seen[3 * i] = KVCIFilterUtils::sharedCheckerboardImage().get();
            seen[3 * i + 1] = KVCIFilterUtils::sharedThumbnailCheckerboardImage().get();
            seen[3 * i + 2] = KVCIFilterUtils::sharedCheckerboardGeneratorFilter().get();
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (std::size_t i = 0; i < seen.size(); ++i)
        EXPECT_EQ(seen[i], seen[i % 3]);
}

Ref<NSImage> picture()
{
    QImage image(3, 2, QImage::Format_ARGB32);
    for (int i = 0; i < 6; ++i)
        image.setPixel(i % 3, i / 3, qRgb(i, 2 * i, 3 * i));
    return NSImage::create(image);
}

TEST(KVCheckerboardBlindTest, TakesABitmapOfTheSizeInPoints)
{
    EXPECT_EQ(CIImageAdditions::bitmap(nullptr), nullptr);
    EXPECT_EQ(CIImageAdditions::bitmap(NSImage::create()), nullptr);
    const Ref<NSImage> image = picture();
    const Ref<NSBitmapImageRep> rep = CIImageAdditions::bitmap(image);
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->toImage().pixel(2, 1), qRgb(5, 10, 15));
    EXPECT_EQ(rep->toImage().pixel(0, 0), qRgb(0, 0, 0));
    image->setSize({6, 8});
    EXPECT_EQ(CIImageAdditions::bitmap(image)->pixelsWide(), 6);
    EXPECT_EQ(CIImageAdditions::bitmap(image)->pixelsHigh(), 8);
    EXPECT_EQ(image->representations().size(), 1u);
}

TEST(KVCheckerboardBlindTest, MakesACoreImageOnlyWhereThatClassExists)
{
    const bool exists = NSClassFromString(QStringLiteral("CIImage")) != nullptr;
    const Ref<CIImage> made = CIImageAdditions::CIImage(picture());
    ASSERT_EQ(made != nullptr, exists);
    EXPECT_EQ(CIImageAdditions::CIImage(nullptr), nullptr);
    if (!exists)
        return;
    EXPECT_EQ(made->extent(), NSMakeRect(0, 0, 3, 2));
    EXPECT_EQ(made->render(NSMakeRect(0, 0, 3, 2)).pixel(2, 1), qRgb(5, 10, 15));
    EXPECT_EQ(made->render(NSMakeRect(2, 0, 1, 1)).pixel(0, 0), qRgb(5, 10, 15));
}

TEST(KVCheckerboardBlindTest, KnowsItsFilterByName)
{
    EXPECT_EQ(CIFilter::filterWithName(QStringLiteral("CINoSuchFilter")), nullptr);
    EXPECT_EQ(CIFilter::filterWithName(QString()), nullptr);
    const Ref<CIFilter> filter = CIFilter::filterWithName(QStringLiteral("CICheckerboardGenerator"));
    ASSERT_NE(filter, nullptr);
    filter->setDefaults();
    EXPECT_EQ(width(filter), 80);
}

} // namespace
} // namespace KVBase
