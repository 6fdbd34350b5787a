#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtGui/QImage>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

struct MediaCommandTest : testing::Test {
    MediaCommandTest()
    {
        image = scratchFolder() + QStringLiteral("/picture.png");
        QImage(2, 2, QImage::Format_RGB32).save(image);
        movie = scratchFolder() + QStringLiteral("/movie.bin");
        QFile file(movie);
        file.open(QIODevice::WriteOnly);
        file.write(QByteArray("\0\0\0\x14"
                              "ftypqt  ",
                              12));
        plugin = pluginFolder() + QStringLiteral("/libMoviePlugin.so");
    }

    QString image, movie, plugin;
};

TEST_F(MediaCommandTest, KeepsImagesOfTheCommandLine)
{
    const ToolResult result = runTool({QStringLiteral("media"), movie, image});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.lines(), QStringList{image});
}

TEST_F(MediaCommandTest, KeepsImagesOfStandardInput)
{
    const QString address = QStringLiteral("file://") + image;
    const ToolResult result =
        runTool({QStringLiteral("media"), QStringLiteral("--json")}, (address + u'\n' + movie).toUtf8());
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.json()[QStringLiteral("kept")].toArray(), QJsonArray{address});
}

TEST_F(MediaCommandTest, AsksAPluginForMovies)
{
    EXPECT_EQ(runTool({QStringLiteral("media"), QStringLiteral("--movies"), movie}).exitCode, 1);
    const ToolResult movies = runTool({QStringLiteral("media"), QStringLiteral("--movies"),
                                       QStringLiteral("--plugin"), plugin, image, movie});
    EXPECT_EQ(movies.lines(), QStringList{movie});
    const ToolResult both = runTool({QStringLiteral("media"), QStringLiteral("--both"),
                                     QStringLiteral("--plugin"), plugin, image, movie});
    EXPECT_EQ(both.lines(), (QStringList{image, movie}));
}

TEST_F(MediaCommandTest, SaysThatAPluginCannotBeLoaded)
{
    const ToolResult result =
        runTool({QStringLiteral("media"), QStringLiteral("--plugin"), QStringLiteral("/nowhere.so"), image});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.startsWith("kvbase: "));
}

} // namespace
} // namespace KVBase::Tests
