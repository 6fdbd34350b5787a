#include "Platform/Services/Allocator.h"
#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <KVBase/KVBitmapContext.h>
#include <KVBase/Platform/CGContext.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtGui/QImage>
#include <QtGui/QPainter>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

namespace KVBase
{
namespace
{

using Tests::CapturedLog;
using Bytes = std::vector<std::uint8_t>;

const QString kMethod = QStringLiteral("-[KVBitmapContext initWithBuffer:width:height:rowBytes:colorspace:]");

QString line(const char *text) { return kMethod + QString::fromLatin1(text); }

Ref<KVBitmapContext> over(Bytes &buffer, std::uint32_t width, std::uint32_t height, std::uint32_t rowBytes)
{
    return KVBitmapContext::bitmapContextWithBuffer(buffer.data(), width, height, rowBytes, QColorSpace());
}

Ref<KVBitmapContext> made(std::uint32_t width, std::uint32_t height, std::uint32_t rowBytes = 0)
{
    return KVBitmapContext::create(nullptr, width, height, rowBytes, QColorSpace());
}

Bytes counted(std::size_t size)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(i + 1);
    return bytes;
}

TEST(KVBitmapContextBlindTest, ChoosesRowsOf32ByteSteps)
{
    CapturedLog log;
    struct Row {
        std::uint32_t width, rowBytes;
    };
    for (const Row &row :
         {Row{1, 32}, Row{7, 32}, Row{8, 32}, Row{9, 64}, Row{10, 64}, Row{16, 64}, Row{17, 96}}) {
        const Ref<KVBitmapContext> context = made(row.width, 5);
        ASSERT_NE(context, nullptr);
        EXPECT_EQ(context->width(), row.width);
        EXPECT_EQ(context->height(), 5u);
        EXPECT_EQ(context->rowBytes(), row.rowBytes);
        ASSERT_NE(context->buffer(), nullptr);
        std::memset(context->buffer(), 1, row.rowBytes * 5);
        EXPECT_NE(context->context(), nullptr);
        EXPECT_TRUE(context->colorspace().isValid());
    }
    EXPECT_EQ(made(10, 5, 44)->rowBytes(), 44u);
    EXPECT_EQ(log.lines(), QStringList());
}

class RecordingAllocator : private Allocator {
public:
    std::vector<std::size_t> asked;
    bool empty = false;

private:
    void *allocate(std::size_t size) override
    {
        asked.push_back(size);
        return empty ? nullptr : std::malloc(size);
    }
    void *allocateZeroed(std::size_t size) override
    {
        asked.push_back(size);
        return empty ? nullptr : std::calloc(1, size);
    }
    ScopedService<Allocator> guard{this};
};

TEST(KVBitmapContextBlindTest, AllocatesOnlyABufferOfItsOwn)
{
    RecordingAllocator allocator;
    ASSERT_NE(made(10, 5), nullptr);
    ASSERT_FALSE(allocator.asked.empty());
    EXPECT_EQ(allocator.asked.front(), 320u);
    allocator.asked.clear();
    Bytes buffer(40);
    const Ref<KVBitmapContext> context = over(buffer, 5, 2, 20);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->buffer(), buffer.data());
    EXPECT_EQ(context->rowBytes(), 20u);
    allocator.asked.clear();
    EXPECT_EQ(made(0, 5), nullptr);
    EXPECT_EQ(allocator.asked, std::vector<std::size_t>());
}

