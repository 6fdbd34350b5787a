#include <KVBase/KVCIFilterUtils.h>

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

const QRgb kWhite = qRgb(255, 255, 255);
const QRgb kGrey = qRgb(204, 204, 204);

/// How long the run of one colour is that begins at (0, 0).
int squareWidth(const Ref<CIImage> &image)
{
    // The pattern's corner lies at (150, 150).
    const QImage row = image->render(NSMakeRect(150, 150, 40, 1));
    int width = 1;
    while (row.pixel(width, 0) == row.pixel(0, 0))
        ++width;
    return width;
}

TEST(KVCIFilterUtilsTest, SharesOneFilterInWhiteAndLightGrey)
{
    const Ref<CIFilter> filter = KVCIFilterUtils::sharedCheckerboardGeneratorFilter();
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter, KVCIFilterUtils::sharedCheckerboardGeneratorFilter());
    EXPECT_EQ(filter->valueForKey(QStringLiteral("inputColor0")).value<CIColor>(), (CIColor{1, 1, 1}));
    EXPECT_EQ(filter->valueForKey(QStringLiteral("inputColor1")).value<CIColor>(), (CIColor{0.8, 0.8, 0.8}));
}

TEST(KVCIFilterUtilsTest, MakesEachImageOnceWithItsOwnWidth)
{
    const Ref<CIImage> image = KVCIFilterUtils::sharedCheckerboardImage();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardGeneratorFilter()->valueForKey(QStringLiteral("inputWidth")),
              9.0);
    const Ref<CIImage> thumbnail = KVCIFilterUtils::sharedThumbnailCheckerboardImage();
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardGeneratorFilter()->valueForKey(QStringLiteral("inputWidth")),
              5.0);
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardImage(), image);
    EXPECT_EQ(KVCIFilterUtils::sharedThumbnailCheckerboardImage(), thumbnail);
    EXPECT_NE(image, thumbnail);
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardGeneratorFilter()->valueForKey(QStringLiteral("inputWidth")),
              5.0)
        << "a kept image does not touch the filter";
    EXPECT_EQ(squareWidth(image), 9);
    EXPECT_EQ(squareWidth(thumbnail), 5);
}

TEST(KVCIFilterUtilsTest, RendersAnyRectangleOfAnImageWithoutEnd)
{
    const Ref<CIImage> image = KVCIFilterUtils::sharedCheckerboardImage();
    EXPECT_TRUE(std::isinf(image->extent().size.width));
    const QImage corner = image->render(NSMakeRect(149, 149, 2, 2));
    // The square up and to the right of the corner has the first colour, and the one across it.
    EXPECT_EQ(corner.pixel(1, 0), kWhite);
    EXPECT_EQ(corner.pixel(0, 1), kWhite);
    EXPECT_EQ(corner.pixel(0, 0), kGrey);
    EXPECT_EQ(corner.pixel(1, 1), kGrey);
    EXPECT_EQ(image->render(NSMakeRect(-1000000, -5, 3, 2)).size(), QSize(3, 2));
    EXPECT_EQ(image->render(NSMakeRect(0.5f, 0.5f, 1, 1)).size(), QSize(2, 2));
    EXPECT_TRUE(image->render(NSMakeRect(0, 0, 0, 5)).isNull());
    EXPECT_TRUE(image->render(NSMakeRect(0, 0, NAN, 5)).isNull());
    EXPECT_TRUE(image->render(image->extent()).isNull());
}

TEST(KVCIFilterUtilsTest, KnowsTheGeneratorAndItsDefaults)
{
    EXPECT_EQ(CIFilter::filterWithName(QStringLiteral("CINothing")), nullptr);
    EXPECT_EQ(CIFilter::filterWithName(QString()), nullptr);
    const Ref<CIFilter> filter = CIFilter::filterWithName(QStringLiteral("CICheckerboardGenerator"));
    filter->setValue(3, QStringLiteral("inputWidth"));
    filter->setValue(QStringLiteral("wide"), QStringLiteral("inputWidth"));
    filter->setValue(1, QStringLiteral("inputNothing"));
    EXPECT_EQ(filter->valueForKey(QStringLiteral("inputWidth")), 3.0);
    filter->setDefaults();
    EXPECT_EQ(filter->valueForKey(QStringLiteral("inputWidth")), 80.0);
    EXPECT_FALSE(filter->valueForKey(QStringLiteral("inputNothing")).isValid());
}

TEST(KVCIFilterUtilsTest, SurvivesWidthsThatMakeNoSquares)
{
    const Ref<CIFilter> filter = CIFilter::filterWithName(QStringLiteral("CICheckerboardGenerator"));
    for (const double width : {0.0, -4.0, static_cast<double>(NAN)}) {
        filter->setValue(width, QStringLiteral("inputWidth"));
        const auto image = filter->valueForKey(QStringLiteral("outputImage")).value<Ref<CIImage>>();
        EXPECT_EQ(image->render(NSMakeRect(0, 0, 2, 2)).pixel(1, 1), kWhite) << width;
    }
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

TEST(KVCIFilterUtilsTest, DrawsSquaresOfNineAndFive)
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

TEST(KVCIFilterUtilsTest, KeepsAnImageWhenTheFilterIsChangedByHand)
{
    const Ref<CIImage> image = KVCIFilterUtils::sharedCheckerboardImage();
    const QImage before = image->render(NSMakeRect(0, 0, 50, 50));
    const Ref<CIFilter> filter = KVCIFilterUtils::sharedCheckerboardGeneratorFilter();
    filter->setValue(3.0, QStringLiteral("inputWidth"));
    EXPECT_EQ(image->render(NSMakeRect(0, 0, 50, 50)), before);
    EXPECT_EQ(KVCIFilterUtils::sharedCheckerboardImage(), image);
    EXPECT_EQ(filter->valueForKey(QStringLiteral("inputWidth")), 3.0);
}

TEST(KVCIFilterUtilsThreads, MakeEachObjectOnce)
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

} // namespace
} // namespace KVBase
