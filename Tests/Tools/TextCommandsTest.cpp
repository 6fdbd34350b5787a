#include "Support/ToolRunner.h"

#include <gtest/gtest.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>

namespace KVBase::Tests
{
namespace
{

ToolResult run(std::initializer_list<const char *> words, const QByteArray &input = {})
{
    QStringList arguments;
    for (const char *word : words)
        arguments.append(QString::fromUtf8(word));
    return runTool(arguments, input);
}

TEST(CompareVersionsCommandTest, SaysHowTheFirstStandsToTheSecond)
{
    EXPECT_EQ(run({"compare-versions", "1.0b2", "1.0"}).text(), QStringLiteral("older"));
    EXPECT_EQ(run({"compare-versions", "1.10", "1.9"}).text(), QStringLiteral("newer"));
    EXPECT_EQ(run({"compare-versions", "1.0fc2", "1.0RC2"}).text(), QStringLiteral("same"));
    EXPECT_EQ(run({"compare-versions", "1.0", ""}).text(), QStringLiteral("newer"));
    EXPECT_EQ(run({"compare-versions", "1.0"}).exitCode, 64);
}

TEST(CompareVersionsCommandTest, PrintsJson)
{
    EXPECT_EQ(run({"compare-versions", "--json", "1.0", "1.0.0"}).json(),
              QJsonValue(QJsonObject{{"first", "1.0"}, {"second", "1.0.0"}, {"order", -1}}));
}

TEST(SortVersionsCommandTest, SortsFromTheOldest)
{
    const QStringList sorted{QStringLiteral("1.0d5"), QStringLiteral("1.0b2"), QStringLiteral("1.0"),
                             QStringLiteral("1.9"), QStringLiteral("1.10")};
    EXPECT_EQ(run({"sort-versions", "1.10", "1.9", "1.0b2", "1.0", "1.0d5"}).lines(), sorted);
    EXPECT_EQ(run({"sort-versions"}, "1.10\n1.9\n1.0b2\n1.0\n1.0d5\n").lines(), sorted);
    EXPECT_EQ(run({"sort-versions", "--json", "1.10", "1.9"}).json(), QJsonValue(QJsonArray{"1.9", "1.10"}));
}

TEST(SortNamesCommandTest, SortsAsAUserExpects)
{
    EXPECT_EQ(run({"sort-names", "item 10", "Item 2", "b", "A"}).lines(),
              (QStringList{QStringLiteral("A"), QStringLiteral("b"), QStringLiteral("Item 2"),
                           QStringLiteral("item 10")}));
    EXPECT_EQ(run({"sort-names", "--json"}, "file10\nfile9\n").json(),
              QJsonValue(QJsonArray{"file9", "file10"}));
}

TEST(UUIDCommandTest, PrintsFreshOnes)
{
    static const QRegularExpression form(
        QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));
    const QStringList lines = run({"uuid", "--count", "3"}).lines();
    ASSERT_EQ(lines.size(), 3);
    for (const QString &line : lines)
        EXPECT_TRUE(form.match(line).hasMatch()) << line.toStdString();
    EXPECT_NE(lines.at(0), lines.at(1));
    EXPECT_EQ(run({"uuid", "--json"}).json().toArray().size(), 1);
    EXPECT_EQ(run({"uuid", "--count", "0"}).exitCode, 64);
}

TEST(MacCommandTest, PrintsAnAddressOrSaysThatThereIsNone)
{
    static const QRegularExpression form(QStringLiteral("^([0-9a-f]{2}:){5}[0-9a-f]{2}$"));
    const ToolResult result = run({"mac"});
    const QJsonValue address = run({"mac", "--json"}).json()[QStringLiteral("address")];
    if (result.exitCode == 0) {
        EXPECT_TRUE(form.match(result.text()).hasMatch()) << result.text().toStdString();
        EXPECT_EQ(address, QJsonValue(result.text()));
    } else {
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.text(), QStringLiteral("no wired interface"));
        EXPECT_TRUE(result.err.contains("GetMACAddress returned 0x00000005"));
        EXPECT_TRUE(address.isNull());
    }
}

} // namespace
} // namespace KVBase::Tests