TEST(KVBitmapContextBlindTest, SaysWhyItCannotBeMade)
{
    CapturedLog log;
    Bytes buffer(64);
    struct Row {
        std::uint8_t *buffer;
        std::uint32_t width, height, rowBytes;
        QStringList lines;
    };
    const std::vector<Row> rows{
        {nullptr, 0, 5, 0, {line(": inWidth is 0...")}},
        {buffer.data(), 0, 5, 64, {line(": inWidth is 0...")}},
        {nullptr, 5, 0, 0, {line(": inHeight is 0...")}},
        {nullptr, 0, 0, 0, {line(": inWidth is 0..."), line(": inHeight is 0...")}},
        {buffer.data(), 2, 2, 0, {line(": Failed to create bitmap context...")}},
        {buffer.data(), 4, 2, 15, {line(": Failed to create bitmap context...")}},
        {nullptr, 4, 2, 15, {line(": Failed to create bitmap context...")}},
        {nullptr, 65536, 65536, 0, {line(": Failed to allocte buffer...")}},
        {nullptr, 0x40000000u, 1, 0, {line(": Failed to allocte buffer...")}},
        {nullptr, 0xffffffffu, 0xffffffffu, 0, {line(": Failed to allocte buffer...")}},
        {nullptr, 1, 0xffffffffu, 0xffffffffu, {line(": Failed to allocte buffer...")}},
    };
    for (const Row &row : rows) {
        log.clear();
        EXPECT_EQ(KVBitmapContext::create(row.buffer, row.width, row.height, row.rowBytes, QColorSpace()),
                  nullptr);
        EXPECT_EQ(log.lines(), row.lines);
        log.clear();
        EXPECT_EQ(KVBitmapContext::bitmapContextWithBuffer(row.buffer, row.width, row.height, row.rowBytes,
                                                           CMProfile()),
                  nullptr);
        EXPECT_EQ(log.lines(), row.lines);
    }
    log.clear();
    RecordingAllocator allocator;
    allocator.empty = true;
    EXPECT_EQ(made(10, 5), nullptr);
    EXPECT_EQ(log.lines(), QStringList{line(": Failed to allocte buffer...")});
}

TEST(KVBitmapContextBlindTest, KeepsTheColourSpaceOrTheProfile)
{
    const QColorSpace adobe(QColorSpace::AdobeRgb);
    EXPECT_EQ(KVBitmapContext::create(nullptr, 2, 2, 0, adobe)->colorspace(), adobe);
    EXPECT_EQ(KVBitmapContext::bitmapContextWithBuffer(nullptr, 2, 2, 0, CMProfile(adobe.iccProfile()))
                  ->colorspace(),
              adobe);
    const QColorSpace generic = made(2, 2)->colorspace();
    EXPECT_EQ(KVBitmapContext::bitmapContextWithBuffer(nullptr, 2, 2, 0, CMProfile())->colorspace(), generic);
    const Ref<KVBitmapContext> broken =
        KVBitmapContext::bitmapContextWithBuffer(nullptr, 2, 2, 0, CMProfile(QByteArray("not a profile")));
    ASSERT_NE(broken, nullptr);
    EXPECT_EQ(broken->colorspace(), generic);
}

TEST(KVBitmapContextBlindTest, MirrorsInPlace)
{
    CapturedLog log;
    const Bytes before{1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 90, 91,
                       21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 92, 93};
    Bytes buffer = before;
    const Ref<KVBitmapContext> context = over(buffer, 3, 2, 14);
    context->flipHorizotal();
    EXPECT_EQ(buffer, (Bytes{9,  10, 11, 12, 5,  6,  7,  8,  1,  2,  3,  4,  90, 91,
                             29, 30, 31, 32, 25, 26, 27, 28, 21, 22, 23, 24, 92, 93}));
    context->flipHorizotal();
    EXPECT_EQ(buffer, before);
    context->flipVertical();
    EXPECT_EQ(buffer, (Bytes{21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 90, 91,
                             1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 92, 93}));
    context->flipVertical();
    EXPECT_EQ(buffer, before);
    EXPECT_EQ(log.lines(), QStringList());
}

