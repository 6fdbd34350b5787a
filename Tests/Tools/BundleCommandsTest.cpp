#include "Support/StubBundles.h"
#include "Support/ToolRunner.h"

#include <gtest/gtest.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

QVariantMap toolInfo(const QString &identifier, const QString &version = QStringLiteral("1234"))
{
    return {{"CFBundleIdentifier", identifier}, {"CFBundleExecutable", "tool"},
            {"CFBundleName", "Tool"},           {"CFBundleShortVersionString", "2.1b1"},
            {"CFBundleVersion", version},       {"KVBuildStyle", "Release"}};
}

} // namespace

TEST(VersionCommandTest, ShowsTheLineOfAnotherBundle)
{
    const BundleFolder folder(toolInfo("com.example.version"));
    const ToolResult plain = runTool({"version", folder.path()});
    EXPECT_EQ(plain.exitCode, 0);
    EXPECT_EQ(plain.text(), QStringLiteral("Version 2.1b1 (Rev. 1234-F99999-R)"));
    const QJsonObject json = runTool({"version", folder.path(), "--json"}).json().toObject();
    EXPECT_EQ(json["line"].toString(), QStringLiteral("Version 2.1b1 (Rev. 1234-F99999-R)"));
    EXPECT_EQ(json["identifier"].toString(), QStringLiteral("com.example.version"));
    EXPECT_EQ(json["fullProductName"].toString(), QStringLiteral("Kelvo Tool"));
    EXPECT_EQ(json["majorVersion"].toInt(), 2);
    EXPECT_EQ(json["preRelease"].toBool(), true);
}

TEST(VersionCommandTest, StarsStandForWhatAProgramDoesNotSay)
{
    EXPECT_EQ(runTool({"version", "/bin/cat"}).text(), QStringLiteral("Version *.* (Rev. ****-F99999-*)"));
}

TEST(EnvironmentCommandTest, DescribesAndAnswers)
{
    const ToolResult plain = runTool({"environment"});
    EXPECT_EQ(plain.exitCode, 0);
    EXPECT_TRUE(plain.text().startsWith(QStringLiteral("System: ")));
    const QJsonObject json = runTool({"environment", "--json"}).json().toObject();
    EXPECT_GE(json["systemVersion"].toInt(), 0x1060);
    EXPECT_EQ(json["orBetter"].toObject()["leopard"].toBool(), true);

    EXPECT_EQ(runTool({"environment", "--at-least", "0x1058"}).exitCode, 0);
    EXPECT_EQ(runTool({"environment", "--at-least", "0x7fffffff"}).exitCode, 1);
    EXPECT_EQ(runTool({"environment", "--at-least", "soon"}).exitCode, 64);
    EXPECT_EQ(runTool({"environment", "--framework", "com.kelvo.KVBase"}).text(), QStringLiteral("yes"));
    EXPECT_EQ(runTool({"environment", "--framework", "com.example.none"}).exitCode, 1);
    EXPECT_EQ(runTool({"environment", "--class", "NoSuchClass", "--json"}).text(), QStringLiteral("false"));
}

TEST(FirstStartCommandTest, TellsWhatChanged)
{
    const BundleFolder first(toolInfo("com.example.first", "100"));
    const ToolResult fresh = runTool({"first-start", first.path(), "--register"});
    EXPECT_EQ(fresh.exitCode, 0);
    EXPECT_EQ(fresh.lines(), (QStringList{"application: no", "system: no", "systemBuild: no",
                                          "mediaFramework: no", "change: new"}));
    EXPECT_EQ(runTool({"first-start", first.path()}).lines().last(), QStringLiteral("change: unchanged"));

    const BundleFolder second(toolInfo("com.example.first", "101"));
    const QJsonObject json = runTool({"first-start", second.path(), "--json"}).json().toObject();
    EXPECT_EQ(json["application"].toBool(), true);
    EXPECT_EQ(json["system"].toBool(), false);
    EXPECT_EQ(json["change"].toString(), QStringLiteral("upgraded"));
}

