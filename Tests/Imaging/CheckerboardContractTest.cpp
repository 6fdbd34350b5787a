#include <KVBase/KVCIFilterUtils.h>
#include <KVBase/Platform/CoreImage.h>

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

TEST(CheckerboardContractTest, DrawsSquaresOfNineAndFive)
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

TEST(CheckerboardContractThreads, MakesEachObjectOnce)
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