TEST(KVBitmapContextBlindTest, FillsTheFirstByteOfEveryGroupOfTheBuffer)
{
    for (const std::size_t rowBytes : {32u, 13u, 14u, 15u, 12u}) {
        const std::uint32_t width = rowBytes == 32 ? 1 : 3;
        const std::uint32_t height = rowBytes == 32 ? 1 : 3;
        Bytes buffer = counted(rowBytes * height + 8);
        Bytes expected = buffer;
        for (std::size_t i = 0; i < rowBytes * height / 4; ++i)
            expected[4 * i] = 0xa5;
        over(buffer, width, height, static_cast<std::uint32_t>(rowBytes))->fillAlphaWithValue(0xa5);
        EXPECT_EQ(buffer, expected) << rowBytes;
    }
}

TEST(KVBitmapContextBlindTest, ErasesToAColourAndLeavesThePadding)
{
    Bytes buffer = counted(2 * 14);
    const Ref<KVBitmapContext> context = over(buffer, 3, 2, 14);
    context->eraseToColor(QColor(255, 0, 51));
    for (const std::size_t row : {0u, 14u}) {
        for (std::size_t x = 0; x < 3; ++x)
            EXPECT_EQ(Bytes(&buffer[row + 4 * x + 1], &buffer[row + 4 * x + 4]), (Bytes{255, 0, 51}));
        EXPECT_EQ(buffer[row + 12], static_cast<std::uint8_t>(row + 13));
        EXPECT_EQ(buffer[row + 13], static_cast<std::uint8_t>(row + 14));
    }
    context->eraseToColor(QColor::fromHsv(120, 255, 255));
    EXPECT_EQ(Bytes(&buffer[1], &buffer[4]), (Bytes{0, 255, 0}));
    context->eraseToColor(QColor(255, 0, 0, 128));
    EXPECT_NEAR(buffer[1], 128, 1);
    EXPECT_NEAR(buffer[2], 127, 1);
    EXPECT_EQ(buffer[3], 0);
    const Bytes before = buffer;
    context->eraseToColor(QColor());
    EXPECT_EQ(buffer, before);
}

// Colour correction.

struct Correction {
    double red, green, blue, saturation, gamma;
};

std::uint8_t stored(double value, double gamma)
{
    const double clamped = value < 0 ? 0 : value > 1 ? 1 : value;
    return static_cast<std::uint8_t>(static_cast<int>(std::pow(clamped, gamma) * 255 + 0.5));
}

void correct(Bytes &buffer, std::size_t size, const Correction &c)
{
    const volatile double lr = (1 - c.saturation) * 0.299;
    const volatile double lg = (1 - c.saturation) * 0.587;
    const volatile double lb = (1 - c.saturation) * 0.114;
    for (std::size_t i = 0; i + 4 <= size; i += 4) {
        const double r = buffer[i + 1] / 255.0;
        const double g = buffer[i + 2] / 255.0;
        const double b = buffer[i + 3] / 255.0;
        const double r1 = r * (c.saturation * c.red + lr) + g * lg + b * lb;
        const double g1 = r1 * lr + g * (c.saturation * c.green + lg) + b * lb;
        const double b1 = r1 * lr + g1 * lg + b * (c.saturation * c.blue + lb);
        buffer[i + 1] = stored(r1, c.gamma);
        buffer[i + 2] = stored(g1, c.gamma);
        buffer[i + 3] = stored(b1, c.gamma);
    }
}

TEST(KVBitmapContextBlindTest, CorrectsPureRedToTheKnownGrey)
{
    Bytes buffer{7, 255, 0, 0};
    over(buffer, 1, 1, 4)->colorCorrectWithRedFactor(1, 1, 1, 0, 1);
    EXPECT_EQ(buffer, (Bytes{7, 76, 23, 36}));
}

TEST(KVBitmapContextBlindTest, ChangesNothingWhenAllFactorsAreOne)
{
    Bytes buffer = counted(3 * 64);
    const Bytes before = buffer;
    over(buffer, 10, 3, 64)->colorCorrectWithRedFactor(1, 1, 1, 1, 1);
    EXPECT_EQ(buffer, before);
}