TEST(PlistCommandTest, ReadsAndChangesABundle)
{
    const BundleFolder folder(toolInfo("com.example.plist"));
    EXPECT_EQ(runTool({"plist", "get", folder.path(), "CFBundleVersion"}).text(), QStringLiteral("1234"));
    EXPECT_EQ(runTool({"plist", "set", folder.path(), "CFBundleVersion", "77", "--type", "integer"}).exitCode,
              0);
    EXPECT_EQ(runTool({"plist", "get", folder.path(), "CFBundleVersion", "--json"}).json().toInt(), 77);
    EXPECT_EQ(runTool({"plist", "set", folder.path(), "Hidden", "true", "--type", "bool"}).exitCode, 0);
    EXPECT_EQ(runTool({"plist", "get", folder.infoPath(), "--json"}).json().toObject()["Hidden"].toBool(),
              true);
    EXPECT_EQ(runTool({"plist", "remove", folder.path(), "Hidden"}).exitCode, 0);
    EXPECT_EQ(runTool({"plist", "get", folder.path(), "Hidden"}).exitCode, 1);
    EXPECT_EQ(runTool({"plist", "set", folder.path(), "Hidden", "maybe", "--type", "bool"}).exitCode, 64);
    EXPECT_EQ(runTool({"plist", "get", "/nowhere"}).exitCode, 2);
    EXPECT_EQ(runTool({"plist", "set", "/nowhere", "k", "v"}).exitCode, 2);
    EXPECT_EQ(runTool({"plist"}).exitCode, 64);
}

TEST(PatchCommandTest, ReplacesInAFileAndInABundle)
{
    const BundleFolder folder({});
    const QString path = folder.path() + QStringLiteral("/Contents/MacOS/tool");
    writeFile(path, "xAAAAy");
    EXPECT_EQ(runTool({"patch", folder.path(), "AAAA", "BBBB", "--executable", "tool"}).text(),
              QStringLiteral("replaced"));
    EXPECT_EQ(readFile(path), "xBBBBy");
    EXPECT_EQ(runTool({"patch", path, "AAAA", "CCCC"}).exitCode, 1);
    EXPECT_EQ(runTool({"patch", path, "BBBB", "CC"}).exitCode, 64);
    EXPECT_EQ(readFile(path), "xBBBBy");
    EXPECT_EQ(
        runTool({"patch", path, "BBBB", "CC", "--cut", "--json"}).json().toObject()["replaced"].toBool(),
        true);
    EXPECT_EQ(readFile(path), "xCCCCy");
    EXPECT_EQ(runTool({"patch", "/nowhere/at/all", "AAAA", "BBBB"}).exitCode, 2);
}

TEST(LocalizeCommandTest, TranslatesTextsAndLists)
{
    const BundleFolder folder({});
    folder.addResource("en.lproj/T.strings", "hello = hallo;");
    EXPECT_EQ(runTool({"localize", "NA_STRING"}).text(), QStringLiteral("n/a"));
    EXPECT_EQ(runTool({"localize", "-b", folder.path(), "-t", "T"}, "hello\nother\n").lines(),
              (QStringList{"hallo", "other"}));
    const QString list = folder.path() + QStringLiteral("/list.plist");
    NSPropertyListSerialization::writeToFile(QVariantMap{{"hello", QVariantList{"hello", 1}}}, list);
    const QJsonObject json =
        runTool({"localize", "-b", folder.path(), "-t", "T", "-p", list, "--json"}).json().toObject();
    EXPECT_EQ(json["hello"].toArray(), (QJsonArray{"hallo", 1}));
    EXPECT_EQ(runTool({"localize", "-b", "/nowhere", "x"}).exitCode, 2);
    EXPECT_EQ(runTool({"localize", "-p", "/nowhere"}).exitCode, 2);
    EXPECT_EQ(runTool({"localize", "-p", "-"}, "garbage in here").exitCode, 2);
}
