#include "Imaging/ImagingSupport.h"
#include "Platform/Services/AssertionHandler.h"
#include "Support/CapturedLog.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSBitmapImageRep_vImageSupport.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace KVBase
{
namespace
{

using namespace Tests;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct RecordingAssertions : AssertionHandler {
    void handleFailureInMethod(const QString &method, const void *object, const QString &file,
                               std::int32_t line, const QString &description) override
    {
        EXPECT_EQ(method, QStringLiteral("-[NSBitmapImageRep(vImageSupport) isVImageCompatible]"));
        EXPECT_EQ(file, QStringLiteral("KVBase/Sources/NSBitmapImageRep_vImageSupport"));
        EXPECT_GT(line, 0);
        EXPECT_NE(object, nullptr);
        descriptions.append(description);
    }
    QStringList descriptions;
};

Ref<NSBitmapImageRep> layout(std::int32_t bits, std::int32_t samples, bool alpha, bool planar,
                             std::int32_t pixelBits)
{
    return NSBitmapImageRep::create(nullptr, 3, 2, bits, samples, alpha, planar,
                                    QString(NSCalibratedRGBColorSpace), 0, pixelBits);
}

bool isEmpty(const vImage_Buffer &buffer)
{
    return buffer.data == nullptr && buffer.width == 0 && buffer.height == 0 && buffer.rowBytes == 0;
}

TEST(PixelBuffersTest, TheClassTestLooksAtBitsSamplesAndAlphaOnly)
{
    EXPECT_TRUE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(layout(8, 4, true, false, 32)));
    EXPECT_TRUE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(layout(8, 4, true, true, 32)));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(nullptr));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(layout(8, 4, false, false, 32)));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(layout(8, 3, true, false, 32)));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(layout(8, 4, true, false, 40)));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(layout(4, 4, true, false, 32)));
}

TEST(PixelBuffersTest, TheBitmapsOwnTestAssertsEachConditionInOrder)
{
    RecordingAssertions assertions;
    const ScopedService<AssertionHandler> guard(&assertions);
    EXPECT_TRUE(vImageSupport::isVImageCompatible(layout(8, 4, true, false, 32)));
    EXPECT_TRUE(vImageSupport::isVImageCompatible(layout(8, 4, true, false, 40)))
        << "bits of a pixel do not count";
    EXPECT_FALSE(vImageSupport::isVImageCompatible(nullptr));
    EXPECT_THAT(assertions.descriptions, ElementsAre());

    EXPECT_FALSE(vImageSupport::isVImageCompatible(layout(16, 3, false, true, 0)));
    EXPECT_THAT(assertions.descriptions,
                ElementsAre(QStringLiteral("Invalid parameter not satisfying: [self isPlanar] == NO"),
                            QStringLiteral("Invalid parameter not satisfying: [self hasAlpha] == YES"),
                            QStringLiteral("Invalid parameter not satisfying: [self bitsPerSample] == 8"),
                            QStringLiteral("Invalid parameter not satisfying: [self samplesPerPixel] == 4")));
    assertions.descriptions.clear();
    EXPECT_FALSE(vImageSupport::isVImageCompatible(layout(8, 4, true, true, 32)));
    EXPECT_EQ(assertions.descriptions.size(), 1);
    EXPECT_FALSE(vImageSupport::isVImageCompatible(layout(8, 4, false, false, 32)));
    EXPECT_FALSE(vImageSupport::isVImageCompatible(layout(16, 4, true, false, 0)));
    EXPECT_FALSE(vImageSupport::isVImageCompatible(layout(8, 5, true, false, 0)));
    EXPECT_EQ(assertions.descriptions.size(), 4);
}

TEST(PixelBuffersTest, BuffersDescribeTheBitmap)
{
    const auto rep = rgbaBitmap(Bytes(2 * 20), 4, 2, 20);
    const vImage_Buffer ofClass = KVImageUtils::vImageBufferStructFromNSBitmapImageRep(rep);
    const vImage_Buffer ofBitmap = vImageSupport::vImageBuffer(rep);
    for (const vImage_Buffer &buffer : {ofClass, ofBitmap}) {
        EXPECT_EQ(buffer.data, rep->bitmapData());
        EXPECT_EQ(buffer.width, 4u);
        EXPECT_EQ(buffer.height, 2u);
        EXPECT_EQ(buffer.rowBytes, 20u);
    }
}