TEST(KVBitmapContextBlindTest, CorrectsLikeThePlainLoop)
{
    const std::vector<Correction> corrections{
        {1, 1, 1, 0, 1},          {1, 1, 1, 1, 2.2},       {1, 1, 1, 1, 1 / 2.2},   {1.2, 0.9, 1.1, 0.7, 1.8},
        {2, 0.5, 1, 3, 0.45},     {0, 0, 0, 1, 1},         {1, 1, 1, -1, 1},        {-1, 2, 0.3, 1.5, 1},
        {1, 1, 1, 0.5, 0},        {1, 1, 1, 1.0000001, 1}, {1, 1, 1.0000001, 1, 1}, {0.1, 0.1, 0.1, 0.2, 10},
        {1e9, -1e9, 1e9, 2, 0.1}, {1, 1, 1, 0, 0.1},       {1.05, 1, 0.95, 1.1, 1}, {1, 1, 1, 1, 100},
    };
    constexpr std::uint32_t width = 61;
    constexpr std::uint32_t rowBytes = 4 * width + 8;
    Bytes source(rowBytes * 67);
    std::uint32_t state = 12345;
    for (std::uint8_t &byte : source)
        byte = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
    for (const Correction &c : corrections) {
        Bytes expected = source;
        correct(expected, expected.size(), c);
        Bytes buffer = source;
        over(buffer, width, 67, rowBytes)
            ->colorCorrectWithRedFactor(c.red, c.green, c.blue, c.saturation, c.gamma);
        EXPECT_EQ(buffer, expected) << c.red << ' ' << c.saturation << ' ' << c.gamma;
    }
}

TEST(KVBitmapContextBlindTest, CorrectsGroupsFromTheBuffersStartAndNoIncompleteOne)
{
    Bytes buffer = counted(3 * 13 + 8);
    Bytes expected = buffer;
    correct(expected, 3 * 13, {1.2, 0.8, 1, 0.5, 1.3});
    over(buffer, 3, 3, 13)->colorCorrectWithRedFactor(1.2, 0.8, 1, 0.5, 1.3);
    EXPECT_EQ(buffer, expected);
}

TEST(KVBitmapContextBlindTest, CorrectsGreysAndEveryGammaStep)
{
    Bytes ramp;
    for (int v = 0; v < 256; ++v) {
        const auto b = static_cast<std::uint8_t>(v);
        ramp.insert(ramp.end(), {b, b, b, b});
    }
    for (int step = 1; step <= 60; ++step) {
        const Correction c{1, 1, 1, 1, 0.05 * step + 0.001};
        Bytes expected = ramp;
        correct(expected, expected.size(), c);
        Bytes buffer = ramp;
        over(buffer, 256, 1, 1024)->colorCorrectWithRedFactor(1, 1, 1, 1, c.gamma);
        EXPECT_EQ(buffer, expected) << c.gamma;
    }
}

TEST(KVBitmapContextBlindTest, SurvivesFactorsThatAreNoNumbers)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const Correction &c :
         {Correction{nan, 1, 1, 1, 1}, Correction{1, inf, 1, 1, 2}, Correction{1, 1, -inf, 1, 1},
          Correction{1, 1, 1, nan, nan}, Correction{1, 1, 1, 1, inf}, Correction{1, 1, 1, 1, -inf},
          Correction{1, 1, 1, inf, -1}}) {
        Bytes buffer = counted(64);
        over(buffer, 4, 4, 16)->colorCorrectWithRedFactor(c.red, c.green, c.blue, c.saturation, c.gamma);
        for (std::size_t i = 0; i < 64; i += 4)
            EXPECT_EQ(buffer[i], i + 1);
    }
}

// Sub-sampling.

