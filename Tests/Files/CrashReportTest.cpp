#include <KVBase/CrashReport.h>

#include "Platform/Services/Bundles.h"
#include "Platform/Services/CrashFolder.h"
#include "Platform/Services/SystemVersions.h"
#include "Support/TestPaths.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    file.write(content);
}

QByteArray infoPlist(const QByteArray &executable)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist "
           "version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
           "<string>com.example.crash</string>" +
           executable + "</dict></plist>";
}

struct FixedFolder : CrashFolder {
    QString path() override { return answer; }
    QString answer;
};

struct FixedVersions : SystemVersions {
    OSStatus gestalt(OSType selector, std::int32_t *response) override
    {
        if (selector == kGestaltSystemVersionMajor)
            *response = major;
        else if (selector == kGestaltSystemVersionMinor)
            *response = minor;
        else
            return kGestaltUndefinedSelector;
        return 0;
    }
    QString productVersion() override { return QStringLiteral("10.5"); }
    QString productBuildVersion() override { return QStringLiteral("9A1"); }
    double foundationVersionNumber() override { return 1000; }
    double appKitVersionNumber() override { return 1000; }
    std::int32_t major = 10;
    std::int32_t minor = 5;
};

struct FixedBundles : Bundles {
    Ref<NSBundle> mainBundle() override { return main; }
    Ref<NSBundle> frameworkBundle() override { return NSBundle::bundleWithPath(QStringLiteral("/")); }
    std::vector<Ref<NSBundle>> knownBundles() override { return {main}; }
    Ref<NSBundle> main;
};

QDateTime moment(const char *text)
{
    return QDateTime::fromString(QLatin1StringView(text), Qt::ISODateWithMs);
}

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

QVariant stored() { return defaults().objectForKey(QStringLiteral("CrashReporter.lastCrashDate")); }

/// An application "Tool" with a report folder of its own, and nothing stored yet.
class CrashReportTest : public testing::Test {
protected:
    CrashReportTest() : bundleGuard(&bundles), folderGuard(&crashFolder), versionGuard(&versions)
    {
        crashFolder.answer = scratch.filePath(QStringLiteral("Logs/CrashReporter"));
        useExecutable("<key>CFBundleExecutable</key><string>Tool</string>");
        defaults().removeObjectForKey(KVCrashReporterLastDateKey);
    }
    ~CrashReportTest() override
    {
        KVLogClose();
        defaults().removeObjectForKey(KVCrashReporterLastDateKey);
    }

    void useExecutable(const QByteArray &entry)
    {
        static int number = 0;
        const QString path = scratch.filePath(QStringLiteral("bundle%1").arg(++number));
        write(path + QStringLiteral("/Info.plist"), infoPlist(entry));
        bundles.main = NSBundle::bundleWithPath(path);
    }

    QString report(const QString &name) const { return crashFolder.answer + u'/' + name; }

    void addReport(const QString &name, const char *date, const QByteArray &content = "text")
    {
        write(report(name), content);
        setDate(report(name), date);
    }

    static void setDate(const QString &path, const char *date)
    {
        const qint64 milliseconds = moment(date).toMSecsSinceEpoch();
        const timespec time{milliseconds / 1000, milliseconds % 1000 * 1000000};
        const timespec times[2] = {time, time};
        ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW), 0);
    }

    QString logOf(const std::function<void()> &work)
    {
        const QString path = scratch.filePath(QStringLiteral("test.log"));
        KVLogSetDestination(1);
        KVLogOpen(path);
        work();
        KVLogClose();
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return QString::fromUtf8(file.readAll());
    }

    QTemporaryDir scratch;
    FixedBundles bundles;
    FixedFolder crashFolder;
    FixedVersions versions;
    ScopedService<Bundles> bundleGuard;
    ScopedService<CrashFolder> folderGuard;
    ScopedService<SystemVersions> versionGuard;
};

