#include <KVBase/KVBitmapContext.h>

#include "Platform/Services/Allocator.h"
#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

namespace KVBase
{
namespace
{

using Bytes = std::vector<std::uint8_t>;
using Tests::CapturedLog;

std::shared_ptr<KVBitmapContext> surface(std::uint32_t width, std::uint32_t height)
{
    auto made = KVBitmapContext::create(nullptr, width, height, 0, QColorSpace());
    std::fill_n(made->buffer(), std::size_t(made->rowBytes()) * height, std::uint8_t(0));
    return made;
}

std::shared_ptr<KVBitmapContext> over(Bytes &bytes, std::uint32_t width, std::uint32_t height,
                                      std::uint32_t rowBytes)
{
    return KVBitmapContext::create(bytes.data(), width, height, rowBytes, QColorSpace());
}

Bytes pixel(const KVBitmapContext &context, std::uint32_t x, std::uint32_t row)
{
    const std::uint8_t *first = context.buffer() + std::size_t(row) * context.rowBytes() + 4 * x;
    return Bytes(first, first + 4);
}

struct EmptyAllocator : Allocator {
    void *allocate(std::size_t) override { return nullptr; }
    void *allocateZeroed(std::size_t) override { return nullptr; }
};

TEST(KVBitmapContextTest, ChoosesRowsOfAMultipleOf32Bytes)
{
    const auto context = KVBitmapContext::create(nullptr, 10, 5, 0, QColorSpace());
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->width(), 10u);
    EXPECT_EQ(context->height(), 5u);
    EXPECT_EQ(context->rowBytes(), 64u);
    EXPECT_NE(context->buffer(), nullptr);
    EXPECT_NE(context->context(), nullptr);
    EXPECT_EQ(context->colorspace(), QColorSpace(QColorSpace::SRgb));
    EXPECT_EQ(surface(8, 1)->rowBytes(), 32u);
    EXPECT_EQ(surface(9, 1)->rowBytes(), 64u);
}

TEST(KVBitmapContextTest, KeepsAGivenRowLengthAndBuffer)
{
    Bytes bytes(5 * 44, 7);
    const auto context = over(bytes, 10, 5, 44);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->buffer(), bytes.data());
    EXPECT_EQ(context->rowBytes(), 44u);
    EXPECT_EQ(KVBitmapContext::create(nullptr, 10, 5, 44, QColorSpace())->rowBytes(), 44u);
}

TEST(KVBitmapContextTest, AnswersNilForASideOfZeroAfterALine)
{
    CapturedLog log;
    EXPECT_EQ(KVBitmapContext::create(nullptr, 0, 5, 0, QColorSpace()), nullptr);
    EXPECT_EQ(
        log.lines(),
        QStringList("-[KVBitmapContext initWithBuffer:width:height:rowBytes:colorspace:]: inWidth is 0..."));
    log.clear();
    EXPECT_EQ(KVBitmapContext::create(nullptr, 5, 0, 0, QColorSpace()), nullptr);
    EXPECT_EQ(
        log.lines(),
        QStringList("-[KVBitmapContext initWithBuffer:width:height:rowBytes:colorspace:]: inHeight is 0..."));
    log.clear();
    EXPECT_EQ(KVBitmapContext::create(nullptr, 0, 0, 0, QColorSpace()), nullptr);
    EXPECT_EQ(log.lines().size(), 2);
}

TEST(KVBitmapContextTest, AnswersNilWithoutMemoryAfterALine)
{
    CapturedLog log;
    EmptyAllocator empty;
    ScopedService<Allocator> guard(&empty);
    EXPECT_EQ(KVBitmapContext::create(nullptr, 10, 5, 0, QColorSpace()), nullptr);
    EXPECT_EQ(log.lines(),
              QStringList("-[KVBitmapContext initWithBuffer:width:height:rowBytes:colorspace:]: Failed "
                          "to allocte buffer..."));
}

