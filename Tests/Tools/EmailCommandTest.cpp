#include "Support/ToolRunner.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

TEST(EmailCommandTest, SaysWhyAnAddressIsNone)
{
    const ToolResult result = runTool({"email", "a@b.de", "a b@c.de", "nobody"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.lines(),
              QStringList({"a@b.de: valid", "a b@c.de: 1110 Mailbox name contains whitespace.",
                           "nobody: 1001 No \"@\" character found."}));
    EXPECT_EQ(runTool({"email", "a@b.de"}).exitCode, 0);
}

TEST(EmailCommandTest, ReadsAddressesFromStandardInput)
{
    const QJsonValue answers = runTool({"email", "--json"}, "a@b.de\n\xc3\xa4@b.de\n").json();
    ASSERT_EQ(answers.toArray().size(), 2);
    EXPECT_EQ(answers[0]["address"].toString(), QStringLiteral("a@b.de"));
    EXPECT_TRUE(answers[0]["valid"].toBool());
    EXPECT_EQ(answers[1]["code"].toInt(), 1111);
    EXPECT_EQ(answers[1]["title"].toString(), QStringLiteral("Mailbox name contains unallowed character."));
    EXPECT_EQ(answers[1]["message"].toString(),
              QStringLiteral("The e-mail address you provided contains the unallowed character \"ä\".\n\n"
                             "Please enter a valid e-mail address."));
}

} // namespace
} // namespace KVBase::Tests
