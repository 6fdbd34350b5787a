#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtGui/QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace KVBase::Tests
{
namespace
{

QString inFolder(const char *name)
{
    const QString folder = scratchFolder() + QStringLiteral("/charts");
    EXPECT_TRUE(QDir().mkpath(folder));
    return folder + u'/' + QString::fromLatin1(name);
}

ToolResult draw(const QString &path, const QStringList &options)
{
    return runTool(QStringList{QStringLiteral("image"), QStringLiteral("chart"), QStringLiteral("-o"), path} +
                   options);
}

TEST(ImageChartTest, ShowsWhichCornerIsWhich)
{
    const QString path = inFolder("chart.png");
    ASSERT_EQ(draw(path, {}).exitCode, 0);
    const QImage chart(path);
    ASSERT_EQ(chart.size(), QSize(480, 360));
    EXPECT_EQ(chart.pixel(0, 0), qRgb(208, 32, 32));
    EXPECT_EQ(chart.pixel(479, 0), qRgb(32, 160, 64));
    EXPECT_EQ(chart.pixel(0, 359), qRgb(32, 64, 208));
    EXPECT_EQ(chart.pixel(479, 359), qRgb(240, 200, 32));
    EXPECT_EQ(chart.pixel(240, 10), qRgb(128, 128, 128));
    EXPECT_EQ(chart.pixel(30, 220), qRgb(255, 255, 255)) << "the first bar";
    EXPECT_EQ(chart.pixel(90, 220), qRgb(255, 255, 0)) << "the second one";
    EXPECT_EQ(chart.pixel(450, 220), qRgb(0, 0, 0)) << "and the last";
}

TEST(ImageChartTest, HasTheSidesThatAreAskedFor)
{
    const QString path = inFolder("tall.png");
    for (const QSize &size : {QSize(64, 64), QSize(64, 2000), QSize(2000, 64), QSize(65, 77)}) {
        const ToolResult result = draw(path, {QStringLiteral("--width"), QString::number(size.width()),
                                              QStringLiteral("--height"), QString::number(size.height())});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(QImage(path).size(), size);
    }
    for (const char *side : {"63", "8193", "-1", "wide"})
        EXPECT_EQ(draw(path, {QStringLiteral("--width"), QString::fromLatin1(side)}).exitCode, 64) << side;
    const ToolResult failed = draw(inFolder("missing/chart.png"), {});
    EXPECT_EQ(failed.exitCode, 2);
    EXPECT_TRUE(failed.err.contains("missing/chart.png: ")) << failed.err.constData();
}

/// The largest difference of a channel; 256 for pictures of different size.
int difference(const QImage &one, const QImage &other)
{
    if (one.size() != other.size())
        return 256;
    int largest = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QRgb a = one.pixel(x, y);
            const QRgb b = other.pixel(x, y);
            largest = std::max({largest, std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                                std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
        }
    }
    return largest;
}

TEST(ImageChartTest, ThePageOfPicturesShowsWhatItsCommandsMake)
{
    const QString documents = sourceFolder() + QStringLiteral("/Docs/");
    QFile page(documents + QStringLiteral("Pictures.md"));
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    int commands = 0;
    for (const QString &line : QString::fromUtf8(page.readAll()).split(u'\n')) {
        if (!line.startsWith(QLatin1StringView("kvbase ")))
            continue;
        ++commands;
        QStringList words = line.split(u' ').mid(1);
        const QString made = words.value(words.indexOf(QStringLiteral("-o")) + 1);
        for (QString &word : words) {
            if (word.endsWith(QLatin1StringView(".png")))
                word = inFolder(word.toLatin1().constData());
        }
        ASSERT_EQ(runTool(words).exitCode, 0) << qPrintable(line);
        // Every processor is within one level of the exact result.
        EXPECT_LE(difference(QImage(inFolder(made.toLatin1().constData())), QImage(documents + made)), 2)
            << qPrintable(line);
    }
    EXPECT_EQ(commands, 8);
}

} // namespace
} // namespace KVBase::Tests
