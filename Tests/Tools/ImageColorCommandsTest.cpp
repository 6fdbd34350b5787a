#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtGui/QImage>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using Tests::runTool;
using Tests::ToolResult;

class ImageColorCommandsTest : public testing::Test {
protected:
    void SetUp() override
    {
        folder = Tests::scratchFolder() + QStringLiteral("/colors");
        QDir(folder).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(folder));
        QImage picture(3, 2, QImage::Format_ARGB32);
        picture.fill(QColor(100, 200, 64));
        picture.setPixelColor(0, 0, QColor(255, 0, 0));
        picture.setPixelColor(2, 1, QColor(0, 0, 0, 0));
        ASSERT_TRUE(picture.save(path("a.png")));
    }

    QString path(const char *name) const { return folder + u'/' + QString::fromUtf8(name); }

    ToolResult correct(const QStringList &options)
    {
        return runTool(QStringList{QStringLiteral("image"), QStringLiteral("correct")} + options);
    }

    ToolResult checkerboard(const QStringList &options)
    {
        return runTool(QStringList{QStringLiteral("image"), QStringLiteral("checkerboard")} + options);
    }

    QString folder;
};

TEST_F(ImageColorCommandsTest, CorrectChangesTheColoursAndKeepsTheAlpha)
{
    const ToolResult result =
        correct({QStringLiteral("--red"), QStringLiteral("0.5"), QStringLiteral("--blue"),
                 QStringLiteral("0"), path("a.png"), QStringLiteral("-o"), path("out.png")});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QImage picture(path("out.png"));
    ASSERT_EQ(picture.size(), QSize(3, 2));
    EXPECT_EQ(picture.pixelColor(1, 0), QColor(50, 200, 0));
    EXPECT_EQ(picture.pixelColor(0, 0), QColor(128, 0, 0));
    EXPECT_EQ(picture.pixelColor(2, 1).alpha(), 0);
}

TEST_F(ImageColorCommandsTest, CorrectTakesTheColoursAwayAndBendsThem)
{
    EXPECT_EQ(correct({path("a.png"), QStringLiteral("--saturation"), QStringLiteral("0"),
                       QStringLiteral("-o"), path("grey.png")})
                  .exitCode,
              0);
    EXPECT_EQ(QImage(path("grey.png")).pixelColor(0, 0), QColor(76, 23, 36));
    EXPECT_EQ(correct({path("a.png"), QStringLiteral("--gamma"), QStringLiteral("0.5"), QStringLiteral("-o"),
                       path("bright.png")})
                  .exitCode,
              0);
    EXPECT_EQ(QImage(path("bright.png")).pixelColor(1, 0), QColor(160, 226, 128));
}

TEST_F(ImageColorCommandsTest, CorrectWithoutFactorsKeepsThePictures)
{
    ASSERT_TRUE(QFile::copy(path("a.png"), path("b.png")));
    EXPECT_EQ(correct({path("a.png"), path("b.png"), QStringLiteral("-o"), path("out")}).exitCode, 0);
    EXPECT_EQ(QImage(path("out/a.png")).pixelColor(1, 1), QColor(100, 200, 64));
    EXPECT_EQ(QImage(path("out/b.png")).pixelColor(0, 0), QColor(255, 0, 0));
}

TEST_F(ImageColorCommandsTest, CorrectRefusesWhatIsNoNumberAndReportsAMissingFile)
{
    EXPECT_EQ(correct({path("a.png"), QStringLiteral("--red"), QStringLiteral("much"), QStringLiteral("-o"),
                       path("out.png")})
                  .exitCode,
              64);
    EXPECT_EQ(correct({path("a.png")}).exitCode, 64) << "no output";
    const ToolResult missing = correct({path("missing.png"), QStringLiteral("-o"), path("out.png")});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_TRUE(missing.err.contains("missing.png"));
    EXPECT_FALSE(QFile::exists(path("out.png")));
}

TEST_F(ImageColorCommandsTest, CheckerboardWritesSquaresOfNineAndFivePixels)
{
    // A corner of four squares lies at x 150 from the left and y 150 from the bottom.
    const ToolResult result = checkerboard(
        {QStringLiteral("-o"), path("board.png"), QStringLiteral("--width"), QStringLiteral("170"),
         QStringLiteral("--height"), QStringLiteral("160"), QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.json().toObject(), (QJsonObject{{QStringLiteral("output"), path("board.png")},
                                                     {QStringLiteral("width"), 170},
                                                     {QStringLiteral("height"), 160}}));
    const QImage board(path("board.png"));
    ASSERT_EQ(board.size(), QSize(170, 160));
    const QColor white(255, 255, 255);
    const QColor grey(204, 204, 204);
    EXPECT_EQ(board.pixelColor(150, 9), white) << "row 9 is y 150";
    EXPECT_EQ(board.pixelColor(158, 9), white);
    EXPECT_EQ(board.pixelColor(159, 9), grey);
    EXPECT_EQ(board.pixelColor(150, 10), grey);
    EXPECT_EQ(checkerboard({QStringLiteral("--thumbnail"), QStringLiteral("--width"), QStringLiteral("170"),
                            QStringLiteral("--height"), QStringLiteral("160"), QStringLiteral("-o"),
                            path("small.png")})
                  .exitCode,
              0);
    const QImage small(path("small.png"));
    ASSERT_EQ(small.size(), QSize(170, 160));
    EXPECT_EQ(small.pixelColor(154, 9), white);
    EXPECT_EQ(small.pixelColor(155, 9), grey);
}

TEST_F(ImageColorCommandsTest, CheckerboardRefusesSidesThatMakeNoPicture)
{
    for (const char *side : {"0", "-3", "wide", "40000"})
        EXPECT_EQ(checkerboard({QStringLiteral("-o"), path("board.png"), QStringLiteral("--width"),
                                QString::fromUtf8(side), QStringLiteral("--height"), QStringLiteral("5")})
                      .exitCode,
                  64)
            << side;
    EXPECT_EQ(checkerboard(
                  {QStringLiteral("-o"), path("board.png"), QStringLiteral("--width"), QStringLiteral("5")})
                  .exitCode,
              64);
    EXPECT_EQ(checkerboard({QStringLiteral("-o"), path("board.unknown"), QStringLiteral("--width"),
                            QStringLiteral("5"), QStringLiteral("--height"), QStringLiteral("5")})
                  .exitCode,
              2);
    EXPECT_FALSE(QFile::exists(path("board.png")));
}

} // namespace
} // namespace KVBase