TEST(KVBitmapContextTest, RefusesSizesWhoseProductDoesNotFit)
{
    CapturedLog log;
    const std::uint32_t sides[][3] = {
        {0xffffffff, 1, 0}, {0x40000000, 4, 0}, {1, 0xffffffff, 0}, {1, 2, 0xffffffff}};
    for (const auto &side : sides) {
        log.clear();
        EXPECT_EQ(KVBitmapContext::create(nullptr, side[0], side[1], side[2], QColorSpace()), nullptr)
            << side[0];
        EXPECT_EQ(log.lines().value(0),
                  QStringLiteral("-[KVBitmapContext initWithBuffer:width:height:rowBytes:"
                                 "colorspace:]: Failed to allocte buffer..."));
    }
}

TEST(KVBitmapContextTest, AnswersNilForRowsThatDoNotHoldTheirPixelsAfterALine)
{
    const QString line =
        QStringLiteral("-[KVBitmapContext initWithBuffer:width:height:rowBytes:colorspace:]: Failed to "
                       "create bitmap context...");
    Bytes bytes(400, 0);
    CapturedLog log;
    EXPECT_EQ(over(bytes, 10, 5, 39), nullptr);
    EXPECT_EQ(over(bytes, 10, 5, 0), nullptr) << "a caller's buffer has no row length to choose";
    EXPECT_EQ(KVBitmapContext::create(nullptr, 10, 5, 20, QColorSpace()), nullptr);
    EXPECT_EQ(log.lines(), QStringList({line, line, line}));
}

TEST(KVBitmapContextTest, TakesTheColourSpaceOfAProfile)
{
    const QColorSpace adobe(QColorSpace::AdobeRgb);
    const auto profiled =
        KVBitmapContext::bitmapContextWithBuffer(nullptr, 2, 2, 0, CMProfile(adobe.iccProfile()));
    ASSERT_NE(profiled, nullptr);
    EXPECT_EQ(profiled->colorspace().primaries(), QColorSpace::Primaries::AdobeRgb);
    EXPECT_EQ(KVBitmapContext::bitmapContextWithBuffer(nullptr, 2, 2, 0, CMProfile())->colorspace(),
              QColorSpace(QColorSpace::SRgb));
    EXPECT_EQ(
        KVBitmapContext::bitmapContextWithBuffer(nullptr, 2, 2, 0, CMProfile("no profile"))->colorspace(),
        QColorSpace(QColorSpace::SRgb));
    EXPECT_EQ(KVBitmapContext::bitmapContextWithBuffer(nullptr, 2, 2, 0, adobe)->colorspace(), adobe);
}

TEST(KVBitmapContextTest, MirrorsInPlaceAndLeavesThePaddingAlone)
{
    Bytes bytes = {1, 2, 3, 4, 5, 6, 7, 8, 90, 91, 92, 93, 11, 12, 13, 14, 15, 16, 17, 18, 94, 95, 96, 97};
    const auto context = over(bytes, 2, 2, 12);
    context->flipHorizotal();
    EXPECT_EQ(bytes, (Bytes{5,  6,  7,  8,  1,  2,  3,  4,  90, 91, 92, 93,
                            15, 16, 17, 18, 11, 12, 13, 14, 94, 95, 96, 97}));
    context->flipVertical();
    EXPECT_EQ(bytes, (Bytes{15, 16, 17, 18, 11, 12, 13, 14, 90, 91, 92, 93,
                            5,  6,  7,  8,  1,  2,  3,  4,  94, 95, 96, 97}));
}

TEST(KVBitmapContextTest, FillsTheFirstByteOfEveryGroupPaddingIncluded)
{
    Bytes bytes(32, 1);
    over(bytes, 1, 1, 32)->fillAlphaWithValue(9);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        EXPECT_EQ(bytes[i], i % 4 == 0 ? 9 : 1) << i;
}

TEST(KVBitmapContextTest, LeavesAnIncompleteGroupAlone)
{
    Bytes bytes(7, 100);
    const auto context = over(bytes, 1, 1, 7);
    context->fillAlphaWithValue(9);
    EXPECT_EQ(bytes, (Bytes{9, 100, 100, 100, 100, 100, 100}));
    context->colorCorrectWithRedFactor(0, 0, 0, 1, 1);
    EXPECT_EQ(bytes, (Bytes{9, 0, 0, 0, 100, 100, 100}));
}

