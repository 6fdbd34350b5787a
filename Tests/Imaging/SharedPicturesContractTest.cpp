#include "Imaging/ImagingSupport.h"
#include "Support/CapturedLog.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSBitmapImageRep_vImageSupport.h>
#include <KVBase/NSImage_vImageSupport.h>

#include <QtGui/QPainter>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;
using testing::ElementsAre;

/// One of the two forms of each operation.
struct Twin {
    const char *name;
    KVByteBlock (*data)(const Ref<NSBitmapImageRep> &, bool);
    Ref<NSImage> (*scale)(const Ref<NSImage> &, const NSSize &);
    Ref<NSImage> (*cover)(const Ref<NSImage> &, const NSSize &, bool);
    Ref<NSImage> (*flip)(const Ref<NSImage> &, KVImageOrientation);
};

const Twin kTwins[] = {{"Class", &KVImageUtils::create32BitDataFromBitmapImageRep, &KVImageUtils::scaleImage,
                        &KVImageUtils::scaleAndCropImage, &KVImageUtils::flipImage},
                       {"Category", &vImageSupport::create32BitDataAndPermuteRGBAtoARGB,
                        &vImageSupport::scaledImageWithSize, &vImageSupport::scaledAndCroppedImageWithSize,
                        &vImageSupport::flippedImageWithOrientation}};

/// A picture that the test and a bitmap share, so that the bitmap needs memory before its bytes are touched.
class SharedPicturesContractTest : public testing::TestWithParam<Twin> {
protected:
    SharedPicturesContractTest()
    {
        picture.fill(Qt::red);
        bitmap = NSBitmapImageRep::create(picture);
        image->addRepresentation(bitmap);
    }

    /// Does the work with no memory, then with one block, and so on, until there is enough for a result.
    template <class Work>
    void untilThereIsMemory(const Work &work)
    {
        Ref<NSImage> result;
        int blocks = 0;
        for (; result == nullptr && blocks < 100; ++blocks) {
            const QImage kept = bitmap->toImage();
            FailingAllocator memory(blocks);
            const ScopedService<Allocator> guard(&memory);
            result = work();
        }
        EXPECT_NE(result, nullptr);
        EXPECT_GT(blocks, 1) << "without any memory there is no result";
    }

    const Twin &twin = GetParam();
    QImage picture{2, 1, QImage::Format_RGBA8888_Premultiplied};
    Ref<NSBitmapImageRep> bitmap;
    Ref<NSImage> image = NSImage::create();
    CapturedLog log;
};

INSTANTIATE_TEST_SUITE_P(Twins, SharedPicturesContractTest, testing::ValuesIn(kTwins),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_P(SharedPicturesContractTest, TheirBytesAreConverted)
{
    EXPECT_THAT(blockBytes(twin.data(bitmap, true), 8), ElementsAre(255, 255, 0, 0, 255, 255, 0, 0));
    EXPECT_THAT(blockBytes(twin.data(bitmap, false), 8), ElementsAre(255, 0, 0, 255, 255, 0, 0, 255));
    EXPECT_EQ(picture.pixelColor(0, 0), QColor(255, 0, 0));
}

TEST_P(SharedPicturesContractTest, ConversionWithoutMemoryIsNull)
{
    for (int blocks = 0; blocks < 2; ++blocks) {
        const QImage kept = bitmap->toImage();
        FailingAllocator memory(blocks);
        const ScopedService<Allocator> guard(&memory);
        EXPECT_EQ(twin.data(bitmap, true), nullptr) << blocks;
    }
}

TEST_P(SharedPicturesContractTest, ImagesWithoutMemoryAreNil)
{
    untilThereIsMemory([&] { return twin.scale(image, {3, 3}); });
    untilThereIsMemory([&] { return twin.cover(image, {3, 3}, true); });
    untilThereIsMemory([&] { return twin.flip(image, KVImageOrientation::MirrorLeftRight); });
    untilThereIsMemory([&] { return twin.flip(image, KVImageOrientation{7}); });
}

TEST_P(SharedPicturesContractTest, PicturesThatAreNotSquareFlip)
{
    // 1 2 3 / 4 5 6
    const Ref<NSImage> wide = NSImage::create();
    wide->addRepresentation(bitmapOf({1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 6, 6, 6}, 3, 2, 3, false));
    const auto flipped = [&](KVImageOrientation orientation) {
        const QImage shown = twin.flip(wide, orientation)->toImage();
        std::vector<int> reds;
        for (int i = 0; i < shown.width() * shown.height(); ++i)
            reds.push_back(shown.pixelColor(i % shown.width(), i / shown.width()).red());
        return reds;
    };
    EXPECT_THAT(flipped(KVImageOrientation::MirrorLeftRight), ElementsAre(3, 2, 1, 6, 5, 4));
    EXPECT_THAT(flipped(KVImageOrientation::MirrorTopBottom), ElementsAre(4, 5, 6, 1, 2, 3));
    EXPECT_THAT(flipped(KVImageOrientation::Turn180), ElementsAre(6, 5, 4, 3, 2, 1));
}

TEST_P(SharedPicturesContractTest, CoverCropsTheMiddleOfATallPicture)
{
    QImage bands(10, 50, QImage::Format_RGB32);
    bands.fill(Qt::blue);
    QPainter painter(&bands);
    painter.fillRect(0, 20, 10, 10, Qt::red);
    painter.end();
    const QImage middle = twin.cover(NSImage::create(bands), {20, 20}, true)->toImage();
    EXPECT_EQ(middle.size(), QSize(20, 20));
    EXPECT_EQ(middle.pixelColor(10, 10), QColor(255, 0, 0));
    const QImage bottom = twin.cover(NSImage::create(bands), {20, 20}, false)->toImage();
    EXPECT_EQ(bottom.pixelColor(10, 10), QColor(0, 0, 255));
}

TEST(SharedPictureLogContractTest, DataThatCannotBeHadIsMissing)
{
    QImage picture(2, 1, QImage::Format_RGBA8888_Premultiplied);
    picture.fill(Qt::red);
    const Ref<NSBitmapImageRep> bitmap = NSBitmapImageRep::create(picture);
    CapturedLog log;
    FailingAllocator none;
    const ScopedService<Allocator> guard(&none);
    EXPECT_EQ(KVImageUtils::create32BitDataFromBitmapImageRep(bitmap, true), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre(QStringLiteral(
                                 "+[KVImageUtils create32BitDataFromBitmapImageRep:"
                                 "prepareForVImageOperations:] returning NULL due to bitmapData == NULL")));
    EXPECT_EQ(vImageSupport::create32BitDataAndPermuteRGBAtoARGB(bitmap, true), nullptr);
    EXPECT_EQ(log.lines().size(), 1) << "silent";
}

TEST(RowLengthContractTest, IsTheTruncatedFourfoldOfTheWidthAsGiven)
{
    EXPECT_EQ(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({10.9f, 1})->bytesPerRow(), 43);
    EXPECT_EQ(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({10.2f, 1})->bytesPerRow(), 40);
    EXPECT_EQ(vImageSupport::initForVImageOperationsWithSize({10.9f, 1})->bytesPerRow(), 40);
}

} // namespace
} // namespace KVBase
