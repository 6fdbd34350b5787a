#include "Imaging/ImagingSupport.h"
#include "Support/OffscreenApplication.h"
#include "Support/TestPaths.h"

#include <KVBase/Platform/NSDrawingSession.h>
#include <KVBase/Platform/NSImage.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QtEndian>
#include <QtGui/QPainter>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace KVBase
{
namespace
{

using namespace Tests;
using testing::ElementsAre;

Ref<NSBitmapImageRep> made(std::int32_t wide, std::int32_t high, std::int32_t bits, std::int32_t samples,
                           bool alpha, bool planar, std::int32_t rowBytes, std::int32_t pixelBits)
{
    return NSBitmapImageRep::create(nullptr, wide, high, bits, samples, alpha, planar,
                                    QString(NSCalibratedRGBColorSpace), rowBytes, pixelBits);
}

TEST(NSBitmapImageRepTest, WorksOutWhatIsLeftAtZero)
{
    const auto rep = made(3, 2, 8, 3, false, false, 0, 0);
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->bytesPerRow(), 9);
    EXPECT_EQ(rep->bitsPerPixel(), 24);
    EXPECT_EQ(rep->byteCount(), 18u);
    EXPECT_EQ(rep->size(), NSMakeSize(3, 2));
    EXPECT_EQ(bytesOf(rep), Bytes(18));
    const auto planar = made(3, 2, 8, 4, true, true, 0, 0);
    EXPECT_EQ(planar->bytesPerRow(), 3);
    EXPECT_EQ(planar->bitsPerPixel(), 8);
    EXPECT_EQ(planar->byteCount(), 24u);
    const auto bits = made(9, 1, 1, 1, false, false, 0, 0);
    EXPECT_EQ(bits->bytesPerRow(), 2);
}

TEST(NSBitmapImageRepTest, NumbersThatMakeNoBitmapGiveNil)
{
    RecordingAllocator memory;
    const ScopedService<Allocator> guard(&memory);
    EXPECT_EQ(made(0, 2, 8, 4, true, false, 0, 0), nullptr);
    EXPECT_EQ(made(2, -1, 8, 4, true, false, 0, 0), nullptr);
    EXPECT_EQ(made(2, 2, 0, 4, true, false, 0, 0), nullptr);
    EXPECT_EQ(made(2, 2, 17, 4, true, false, 0, 0), nullptr);
    EXPECT_EQ(made(2, 2, 8, 0, false, false, 0, 0), nullptr);
    EXPECT_EQ(made(2, 2, 8, 9, false, false, 0, 0), nullptr);
    EXPECT_EQ(made(2, 2, 8, 4, true, false, 7, 32), nullptr) << "rows shorter than their pixels";
    EXPECT_EQ(made(2, 2, 8, 4, true, false, 8, 24), nullptr);
    EXPECT_EQ(made(2, 2, 8, 4, true, false, -8, 32), nullptr);
    EXPECT_EQ(made(100000, 100000, 8, 4, true, false, 0, 0), nullptr);
    EXPECT_EQ(made(2147483647, 2147483647, 16, 8, true, true, 0, 0), nullptr);
    EXPECT_EQ(memory.largest, 0u);
}

TEST(NSBitmapImageRepTest, EveryLayoutBecomesAPicture)
{
    const auto color = [](const Ref<NSBitmapImageRep> &rep) { return rep->toImage().pixelColor(0, 0); };
    const auto with = [](const Bytes &bytes, std::int32_t bits, std::int32_t samples, bool alpha,
                         bool planar) {
        return NSBitmapImageRep::create(blockOf(bytes), 1, 1, bits, samples, alpha, planar,
                                        QString(NSCalibratedRGBColorSpace), 0, 0);
    };
    EXPECT_EQ(color(with({10, 20, 30}, 8, 3, false, false)), QColor(10, 20, 30));
    EXPECT_EQ(color(with({10, 20, 30, 255}, 8, 4, true, false)), QColor(10, 20, 30));
    EXPECT_EQ(color(with({10, 20, 30, 255}, 8, 4, true, true)), QColor(10, 20, 30));
    EXPECT_EQ(color(with({90}, 8, 1, false, false)), QColor(90, 90, 90));
    EXPECT_EQ(color(with({0x80}, 1, 1, false, false)), QColor(255, 255, 255));
    EXPECT_EQ(color(with({0x40}, 1, 1, false, false)), QColor(0, 0, 0));
    EXPECT_EQ(color(with({0xf8}, 4, 2, true, false)).alpha(), 136);
    EXPECT_EQ(color(with({0, 0, 0, 0}, 8, 4, false, false)), QColor(255, 255, 255)) << "no ink";
    EXPECT_EQ(color(with({255, 0, 0, 0}, 8, 4, false, false)), QColor(0, 255, 255));
    EXPECT_EQ(color(with({0, 0, 0, 255, 255}, 8, 5, true, false)), QColor(0, 0, 0));
    EXPECT_EQ(color(with({0, 0x80, 0xff, 0xff, 0, 0}, 16, 3, false, false)).green(), 255);
}

TEST(NSBitmapImageRepTest, SharesAPictureUntilOneIsWrittenTo)
{
    const auto rep = rgbaBitmap({1, 2, 3, 255}, 1, 1);
    const std::uint8_t *before = rep->bitmapData();
    const QImage picture = rep->toImage();
    EXPECT_EQ(picture.constBits(), before) << "no copy";
    rep->bitmapData()[0] = 99;
    EXPECT_EQ(picture.constBits()[0], 1);
    EXPECT_EQ(rep->bitmapData()[0], 99);

    QImage source(2, 2, QImage::Format_RGBA8888_Premultiplied);
    source.fill(Qt::white);
    const auto shared = NSBitmapImageRep::create(source);
    shared->bitmapData()[0] = 7;
    EXPECT_EQ(source.constBits()[0], 255);
}

TEST(NSBitmapImageRepTest, ABorrowedBlockStaysItsOwners)
{
    std::uint8_t pixel[4] = {1, 2, 3, 255};
    QImage picture;
    {
        const auto rep = NSBitmapImageRep::createBorrowing(pixel, 1, 1, 8, 4, true, false,
                                                           QString(NSCalibratedRGBColorSpace), 4, 32);
        ASSERT_NE(rep, nullptr);
        EXPECT_EQ(rep->bitmapData(), pixel);
        picture = rep->toImage();
        pixel[0] = 50;
        EXPECT_EQ(rep->bitmapData()[0], 50);
    }
    EXPECT_EQ(picture.pixelColor(0, 0), QColor(1, 2, 3)) << "a copy outlives the block";
}

TEST(NSBitmapImageRepTest, NullPicturesAreNil)
{
    EXPECT_EQ(NSBitmapImageRep::create(QImage()), nullptr);
    EXPECT_EQ(NSImage::create(QImage()), nullptr);
    const auto noData = NSBitmapImageRep::createBorrowing(nullptr, 2, 2, 8, 4, true, false, QString(), 0, 0);
    ASSERT_NE(noData, nullptr);
    EXPECT_EQ(noData->byteCount(), 0u);
    EXPECT_TRUE(noData->toImage().isNull());
}

TEST(NSImageTest, SizeIsItsOwnOrThatOfTheLargestRepresentation)
{
    const Ref<NSImage> image = NSImage::create();
    EXPECT_EQ(image->size(), NSMakeSize(0, 0));
    EXPECT_FALSE(image->isValid());
    image->addRepresentation(nullptr);
    EXPECT_TRUE(image->representations().empty());
    const auto rep = rgbaBitmap(Bytes(24), 3, 2);
    rep->setSize({30, 20});
    image->addRepresentation(rep);
    EXPECT_TRUE(image->isValid());
    EXPECT_EQ(image->size(), NSMakeSize(30, 20));
    image->setSize({5, 6});
    EXPECT_EQ(image->size(), NSMakeSize(5, 6));
    EXPECT_EQ(rep->size(), NSMakeSize(30, 20));
}

TEST(NSDrawingSessionTest, TheOriginIsAtTheBottomLeft)
{
    const Ref<NSImage> image = NSImage::create(NSMakeSize(3, 2));
    {
        NSDrawingSession session(image);
        session.painter().fillRect(QRectF(0, 0, 1, 1), QColor(1, 2, 3));
        EXPECT_THAT(bytesOf(session.bitmapInRect(NSMakeRect(0, 0, 1, 1))), ElementsAre(1, 2, 3, 255));
    }
    const QImage picture = image->toImage();
    EXPECT_EQ(picture.size(), QSize(3, 2));
    EXPECT_EQ(picture.pixelColor(0, 1), QColor(1, 2, 3));
    EXPECT_EQ(picture.pixelColor(0, 0).alpha(), 0);
}

TEST(NSDrawingSessionTest, LookingLeavesTheImageAlone)
{
    const Ref<NSImage> image = NSImage::create();
    const auto rep = rgbaBitmap(chart(3, 2), 3, 2);
    image->addRepresentation(rep);
    EXPECT_THAT(bytesOf(NSDrawingSession(image).bitmapInRect(NSMakeRect(0, 0, 1, 1))),
                ElementsAre(0, 1, 13, 255));
    EXPECT_THAT(image->representations(), ElementsAre(rep));
}

TEST(NSDrawingSessionTest, OverlappingSessionsAreIndependent)
{
    const Ref<NSImage> image = NSImage::create(NSMakeSize(1, 1));
    {
        NSDrawingSession outer(image);
        outer.painter().fillRect(QRectF(0, 0, 1, 1), Qt::red);
        {
            NSDrawingSession inner(image);
            inner.painter().fillRect(QRectF(0, 0, 1, 1), Qt::blue);
        }
        EXPECT_EQ(image->toImage().pixelColor(0, 0), QColor(Qt::blue));
    }
    EXPECT_EQ(image->toImage().pixelColor(0, 0), QColor(Qt::red));
}

TEST(NSDrawingSessionTest, DrawsScaledPartsOfImages)
{
    const Ref<NSImage> source = NSImage::create();
    source->addRepresentation(rgbaBitmap({255, 0, 0, 255, 0, 0, 255, 255}, 2, 1));
    const Ref<NSImage> image = NSImage::create(NSMakeSize(4, 4));
    {
        NSDrawingSession session(image);
        session.drawImage(source, NSMakeRect(1, 1, 2, 2), NSMakeRect(1, 0, 1, 1), NSCompositeCopy, 1);
    }
    EXPECT_EQ(image->toImage().pixelColor(2, 2), QColor(0, 0, 255));
    EXPECT_EQ(image->toImage().pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image->toImage().pixelColor(3, 3).alpha(), 0);
}

TEST(NSDrawingSessionTest, NilAndOversizedImagesDropTheDrawing)
{
    for (const Ref<NSImage> &image :
         {Ref<NSImage>(), NSImage::create(NSMakeSize(100000, 100000)), NSImage::create()}) {
        NSDrawingSession session(image);
        session.painter().fillRect(QRectF(0, 0, 1, 1), Qt::red);
        session.drawImage(NSImage::create(), NSMakeRect(0, 0, 1, 1), NSMakeRect(0, 0, 1, 1), NSCompositeCopy,
                          1);
        session.drawImage(nullptr, NSMakeRect(0, 0, 1, 1), NSMakeRect(0, 0, 1, 1), NSCompositeCopy, 1);
        EXPECT_EQ(session.bitmapInRect(NSMakeRect(0, 0, 1, 1)), nullptr);
    }
}

class NSImageFilesTest : public testing::Test {
protected:
    void SetUp() override
    {
        Tests::makeOffscreenApplication();
        folder = scratchFolder() + QStringLiteral("/nsimage");
        QDir(folder).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(folder));
    }

    QString path(const char *name) const { return folder + u'/' + QString::fromUtf8(name); }

    QString write(const char *name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path(name);
    }

    QByteArray read(const QString &name) const
    {
        QFile file(name);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }

    Ref<NSImage> sample() const
    {
        const Ref<NSImage> image = NSImage::create();
        image->addRepresentation(rgbaBitmap(chart(20, 10), 20, 10));
        return image;
    }

    QString folder;
};

