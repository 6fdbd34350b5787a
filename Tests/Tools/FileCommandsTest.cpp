#include "Support/FileFixtures.h"
#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

struct PathRow {
    QStringList arguments;
    int exitCode;
    const char *out;
};

TEST(PathCommandTest, AnswersItsQuestions)
{
    const QString folder = freshFolder();
    putFile(folder + text("/file"), "");
    putLink(folder + text("/link"), text("file"));
    const PathRow rows[] = {
        {{text("absolute"), text("/a/b"), text("../c")}, 0, "/a/c\n"},
        {{text("relative"), text("/a/b"), text("/a/b/c/d")}, 0, "c/d\n"},
        {{text("relative"), text("/x"), text("/a/b")}, 1, ""},
        {{text("clean"), text("a/b:c\\d")}, 0, "a-b-c-d\n"},
        {{text("exists"), folder}, 0, "yes\n"},
        {{text("exists"), folder + text("/none")}, 1, "no\n"},
        {{text("is-absolute"), text("a")}, 1, "no\n"},
        {{text("is-network"), text("/Network/x")}, 0, "yes\n"},
        {{text("resolve"), folder + text("/none")}, 1, ""},
        {{text("volume"), folder}, 0, "1\n"},
        {{text("create"), folder + text("/new/folder")}, 0, "yes\n"},
        {{text("create"), folder + text("/file/x")}, 1, "no\n"},
        {{text("application"), text("none")}, 1, ""},
        {{text("absolute"), text("/a")}, 64, ""},
        {{text("nonsense")}, 64, ""},
    };
    for (const PathRow &row : rows) {
        const ToolResult result = runTool(QStringList{text("path")} + row.arguments);
        EXPECT_EQ(result.exitCode, row.exitCode) << row.arguments.join(u' ').toStdString();
        EXPECT_EQ(result.out, QByteArray(row.out)) << row.arguments.join(u' ').toStdString();
    }
    EXPECT_EQ(runTool({text("path"), text("resolve"), folder + text("/link")}).text(),
              folder + text("/file"));
    EXPECT_TRUE(QFile::exists(folder + text("/new/folder")));
}

TEST(PathCommandTest, AnswersInJson)
{
    const QJsonObject answer =
        runTool({text("path"), text("--json"), text("relative"), text("/a"), text("/a/b")}).json().toObject();
    EXPECT_EQ(answer.value(text("question")).toString(), text("relative"));
    EXPECT_EQ(answer.value(text("answer")).toString(), text("b"));
    const ToolResult none =
        runTool({text("path"), text("--json"), text("relative"), text("/x"), text("/a/b")});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.json().toObject().value(text("answer")).isNull());
}

TEST(SizeCommandTest, MeasuresFilesAndFolders)
{
    const QString folder = freshFolder();
    putFile(folder + text("/a"), QByteArray(1000, 'x'));
    putFile(folder + text("/b"), QByteArray(536, 'x'));
    const ToolResult result = runTool({text("size"), folder, folder + text("/a")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.lines(), (QStringList{text("1536\t1.0 KB\t") + folder,
                                           text("1000\t1000.0 Bytes\t") + folder + text("/a")}));
    EXPECT_TRUE(result.err.isEmpty());
}

TEST(SizeCommandTest, ReadsPathsFromStandardInputAndAnswersInJson)
{
    const QString folder = freshFolder();
    putFile(folder + text("/a"), QByteArray(10, 'x'));
    const ToolResult result =
        runTool({text("size"), text("--json")}, folder.toUtf8() + "\n" + folder.toUtf8() + "/none\n");
    EXPECT_EQ(result.exitCode, 2);
    const QJsonArray rows = result.json().toArray();
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows.first().toObject().value(text("bytes")).toInt(), 10);
    EXPECT_EQ(rows.first().toObject().value(text("items")).toInt(), 1);
    EXPECT_TRUE(result.err.contains("there is nothing at"));
}