TEST(PixelBuffersTest, UnusableBitmapsGiveFourZeros)
{
    RecordingAssertions assertions;
    const ScopedService<AssertionHandler> guard(&assertions);
    EXPECT_TRUE(isEmpty(KVImageUtils::vImageBufferStructFromNSBitmapImageRep(nullptr)));
    EXPECT_TRUE(
        isEmpty(KVImageUtils::vImageBufferStructFromNSBitmapImageRep(layout(8, 3, false, false, 24))));
    EXPECT_TRUE(isEmpty(vImageSupport::vImageBuffer(nullptr)));
    EXPECT_TRUE(isEmpty(vImageSupport::vImageBuffer(layout(8, 3, false, false, 24))));
    EXPECT_TRUE(isEmpty(vImageSupport::vImageBuffer(layout(8, 4, true, true, 32))));
}

void expectWorkingBitmap(const Ref<NSBitmapImageRep> &rep, std::int32_t wide, std::int32_t high,
                         std::int32_t rowBytes)
{
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->pixelsWide(), wide);
    EXPECT_EQ(rep->pixelsHigh(), high);
    EXPECT_EQ(rep->bytesPerRow(), rowBytes);
    EXPECT_EQ(rep->bitsPerSample(), 8);
    EXPECT_EQ(rep->samplesPerPixel(), 4);
    EXPECT_EQ(rep->bitsPerPixel(), 32);
    EXPECT_TRUE(rep->hasAlpha());
    EXPECT_FALSE(rep->isPlanar());
    EXPECT_EQ(rep->colorSpaceName(), QStringLiteral("NSCalibratedRGBColorSpace"));
}

TEST(PixelBuffersTest, BitmapsForOperationsHaveTheirRowLength)
{
    expectWorkingBitmap(vImageSupport::initForVImageOperationsWithSize({10.5f, 3.9f}), 10, 3, 40);
    expectWorkingBitmap(vImageSupport::imageRepForVImageOperationsWithSize({7, 2}), 7, 2, 28);
    expectWorkingBitmap(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({10.5f, 3.9f}), 10, 3,
                        42);
    expectWorkingBitmap(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({7, 2}), 7, 2, 28);
}

TEST(PixelBuffersTest, SizesThatMakeNoBitmapGiveNil)
{
    const NSSize sizes[] = {{0, 5},         {5, 0},          {-3, 5},          {5, -3},
                            {0.5f, 5},      {5, 0.9f},       {kNaN, 5},        {5, kNaN},
                            {kInfinity, 5}, {5, -kInfinity}, {100000, 100000}, {1e20f, 1e20f}};
    RecordingAllocator memory;
    const ScopedService<Allocator> guard(&memory);
    for (const NSSize &size : sizes) {
        EXPECT_EQ(vImageSupport::initForVImageOperationsWithSize(size), nullptr)
            << size.width << " " << size.height;
        EXPECT_EQ(vImageSupport::imageRepForVImageOperationsWithSize(size), nullptr);
        EXPECT_EQ(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize(size), nullptr)
            << size.width << " " << size.height;
    }
    EXPECT_EQ(memory.largest, 0u);
}

TEST(PixelBuffersTest, WithoutMemoryThereIsNoBitmap)
{
    FailingAllocator none;
    const ScopedService<Allocator> guard(&none);
    EXPECT_EQ(vImageSupport::imageRepForVImageOperationsWithSize({4, 4}), nullptr);
    EXPECT_EQ(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({4, 4}), nullptr);
}

const Bytes kTwoPaddedRows{1, 2, 3, 4, 5, 6, 7, 8, 90, 91, 11, 12, 13, 14, 15, 16, 17, 18, 92, 93};

TEST(PixelBuffersTest, AlphaMovesToTheFrontAndBack)
{
    const Bytes front{4, 1, 2, 3, 8, 5, 6, 7, 90, 91, 14, 11, 12, 13, 18, 15, 16, 17, 92, 93};
    const auto rep = rgbaBitmap(kTwoPaddedRows, 2, 2, 10);
    KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB(rep, true);
    EXPECT_EQ(bytesOf(rep), front);
    KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB(rep, false);
    EXPECT_EQ(bytesOf(rep), kTwoPaddedRows);
    vImageSupport::permuteInPlaceRGBAtoARGB(rep, true);
    EXPECT_EQ(bytesOf(rep), front);
    vImageSupport::permuteInPlaceRGBAtoARGB(rep, false);
    EXPECT_EQ(bytesOf(rep), kTwoPaddedRows);
}