TEST_F(NSImageFilesTest, WhatIsWrittenIsRead)
{
    for (const char *name : {"a.png", "a.bmp", "A.PNG", "a.ppm"}) {
        QString error;
        ASSERT_TRUE(sample()->writeToFile(path(name), &error)) << name << qPrintable(error);
        const Ref<NSImage> image = NSImage::imageWithContentsOfFile(path(name), &error);
        ASSERT_NE(image, nullptr) << name << qPrintable(error);
        EXPECT_EQ(image->size(), NSMakeSize(20, 10));
        EXPECT_EQ(image->toImage().pixelColor(3, 2), QColor(3, 2, 47)) << name;
    }
}

TEST_F(NSImageFilesTest, TheContentsDecideNotTheName)
{
    ASSERT_TRUE(sample()->writeToFile(path("a.png")));
    ASSERT_TRUE(QFile::copy(path("a.png"), path("a.jpg")));
    EXPECT_NE(NSImage::imageWithContentsOfFile(path("a.jpg")), nullptr);
}

TEST_F(NSImageFilesTest, WhatCannotBeReadIsNilWithAReason)
{
    ASSERT_TRUE(sample()->writeToFile(path("a.png")));
    const QByteArray whole = read(path("a.png"));
    ASSERT_EQ(mkfifo(path("pipe").toUtf8().constData(), 0600), 0);
    const QString bad[] = {write("empty.png", {}),
                           write("one.png", "x"),
                           write("truncated.png", whole.left(whole.size() / 2)),
                           write("text.png", "this is no picture"),
                           path("missing.png"),
                           path("pipe"),
                           folder,
                           QString()};
    for (const QString &name : bad) {
        QString error;
        EXPECT_EQ(NSImage::imageWithContentsOfFile(name, &error), nullptr) << qPrintable(name);
        EXPECT_FALSE(error.isEmpty()) << qPrintable(name);
    }
}