TEST(KVBitmapContextTest, ErasesWithAColourAndKeepsTheUnusedByte)
{
    Bytes bytes(16, 77);
    const auto context = over(bytes, 2, 1, 16);
    context->eraseToColor(QColor(10, 20, 30));
    EXPECT_EQ(bytes, (Bytes{77, 10, 20, 30, 77, 10, 20, 30, 77, 77, 77, 77, 77, 77, 77, 77}));
    context->eraseToColor(QColor(0, 0, 0, 0));
    EXPECT_EQ(bytes[1], 10) << "a transparent colour adds nothing";
    context->eraseToColor(QColor());
    EXPECT_EQ(bytes[1], 10);
    context->eraseToColor(QColor::fromHsv(0, 255, 255));
    EXPECT_EQ(pixel(*context, 0, 0), (Bytes{77, 255, 0, 0}));
}

TEST(KVBitmapContextTest, ErasesWithTheColourAsItsSpaceHasIt)
{
    auto context = KVBitmapContext::create(nullptr, 1, 1, 0, QColorSpace(QColorSpace::DisplayP3));
    context->eraseToColor(QColor(255, 0, 0));
    const Bytes red = pixel(*context, 0, 0);
    EXPECT_NEAR(red[1], 234, 2);
    EXPECT_NEAR(red[2], 51, 2);
    EXPECT_NEAR(red[3], 35, 2);
}

TEST(KVBitmapContextTest, LeavesTheBufferAloneWhenEveryFactorIsOne)
{
    Bytes bytes;
    for (int i = 0; i < 64; ++i)
        bytes.push_back(static_cast<std::uint8_t>(i * 5));
    const Bytes before = bytes;
    over(bytes, 4, 4, 16)->colorCorrectWithRedFactor(1, 1, 1, 1, 1);
    EXPECT_EQ(bytes, before);
}

TEST(KVBitmapContextTest, ComputesGreenFromTheNewRedAndBlueFromBoth)
{
    Bytes bytes = {7, 255, 0, 0};
    over(bytes, 1, 1, 4)->colorCorrectWithRedFactor(1, 1, 1, 0, 1);
    EXPECT_EQ(bytes, (Bytes{7, 76, 23, 36}));
}

TEST(KVBitmapContextTest, ClampsAndBendsWithTheGammaAsGiven)
{
    Bytes bytes = {7, 128, 128, 128};
    const auto context = over(bytes, 1, 1, 4);
    context->colorCorrectWithRedFactor(1, 1, 1, 1, 2);
    EXPECT_EQ(bytes, (Bytes{7, 64, 64, 64}));
    context->colorCorrectWithRedFactor(100, -1, 1, 1, 1);
    EXPECT_EQ(bytes, (Bytes{7, 255, 0, 64}));
}

/// The correction as it reads, one power a channel.
void correctPlainly(Bytes &bytes, double r, double g, double b, double s, double gamma)
{
    const double lr = (1 - s) * 0.299;
    const double lg = (1 - s) * 0.587;
    const double lb = (1 - s) * 0.114;
    const auto store = [gamma](double v) {
        return static_cast<std::uint8_t>(std::pow(v < 0 ? 0 : v > 1 ? 1 : v, gamma) * 255 + 0.5);
    };
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        const double red = bytes[i + 1] / 255.0;
        const double green = bytes[i + 2] / 255.0;
        const double blue = bytes[i + 3] / 255.0;
        const double r2 = red * (s * r + lr) + green * lg + blue * lb;
        const double g2 = r2 * lr + green * (s * g + lg) + blue * lb;
        const double b2 = r2 * lr + g2 * lg + blue * (s * b + lb);
        bytes[i + 1] = store(r2);
        bytes[i + 2] = store(g2);
        bytes[i + 3] = store(b2);
    }
}

TEST(KVBitmapContextTest, CorrectsEveryColourAsThePlainLoopDoes)
{
    const double factors[][5] = {{1.2, 0.9, 1.1, 0.7, 2.2}, {1, 1, 1, 1, 0.45},   {0.5, 2, 3, 1.5, 1},
                                 {1, 1, 1, 0, 1.8},         {1, 1, 1, 2.5, 10.0}, {0.3, 0.3, 0.3, 1, 0.01}};
    for (const auto &f : factors) {
        Bytes bytes;
        for (int i = 0; i < 64 * 64; ++i)
            for (int byte : {i, i % 64 * 4 + i / 1024, i / 16, (i * 37) % 256})
                bytes.push_back(static_cast<std::uint8_t>(byte));
        Bytes expected = bytes;
        correctPlainly(expected, f[0], f[1], f[2], f[3], f[4]);
        over(bytes, 64, 64, 256)->colorCorrectWithRedFactor(f[0], f[1], f[2], f[3], f[4]);
        EXPECT_EQ(bytes, expected) << "gamma " << f[4];
    }
}