TEST_F(CrashReportTest, ExportsTheKey)
{
    EXPECT_EQ(QString(KVCrashReporterLastDateKey), QStringLiteral("CrashReporter.lastCrashDate"));
}

TEST_F(CrashReportTest, FindsANewReportOnce)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-02T03:04:05.678Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_EQ(stored().toDateTime(), moment("2020-01-02T03:04:05.678Z"));
}

TEST_F(CrashReportTest, FindsTheNextReport)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-02T03:04:05.678Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    addReport(QStringLiteral("Tool_2.crash"), "2020-01-02T03:04:05.679Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_FALSE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, DoesNotTakeAReportOfTheStoredDateForNew)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-02T03:04:05.678Z");
    defaults().setObject(moment("2020-01-02T03:04:05.678Z"), KVCrashReporterLastDateKey);
    EXPECT_FALSE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, StoresTheDistantPastWithoutReports)
{
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_EQ(stored().toDateTime(), moment("0001-01-01T00:00:00.000Z"));
    QDir().mkpath(crashFolder.answer);
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), QString());
}

TEST_F(CrashReportTest, MovesTheStoredDateBackWhenReportsAreGone)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    defaults().setObject(moment("2021-01-01T00:00:00.000Z"), KVCrashReporterLastDateKey);
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_EQ(stored().toDateTime(), moment("2020-01-01T00:00:00.000Z"));
}

TEST_F(CrashReportTest, WritesTheDateToTheDiskAtOnce)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-02T03:04:05.678Z");
    CrashReport::newCrashLogExists();
    const QDir configuration(qEnvironmentVariable("XDG_CONFIG_HOME"));
    QByteArray all;
    const QStringList names = configuration.entryList(QDir::Files);
    for (const QString &name : names) {
        QFile file(configuration.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        all += file.readAll();
    }
    EXPECT_TRUE(all.contains("CrashReporter.lastCrashDate"));
}

TEST_F(CrashReportTest, TakesTheNewestOfSeveralAtAnyDepth)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    addReport(QStringLiteral("a/b/c/Tool_2.crash"), "2022-01-01T00:00:00.000Z");
    addReport(QStringLiteral("a/Tool_3.crash"), "2021-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(stored().toDateTime(), moment("2022-01-01T00:00:00.000Z"));
}

TEST_F(CrashReportTest, FindsTheLastReportAtAnyDepth)
{
    addReport(QStringLiteral("other_1.crash"), "2023-01-01T00:00:00.000Z", "other");
    addReport(QStringLiteral("a/b/c/Tool_2.crash"), "2022-01-01T00:00:00.000Z", "deep");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), report(QStringLiteral("a/b/c/Tool_2.crash")));
    EXPECT_EQ(CrashReport::crashReportText(), QStringLiteral("deep"));
}

