#include <KVBase/CIImageAdditions.h>

#include <KVBase/Platform/NSClass.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

Ref<NSImage> sample()
{
    QImage picture(3, 2, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::blue);
    picture.setPixelColor(0, 0, Qt::red);
    return NSImage::create(picture);
}

TEST(CIImageAdditionsTest, TurnsAnImageIntoABitmap)
{
    const Ref<NSBitmapImageRep> rep = CIImageAdditions::bitmap(sample());
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->pixelsWide(), 3);
    EXPECT_EQ(rep->pixelsHigh(), 2);
    EXPECT_EQ(rep->toImage().pixelColor(0, 0), QColor(Qt::red));
    EXPECT_EQ(CIImageAdditions::bitmap(nullptr), nullptr);
    EXPECT_EQ(CIImageAdditions::bitmap(NSImage::create()), nullptr);
}

TEST(CIImageAdditionsTest, AnswersAnImageOfTheClassInTheRegistry)
{
    const Ref<KVBase::CIImage> image = CIImageAdditions::CIImage(sample());
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->extent(), NSMakeRect(0, 0, 3, 2));
    const QImage picture = image->render(NSMakeRect(-1, 0, 3, 3));
    EXPECT_EQ(picture.size(), QSize(3, 3));
    EXPECT_EQ(picture.pixelColor(1, 1), QColor(Qt::red)) << "the top row lies at y 1";
    EXPECT_EQ(picture.pixelColor(2, 2), QColor(Qt::blue));
    EXPECT_EQ(qAlpha(picture.pixel(0, 1)), 0);
    EXPECT_EQ(qAlpha(picture.pixel(1, 0)), 0);
}

TEST(CIImageAdditionsTest, AnswersNilForNoImage)
{
    EXPECT_EQ(CIImageAdditions::CIImage(nullptr), nullptr);
    EXPECT_EQ(CIImageAdditions::CIImage(NSImage::create()), nullptr);
}

TEST(CIImageAdditionsTest, AnswersNilWhenTheClassCannotMakeOne)
{
    QObject other;
    const NSClassRegistration registration("CIImage", &other);
    EXPECT_EQ(CIImageAdditions::CIImage(sample()), nullptr);
}

} // namespace
} // namespace KVBase