TEST(KVBitmapContextTest, SurvivesFactorsThatAreNoNumbers)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    struct Row {
        double red, green, blue, saturation, gamma;
        Bytes expected;
    };
    const Row rows[] = {
        {nan, 1, 1, 1, 1, {7, 0, 0, 0}},           {infinity, 1, 1, 1, 1, {7, 255, 0, 0}},
        {1, 1, -infinity, 1, 1, {7, 128, 128, 0}}, {1, 1, 1, 1, 0, {7, 255, 255, 255}},
        {1, 1, 1, 1, -1, {7, 255, 255, 255}},      {1, 1, 1, 1, nan, {7, 0, 0, 0}},
        {1, 1, 1, 1, infinity, {7, 0, 0, 0}},      {1, 1, 1, nan, 1, {7, 0, 0, 0}},
    };
    for (const Row &row : rows) {
        Bytes bytes = {7, 128, 128, 128};
        over(bytes, 1, 1, 4)
            ->colorCorrectWithRedFactor(row.red, row.green, row.blue, row.saturation, row.gamma);
        EXPECT_EQ(bytes, row.expected)
            << row.red << ' ' << row.blue << ' ' << row.saturation << ' ' << row.gamma;
    }
}

TEST(KVBitmapContextTest, PacksEveryThirdPixel)
{
    Bytes bytes(5 * 64, 0);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i);
    const auto context = over(bytes, 10, 5, 64);
    context->subSampleWithFactor(3);
    EXPECT_EQ(context->width(), 3u);
    EXPECT_EQ(context->height(), 1u);
    EXPECT_EQ(context->rowBytes(), 12u);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 12), (Bytes{0, 1, 2, 3, 12, 13, 14, 15, 24, 25, 26, 27}));
    EXPECT_EQ(context->image().size(), QSize(3, 1));
}

TEST(KVBitmapContextTest, TakesRowsAtMultiplesOfTheFactor)
{
    Bytes bytes(4 * 20, 0);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i);
    const auto context = over(bytes, 4, 4, 20);
    context->subSampleWithFactor(2);
    EXPECT_EQ(context->rowBytes(), 8u);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 16),
              (Bytes{0, 1, 2, 3, 8, 9, 10, 11, 40, 41, 42, 43, 48, 49, 50, 51}));
}

TEST(KVBitmapContextTest, DropsTheContextWhenASideBecomesZero)
{
    const auto context = surface(10, 5);
    context->subSampleWithFactor(6);
    EXPECT_EQ(context->width(), 1u);
    EXPECT_EQ(context->height(), 0u);
    EXPECT_EQ(context->rowBytes(), 4u);
    EXPECT_EQ(context->context(), nullptr);
    EXPECT_TRUE(context->image().isNull());
    EXPECT_FALSE(context->savePNGFileAtPath(Tests::scratchFolder() + QStringLiteral("/nothing.png")));
    context->eraseToColor(Qt::red);
    context->fillAlphaWithValue(1);
    context->colorCorrectWithRedFactor(2, 2, 2, 1, 1);
    context->flipVertical();
    context->flipHorizotal();
    context->subSampleWithFactor(2);
    EXPECT_EQ(context->imageDescription().size(), 86);
}

TEST(KVBitmapContextTest, DoesNothingForAFactorOfZero)
{
    const auto context = surface(10, 5);
    context->subSampleWithFactor(0);
    EXPECT_EQ(context->width(), 10u);
    EXPECT_EQ(context->rowBytes(), 64u);
    EXPECT_NE(context->context(), nullptr);
}