TEST(PixelBuffersTest, AForeignLayoutIsNotTouched)
{
    RecordingAssertions assertions;
    const ScopedService<AssertionHandler> guard(&assertions);
    const Bytes colors{1, 2, 3, 4, 5, 6};
    const auto rep = bitmapOf(colors, 2, 1, 3, false);
    KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB(rep, true);
    vImageSupport::permuteInPlaceRGBAtoARGB(rep, true);
    KVImageUtils::fillNSBitmapImageRep(rep, 9, true);
    KVImageUtils::fillNSBitmapImageRep(rep, 9, 9, 9, 9, true);
    EXPECT_EQ(bytesOf(rep), colors);
    KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB(nullptr, true);
    vImageSupport::permuteInPlaceRGBAtoARGB(nullptr, true);
    KVImageUtils::fillNSBitmapImageRep(nullptr, 9, true);
    KVImageUtils::fillNSBitmapImageRep(nullptr, 9, 9, 9, 9, true);
}

TEST(PixelBuffersTest, APlanarBitmapOf32BitsIsTakenAsInterleavedInsideItsStorage)
{
    Bytes planes(2 * 2 * 4);
    for (std::size_t i = 0; i < planes.size(); ++i)
        planes[i] = static_cast<std::uint8_t>(i);
    const auto rep = NSBitmapImageRep::create(blockOf(planes), 2, 2, 8, 4, true, true,
                                              QString(NSCalibratedRGBColorSpace), 2, 32);
    ASSERT_NE(rep, nullptr);
    KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB(rep, true);
    // Rows of eight bytes start two bytes apart: the second one works on what the first one left.
    EXPECT_EQ(bytesOf(rep), (Bytes{3, 0, 4, 1, 2, 7, 9, 5, 6, 8, 10, 11, 12, 13, 14, 15}));
}

TEST(PixelBuffersTest, AlphaFillKeepsTheColours)
{
    auto rep = rgbaBitmap(kTwoPaddedRows, 2, 2, 10);
    KVImageUtils::fillNSBitmapImageRep(rep, 200, true);
    EXPECT_EQ(bytesOf(rep),
              (Bytes{200, 2, 3, 4, 200, 6, 7, 8, 90, 91, 200, 12, 13, 14, 200, 16, 17, 18, 92, 93}));
    rep = rgbaBitmap(kTwoPaddedRows, 2, 2, 10);
    KVImageUtils::fillNSBitmapImageRep(rep, 200, false);
    EXPECT_EQ(bytesOf(rep),
              (Bytes{1, 2, 3, 200, 5, 6, 7, 200, 90, 91, 11, 12, 13, 200, 15, 16, 17, 200, 92, 93}));
}

TEST(PixelBuffersTest, ColourFillWritesAllFourBytes)
{
    auto rep = rgbaBitmap(kTwoPaddedRows, 2, 2, 10);
    KVImageUtils::fillNSBitmapImageRep(rep, 61, 62, 63, 64, true);
    EXPECT_EQ(bytesOf(rep),
              (Bytes{64, 61, 62, 63, 64, 61, 62, 63, 90, 91, 64, 61, 62, 63, 64, 61, 62, 63, 92, 93}));
    KVImageUtils::fillNSBitmapImageRep(rep, 61, 62, 63, 64, false);
    EXPECT_EQ(bytesOf(rep),
              (Bytes{61, 62, 63, 64, 61, 62, 63, 64, 90, 91, 61, 62, 63, 64, 61, 62, 63, 64, 92, 93}));
}

using Maker = KVByteBlock (*)(const Ref<NSBitmapImageRep> &, bool);

class StraightDataTest : public testing::TestWithParam<Maker> {
protected:
    Bytes converted(const Ref<NSBitmapImageRep> &rep, bool toARGB, std::size_t size)
    {
        return blockBytes(GetParam()(rep, toARGB), size);
    }
};

INSTANTIATE_TEST_SUITE_P(BothTwins, StraightDataTest,
                         testing::Values(&KVImageUtils::create32BitDataFromBitmapImageRep,
                                         &vImageSupport::create32BitDataAndPermuteRGBAtoARGB));