TEST_F(NSImageFilesTest, HugeClaimsAreRefusedBeforeDecoding)
{
    // A bitmap file of 54 bytes that claims 60000 x 60000 pixels.
    QByteArray header(54, '\0');
    header.replace(0, 2, "BM");
    qToLittleEndian<quint32>(54, header.data() + 2);
    qToLittleEndian<quint32>(54, header.data() + 10);
    qToLittleEndian<quint32>(40, header.data() + 14);
    qToLittleEndian<qint32>(60000, header.data() + 18);
    qToLittleEndian<qint32>(60000, header.data() + 22);
    qToLittleEndian<quint16>(1, header.data() + 26);
    qToLittleEndian<quint16>(24, header.data() + 28);
    QString error;
    EXPECT_EQ(NSImage::imageWithContentsOfFile(write("bomb.bmp", header), &error), nullptr);
    EXPECT_FALSE(error.isEmpty());

    // A small file that would unpack to 320 million bytes.
    QImage blank(10000, 8000, QImage::Format_Mono);
    blank.fill(0);
    ASSERT_TRUE(blank.save(path("bomb.png")));
    EXPECT_LT(QFile(path("bomb.png")).size(), 1000000);
    EXPECT_EQ(NSImage::imageWithContentsOfFile(path("bomb.png"), &error), nullptr);
    EXPECT_EQ(error, QStringLiteral("The picture is larger than can be decoded"));
}

TEST_F(NSImageFilesTest, AFailedWriteKeepsTheOldFile)
{
    const QString old = write("old.unknown", "old");
    QString error;
    EXPECT_FALSE(sample()->writeToFile(old, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(read(old), QByteArray("old"));
    EXPECT_FALSE(NSImage::create()->writeToFile(path("nothing.png"), &error));
    EXPECT_FALSE(sample()->writeToFile(folder + QStringLiteral("/missing/a.png"), &error));
}

} // namespace
} // namespace KVBase
