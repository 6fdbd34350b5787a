#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

class LogCommandTest : public testing::Test {
protected:
    LogCommandTest()
    {
        runTool({QStringLiteral("log"), QStringLiteral("--destination"), QStringLiteral("1")});
    }

    QString path() const { return folder.filePath(QStringLiteral("sub/App.log")); }

    QByteArray linesBehindHeader() const
    {
        QFile file(path());
        if (!file.open(QFile::ReadOnly))
            return "no file";
        const QByteArray all = file.readAll();
        const qsizetype user = all.lastIndexOf("\nUser: ");
        return all.mid(all.indexOf("\n\n", user + 1) + 2);
    }

    QTemporaryDir folder;
};

TEST_F(LogCommandTest, WritesTheTextsGiven)
{
    const ToolResult result = runTool({QStringLiteral("log"), QStringLiteral("-f"), path(),
                                       QStringLiteral("100%@"), QStringLiteral("two")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(linesBehindHeader(), "100%@\ntwo\n");
}

TEST_F(LogCommandTest, WritesTheLinesOfStandardInput)
{
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("--file"), path()}, "one\ntwo\n").exitCode, 0);
    EXPECT_EQ(linesBehindHeader(), "one\ntwo\n");
}

TEST_F(LogCommandTest, WritesAnErrorWithItsPlace)
{
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("--file"), path(), QStringLiteral("--error"),
                       QStringLiteral("-43"), QStringLiteral("--context"), QStringLiteral("open"),
                       QStringLiteral("--source"), QStringLiteral("/src/Thing.cpp"), QStringLiteral("--line"),
                       QStringLiteral("12")})
                  .exitCode,
              0);
    EXPECT_EQ(linesBehindHeader(), "open: Error -43 in file Thing.cpp, line 12\n");
}

TEST_F(LogCommandTest, AnswersInJson)
{
    const ToolResult result = runTool({QStringLiteral("log"), QStringLiteral("--json"),
                                       QStringLiteral("--file"), path(), QStringLiteral("a")});
    EXPECT_EQ(result.json().toObject(), (QJsonObject{{QStringLiteral("destination"), 1},
                                                     {QStringLiteral("meaning"), QStringLiteral("file")},
                                                     {QStringLiteral("enabled"), true},
                                                     {QStringLiteral("written"), true},
                                                     {QStringLiteral("lines"), 1},
                                                     {QStringLiteral("path"), path()}}));
}

TEST_F(LogCommandTest, KeepsTheDestination)
{
    EXPECT_EQ(runTool({QStringLiteral("log")}).text(), "1 (file)");
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("--destination"), QStringLiteral("2")}).text(),
              "2 (file and console)");
    const ToolResult both =
        runTool({QStringLiteral("log"), QStringLiteral("-f"), path(), QStringLiteral("text")});
    EXPECT_TRUE(both.err.endsWith("] text\n"));
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("-d"), QStringLiteral("0")}).text(), "0 (off)");
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("--json")}).json().toObject(),
              (QJsonObject{{QStringLiteral("destination"), 0},
                           {QStringLiteral("meaning"), QStringLiteral("off")}}));
}

TEST_F(LogCommandTest, AnswersNoWhenTheLogIsOff)
{
    runTool({QStringLiteral("log"), QStringLiteral("-d"), QStringLiteral("0")});
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("-f"), path(), QStringLiteral("text")}).exitCode,
              1);
    EXPECT_FALSE(QFileInfo::exists(folder.filePath(QStringLiteral("sub"))));
}

TEST_F(LogCommandTest, FailsWhenThePathIsNoFile)
{
    const ToolResult result =
        runTool({QStringLiteral("log"), QStringLiteral("-f"), folder.path(), QStringLiteral("text")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "kvbase: cannot write " + folder.path().toUtf8() + "\n");
}

TEST_F(LogCommandTest, RefusesOptionsItDoesNotKnow)
{
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("--nonsense")}).exitCode, 64);
    EXPECT_EQ(runTool({QStringLiteral("log"), QStringLiteral("-d"), QStringLiteral("loud")}).exitCode, 64);
}

TEST_F(LogCommandTest, ShowsExamples)
{
    const ToolResult result = runTool({QStringLiteral("log"), QStringLiteral("--help")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.out.contains("kvbase log --file /tmp/App.log \"Export finished\""));
}

} // namespace
} // namespace KVBase::Tests
