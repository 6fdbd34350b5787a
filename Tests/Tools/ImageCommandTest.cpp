#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtGui/QImage>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using Tests::runTool;
using Tests::ToolResult;

class ImageCommandTest : public testing::Test {
protected:
    void SetUp() override
    {
        folder = Tests::scratchFolder() + QStringLiteral("/images");
        QDir(folder).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(folder));
        QImage picture(40, 30, QImage::Format_RGB32);
        picture.fill(QColor(10, 20, 30));
        picture.setPixelColor(0, 0, QColor(200, 100, 50));
        ASSERT_TRUE(picture.save(path("a.png")));
        QFile broken(path("broken.png"));
        ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
        broken.write("no picture");
    }

    QString path(const char *name) const { return folder + u'/' + QString::fromUtf8(name); }

    ToolResult image(const QStringList &arguments)
    {
        return runTool(QStringList{QStringLiteral("image")} + arguments);
    }

    QString folder;
};

TEST_F(ImageCommandTest, FitPrintsTheRectangle)
{
    ToolResult result = image({QStringLiteral("fit"), QStringLiteral("400x300"), QStringLiteral("200x200"),
                               QStringLiteral("--center")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.text(), QStringLiteral("0 25 200 150"));
    result = image({QStringLiteral("fit"), QStringLiteral("400x300"), QStringLiteral("200x200"),
                    QStringLiteral("--center"), QStringLiteral("--cover"), QStringLiteral("--json")});
    EXPECT_EQ(result.json().toObject(), (QJsonObject{{QStringLiteral("x"), 33},
                                                     {QStringLiteral("y"), 0},
                                                     {QStringLiteral("width"), 266},
                                                     {QStringLiteral("height"), 200}}));
    EXPECT_EQ(image({QStringLiteral("fit"), QStringLiteral("400"), QStringLiteral("200x200")}).exitCode, 64);
}

TEST_F(ImageCommandTest, InfoGoesOnAfterABadFile)
{
    const ToolResult result =
        image({QStringLiteral("info"), path("broken.png"), path("a.png"), QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 2);
    const QJsonArray reports = result.json().toArray();
    ASSERT_EQ(reports.size(), 2);
    EXPECT_TRUE(reports[0].toObject().contains(QStringLiteral("error")));
    EXPECT_EQ(reports[1].toObject()[QStringLiteral("pixelsWide")].toInt(), 40);
    EXPECT_EQ(reports[1].toObject()[QStringLiteral("pixelsHigh")].toInt(), 30);
    EXPECT_TRUE(result.err.contains("broken.png"));
}

TEST_F(ImageCommandTest, ScaleCoverCropFlipAndConvertWriteFiles)
{
    EXPECT_EQ(image({QStringLiteral("scale"), path("a.png"), QStringLiteral("--size"),
                     QStringLiteral("20x15"), QStringLiteral("-o"), path("scaled.png")})
                  .exitCode,
              0);
    EXPECT_EQ(QImage(path("scaled.png")).size(), QSize(20, 15));
    EXPECT_EQ(image({QStringLiteral("cover"), path("a.png"), QStringLiteral("--size"),
                     QStringLiteral("10x10"), QStringLiteral("-o"), path("covered.png")})
                  .exitCode,
              0);
    EXPECT_EQ(QImage(path("covered.png")).size(), QSize(10, 10));
    EXPECT_EQ(image({QStringLiteral("crop"), path("a.png"), QStringLiteral("--rect"),
                     QStringLiteral("0,28,3,2"), QStringLiteral("-o"), path("cropped.png")})
                  .exitCode,
              0);
    EXPECT_EQ(QImage(path("cropped.png")).size(), QSize(3, 2));
    EXPECT_EQ(QImage(path("cropped.png")).pixelColor(0, 0), QColor(200, 100, 50));
    EXPECT_EQ(image({QStringLiteral("flip"), path("a.png"), QStringLiteral("--direction"),
                     QStringLiteral("turn"), QStringLiteral("-o"), path("turned.png")})
                  .exitCode,
              0);
    EXPECT_EQ(QImage(path("turned.png")).pixelColor(39, 29), QColor(200, 100, 50));
    EXPECT_EQ(image({QStringLiteral("convert"), path("a.png"), QStringLiteral("-o"), path("a.bmp")}).exitCode,
              0);
    EXPECT_EQ(QImage(path("a.bmp")).pixelColor(0, 0), QColor(200, 100, 50));
}

TEST_F(ImageCommandTest, SeveralFilesGoIntoAFolderAndFailuresAreToldAtTheEnd)
{
    ASSERT_TRUE(QFile::copy(path("a.png"), path("b.png")));
    const ToolResult result = image({QStringLiteral("scale"), path("a.png"), path("broken.png"),
                                     path("b.png"), QStringLiteral("--size"), QStringLiteral("4x3"),
                                     QStringLiteral("-o"), path("out"), QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(QImage(path("out/a.png")).size(), QSize(4, 3));
    EXPECT_EQ(QImage(path("out/b.png")).size(), QSize(4, 3));
    EXPECT_FALSE(QFile::exists(path("out/broken.png")));
    EXPECT_TRUE(result.err.contains("broken.png: "));
    EXPECT_EQ(result.json().toArray().size(), 3);
}

TEST_F(ImageCommandTest, ASecondFileOfTheSameNameDoesNotReplaceTheFirstOne)
{
    ASSERT_TRUE(QDir(folder).mkpath(QStringLiteral("other")));
    ASSERT_TRUE(QDir(folder).mkpath(QStringLiteral("third")));
    ASSERT_TRUE(QImage(3, 2, QImage::Format_RGB32).save(path("other/a.png")));
    ASSERT_TRUE(QFile::copy(path("broken.png"), path("third/a.png")));
    const ToolResult result = image({QStringLiteral("convert"), path("third/a.png"), path("a.png"),
                                     path("other/a.png"), QStringLiteral("-o"), path("out")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err.count("A picture of that name has been written already"), 1);
    EXPECT_EQ(QImage(path("out/a.png")).size(), QSize(40, 30));
}

TEST_F(ImageCommandTest, SizesAndNamesThatMakeNoSenseAreRefused)
{
    EXPECT_EQ(image({QStringLiteral("scale"), path("a.png"), QStringLiteral("--size"), QStringLiteral("big"),
                     QStringLiteral("-o"), path("x.png")})
                  .exitCode,
              64);
    EXPECT_EQ(image({QStringLiteral("scale"), path("a.png"), QStringLiteral("--size"),
                     QStringLiteral("100000x100000"), QStringLiteral("-o"), path("x.png")})
                  .exitCode,
              2);
    EXPECT_EQ(
        image({QStringLiteral("convert"), path("a.png"), QStringLiteral("-o"), path("x.unknown")}).exitCode,
        2);
    EXPECT_EQ(
        image({QStringLiteral("convert"), path("missing.png"), QStringLiteral("-o"), path("x.png")}).exitCode,
        2);
    EXPECT_EQ(image({}).exitCode, 64);
    EXPECT_FALSE(QFile::exists(path("x.png")));
}

TEST_F(ImageCommandTest, SaysNothingAboutTheSession)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *variable : {"XDG_RUNTIME_DIR", "DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QString::fromLatin1(variable));
    const ToolResult result = Tests::runProgram(Tests::programFolder() + QStringLiteral("/kvbase"),
                                                {QStringLiteral("image"), QStringLiteral("fit"),
                                                 QStringLiteral("400x300"), QStringLiteral("200x200")},
                                                {}, environment);
    EXPECT_EQ(result.text(), QStringLiteral("0 0 200 150"));
    EXPECT_EQ(result.err, QByteArray());
}

} // namespace
} // namespace KVBase