TEST_P(StraightDataTest, OpaqueColoursGetAnAlphaAndLoseThePadding)
{
    Bytes rows(2 * 12, 77);
    for (std::size_t i = 0; i < 9; ++i) {
        rows[i] = static_cast<std::uint8_t>(i + 1);
        rows[12 + i] = static_cast<std::uint8_t>(i + 101);
    }
    const auto rep = bitmapOf(rows, 3, 2, 3, false, 12);
    EXPECT_THAT(converted(rep, false, 24), ElementsAre(1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 101, 102,
                                                       103, 255, 104, 105, 106, 255, 107, 108, 109, 255));
    EXPECT_THAT(converted(rep, true, 24), ElementsAre(255, 1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 101, 102,
                                                      103, 255, 104, 105, 106, 255, 107, 108, 109));
    EXPECT_EQ(bytesOf(rep), rows) << "the bitmap itself stays";
}

TEST_P(StraightDataTest, PremultipliedColoursAreDividedByTheirAlpha)
{
    const auto rep =
        rgbaBitmap({100, 50, 0, 200, 9, 8, 7, 0, 255, 0, 0, 128, 7, 7, 7, 7, 13, 14, 15, 255}, 5, 1);
    EXPECT_THAT(converted(rep, false, 20),
                ElementsAre(127, 63, 0, 200, 0, 0, 0, 0, 252, 0, 0, 128, 254, 254, 254, 7, 13, 14, 15, 255));
    EXPECT_THAT(converted(rep, true, 20),
                ElementsAre(200, 127, 63, 0, 0, 0, 0, 0, 128, 252, 0, 0, 7, 254, 254, 254, 255, 13, 14, 15));
}

TEST_P(StraightDataTest, RowsOfABitmapWithPaddingArePacked)
{
    const auto rep = rgbaBitmap({1, 2, 3, 255, 99, 99, 99, 99, 4, 5, 6, 255, 99, 99, 99, 99}, 1, 2, 8);
    EXPECT_THAT(converted(rep, false, 8), ElementsAre(1, 2, 3, 255, 4, 5, 6, 255));
}

TEST(StraightDataClassTest, LogsWhyItRefuses)
{
    CapturedLog log;
    const auto make = [](const Ref<NSBitmapImageRep> &rep) {
        return KVImageUtils::create32BitDataFromBitmapImageRep(rep, true) == nullptr;
    };
    const Ref<NSBitmapImageRep> noData = NSBitmapImageRep::createBorrowing(
        nullptr, 3, 2, 16, 3, false, true, QString(NSCalibratedRGBColorSpace), 0, 0);
    EXPECT_TRUE(make(nullptr));
    EXPECT_TRUE(make(noData));
    EXPECT_TRUE(make(layout(16, 3, false, true, 0)));
    EXPECT_TRUE(make(layout(16, 3, false, false, 0)));
    EXPECT_TRUE(make(layout(8, 6, false, false, 48)));
    EXPECT_TRUE(make(layout(8, 3, false, false, 32)));
    EXPECT_TRUE(make(layout(8, 4, true, false, 40)));
    EXPECT_TRUE(make(layout(8, 1, false, false, 8)));
    const QString name =
        QStringLiteral("+[KVImageUtils create32BitDataFromBitmapImageRep:prepareForVImageOperations:]");
    EXPECT_THAT(log.lines(), ElementsAre(name + QStringLiteral(" returning NULL due to bitmapData == NULL"),
                                         name + QStringLiteral(" returning NULL due to bitmapData == NULL"),
                                         name + QStringLiteral(" returning NULL due to isPlanar == YES"),
                                         name + QStringLiteral(" returning NULL due to bitsPerSample == 16"),
                                         QStringLiteral("get32BitDataFromBitmapImageRep: returning NULL due "
                                                        "to samplesPerPixel == 6, bitsPerPixel == %"),
                                         QStringLiteral("get32BitDataFromBitmapImageRep: returning NULL due "
                                                        "to samplesPerPixel == 3, bitsPerPixel == %"),
                                         QStringLiteral("get32BitDataFromBitmapImageRep: returning NULL due "
                                                        "to samplesPerPixel == 4, bitsPerPixel == %"),
                                         QStringLiteral("get32BitDataFromBitmapImageRep: returning NULL due "
                                                        "to samplesPerPixel == 1, bitsPerPixel == %")));
}

TEST(StraightDataClassTest, LogsThatThereIsNoMemory)
{
    const auto rep = rgbaBitmap({1, 2, 3, 255}, 1, 1);
    CapturedLog log;
    FailingAllocator none;
    const ScopedService<Allocator> guard(&none);
    EXPECT_EQ(KVImageUtils::create32BitDataFromBitmapImageRep(rep, true), nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre(QStringLiteral("+[KVImageUtils create32BitDataFromBitmapImageRep:"
                                           "prepareForVImageOperations:]:570 Can't allocate memory.")));
}

