#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QJsonArray>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

TEST(DisplaysCommandTest, AnswersNoWithoutADisplayAndKeepsQuiet)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    const ToolResult result = runProgram(programFolder() + QStringLiteral("/kvbase"),
                                         {QStringLiteral("displays")}, {}, environment);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.text(), QStringLiteral("no displays"));
    EXPECT_EQ(result.err, QByteArray());
}

TEST(DisplaysCommandTest, AnswersNoForAServerThatDoesNotAnswerAndKeepsQuiet)
{
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("DISPLAY"));
        environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
        environment.insert(QString::fromLatin1(variable), QStringLiteral(":31415"));
        const ToolResult result = runProgram(programFolder() + QStringLiteral("/kvbase"),
                                             {QStringLiteral("displays")}, {}, environment);
        EXPECT_EQ(result.exitCode, 1) << variable;
        EXPECT_EQ(result.text(), QStringLiteral("no displays"));
        EXPECT_EQ(result.err, QByteArray());
    }
}

TEST(DisplaysCommandTest, PrintsJson)
{
    const ToolResult result = runTool({QStringLiteral("displays"), QStringLiteral("--json")});
    EXPECT_EQ(result.json()[QStringLiteral("accelerated")], QJsonValue(false));
    EXPECT_TRUE(result.json()[QStringLiteral("displays")].toArray().isEmpty());
}

} // namespace
} // namespace KVBase::Tests
