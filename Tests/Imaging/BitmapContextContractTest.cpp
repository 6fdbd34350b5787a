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

TEST(BitmapContextContractTest, AllocatesOnlyABufferOfItsOwn)
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

TEST(BitmapContextContractTest, SaysWhyItCannotBeMade)
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

TEST(BitmapContextContractTest, FillsTheFirstByteOfEveryGroupOfTheBuffer)
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

TEST(BitmapContextContractTest, ErasesToAColourAndLeavesThePadding)
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

TEST(BitmapContextContractTest, KeepsEveryNthPixelPacked)
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

TEST(BitmapContextContractTest, SubSamplesToNothing)
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

TEST(BitmapContextContractTest, AnswersWhetherSomethingIsAtThePath)
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

TEST(BitmapContextContractTest, DrawsFromTheBottomLeftAndNotIntoTheFirstByte)
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

TEST(BitmapContextContractTest, SeesWhatTheCallerWroteIntoTheBuffer)
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
