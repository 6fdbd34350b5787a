#include <KVBase/CIImageAdditions.h>
#include <KVBase/KVBitmapContext.h>
#include <KVBase/MovieAndImagePaths.h>

#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <QtCore/QFile>
#include <QtCore/QUrl>
#include <QtGui/QImage>

#include <gtest/gtest.h>

#include <vector>

namespace KVBase
{
namespace
{

using Bytes = std::vector<std::uint8_t>;
using Tests::CapturedLog;

std::shared_ptr<KVBitmapContext> over(Bytes &bytes, std::uint32_t width, std::uint32_t height,
                                      std::uint32_t rowBytes)
{
    return KVBitmapContext::create(bytes.data(), width, height, rowBytes, QColorSpace());
}

QString pictureAt(const QString &path)
{
    QImage picture(2, 2, QImage::Format_RGB32);
    picture.fill(Qt::red);
    picture.save(path, "PNG");
    return path;
}

TEST(KVBitmapContextContractTest, LogsBothMirrorsUnderTheVerticalsNameWithTheirOwnLines)
{
    Bytes bytes(5 * 64, 0);
    const auto context = over(bytes, 10, 5, 64);
    context->subSampleWithFactor(6);
    CapturedLog log;
    context->flipVertical();
    context->flipHorizotal();
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("vImageVerticalReflect_ARGB8888: Error -21773 in file "
                                                       "KVBitmapContext, line 443"),
                                        QStringLiteral("vImageVerticalReflect_ARGB8888: Error -21773 in file "
                                                       "KVBitmapContext, line 456")}));
}

TEST(KVBitmapContextContractTest, CorrectsTheRowPaddingToo)
{
    Bytes bytes = {9, 100, 100, 100, 9, 200, 200, 200};
    over(bytes, 1, 1, 8)->colorCorrectWithRedFactor(0.5, 1, 0, 1, 1);
    EXPECT_EQ(bytes, (Bytes{9, 50, 100, 0, 9, 100, 200, 0}));
}

TEST(KVBitmapContextContractTest, MixesTheNewValuesBeforeTheyAreClamped)
{
    // Red is 2.0 before it is clamped; half of its luminance share goes to green, and both go to blue.
    Bytes bytes = {0, 255, 0, 0};
    over(bytes, 1, 1, 4)->colorCorrectWithRedFactor(3.701, 1, 1, 0.5, 1);
    // R' = 0.5 * 3.701 + 0.1495 = 2.0; G' = 2.0 * 0.1495 = 0.299; B' = 0.299 + 0.299 * 0.2935 = 0.38676
    EXPECT_EQ(bytes, (Bytes{0, 255, 76, 99}));
}

TEST(KVBitmapContextContractTest, WorksWhenOnlyGammaDiffersFromOne)
{
    Bytes bytes = {0, 255, 64, 0};
    over(bytes, 1, 1, 4)->colorCorrectWithRedFactor(1, 1, 1, 1, 0.5);
    EXPECT_EQ(bytes, (Bytes{0, 255, 128, 0}));
}

TEST(KVBitmapContextContractTest, TakesAnExponentNearZero)
{
    const struct {
        double gamma;
        std::uint8_t green;
    } rows[] = {{1e-300, 255}, {1e-9, 255},  {0.0001, 255}, {0.001, 255},
                {0.005, 254},  {0.008, 254}, {0.02, 252}};
    for (const auto &row : rows) {
        // More pixels than the widest vector holds, and some that are left over.
        constexpr std::uint32_t kPixels = 37;
        Bytes bytes;
        Bytes expected;
        for (std::uint32_t pixel = 0; pixel < kPixels; ++pixel) {
            bytes.insert(bytes.end(), {7, 255, 128, 0});
            expected.insert(expected.end(), {7, 255, row.green, 0});
        }
        over(bytes, kPixels, 1, kPixels * 4)->colorCorrectWithRedFactor(1, 1, 1, 1, row.gamma);
        EXPECT_EQ(bytes, expected) << row.gamma;
    }
}