TEST(KVBitmapContextBlindTest, KeepsEveryNthPixelPacked)
{
    struct Row {
        std::uint32_t factor, width, height;
    };
    for (const Row &row : {Row{3, 3, 1}, Row{2, 5, 2}, Row{1, 10, 5}, Row{5, 2, 1}, Row{4, 2, 1}}) {
        Bytes buffer = counted(5 * 44);
        const Bytes before = buffer;
        const Ref<KVBitmapContext> context = over(buffer, 10, 5, 44);
        const Ref<CGContext> old = context->context();
        context->subSampleWithFactor(row.factor);
        EXPECT_EQ(context->width(), row.width);
        EXPECT_EQ(context->height(), row.height);
        EXPECT_EQ(context->rowBytes(), row.width * 4);
        EXPECT_EQ(context->buffer(), buffer.data());
        ASSERT_NE(context->context(), nullptr);
        EXPECT_NE(context->context(), old);
        for (std::uint32_t y = 0; y < row.height; ++y)
            for (std::uint32_t x = 0; x < row.width; ++x)
                for (std::uint32_t b = 0; b < 4; ++b)
                    EXPECT_EQ(buffer[y * row.width * 4 + x * 4 + b],
                              before[y * row.factor * 44 + x * row.factor * 4 + b]);
        const std::size_t packed = row.width * row.height * 4;
        EXPECT_EQ(Bytes(buffer.begin() + static_cast<std::ptrdiff_t>(packed), buffer.end()),
                  Bytes(before.begin() + static_cast<std::ptrdiff_t>(packed), before.end()));
        EXPECT_EQ(context->image().size(), QSize(static_cast<int>(row.width), static_cast<int>(row.height)));
    }
}

TEST(KVBitmapContextBlindTest, SubSamplesToNothing)
{
    struct Row {
        std::uint32_t factor, width, height;
    };
    for (const Row &row : {Row{6, 1, 0}, Row{10, 1, 0}, Row{11, 0, 0}, Row{0xffffffffu, 0, 0}}) {
        Bytes buffer = counted(5 * 40);
        const Bytes before = buffer;
        const Ref<KVBitmapContext> context = over(buffer, 10, 5, 40);
        context->subSampleWithFactor(row.factor);
        EXPECT_EQ(context->width(), row.width);
        EXPECT_EQ(context->height(), row.height);
        EXPECT_EQ(context->rowBytes(), row.width * 4);
        EXPECT_EQ(context->context(), nullptr);
        EXPECT_TRUE(context->image().isNull());
        context->flipHorizotal();
        context->flipVertical();
        context->fillAlphaWithValue(0);
        context->eraseToColor(Qt::red);
        context->colorCorrectWithRedFactor(2, 2, 2, 2, 2);
        context->subSampleWithFactor(2);
        EXPECT_EQ(context->imageDescription().size(), 86);
        const QString path = Tests::scratchFolder() + QStringLiteral("/nothing.png");
        EXPECT_FALSE(context->savePNGFileAtPath(path));
        EXPECT_FALSE(QFileInfo::exists(path));
        EXPECT_EQ(buffer, before);
    }
}

TEST(KVBitmapContextBlindTest, DoesNothingForFactorZero)
{
    Bytes buffer = counted(5 * 44);
    const Bytes before = buffer;
    const Ref<KVBitmapContext> context = over(buffer, 10, 5, 44);
    const Ref<CGContext> old = context->context();
    context->subSampleWithFactor(0);
    EXPECT_EQ(context->width(), 10u);
    EXPECT_EQ(context->rowBytes(), 44u);
    EXPECT_EQ(context->context(), old);
    EXPECT_EQ(buffer, before);
}

TEST(KVBitmapContextBlindTest, WorksOnAfterSubSampling)
{
    Bytes buffer = counted(5 * 44);
    const Ref<KVBitmapContext> context = over(buffer, 10, 5, 44);
    context->subSampleWithFactor(2);
    context->eraseToColor(Qt::blue);
    EXPECT_EQ(Bytes(&buffer[37], &buffer[40]), (Bytes{0, 0, 255}));
    EXPECT_EQ(buffer[41], 42);
    context->subSampleWithFactor(2);
    EXPECT_EQ(context->width(), 2u);
    EXPECT_EQ(context->height(), 1u);
    EXPECT_EQ(context->rowBytes(), 8u);
}

