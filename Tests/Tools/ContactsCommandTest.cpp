#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

class ContactsCommandTest : public testing::Test {
protected:
    void SetUp() override
    {
        static int number = 0;
        data = scratchFolder() + QStringLiteral("/tool-contacts-%1").arg(++number);
        QDir().mkpath(data);
        previous = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", data.toUtf8());
    }

    void TearDown() override { qputenv("XDG_DATA_HOME", previous); }

    QString data;
    QByteArray previous;
};

TEST_F(ContactsCommandTest, AddsTheShippedCardsAndFindsThem)
{
    EXPECT_EQ(runTool({"contacts", "find"}).exitCode, 1);
    const ToolResult added = runTool({"contacts", "add", "--kelvo", "--kagi"});
    EXPECT_EQ(added.exitCode, 0);
    EXPECT_EQ(added.lines(), QStringList({"Kelvo_Software: added", "Kagi: added"}));
    EXPECT_EQ(QDir(data + QStringLiteral("/contacts")).entryList({QStringLiteral("*.vcf")}).size(), 2);
    const ToolResult found =
        runTool({"contacts", "find", "--organization", "KELVO", "--companies", "--json"});
    EXPECT_EQ(found.exitCode, 0);
    ASSERT_EQ(found.json().toArray().size(), 1);
    EXPECT_EQ(found.json()[0]["organization"].toString(), QStringLiteral("Kelvo Software"));
    EXPECT_EQ(found.json()[0]["flags"].toInt(), 1);
    EXPECT_FALSE(found.json()[0]["emails"].toArray().isEmpty());
    EXPECT_EQ(runTool({"contacts", "find", "--organization", "Nobody"}).exitCode, 1);
}

TEST_F(ContactsCommandTest, AddsCardsFromFiles)
{
    const QString path = data + QStringLiteral("/card.vcf");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("BEGIN:VCARD\nVERSION:2.1\nORG:Ann Example\nEMAIL:ann@b.de\nEND:VCARD\n");
    file.close();
    const ToolResult added = runTool({"contacts", "add", "--json"}, path.toUtf8() + '\n');
    EXPECT_EQ(added.exitCode, 0);
    EXPECT_TRUE(added.json()[0]["added"].toBool());
    EXPECT_EQ(runTool({"contacts", "find", "--email", "ANN@b.de"}).text(),
              QStringLiteral("Ann Example\tann@b.de"));
    const ToolResult broken = runTool({"contacts", "add", data + QStringLiteral("/missing.vcf")});
    EXPECT_EQ(broken.exitCode, 2);
    EXPECT_FALSE(broken.err.isEmpty());
    EXPECT_EQ(runTool({"contacts"}).exitCode, 64);
}

} // namespace
} // namespace KVBase::Tests
