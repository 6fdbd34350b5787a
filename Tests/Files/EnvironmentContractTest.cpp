#include "Platform/Services/ConsoleSource.h"
#include "Platform/Services/CrashFolder.h"
#include "Support/CapturedLog.h"
#include "Support/FileFixtures.h"
#include "Support/ManualClock.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <KVBase/CrashReport.h>
#include <KVBase/KVConsole.h>
#include <KVBase/KVMutableExecutable.h>
#include <KVBase/KVMutableInfoPlist.h>
#include <KVBase/KVPlistLocalizer.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>
#include <KVBase/UEnvironment.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace KVBase::Tests
{
namespace
{

struct ReportFolder : CrashFolder {
    QString path() override { return answer; }
    QString answer;
};

struct ThreeLines : ConsoleSource {
    QStringList command() override { return {"/usr/bin/printf", "a\\nb\\nc"}; }
};

QVariant storedDate()
{
    return NSUserDefaults::standardUserDefaults().objectForKey(KVCrashReporterLastDateKey);
}

/// An application "Tool" with an empty report folder and no date stored.
class CrashReportContractTest : public testing::Test {
protected:
    CrashReportContractTest()
        : application({{"CFBundleIdentifier", "com.example.reports"}, {"CFBundleExecutable", "Tool"}}),
          folderGuard(&reports), versionGuard(&versions)
    {
        reports.answer = freshFolder() + QStringLiteral("/CrashReporter");
        putFolder(reports.answer);
        NSUserDefaults::standardUserDefaults().removeObjectForKey(KVCrashReporterLastDateKey);
    }

    ~CrashReportContractTest() override
    {
        NSUserDefaults::standardUserDefaults().removeObjectForKey(KVCrashReporterLastDateKey);
    }

    QString addReport(const QString &name, const QByteArray &content)
    {
        const QString path = reports.answer + u'/' + name;
        writeFile(path, content);
        const timespec time{1577934245, 678901234};
        const timespec times[2] = {time, time};
        EXPECT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
        return path;
    }

    StubApplication application;
    ReportFolder reports;
    StubSystemVersions versions;
    ScopedService<CrashFolder> folderGuard;
    ScopedService<SystemVersions> versionGuard;
};

} // namespace

TEST_F(CrashReportContractTest, ADateFinerThanTheStoredOneIsStillTheReports)
{
    const QString path = addReport("Tool_1.crash", "text\n");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), path);
}

TEST_F(CrashReportContractTest, HiddenFoldersAreSearchedToo)
{
    const QString path = addReport(".hidden/Tool", "x");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), path);
}

TEST_F(CrashReportContractTest, OnlyTheLastComponentOfAPathCounts)
{
    addReport("Toolbox/other.crash", "x");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), reports.answer + "/Toolbox");
}

TEST_F(CrashReportContractTest, AFolderThatIsALinkIsSearched)
{
    addReport("Tool_1.crash", "text\n");
    putLink(reports.answer + "-link", reports.answer);
    reports.answer += QStringLiteral("-link");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::crashReportText(), "text\n");
}

TEST_F(CrashReportContractTest, AFolderWithASeparatorAtItsEndGetsNoSecondOne)
{
    const QString path = addReport("Tool_1.crash", "x");
    reports.answer += u'/';
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), path);
}

TEST_F(CrashReportContractTest, ATextThatEndsWithinACharacterIsNoUtf8)
{
    addReport("Tool_1.crash", "caf\xc3");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    const CapturedLog log;
    EXPECT_TRUE(isNil(CrashReport::crashReportText()));
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(
        log.lines().first().startsWith("-[NSApplication(CrashReport) crashReportText] Error Domain="));
}

TEST_F(CrashReportContractTest, EveryCharacterOfAReportIsKept)
{
    addReport("Tool_1.crash", QByteArray("a\0b\r\n\n", 6));
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::crashReportText(), QString::fromLatin1("a\0b\r\n\n", 6));
}

