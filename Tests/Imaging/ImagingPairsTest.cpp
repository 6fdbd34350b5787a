#include "Support/TestPaths.h"
#include "Support/Together.h"

#include <KVBase/KVBitmapContext.h>
#include <KVBase/KVImageUtils.h>
#include <KVBase/MovieAndImagePaths.h>
#include <KVBase/NSImage_vImageSupport.h>
#include <KVBase/Platform/NSImage.h>

#include <QtGui/QImage>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

struct Nothing {};

/// An opaque image of one colour, 8 by 6.
Ref<NSImage> redImage()
{
    QImage pixels(8, 6, QImage::Format_RGBA8888_Premultiplied);
    pixels.fill(QColor(255, 0, 0));
    return NSImage::create(pixels);
}

bool isRed(const Ref<NSImage> &image)
{
    return image != nullptr && image->toImage().pixelColor(1, 1) == QColor(255, 0, 0);
}

/// Each thread has images of its own; the kernels, the tables and the type database are everybody's.
const SharedOperation<Nothing> kOperations[] = {
    {"Scale",
     [](Nothing &, int) {
         EXPECT_TRUE(isRed(vImageSupport::scaledImageWithSize(redImage(), {4, 3})));
     }},
    {"Crop",
     [](Nothing &, int) {
         EXPECT_TRUE(isRed(vImageSupport::croppedImageFromRect(redImage(), NSMakeRect(1, 1, 4, 4))));
     }},
    {"Flip",
     [](Nothing &, int) {
         EXPECT_TRUE(isRed(
             vImageSupport::flippedImageWithOrientation(redImage(), KVImageOrientation::MirrorLeftRight)));
     }},
    {"Permute",
     [](Nothing &, int) {
         const auto bitmap =
             vImageSupport::create32BitNSBitmapImageRepAndPrepareForVImageOperations(redImage(), true);
         ASSERT_NE(bitmap, nullptr);
         EXPECT_EQ(bitmap->bitmapData()[0], 255);
         EXPECT_EQ(bitmap->bitmapData()[1], 255);
         EXPECT_EQ(bitmap->bitmapData()[2], 0);
     }},
    {"ImageType",
     [](Nothing &, int) {
         EXPECT_FALSE(KVImageUtils::isImageFile(scratchFolder() + QStringLiteral("/missing.png")));
     }},
    {"Filter",
     [](Nothing &, int) {
         EXPECT_FALSE(MovieAndImagePaths::imageFilePaths({scratchFolder() + QStringLiteral("/no.txt")}));
     }},
    {"Context",
     [](Nothing &, int) {
         const auto context =
             KVBitmapContext::bitmapContextWithBuffer(nullptr, 4, 4, 0, QColorSpace(QColorSpace::SRgb));
         ASSERT_NE(context, nullptr);
         context->eraseToColor(QColor(0, 0, 255));
         context->colorCorrectWithRedFactor(1, 1, 1, 1, 1);
         EXPECT_EQ(context->image().pixelColor(1, 1), QColor(0, 0, 255));
     }},
};

class ImagingPairsThreads : public testing::TestWithParam<SharedOperation<Nothing>> {};

TEST_P(ImagingPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kOperations, 8, [] { return std::make_unique<Nothing>(); },
        [](Nothing &) { EXPECT_TRUE(isRed(redImage())); });
}

INSTANTIATE_TEST_SUITE_P(Each, ImagingPairsThreads, testing::ValuesIn(kOperations), nameOfOperation<Nothing>);

} // namespace
} // namespace KVBase::Tests