// What comes out.

TEST(KVBitmapContextBlindTest, AnswersADeepCopyOfThePixels)
{
    Bytes buffer{9, 10, 20, 30, 9, 40, 50, 60, 1, 2, 9, 70, 80, 90, 0, 255, 0, 128, 3, 4};
    const Ref<KVBitmapContext> context = over(buffer, 2, 2, 10);
    const QImage image = context->image();
    ASSERT_EQ(image.size(), QSize(2, 2));
    EXPECT_EQ(image.pixel(0, 0), qRgb(10, 20, 30));
    EXPECT_EQ(image.pixel(1, 0), qRgb(40, 50, 60));
    EXPECT_EQ(image.pixel(0, 1), qRgb(70, 80, 90));
    EXPECT_EQ(image.pixel(1, 1), qRgb(255, 0, 128));
    buffer.assign(20, 0);
    EXPECT_EQ(image.pixel(0, 0), qRgb(10, 20, 30));
    EXPECT_EQ(context->image().pixel(0, 0), qRgb(0, 0, 0));
}

TEST(KVBitmapContextBlindTest, DescribesItselfIn86Bytes)
{
    const QByteArray expected = QByteArray::fromHex("00000056"
                                                    "72617720"
                                                    "00000000"
                                                    "00000000"
                                                    "00020000"
                                                    "4b454c56"
                                                    "00000000"
                                                    "00000400"
                                                    "028001e0"
                                                    "00480000"
                                                    "00480000"
                                                    "0012c000"
                                                    "0001") +
                                QByteArray(32, '\0') + QByteArray::fromHex("0020ffff");
    EXPECT_EQ(made(640, 480, 2560)->imageDescription(), expected);
    const QByteArray wide = made(70000, 1)->imageDescription();
    EXPECT_EQ(wide.mid(32, 4), QByteArray::fromHex("11700001"));
    EXPECT_EQ(wide.mid(44, 4), QByteArray::fromHex("000445c0"));
    EXPECT_EQ(made(3, 2, 60)->imageDescription().mid(82, 4), QByteArray::fromHex("0020ffff"));
}

TEST(KVBitmapContextBlindTest, SavesPNGFiles)
{
    Bytes buffer{9, 10, 20, 30, 9, 40, 50, 60, 1, 2, 9, 70, 80, 90, 0, 255, 0, 128, 3, 4};
    const Ref<KVBitmapContext> context = over(buffer, 2, 2, 10);
    const QString path = Tests::scratchFolder() + QStringLiteral("/saved \u00e4.dat");
    EXPECT_TRUE(context->savePNGFileAtPath(path));
    const QImage read(path, "PNG");
    ASSERT_EQ(read.size(), QSize(2, 2));
    EXPECT_EQ(read.pixel(1, 0), qRgb(40, 50, 60));
    EXPECT_EQ(read.pixel(1, 1), qRgb(255, 0, 128));
    buffer.assign(20, 1);
    EXPECT_TRUE(context->savePNGFileAtPath(path));
    EXPECT_EQ(QImage(path, "PNG").pixel(1, 1), qRgb(1, 1, 1));
}

TEST(KVBitmapContextBlindTest, SavesTheColourSpace)
{
    const QColorSpace adobe(QColorSpace::AdobeRgb);
    const Ref<KVBitmapContext> context = KVBitmapContext::create(nullptr, 2, 2, 0, adobe);
    context->eraseToColor(Qt::white);
    const QString path = Tests::scratchFolder() + QStringLiteral("/adobe.png");
    ASSERT_TRUE(context->savePNGFileAtPath(path));
    const QImage read(path);
    EXPECT_EQ(read.colorSpace().primaries(), QColorSpace::Primaries::AdobeRgb);
    EXPECT_EQ(context->image().colorSpace(), adobe);
    EXPECT_EQ(read.pixel(0, 0), qRgb(255, 255, 255));
}