TEST_F(CrashReportTest, CountsEveryNameThatBeginsLikeTheExecutable)
{
    addReport(QStringLiteral("Toolbox_1.crash"), "2020-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, LeavesOtherNamesAlone)
{
    addReport(QStringLiteral("tool_1.crash"), "2020-01-01T00:00:00.000Z");
    addReport(QStringLiteral("MyTool_1.crash"), "2020-01-01T00:00:00.000Z");
    EXPECT_FALSE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, LeavesAReportAloneThatIsStillBeingWritten)
{
    addReport(QStringLiteral(".Tool_1.crash.part"), "2020-01-01T00:00:00.000Z");
    EXPECT_FALSE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, CountsAFolderOfTheName)
{
    QDir().mkpath(report(QStringLiteral("Tool folder")));
    setDate(report(QStringLiteral("Tool folder")), "2020-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), report(QStringLiteral("Tool folder")));
    QString text = QStringLiteral("unset");
    const QString log = logOf([&text] { text = CrashReport::crashReportText(); });
    EXPECT_TRUE(isNil(text));
    EXPECT_TRUE(log.contains(QStringLiteral("-[NSApplication(CrashReport) crashReportText] ")))
        << qPrintable(log);
}

TEST_F(CrashReportTest, CountsALinkByItsOwnDateAndDoesNotFollowIt)
{
    addReport(QStringLiteral("other.crash"), "2025-01-01T00:00:00.000Z");
    ASSERT_TRUE(QFile::link(report(QStringLiteral("other.crash")), report(QStringLiteral("Tool_1.crash"))));
    setDate(report(QStringLiteral("Tool_1.crash")), "2020-01-01T00:00:00.000Z");
    ASSERT_TRUE(QFile::link(crashFolder.answer, report(QStringLiteral("loop"))));
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(stored().toDateTime(), moment("2020-01-01T00:00:00.000Z"));
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), report(QStringLiteral("Tool_1.crash")));
}

TEST_F(CrashReportTest, EndsInAFolderOfLinkLoops)
{
    QDir().mkpath(crashFolder.answer);
    ASSERT_EQ(symlink("Tool_loop", qPrintable(report(QStringLiteral("Tool_loop")))), 0);
    setDate(report(QStringLiteral("Tool_loop")), "2020-01-01T00:00:00.000Z");
    ASSERT_EQ(symlink("..", qPrintable(report(QStringLiteral("up")))), 0);
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_TRUE(isNil(CrashReport::crashReportText()));
}

TEST_F(CrashReportTest, AnswersALastOneOfSeveralReportsOfTheNewestDate)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    addReport(QStringLiteral("Tool_2.crash"), "2020-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    // The file system's order decides between them: the last one that it names.
    QString last;
    QDirIterator entries(crashFolder.answer, QDir::Files);
    while (entries.hasNext())
        last = entries.next();
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), last);
}

TEST_F(CrashReportTest, AnswersAnOlderReportThatTheFileSystemNamesAfterTheNewest)
{
    for (int i = 0; i < 12; ++i)
        addReport(QStringLiteral("Tool_%1.crash").arg(i),
                  i == 5 ? "2021-01-01T00:00:00.000Z" : "2020-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    QString expected;
    bool newestMet = false;
    QDirIterator entries(crashFolder.answer, QDir::Files);
    while (entries.hasNext()) {
        const QString path = entries.next();
        newestMet |= path.endsWith(QStringLiteral("Tool_5.crash"));
        if (newestMet)
            expected = path;
    }
    EXPECT_EQ(CrashReport::pathOfLastCrashReport(), expected);
}

TEST_F(CrashReportTest, HasNoLastReportBeforeADateIsStored)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    EXPECT_TRUE(isNil(CrashReport::pathOfLastCrashReport()));
    EXPECT_TRUE(isNil(CrashReport::crashReportText()));
}

TEST_F(CrashReportTest, HasNoLastReportWhenTheStoredDateIsAnother)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    defaults().setObject(moment("2019-01-01T00:00:00.000Z"), KVCrashReporterLastDateKey);
    EXPECT_TRUE(isNil(CrashReport::pathOfLastCrashReport()));
}

TEST_F(CrashReportTest, TakesAStoredValueThatIsNoDateForNone)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    defaults().setObject(QStringLiteral("yesterday"), KVCrashReporterLastDateKey);
    EXPECT_TRUE(isNil(CrashReport::pathOfLastCrashReport()));
    EXPECT_TRUE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, AnswersNoOnAnOldSystemAndStoresNothing)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    versions.minor = 4;
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_TRUE(isNil(stored()));
    defaults().setObject(moment("2019-01-01T00:00:00.000Z"), KVCrashReporterLastDateKey);
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_EQ(stored().toDateTime(), moment("2019-01-01T00:00:00.000Z"));
}

TEST_F(CrashReportTest, SetsTheFirstDateToTheCurrentOne)
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    CrashReport::setFirstCrashDateToToday();
    const QDateTime date = stored().toDateTime();
    EXPECT_GE(date, before);
    EXPECT_LE(date, QDateTime::currentDateTimeUtc());
}