TEST_F(CrashReportContractTest, NothingIsLoggedWhereThereIsNoReport)
{
    const CapturedLog log;
    EXPECT_TRUE(isNil(CrashReport::crashReportText()));
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_TRUE(isNil(CrashReport::crashReportText()));
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(CrashReportContractTest, TheFirstDateIsTheClocks)
{
    const ManualClock clock;
    CrashReport::setFirstCrashDateToToday();
    EXPECT_EQ(storedDate().toDateTime(), QDateTime(QDate(2020, 1, 1), QTime(0, 0, 1)));
}

TEST(KVMutableInfoPlistContractTest, ARemovedFileIsWrittenAgainWhileItsFolderIsThere)
{
    const BundleFolder folder({{"a", 1}});
    KVMutableInfoPlist plist(folder.path());
    ASSERT_TRUE(QFile::remove(folder.infoPath()));
    EXPECT_TRUE(plist.commit());
    EXPECT_EQ(KVMutableInfoPlist(folder.path()).valueForKey("a"), QVariant(1LL));
    ASSERT_TRUE(QDir(folder.path() + "/Contents").removeRecursively());
    EXPECT_FALSE(plist.commit());
}

TEST(KVMutableInfoPlistContractTest, KeysArePlainAndValuesOfEveryKind)
{
    const BundleFolder folder({{"a", QVariantMap{{"b", 1}}}});
    KVMutableInfoPlist plist(QUrl::fromLocalFile(folder.path() + u'/'));
    EXPECT_TRUE(isNil(plist.valueForKey("a.b")));
    const QVariantMap nested{{"x", QVariantList{"<&>", true, 1.5, QByteArray("\0\1", 2)}}};
    plist.setValue(nested, "a.b");
    plist.setValue("no name", "");
    plist.setValue("", "no text");
    plist.setValue(QVariant(), "never there");
    EXPECT_TRUE(plist.commit());
    const KVMutableInfoPlist again(folder.path());
    EXPECT_EQ(again.valueForKey("a.b"), QVariant(nested));
    EXPECT_EQ(again.valueForKey(""), QVariant("no name"));
    EXPECT_EQ(again.valueForKey("no text"), QVariant(""));
    EXPECT_FALSE(isNil(again.valueForKey("no text")));
}

TEST(KVMutableInfoPlistContractTest, ARelativePathNamesTheSameFileInAnotherWorkingFolder)
{
    const BundleFolder folder({{"a", 1}});
    writeFile(folder.path() + "/Contents/MacOS/tool", "old");
    const QString name = QFileInfo(folder.path()).fileName();
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path() + "/.."));
    KVMutableInfoPlist plist(name);
    KVMutableExecutable executable(name, "tool");
    ASSERT_TRUE(QDir::setCurrent(before));
    plist.setValue(2, "a");
    EXPECT_TRUE(plist.commit());
    EXPECT_TRUE(executable.replaceString("old", "new"));
    EXPECT_TRUE(executable.commit());
    EXPECT_EQ(KVMutableInfoPlist(folder.path()).valueForKey("a"), QVariant(2LL));
    EXPECT_EQ(readFile(folder.path() + "/Contents/MacOS/tool"), "new");
}

TEST(KVMutableExecutableContractTest, WritesWholeFilesWhateverTheirNameAndMode)
{
    const QString path = freshFolder() + "/My Tool%20#x";
    writeFile(path, QByteArray("aaab\xff\xfe..ABxAB", 13));
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0444), 0);
    KVMutableExecutable executable(QUrl::fromLocalFile(path));
    EXPECT_TRUE(executable.replaceString("aab", "xyz"));
    EXPECT_TRUE(executable.replaceString("ABCD", "xy"));
    EXPECT_FALSE(executable.replaceString("ABCD", "xy"));
    EXPECT_TRUE(executable.replaceString("xy", "xy"));
    EXPECT_TRUE(executable.commit());
    EXPECT_EQ(readFile(path), QByteArray("axyz\xff\xfe..xyxxy", 13));
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_TRUE(executable.commit());
    EXPECT_EQ(readFile(path), QByteArray("axyz\xff\xfe..xyxxy", 13));
}

TEST(KVConsoleContractTest, ALastLineWithoutAnEndIsALine)
{
    ThreeLines source;
    const ScopedService<ConsoleSource> guard(&source);
    EXPECT_EQ(KVConsole::consoleLogTail(1), "c");
    EXPECT_EQ(KVConsole::consoleLogTail(2), "b\nc");
    EXPECT_EQ(KVConsole::consoleLog(), "a\nb\nc");
}

TEST(KVPlistLocalizerContractTest, ATranslationIsNotTranslatedAgain)
{
    const BundleFolder folder({});
    folder.addResource("en.lproj/Localizable.strings", "\"k\" = \"v\"; \"v\" = \"w\";");
    const Ref<NSBundle> bundle = folder.bundle();
    EXPECT_EQ(KVPlistLocalizer::localizeString("k", "", bundle), "v");
    EXPECT_EQ(KVPlistLocalizer::localizeString("K", "", bundle), "K");
    EXPECT_EQ(KVPlistLocalizer::localizePlist(QVariantMap{{"k", QStringList{"k", "v"}}}, "", bundle),
              QVariant(QVariantMap{{"k", QVariantList{"v", "w"}}}));
}

TEST(UEnvironmentContractTest, TheFrameworksClassesAreLoadedAndItsStaticUtilitiesAreNone)
{
    for (const char *name : {"KVPathUtils", "KV_VCard", "KVHTTPPost", "NSObject", "NSEnumerator", "CIColor"})
        EXPECT_TRUE(UEnvironment::HasClass(name)) << name;
    for (const char *name : {"UPath", "UEnvironment", "kvpathutils", "NoSuchClass", ""})
        EXPECT_FALSE(UEnvironment::HasClass(name)) << name;
}

} // namespace KVBase::Tests
