#include "Support/ToolRunner.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

TEST(ReachCommandTest, TellsReachableHostsFromOthers)
{
    const ToolResult local = runTool({"reach", "localhost", "http://127.0.0.1:9/x", "127.0.0.1:80"});
    EXPECT_EQ(local.exitCode, 0);
    EXPECT_EQ(local.lines(), QStringList({"localhost: reachable, connection up",
                                          "http://127.0.0.1:9/x: reachable, connection up",
                                          "127.0.0.1:80: reachable, connection up"}));
    const ToolResult none = runTool({"reach", "http://255.255.255.255/"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.text(), QStringLiteral("http://255.255.255.255/: not reachable, connection down"));
}

TEST(ReachCommandTest, ReadsAddressesFromStandardInput)
{
    const ToolResult result = runTool({"reach", "--json"}, "127.0.0.1\nhttp://255.255.255.255/\n");
    EXPECT_EQ(result.exitCode, 1);
    ASSERT_EQ(result.json().toArray().size(), 2);
    EXPECT_TRUE(result.json()[0]["reachable"].toBool());
    EXPECT_TRUE(result.json()[0]["connectionUp"].toBool());
    EXPECT_FALSE(result.json()[1]["reachable"].toBool());
}

} // namespace
} // namespace KVBase::Tests