TEST(KVBitmapContextTest, RepacksRowsForAFactorOfOne)
{
    const auto context = surface(10, 2);
    context->buffer()[64] = 5;
    context->subSampleWithFactor(1);
    EXPECT_EQ(context->rowBytes(), 40u);
    EXPECT_EQ(context->buffer()[40], 5);
}

TEST(KVBitmapContextTest, TakesADeepCopy)
{
    const auto context = surface(2, 2);
    context->eraseToColor(Qt::red);
    const QImage image = context->image();
    context->eraseToColor(Qt::blue);
    EXPECT_EQ(image.pixel(1, 1), qRgb(255, 0, 0));
    EXPECT_EQ(image.size(), QSize(2, 2));
    EXPECT_EQ(image.colorSpace(), context->colorspace());
    EXPECT_EQ(context->image().pixel(0, 0), qRgb(0, 0, 255));
}

TEST(KVBitmapContextTest, DescribesTheBufferBigEndian)
{
    Bytes bytes(2560 * 480, 0);
    const QByteArray record = over(bytes, 640, 480, 2560)->imageDescription();
    const char expected[] = "00000056"
                            "72617720"
                            "00000000"
                            "0000"
                            "0000"
                            "0002"
                            "0000"
                            "4b454c56"
                            "00000000"
                            "00000400"
                            "0280"
                            "01e0"
                            "00480000"
                            "00480000"
                            "0012c000"
                            "0001"
                            "0000000000000000000000000000000000000000000000000000000000000000"
                            "0020"
                            "ffff";
    EXPECT_EQ(record.toHex().toStdString(), expected);
}

TEST(KVBitmapContextTest, WritesAPNGWithItsColourSpace)
{
    const QString path = Tests::scratchFolder() + QStringLiteral("/surface.png");
    const auto context = KVBitmapContext::create(nullptr, 3, 2, 0, QColorSpace(QColorSpace::AdobeRgb));
    std::fill_n(context->buffer(), context->rowBytes() * 2, std::uint8_t(40));
    ASSERT_TRUE(context->savePNGFileAtPath(path));
    const QImage read(path);
    EXPECT_EQ(read.size(), QSize(3, 2));
    EXPECT_EQ(read.pixel(2, 1), qRgb(40, 40, 40));
    EXPECT_EQ(read.colorSpace().primaries(), QColorSpace::Primaries::AdobeRgb);
}

TEST(KVBitmapContextTest, AnswersWhetherAFileIsThereAfterwards)
{
    const auto context = surface(2, 2);
    const QString folder = Tests::scratchFolder() + QStringLiteral("/pngs");
    ASSERT_TRUE(QDir().mkpath(folder));
    EXPECT_FALSE(context->savePNGFileAtPath(QString()));
    EXPECT_FALSE(context->savePNGFileAtPath(folder + QStringLiteral("/missing/a.png")));
    EXPECT_TRUE(context->savePNGFileAtPath(folder)) << "a folder is there";
    EXPECT_TRUE(QDir(folder).isEmpty()) << "and nothing half-written";
}

TEST(KVBitmapContextTest, DrawsFromTheBottomLeft)
{
    const auto context = surface(4, 3);
    context->fillAlphaWithValue(200);
    context->context()->draw([](QPainter &painter) { painter.fillRect(QRectF(0, 0, 1, 2), Qt::white); });
    EXPECT_EQ(pixel(*context, 0, 2), (Bytes{200, 255, 255, 255}));
    EXPECT_EQ(pixel(*context, 0, 1), (Bytes{200, 255, 255, 255}));
    EXPECT_EQ(pixel(*context, 0, 0), (Bytes{200, 0, 0, 0}));
    EXPECT_EQ(pixel(*context, 1, 2), (Bytes{200, 0, 0, 0}));
}

