#include "Support/LoopbackServer.h"
#include "Support/ToolRunner.h"

#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

TEST(PostCommandTest, PostsFieldsAndPrintsTheAnswer)
{
    const LoopbackServer server([](const LoopbackRequest &request) {
        LoopbackReply reply;
        reply.body = "got " + request.body;
        return reply;
    });
    const QString url = server.url(QStringLiteral("/form")).toString();
    const ToolResult result = runTool({"post", url, "a=x&y", "b=c d", "c"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.text(), QStringLiteral("got a=x+y&b=c%20d&c="));
    EXPECT_EQ(runTool({"post", url}, "a=1\nb=2\n").text(), QStringLiteral("got a=1&b=2"));
    const QJsonValue answer = runTool({"post", url, "--json", "a=1"}).json();
    EXPECT_EQ(answer["body"].toString(), QStringLiteral("got a=1"));
    EXPECT_TRUE(answer["posted"].toBool());
}

TEST(PostCommandTest, ADryRunSendsNothing)
{
    EXPECT_EQ(runTool({"post", "http://127.0.0.1:1/", "--dry-run", "a=x&y"}).text(), QStringLiteral("a=x+y"));
    const QJsonValue answer = runTool({"post", "http://127.0.0.1:1/", "--dry-run", "--json", "a=1"}).json();
    EXPECT_EQ(answer["form"].toString(), QStringLiteral("a=1"));
}

TEST(PostCommandTest, AFailureIsToldAndWhatCameIsPrinted)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.body = "half";
        reply.missingBytes = 10;
        return reply;
    });
    const ToolResult result = runTool({"post", server.url(QStringLiteral("/")).toString(), "a=1", "--json"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.json()["body"].toString(), QStringLiteral("half"));
    EXPECT_EQ(result.json()["domain"].toString(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(result.json()["code"].toInt(), -1005);
    EXPECT_FALSE(result.json()["posted"].toBool());
    const ToolResult refused = runTool({"post", "file:///etc/hosts", "a=1"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_FALSE(refused.err.isEmpty());
    EXPECT_EQ(runTool({"post"}).exitCode, 64);
}

TEST(PostCommandTest, AServerThatStallsIsCut)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.missingBytes = 10;
        reply.stalls = true;
        return reply;
    });
    const ToolResult result =
        runTool({"post", server.url(QStringLiteral("/")).toString(), "a=1", "--timeout", "0.5"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(result.err.contains("post: "));
}

} // namespace
} // namespace KVBase::Tests