TEST(KVBitmapContextContractTest, MakesTheNewContextOverTheSameBuffer)
{
    Bytes bytes(4 * 16, 0);
    const auto context = over(bytes, 4, 4, 16);
    const auto before = context->context();
    context->subSampleWithFactor(2);
    EXPECT_EQ(context->buffer(), bytes.data());
    EXPECT_NE(context->context(), before);
    context->eraseToColor(QColor(1, 2, 3));
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 16),
              (Bytes{0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3}));
    EXPECT_EQ(bytes[17], 0) << "the new surface is 2 x 2";
}

TEST(KVBitmapContextContractTest, BlendsAColourThatIsHalfTransparent)
{
    Bytes bytes = {5, 0, 0, 0};
    over(bytes, 1, 1, 4)->eraseToColor(QColor(255, 255, 255, 128));
    EXPECT_EQ(bytes, (Bytes{5, 128, 128, 128}));
}

TEST(KVBitmapContextContractTest, DescribesASurfaceAsItIsAfterSubSampling)
{
    Bytes bytes(5 * 64, 0);
    const auto context = over(bytes, 10, 5, 64);
    context->subSampleWithFactor(3);
    const QByteArray record = context->imageDescription();
    EXPECT_EQ(record.mid(32, 4).toHex(), QByteArray("00030001"));
    EXPECT_EQ(record.mid(44, 4).toHex(), QByteArray("0000000c"));
}

TEST(KVBitmapContextContractTest, CountsAnOldFileThatCannotBeReplaced)
{
    const QString path = Tests::scratchFolder() + QStringLiteral("/old.png");
    QFile old(path);
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write("old");
    old.close();
    Bytes bytes(5 * 64, 0);
    const auto context = over(bytes, 10, 5, 64);
    context->subSampleWithFactor(6);
    EXPECT_TRUE(context->savePNGFileAtPath(path))
        << "without a context nothing is written, but a file is there";
    ASSERT_TRUE(old.open(QIODevice::ReadOnly));
    EXPECT_EQ(old.readAll(), QByteArray("old"));
}

TEST(CIImageAdditionsContractTest, LeavesTheImageAsItWas)
{
    QImage picture(4, 3, QImage::Format_RGB32);
    picture.fill(Qt::green);
    const Ref<NSImage> image = NSImage::create(picture);
    const auto before = image->representations();
    const Ref<NSBitmapImageRep> first = CIImageAdditions::bitmap(image);
    const Ref<NSBitmapImageRep> second = CIImageAdditions::bitmap(image);
    EXPECT_NE(first, second) << "a new bitmap each time";
    EXPECT_EQ(image->representations(), before);
    EXPECT_NE(CIImageAdditions::CIImage(image), CIImageAdditions::CIImage(image));
}

TEST(CIImageAdditionsContractTest, TakesTheSizeInPoints)
{
    QImage picture(4, 2, QImage::Format_RGB32);
    picture.fill(Qt::green);
    const Ref<NSImage> image = NSImage::create(picture);
    image->setSize(NSMakeSize(8, 6));
    const Ref<NSBitmapImageRep> rep = CIImageAdditions::bitmap(image);
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->pixelsWide(), 8);
    EXPECT_EQ(rep->pixelsHigh(), 6);
}

TEST(MovieAndImagePathsContractTest, DecodesThePathOfAnAddress)
{
    const QString path = pictureAt(Tests::scratchFolder() + QStringLiteral("/a picture 100%.png"));
    const QUrl url = QUrl::fromLocalFile(path);
    const std::optional<QVariantList> found = MovieAndImagePaths::imageFilePaths({url});
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->first().metaType(), QMetaType::fromType<QUrl>());
    EXPECT_EQ(found->first().toUrl(), url);
}

TEST(MovieAndImagePathsContractTest, NamesEveryElementThatIsNoFileInOrder)
{
    CapturedLog log;
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({7, 2.5}), std::nullopt);
    EXPECT_EQ(log.lines(),
              QStringList({"-[NSArray(MovieAndImagePaths) imageFilePaths]: Not a filepath or url - 7",
                           "-[NSArray(MovieAndImagePaths) imageFilePaths]: Not a filepath or url - 2.5"}));
}

} // namespace
} // namespace KVBase
