#include "Support/ToolRunner.h"
#include "SupportFixtures.h"

#include <QtCore/QJsonArray>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace KVBase::Tests
{
namespace
{

QString option(const char *text) { return QLatin1StringView(text); }

/// Takes connections, and never says a word.
class SilentListener {
public:
    SilentListener() : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto *const generic = reinterpret_cast<sockaddr *>(&address);
        EXPECT_EQ(bind(fd, generic, length), 0);
        EXPECT_EQ(listen(fd, 8), 0);
        getsockname(fd, generic, &length);
    }
    ~SilentListener() { close(fd); }
    int port() const { return ntohs(address.sin_port); }

private:
    int fd;
    sockaddr_in address = {};
};

class SupportCommandTest : public testing::Test {
protected:
    SupportCommandTest() { forgetTool(); }

    ToolResult run(const QStringList &arguments) const
    {
        return runTool(QStringList{option("support"), option("Tool"), option("--folder"), folder()} +
                       arguments);
    }

    QString folder() const { return scratch.filePath(QStringLiteral("report")); }

    QByteArray file(const char *name) const
    {
        QFile content(folder() + u'/' + QLatin1StringView(name));
        return content.open(QIODevice::ReadOnly) ? content.readAll() : QByteArray("missing");
    }

    static int crashCommand() { return runTool({option("crash"), option("Tool")}).exitCode; }

    QTemporaryDir scratch;
};

TEST_F(SupportCommandTest, SendsWhatItCollected)
{
    addCrashReport("It broke in the middle.\n");
    const Collector collector;
    const ToolResult result = run({option("--email"), option("jane@example.com"), option("--message"),
                                   option("It just stopped."), option("--url"), collector.url});
    EXPECT_EQ(result.exitCode, 0) << result.err.constData();
    EXPECT_EQ(result.err, QByteArray()) << "quiet when piped";
    EXPECT_TRUE(result.lines().contains(QStringLiteral("E-mail address: jane@example.com is valid")));
    EXPECT_TRUE(result.lines().contains(
        QStringLiteral("Answer: Thank you. Your report is stored as form-0001.json.")));
    const QJsonObject fields = collector.fields();
    EXPECT_EQ(fields.keys(),
              (QStringList{option("application"), option("console"), option("crash"), option("email"),
                           option("identifier"), option("message"), option("profile"), option("version")}));
    EXPECT_EQ(fields.value(option("crash")).toString(), QStringLiteral("It broke in the middle.\n"));
    EXPECT_EQ(fields.value(option("message")).toString(), QStringLiteral("It just stopped."));
    EXPECT_TRUE(fields.value(option("profile")).toString().startsWith(QStringLiteral("Hardware:\n")));
    EXPECT_EQ(crashCommand(), 1) << "what was sent is not new any more";
}

TEST_F(SupportCommandTest, LeavesTheReportReadableForTheOwnerAlone)
{
    addCrashReport("It broke.\n");
    const ToolResult result = run({});
    EXPECT_EQ(result.exitCode, 0) << result.err.constData();
    EXPECT_EQ(file("crash.txt"), "It broke.\n");
    EXPECT_TRUE(file("profile.txt").startsWith("Hardware:\n"));
    EXPECT_TRUE(file("form.txt").contains("== crash\nIt broke.\n"));
    EXPECT_TRUE(file("support.log").contains("New session: support.log"));
    EXPECT_NE(file("console.txt"), "missing");
    const QStringList names = QDir(folder()).entryList(QDir::Files);
    EXPECT_GE(names.size(), 5);
    for (const QString &name : names)
        EXPECT_EQ(QFileInfo(folder() + u'/' + name).permissions() & QFileDevice::Permissions(0x0077), 0)
            << qPrintable(name);
}

TEST_F(SupportCommandTest, SendsNothingOnADryRun)
{
    addCrashReport("It broke.\n");
    const Collector collector;
    const ToolResult result = run({option("--url"), collector.url, option("--dry-run")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.lines().contains(QStringLiteral("Not sent: this is a dry run")));
    EXPECT_TRUE(collector.fields().isEmpty());
    EXPECT_EQ(crashCommand(), 0) << "what was not sent stays new";
}

TEST_F(SupportCommandTest, PrintsTheReasonForABadAddressAndSendsNothing)
{
    const Collector collector;
    const ToolResult result =
        run({option("--email"), option("jane@example"), option("--url"), collector.url});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.text().contains(QStringLiteral("E-mail address: No top level domain given. ")));
    EXPECT_TRUE(collector.fields().isEmpty());
}

TEST_F(SupportCommandTest, PrintsJsonAlone)
{
    const QString path = addCrashReport("It broke.\n");
    const ToolResult result = run({option("--json"), option("--email"), option("a@b")});
    EXPECT_EQ(result.exitCode, 1);
    const QJsonValue json = result.json();
    EXPECT_EQ(json[option("crashReport")].toString(), path);
    EXPECT_EQ(json[option("sent")], QJsonValue(false));
    EXPECT_EQ(json[option("emailError")][option("code")].toInt(), 1002);
    EXPECT_TRUE(json[option("cutSteps")].toArray().isEmpty());
    EXPECT_EQ(json[option("folder")].toString(), folder());
}

TEST_F(SupportCommandTest, FailsWhenNobodyListens)
{
    addCrashReport("It broke.\n");
    const ToolResult result = run({option("--url"), option("http://127.0.0.1:1/")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.startsWith("kvbase: post: ")) << result.err.constData();
    EXPECT_EQ(file("crash.txt"), "It broke.\n");
    EXPECT_EQ(crashCommand(), 0) << "what was not sent stays new";
}

TEST_F(SupportCommandTest, CutsAServerThatStalls)
{
    const SilentListener listener;
    const QString url = QStringLiteral("http://127.0.0.1:%1/").arg(listener.port());
    const ToolResult result = run({option("--url"), url, option("--timeout"), option("2")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.err, QByteArray("kvbase: post: It was cut after 2 seconds.\n"));
    EXPECT_TRUE(file("support.log").contains("\npost: It was cut after 2 seconds.\n"));
}

TEST_F(SupportCommandTest, GoesOnWithoutACrashReportThatCannotBeRead)
{
    addCrashReport("caf\xe9");
    const ToolResult result = run({option("--json")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.json()[option("failedSteps")].toArray(), QJsonArray{option("crash report")});
    EXPECT_FALSE(result.json()[option("fields")].toObject().contains(option("crash")));
    EXPECT_TRUE(file("support.log").contains("-[NSApplication(CrashReport) crashReportText] "));
}

TEST_F(SupportCommandTest, TakesOnlyNewReportsUnlessTold)
{
    addCrashReport("It broke.\n");
    EXPECT_EQ(runTool({option("crash"), option("Tool"), option("--mark")}).exitCode, 0);
    EXPECT_TRUE(run({option("--json")}).json()[option("crashReport")].isNull());
    EXPECT_FALSE(run({option("--json"), option("--seen-too")}).json()[option("crashReport")].isNull());
}

TEST_F(SupportCommandTest, RefusesWhatIsNoAddress)
{
    EXPECT_EQ(run({option("--url"), option("file:///etc/passwd")}).exitCode, 64);
    EXPECT_EQ(run({option("--url"), option("nonsense")}).exitCode, 64);
    EXPECT_EQ(run({option("--timeout"), option("0")}).exitCode, 64);
    EXPECT_EQ(runTool({option("support")}).exitCode, 64);
}

TEST_F(SupportCommandTest, FailsWithoutAFolder)
{
    const ToolResult result =
        runTool({option("support"), option("Tool"), option("--folder"), option("/proc/nowhere/report")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, QByteArray("kvbase: the folder cannot be made: /proc/nowhere/report\n"));
}

TEST_F(SupportCommandTest, ShowsExamplesInItsHelp)
{
    const ToolResult result = runTool({option("support"), option("--help")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.text().contains(QStringLiteral("kvbase support editor --email jane@example.com")));
}

TEST(CrashCommandTest, PrintsThePathOrTheText)
{
    forgetTool();
    const QString path = addCrashReport("It broke.\n");
    EXPECT_EQ(runTool({option("crash"), option("Tool")}).text(), path);
    EXPECT_EQ(runTool({option("crash"), option("Tool"), option("--text")}).text(),
              QStringLiteral("It broke.\n"));
    EXPECT_EQ(runTool({option("crash"), option("Tool"), option("--json")}).json()[option("isNew")],
              QJsonValue(true));
}

TEST(CrashCommandTest, AnswersNoWithoutANewReport)
{
    forgetTool();
    const ToolResult result = runTool({option("crash"), option("Tool")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.text(), QStringLiteral("no new crash report"));
}

TEST(ProfileCommandTest, PrintsTextXmlAndJson)
{
    EXPECT_TRUE(runTool({option("profile")}).out.startsWith("Hardware:\n"));
    EXPECT_TRUE(runTool({option("profile"), option("--xml")}).out.startsWith("<?xml"));
    const QJsonValue json = runTool({option("profile"), option("--json")}).json();
    EXPECT_EQ(json.toArray().size(), 7);
    EXPECT_EQ(json.toArray().at(6)[option("_dataType")].toString(), QStringLiteral("SPUSBDataType"));
}

TEST(ConsoleCommandTest, PrintsLinesOrJson)
{
    const ToolResult result = runTool({option("console"), option("--lines"), option("3")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_FALSE(result.lines().isEmpty());
    EXPECT_LE(result.lines().size(), 3);
    EXPECT_FALSE(runTool({option("console"), option("--json")}).json().toArray().isEmpty());
}

} // namespace
} // namespace KVBase::Tests