TEST(KVBitmapContextBlindTest, AnswersWhetherSomethingIsAtThePath)
{
    const Ref<KVBitmapContext> context = made(2, 2);
    EXPECT_FALSE(context->savePNGFileAtPath(QString()));
    EXPECT_FALSE(context->savePNGFileAtPath(QStringLiteral("")));
    EXPECT_FALSE(context->savePNGFileAtPath(Tests::scratchFolder() + QStringLiteral("/missing/x.png")));
    EXPECT_FALSE(QFileInfo::exists(Tests::scratchFolder() + QStringLiteral("/missing")));
    const QString folder = Tests::scratchFolder() + QStringLiteral("/taken.png");
    ASSERT_TRUE(QDir().mkpath(folder));
    EXPECT_TRUE(context->savePNGFileAtPath(folder));
    EXPECT_TRUE(QFileInfo(folder).isDir());
    // nothing to write, but something is there
    const QString path = Tests::scratchFolder() + QStringLiteral("/old.png");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("old");
    file.close();
    context->subSampleWithFactor(3);
    EXPECT_TRUE(context->savePNGFileAtPath(path));
    EXPECT_EQ(QFileInfo(path).size(), 3);
}

// Drawing.

TEST(KVBitmapContextBlindTest, DrawsFromTheBottomLeftAndNotIntoTheFirstByte)
{
    Bytes buffer(5 * 26, 0x5a);
    const Ref<KVBitmapContext> context = over(buffer, 6, 5, 26);
    context->context()->draw([](QPainter &painter) {
        painter.fillRect(QRect(0, 0, 2, 1), QColor(255, 0, 0));
        painter.fillRect(QRect(5, 4, 1, 1), QColor(0, 255, 0));
    });
    Bytes expected(5 * 26, 0x5a);
    for (const std::size_t at : {4u * 26, 4u * 26 + 4}) {
        expected[at + 1] = 255;
        expected[at + 2] = 0;
        expected[at + 3] = 0;
    }
    expected[21] = 0;
    expected[22] = 255;
    expected[23] = 0;
    EXPECT_EQ(buffer, expected);
}

TEST(KVBitmapContextBlindTest, DrawsImagesUpright)
{
    QImage picture(2, 2, QImage::Format_RGB32);
    picture.setPixel(0, 0, qRgb(1, 2, 3));
    picture.setPixel(1, 0, qRgb(4, 5, 6));
    picture.setPixel(0, 1, qRgb(7, 8, 9));
    picture.setPixel(1, 1, qRgb(10, 11, 12));
    Bytes buffer(4 * 16, 0);
    over(buffer, 4, 4, 16)->context()->draw([&](QPainter &painter) {
        painter.drawImage(QRectF(1, 1, 2, 2), picture);
    });
    const QImage shown = over(buffer, 4, 4, 16)->image();
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            EXPECT_EQ(shown.pixel(x + 1, y + 1), picture.pixel(x, y)) << x << y;
    EXPECT_EQ(shown.pixel(0, 0), qRgb(0, 0, 0));
}

TEST(KVBitmapContextBlindTest, SeesWhatTheCallerWroteIntoTheBuffer)
{
    Bytes buffer(16, 0);
    const Ref<KVBitmapContext> context = over(buffer, 2, 2, 8);
    context->context()->draw([](QPainter &painter) { painter.fillRect(QRect(0, 0, 1, 1), Qt::white); });
    buffer[5] = 77;
    context->context()->draw(
        [](QPainter &painter) { painter.fillRect(QRect(0, 0, 1, 1), QColor(0, 0, 0, 128)); });
    EXPECT_EQ(buffer[5], 77);
    EXPECT_NEAR(buffer[9], 127, 1);
    EXPECT_EQ(context->context()->image().pixel(1, 0), qRgb(77, 0, 0));
}

} // namespace
} // namespace KVBase
