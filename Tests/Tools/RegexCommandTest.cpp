#include "Support/ToolRunner.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

struct Row {
    QStringList arguments;
    QStringList lines;
    int exitCode;
};

TEST(RegexCommandTest, PrintsWhatWasAskedFor)
{
    const Row rows[] = {
        {{"b", "abc", "xyz"}, {"abc"}, 0},
        {{"q", "abc"}, {}, 1},
        {{"--all", "[0-9]+", "a1b22c333"}, {"1", "22", "333"}, 0},
        {{"--split", ",", "a,b,,c"}, {"a", "b", "", "c"}, 0},
        {{"--captures", "(a)|(b)", "b"}, {"b", "", "b"}, 0},
        {{"--substring", "B+", "abbc", "-i"}, {"bb"}, 0},
        {{"--range", "b",
          "\xc3\xa4"
          "bc"},
         {"2 1"},
         0},
        {{"--escape", "a.b*c"}, {"a\\.b\\*c"}, 0},
        {{"-n", "^b", "a\nb"}, {"a", "b"}, 0},
    };
    for (const Row &row : rows) {
        const ToolResult result = runTool(QStringList("regex") + row.arguments);
        EXPECT_EQ(result.exitCode, row.exitCode) << qPrintable(row.arguments.join(u' '));
        EXPECT_EQ(result.text(), row.lines.join(u'\n')) << qPrintable(row.arguments.join(u' '));
    }
}

TEST(RegexCommandTest, RefusesASearchThatWouldNotEnd)
{
    for (const char *pattern : {"x*", "$", "^", "()"}) {
        for (const char *mode : {"--all", "--split"}) {
            const ToolResult result = runTool({"regex", mode, pattern, "abc"});
            EXPECT_EQ(result.exitCode, 2) << mode << pattern;
            EXPECT_TRUE(result.err.contains("would not end")) << mode << pattern;
        }
    }
    EXPECT_EQ(runTool({"regex", "--all", "^", ""}).exitCode, 2);
    EXPECT_EQ(runTool({"regex", "x*", "abc"}).text(), QStringLiteral("abc"));
}

TEST(RegexCommandTest, ComplainsAboutAPatternThatDoesNotCompile)
{
    const ToolResult result = runTool({"regex", "(", "abc"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.contains("Could not compile regex \"(\": "));
    EXPECT_EQ(runTool({"regex"}).exitCode, 64);
}

TEST(RegexCommandTest, ReadsTextsFromStandardInput)
{
    const ToolResult result = runTool({"regex", "--captures", "--all", "--json", "(b)+"}, "abbc\nxyz\n");
    EXPECT_EQ(result.exitCode, 0);
    const QJsonValue answers = result.json();
    ASSERT_EQ(answers.toArray().size(), 2);
    EXPECT_EQ(answers[0]["captures"].toArray(), QJsonArray({"bb", "b"}));
    EXPECT_EQ(answers[0]["matches"].toArray(), QJsonArray({"bb"}));
    EXPECT_FALSE(answers[1]["matched"].toBool());
    EXPECT_TRUE(answers[1]["matches"].toArray().isEmpty());
}

} // namespace
} // namespace KVBase::Tests
