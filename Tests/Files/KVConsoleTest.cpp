#include <KVBase/KVConsole.h>

#include "Platform/Services/ConsoleSource.h"
#include "Platform/Services/Processes.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

struct FixedSource : ConsoleSource {
    explicit FixedSource(const QStringList &given) : answer(given) {}
    QStringList command() override { return answer; }
    QStringList answer;
};

struct RecordingProcesses : Processes {
    bool readOutput(const QList<QStringList> &commands, QByteArray *data) override
    {
        seen = commands;
        *data = answer;
        return starts;
    }
    bool launchDetached(const QStringList &, const QMap<QString, QString> &) override { return false; }
    QList<QStringList> seen;
    QByteArray answer;
    bool starts = true;
};

QStringList print(const QString &script) { return {QStringLiteral("/bin/sh"), QStringLiteral("-c"), script}; }

QString tailOf(const QStringList &command, int count)
{
    FixedSource source(command);
    const ScopedService<ConsoleSource> guard(&source);
    return KVConsole::consoleLogTail(count);
}

TEST(KVConsoleTest, PipesTheSourceIntoTailWithOneArgument)
{
    FixedSource source({QStringLiteral("/usr/bin/source"), QStringLiteral("-C")});
    RecordingProcesses processes;
    processes.answer = "line\n";
    const ScopedService<ConsoleSource> sourceGuard(&source);
    const ScopedService<Processes> processGuard(&processes);
    EXPECT_EQ(KVConsole::consoleLogTail(7), QStringLiteral("line\n"));
    EXPECT_EQ(processes.seen,
              (QList<QStringList>{{QStringLiteral("/usr/bin/source"), QStringLiteral("-C")},
                                  {QStringLiteral("/usr/bin/tail"), QStringLiteral("-n 7")}}));
    KVConsole::consoleLog();
    EXPECT_EQ(processes.seen.last(),
              (QStringList{QStringLiteral("/usr/bin/tail"), QStringLiteral("-n 100")}));
}

TEST(KVConsoleTest, AnswersTheLastLines)
{
    EXPECT_EQ(tailOf(print(QStringLiteral("seq 1 500")), 3), QStringLiteral("498\n499\n500\n"));
}

TEST(KVConsoleTest, AnswersAtMostAHundredLinesUnlessTold)
{
    FixedSource source(print(QStringLiteral("seq 1 500")));
    const ScopedService<ConsoleSource> guard(&source);
    const QStringList lines = KVConsole::consoleLog().split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 100);
    EXPECT_EQ(lines.first(), QStringLiteral("401"));
    EXPECT_EQ(lines.last(), QStringLiteral("500"));
}

TEST(KVConsoleTest, AnswersFewerLinesWhenThereAreFewer)
{
    EXPECT_EQ(tailOf(print(QStringLiteral("echo one")), 100), QStringLiteral("one\n"));
}

TEST(KVConsoleTest, SaysThatThereIsNoData)
{
    const QString nothing = QStringLiteral("No data provided for console");
    EXPECT_EQ(tailOf(print(QStringLiteral("true")), 100), nothing);
    EXPECT_EQ(tailOf({QStringLiteral("/nowhere/tool")}, 100), nothing);
    EXPECT_EQ(tailOf({}, 100), nothing);
    EXPECT_EQ(tailOf(print(QStringLiteral("exit 1")), 100), nothing);
    EXPECT_EQ(tailOf(print(QStringLiteral("echo line")), 0), nothing);
}

TEST(KVConsoleTest, TakesANegativeCountAsNone)
{
    const QString nothing = QStringLiteral("No data provided for console");
    EXPECT_EQ(tailOf(print(QStringLiteral("echo line")), -3), nothing);
    EXPECT_EQ(tailOf(print(QStringLiteral("echo line")), INT32_MIN), nothing);
}

TEST(KVConsoleTest, TakesTheLargestCount)
{
    EXPECT_EQ(tailOf(print(QStringLiteral("seq 1 3")), INT32_MAX), QStringLiteral("1\n2\n3\n"));
}

TEST(KVConsoleTest, DecodesTheLogAsAscii)
{
    EXPECT_EQ(tailOf(print(QStringLiteral("printf 'a\\303\\251\\377b'")), 1),
              QStringLiteral("a\uFFFD\uFFFD\uFFFDb"));
}

TEST(KVConsoleTest, KeepsOnlyTheTailOfTwoHundredMegabytes)
{
    const QStringList producer =
        print(QStringLiteral("yes 'a line of the log' | head -c 200000000; echo; echo last"));
    EXPECT_EQ(tailOf(producer, 1), QStringLiteral("last\n"));
}

TEST(KVConsoleTest, ReadsTheConsoleOfThisMachineOrSaysThatThereIsNone)
{
    EXPECT_FALSE(KVConsole::consoleLogTail(5).isEmpty());
}

TEST(ConsoleSourceTest, NamesAnExistingToolByItsPathWhereThereIsOne)
{
    const QStringList command = Service<ConsoleSource>::current()->command();
    ASSERT_FALSE(command.isEmpty());
    EXPECT_TRUE(command.first().startsWith(u'/')) << qPrintable(command.first());
}

TEST(ConsoleSourceTest, FallsBackToTheSessionsErrorFile)
{
    const QStringList journalTool = {QStringLiteral("/usr/bin/journalctl"), QStringLiteral("-q"),
                                     QStringLiteral("--no-pager")};
    if (Service<ConsoleSource>::current()->command() != journalTool ||
        QDir(QStringLiteral("/run/log/journal")).count() > 2 ||
        QDir(QStringLiteral("/var/log/journal")).count() > 2)
        GTEST_SKIP() << "this machine has a system log";
    QFile file(QDir::homePath() + QStringLiteral("/.xsession-errors"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("first\nsecond\n");
    file.close();
    EXPECT_EQ(KVConsole::consoleLogTail(1), QStringLiteral("second\n"));
    file.remove();
}

} // namespace
} // namespace KVBase
