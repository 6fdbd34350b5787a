#include "Support/OffscreenApplication.h"
#include "Support/TestPaths.h"

#include <KVBase/Platform/NSImage.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtGui/QImageReader>
#include <QtGui/QImageWriter>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

class PictureFormatsTest : public testing::Test {
protected:
    void SetUp() override
    {
        Tests::makeOffscreenApplication();
        ASSERT_TRUE(QDir().mkpath(folder));
    }

    QString write(const char *name, const QByteArray &bytes) const
    {
        const QString path = folder + u'/' + QString::fromLatin1(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }

    /// Three by two red pixels where a plug-in of that format is installed, else a reason that names it.
    void expectRedOrReason(const QString &path, const QByteArray &format)
    {
        QString error;
        const Ref<NSImage> image = NSImage::imageWithContentsOfFile(path, &error);
        if (!QImageReader::supportedImageFormats().contains(format)) {
            EXPECT_EQ(image, nullptr);
            EXPECT_EQ(error, QStringLiteral("No plug-in that reads image/%1 is installed")
                                 .arg(QString::fromLatin1(format)));
            return;
        }
        ASSERT_NE(image, nullptr) << qPrintable(error);
        EXPECT_EQ(image->size(), NSMakeSize(3, 2));
        const QColor color = image->toImage().pixelColor(2, 1);
        EXPECT_GE(color.red(), 250);
        EXPECT_LE(color.green() + color.blue(), 10);
        EXPECT_EQ(color.alpha(), 255);
    }

    QString folder = Tests::scratchFolder() + QStringLiteral("/formats");
};

TEST_F(PictureFormatsTest, ReadsTIFFWhereAPluginDoes)
{
    // Little-endian, one strip of plain RGB behind the directory of nine entries.
    const QByteArray bytes = QByteArray::fromHex("49492a0008000000"
                                                 "0900"
                                                 "000103000100000003000000"
                                                 "010103000100000002000000"
                                                 "02010300030000007a000000"
                                                 "030103000100000001000000"
                                                 "060103000100000002000000"
                                                 "110104000100000080000000"
                                                 "150103000100000003000000"
                                                 "160103000100000002000000"
                                                 "170104000100000012000000"
                                                 "00000000"
                                                 "080008000800"
                                                 "ff0000ff0000ff0000ff0000ff0000ff0000");
    expectRedOrReason(write("red.tiff", bytes), "tiff");
    expectRedOrReason(write("red tiff.png", bytes), "tiff");
}

TEST_F(PictureFormatsTest, ReadsWebPWhereAPluginDoes)
{
    const QByteArray bytes =
        QByteArray::fromHex("524946463c000000574542505650382030000000d001009d012a030002000200"
                            "3425a00274ba01f80003b000fef0c40bff20b96175c8d7ff203fe407fc80fff8"
                            "f2000000");
    expectRedOrReason(write("red.webp", bytes), "webp");
}

TEST_F(PictureFormatsTest, SaysWhatIsWrongWithAFile)
{
    const struct {
        const char *name;
        QByteArray bytes;
        const char *reason;
    } rows[] = {{"text.png", "this is no picture", "Not a picture"},
                {"empty.png", "", "Not a picture"},
                {"short.png", "\x89PNG", "The picture is damaged"},
                {"drawing.png", "gimp xcf v011", "No plug-in that reads image/x-xcf is installed"}};
    for (const auto &row : rows) {
        QString error;
        EXPECT_EQ(NSImage::imageWithContentsOfFile(write(row.name, row.bytes), &error), nullptr);
        EXPECT_EQ(error.toStdString(), row.reason) << row.name;
    }
}

TEST_F(PictureFormatsTest, SaysWhyANameCannotBeWritten)
{
    QImage picture(3, 2, QImage::Format_RGB32);
    picture.fill(Qt::red);
    const Ref<NSImage> image = NSImage::create(picture);
    QString error;
    for (const char *name : {"a.txt", "a", "a.png.unheardof"}) {
        EXPECT_FALSE(image->writeToFile(folder + u'/' + QString::fromLatin1(name), &error)) << name;
        EXPECT_EQ(error, QStringLiteral("The name does not end in a picture format")) << name;
    }
    EXPECT_FALSE(image->writeToFile(folder + QStringLiteral("/a.xcf"), &error));
    EXPECT_EQ(error, QStringLiteral("No plug-in that writes image/x-xcf is installed"));
    const QString tiff = folder + QStringLiteral("/a.tiff");
    ASSERT_EQ(image->writeToFile(tiff, &error), QImageWriter::supportedImageFormats().contains("tiff"));
    if (QFile::exists(tiff))
        expectRedOrReason(tiff, "tiff");
    else
        EXPECT_EQ(error, QStringLiteral("No plug-in that writes image/tiff is installed"));
}

} // namespace
} // namespace KVBase