TEST(KVBitmapContextTest, DrawsUnderTransformsClipsAndOpacity)
{
    const auto context = surface(8, 8);
    context->context()->draw([](QPainter &painter) {
        painter.save();
        painter.translate(4, 4);
        painter.setClipRect(QRectF(0, 0, 2, 2));
        painter.fillRect(QRectF(-8, -8, 16, 16), Qt::red);
        painter.restore();
        painter.setOpacity(0.5);
        painter.fillRect(QRectF(0, 0, 1, 1), Qt::white);
    });
    EXPECT_EQ(pixel(*context, 4, 3), (Bytes{0, 255, 0, 0})) << "x 4, y 4 upwards is row 3";
    EXPECT_EQ(pixel(*context, 5, 2), (Bytes{0, 255, 0, 0}));
    EXPECT_EQ(pixel(*context, 6, 2), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(pixel(*context, 4, 4), (Bytes{0, 0, 0, 0}));
    EXPECT_NEAR(pixel(*context, 0, 7)[1], 128, 1);
}

TEST(KVBitmapContextTest, DrawsImagesUpright)
{
    QImage image(2, 2, QImage::Format_RGB32);
    image.fill(Qt::black);
    image.setPixelColor(0, 0, Qt::red);
    const auto context = surface(4, 4);
    context->context()->draw([&](QPainter &painter) { painter.drawImage(QPointF(1, 1), image); });
    EXPECT_EQ(pixel(*context, 1, 1), (Bytes{0, 255, 0, 0})) << "the image's top row is the upper one";
    EXPECT_EQ(pixel(*context, 1, 2), (Bytes{0, 0, 0, 0}));
}

TEST(KVBitmapContextTest, DrawsTextUpright)
{
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    QGuiApplication application(argc, argv);
    const auto context = surface(40, 40);
    context->context()->draw([](QPainter &painter) {
        QFont font(QStringLiteral("DejaVu Sans"));
        font.setPixelSize(30);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(QPointF(5, 5), QStringLiteral("L"));
    });
    const auto inkIn = [&](std::uint32_t row) {
        int ink = 0;
        for (std::uint32_t x = 0; x < 40; ++x)
            ink += pixel(*context, x, row)[1];
        return ink;
    };
    // The foot of the letter stands on the base line 5 above the bottom, and its stem above that.
    EXPECT_GT(inkIn(33), 2 * inkIn(20));
    EXPECT_GT(inkIn(20), 0);
    EXPECT_EQ(inkIn(37), 0);
}

TEST(KVBitmapContextTest, BringsTheDrawingIntoTheBufferWhenAsked)
{
    const auto context = surface(4, 4);
    CGContext &drawing = *context->context();
    drawing.draw([&](QPainter &painter) {
        painter.setBrush(QColor(0, 255, 0));
        painter.setPen(Qt::NoPen);
        painter.drawRect(QRectF(0, 0, 1, 1));
        EXPECT_EQ(pixel(*context, 0, 3)[2], 0);
        drawing.flush();
        EXPECT_EQ(pixel(*context, 0, 3)[2], 255);
        painter.drawRect(QRectF(1, 0, 1, 1));
    });
    EXPECT_EQ(pixel(*context, 1, 3), (Bytes{0, 0, 255, 0})) << "the brush outlives the flush";
    drawing.flush();
}

TEST(KVBitmapContextTest, KeepsTheDrawingOfACallThatThrows)
{
    const auto context = surface(2, 2);
    EXPECT_THROW(context->context()->draw([](QPainter &painter) {
        painter.fillRect(QRectF(0, 0, 2, 2), Qt::white);
        throw 1;
    }),
                 int);
    EXPECT_EQ(pixel(*context, 0, 0)[1], 255);
}

TEST(KVBitmapContextTest, DrawsWhatReachesFarOutside)
{
    const auto context = surface(4, 4);
    context->context()->draw([](QPainter &painter) {
        painter.setPen(QPen(Qt::white, 2));
        painter.drawLine(QPointF(-1000, 2), QPointF(1000, 2));
        QPainterPath path;
        path.addEllipse(QPointF(1e6, 1e6), 5, 5);
        painter.drawPath(path);
    });
    EXPECT_EQ(pixel(*context, 0, 1)[1], 255);
    EXPECT_EQ(pixel(*context, 3, 2)[1], 255);
    EXPECT_EQ(pixel(*context, 3, 0)[1], 0);
}

TEST(KVBitmapContextTest, DrawsOnlyOnceAtATime)
{
    const auto context = surface(2, 2);
    bool inner = false;
    context->context()->draw(
        [&](QPainter &) { context->context()->draw([&](QPainter &) { inner = true; }); });
    EXPECT_FALSE(inner);
}

} // namespace
} // namespace KVBase