TEST(StraightDataClassTest, LogsNothingWhileTheLogIsOff)
{
    CapturedLog log;
    KVLogSetDestination(0);
    EXPECT_EQ(KVImageUtils::create32BitDataFromBitmapImageRep(nullptr, true), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre());
}

TEST(StraightDataBitmapTest, WritesToTheConsoleWhyItRefuses)
{
    CapturedLog log;
    KVLogSetDestination(0);
    const auto make = [](const Ref<NSBitmapImageRep> &rep) {
        return vImageSupport::create32BitDataAndPermuteRGBAtoARGB(rep, true) == nullptr;
    };
    EXPECT_TRUE(make(nullptr));
    EXPECT_TRUE(make(NSBitmapImageRep::createBorrowing(nullptr, 3, 2, 8, 4, true, false,
                                                       QString(NSCalibratedRGBColorSpace), 0, 0)));
    EXPECT_THAT(log.lines(), ElementsAre()) << "missing data has no message here";
    EXPECT_TRUE(make(layout(8, 4, true, true, 32)));
    EXPECT_TRUE(make(layout(16, 4, true, false, 0)));
    EXPECT_TRUE(make(layout(8, 2, true, false, 16)));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            QStringLiteral("get32BitDataFromBitmapImageRep: returning NULL due to isPlanar == YES"),
            QStringLiteral("get32BitDataFromBitmapImageRep: returning NULL due to bitsPerSample == 16"),
            QStringLiteral("get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 2, "
                           "bitsPerPixel == 16")));
}

TEST(StraightDataBitmapTest, IsSilentWithoutMemory)
{
    const auto rep = rgbaBitmap({1, 2, 3, 255}, 1, 1);
    CapturedLog log;
    FailingAllocator none;
    const ScopedService<Allocator> guard(&none);
    EXPECT_EQ(vImageSupport::create32BitDataAndPermuteRGBAtoARGB(rep, true), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre());
}

TEST(BitmapScalingTest, ABitmapThatIsNotARGBStaysPermuted)
{
    const auto rep = rgbaBitmap({10, 20, 30, 255}, 1, 1);
    const Ref<NSImage> scaled = vImageSupport::scaledImageWithSize(rep, {3.9f, 2.2f}, false);
    ASSERT_NE(scaled, nullptr);
    EXPECT_THAT(bytesOf(rep), ElementsAre(255, 10, 20, 30));
    const auto result = std::dynamic_pointer_cast<NSBitmapImageRep>(scaled->representations().at(0));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->pixelsWide(), 3);
    EXPECT_EQ(result->pixelsHigh(), 2);
    Bytes expected;
    for (int i = 0; i < 6; ++i)
        expected.insert(expected.end(), {10, 20, 30, 255});
    EXPECT_EQ(bytesOf(result), expected);
    EXPECT_EQ(scaled->size(), NSMakeSize(3, 2));
}

TEST(BitmapScalingTest, ThePermutationStaysAfterAFailureToo)
{
    const auto rep = rgbaBitmap({10, 20, 30, 255}, 1, 1);
    EXPECT_EQ(vImageSupport::scaledImageWithSize(rep, {0.9f, 5}, false), nullptr);
    EXPECT_THAT(bytesOf(rep), ElementsAre(255, 10, 20, 30));
    EXPECT_EQ(vImageSupport::scaledImageWithSize(rep, {kNaN, 5}, true), nullptr);
    EXPECT_EQ(vImageSupport::scaledImageWithSize(rep, {-3, 5}, true), nullptr);
    EXPECT_EQ(vImageSupport::scaledImageWithSize(Ref<NSBitmapImageRep>(), {3, 5}, true), nullptr);
}

TEST(BitmapScalingTest, ABitmapInARGBIsTakenAsItIs)
{
    const auto rep = rgbaBitmap({255, 10, 20, 30}, 1, 1);
    const Ref<NSImage> scaled = vImageSupport::scaledImageWithSize(rep, {1, 1}, true);
    ASSERT_NE(scaled, nullptr);
    EXPECT_THAT(bytesOf(rep), ElementsAre(255, 10, 20, 30));
    EXPECT_THAT(bytesOf(std::dynamic_pointer_cast<NSBitmapImageRep>(scaled->representations().at(0))),
                ElementsAre(10, 20, 30, 255));
}

} // namespace
} // namespace KVBase