TEST_F(CrashReportTest, KeepsAFirstDateThatIsThere)
{
    defaults().setObject(moment("2019-01-01T00:00:00.000Z"), KVCrashReporterLastDateKey);
    CrashReport::setFirstCrashDateToToday();
    EXPECT_EQ(stored().toDateTime(), moment("2019-01-01T00:00:00.000Z"));
}

TEST_F(CrashReportTest, CountsOnlyReportsAfterTheFirstDate)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    CrashReport::setFirstCrashDateToToday();
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    CrashReport::setFirstCrashDateToToday();
    addReport(QStringLiteral("Tool_2.crash"), "2100-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, MatchesNothingWithoutAnExecutableName)
{
    useExecutable("");
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_TRUE(isNil(CrashReport::pathOfLastCrashReport()));
}

TEST_F(CrashReportTest, MatchesEverythingWithAnEmptyExecutableName)
{
    useExecutable("<key>CFBundleExecutable</key><string></string>");
    addReport(QStringLiteral("anything"), "2020-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
}

TEST_F(CrashReportTest, HasNoReportsWithoutALibraryFolder)
{
    crashFolder.answer = QString();
    EXPECT_FALSE(CrashReport::newCrashLogExists());
    EXPECT_TRUE(isNil(CrashReport::crashReportText()));
}

TEST_F(CrashReportTest, ReadsTheTextAsUtf8)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z",
              "gr\xc3\xbc\xc3\x9f\x65 \xf0\x9f\x98\x80\n");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    EXPECT_EQ(CrashReport::crashReportText(), QStringLiteral("grüße 😀\n"));
}

TEST_F(CrashReportTest, ReadsAnEmptyReportAsEmptyText)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z", "");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    const QString text = CrashReport::crashReportText();
    EXPECT_FALSE(isNil(text));
    EXPECT_TRUE(text.isEmpty());
}

TEST_F(CrashReportTest, LogsAReportThatIsNotUtf8)
{
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z", "caf\xe9");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    QString text = QStringLiteral("unset");
    const QString log = logOf([&text] { text = CrashReport::crashReportText(); });
    EXPECT_TRUE(isNil(text));
    EXPECT_TRUE(log.contains(QStringLiteral("\n-[NSApplication(CrashReport) crashReportText] Error "
                                            "Domain=NSCocoaErrorDomain Code=261 ")))
        << qPrintable(log);
}

TEST_F(CrashReportTest, LogsAReportThatCannotBeRead)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root may read everything";
    addReport(QStringLiteral("Tool_1.crash"), "2020-01-01T00:00:00.000Z");
    QFile::setPermissions(report(QStringLiteral("Tool_1.crash")), {});
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    QString text = QStringLiteral("unset");
    const QString log = logOf([&text] { text = CrashReport::crashReportText(); });
    EXPECT_TRUE(isNil(text));
    EXPECT_TRUE(log.contains(QStringLiteral("Code=256"))) << qPrintable(log);
}

TEST_F(CrashReportTest, DoesNotWaitForAPipe)
{
    QDir().mkpath(crashFolder.answer);
    ASSERT_EQ(mkfifo(qPrintable(report(QStringLiteral("Tool_1.crash"))), 0600), 0);
    setDate(report(QStringLiteral("Tool_1.crash")), "2020-01-01T00:00:00.000Z");
    EXPECT_TRUE(CrashReport::newCrashLogExists());
    const QString log = logOf([] { EXPECT_TRUE(isNil(CrashReport::crashReportText())); });
    EXPECT_TRUE(log.contains(QStringLiteral("Code=256"))) << qPrintable(log);
}

TEST(CrashFolderTest, LiesBelowTheUsersLibraryFolder)
{
    EXPECT_EQ(Service<CrashFolder>::current()->path(),
              qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Logs/CrashReporter"));
}

} // namespace
} // namespace KVBase
