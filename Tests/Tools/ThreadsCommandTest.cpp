#include "Support/ToolRunner.h"

#include <QtCore/QJsonArray>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

TEST(ThreadsCommandTest, PrintsWhatWasMeasured)
{
    const ToolResult result = runTool({QStringLiteral("threads")});
    EXPECT_EQ(result.exitCode, 0);
    ASSERT_EQ(result.lines().size(), 5);
    EXPECT_TRUE(result.lines().at(0).startsWith(QStringLiteral("round trip to a worker: ")));
    EXPECT_TRUE(result.lines().at(1).startsWith(QStringLiteral("posts to a worker: ")));
    EXPECT_EQ(result.lines().at(2), QStringLiteral("coalesced: 5 requests, 1 calls"));
    EXPECT_EQ(result.lines().at(3), QStringLiteral("modes seen: NSDefaultRunLoopMode, NSConnectionReplyMode, "
                                                   "NSModalPanelRunLoopMode, NSEventTrackingRunLoopMode"));
    EXPECT_EQ(result.lines().at(4), QStringLiteral("everything works"));
}

TEST(ThreadsCommandTest, PrintsJson)
{
    const ToolResult result = runTool({QStringLiteral("threads"), QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.json()[QStringLiteral("works")], QJsonValue(true));
    EXPECT_GT(result.json()[QStringLiteral("roundTripMicroseconds")].toDouble(), 0);
    EXPECT_GT(result.json()[QStringLiteral("postsPerSecond")].toDouble(), 0);
    EXPECT_EQ(result.json()[QStringLiteral("coalescedCalls")].toInt(), 1);
    EXPECT_EQ(result.json()[QStringLiteral("modes")].toArray().size(), 4);
}

} // namespace
} // namespace KVBase::Tests