TEST(SpaceCommandTest, AnswersTheFreeSpace)
{
    const ToolResult result = runTool({text("space"), text("--json"), freshFolder(), text("/none/such")});
    EXPECT_EQ(result.exitCode, 1);
    const QJsonArray rows = result.json().toArray();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_GT(rows.at(0).toObject().value(text("bytes")).toDouble(), 0);
    EXPECT_EQ(rows.at(1).toObject().value(text("bytes")).toInt(), -1024);
    EXPECT_EQ(rows.at(1).toObject().value(text("text")).toString(), text("n/a"));
    EXPECT_EQ(runTool({text("space"), text("/none/such")}).text(), text("-1024\tn/a\t/none/such"));
}

TEST(CanWriteCommandTest, AnswersOrSaysWhyNot)
{
    const QString folder = freshFolder();
    EXPECT_EQ(runTool({text("can-write"), folder}).out, QByteArray("yes\n"));
    EXPECT_EQ(runTool({text("can-write"), folder, text("--bytes"), text("1")}).exitCode, 0);
    const ToolResult missing = runTool({text("can-write"), folder + text("/none")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.out, QByteArray("The path 'none' does not exist.\n"));
    const ToolResult full =
        runTool({text("can-write"), text("--json"), folder, text("--bytes"), text("18446744073709551615")});
    EXPECT_EQ(full.exitCode, 1);
    EXPECT_EQ(full.json().toObject().value(text("code")).toInt(), 28);
    EXPECT_FALSE(full.json().toObject().value(text("canWrite")).toBool());
    EXPECT_EQ(runTool({text("can-write")}).exitCode, 64);
}

TEST(UtiCommandTest, TellsTypes)
{
    const QString folder = freshFolder();
    putFile(folder + text("/x.png"), "");
    EXPECT_EQ(runTool({text("uti"), folder + text("/x.png")}).text(),
              text("public.png\t") + folder + text("/x.png"));
    EXPECT_EQ(runTool({text("uti"), text("--extension"), text("jpg")}).text(), text("public.jpeg\tjpg"));
    const ToolResult missing = runTool({text("uti"), folder + text("/none")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.text().startsWith(text("-\t")));
    EXPECT_EQ(
        runTool({text("uti"), text("--extension"), text("--conforms-to"), text("public.image"), text("png")})
            .exitCode,
        0);
    EXPECT_EQ(
        runTool({text("uti"), text("--extension"), text("--conforms-to"), text("public.movie"), text("png")})
            .exitCode,
        1);
    const QJsonObject reverse = runTool({text("uti"), text("--json"), text("--type"), text("public.jpeg")})
                                    .json()
                                    .toArray()
                                    .first()
                                    .toObject();
    EXPECT_EQ(reverse.value(text("mime")).toString(), text("image/jpeg"));
    EXPECT_EQ(reverse.value(text("extension")).toString(), text("jpg"));
}

TEST(RelaunchToolTest, StartsAProgramOnceAProcessHasGone)
{
    const QString folder = freshFolder();
    const QString program = folder + text("/my program");
    putFile(program, "#!/bin/sh\necho \"$LAUNCH_PATH\" >\"$0.report\"\n");
    ASSERT_EQ(::chmod(QFile::encodeName(program).constData(), 0755), 0);
    QProcess waitedFor;
    waitedFor.start(text("/bin/sleep"), {text("600")});
    ASSERT_TRUE(waitedFor.waitForStarted());
    const QString number = QString::number(waitedFor.processId());
    const ToolResult result = runTool({text("relaunch"), text("--json"), program, text("--process"), number});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.json().toObject().value(text("program")).toString(), program);
    EXPECT_FALSE(QFile::exists(program + text(".report")));
    waitedFor.kill();
    waitedFor.waitForFinished();
    QElapsedTimer timer;
    timer.start();
    while (contentOf(program + text(".report")) != program.toUtf8() + '\n' && !timer.hasExpired(60'000))
        ::usleep(20'000);
    EXPECT_EQ(contentOf(program + text(".report")), program.toUtf8() + '\n');
}

TEST(RelaunchToolTest, RefusesWhatIsNoApplication)
{
    EXPECT_EQ(runTool({text("relaunch"), text("/none/such")}).exitCode, 2);
    EXPECT_EQ(runTool({text("relaunch")}).exitCode, 64);
}

} // namespace
} // namespace KVBase
