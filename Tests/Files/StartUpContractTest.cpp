#include "Platform/Services/CrashFolder.h"
#include "Support/CapturedLog.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <KVBase/CrashReport.h>
#include <KVBase/InfoDictionary.h>
#include <KVBase/KVAppVersionUtils.h>
#include <KVBase/KVLog.h>
#include <KVBase/KVMainThread.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <functional>

namespace KVBase
{
namespace
{

using namespace Tests;

struct ReportsIn : CrashFolder {
    QString folder;
    QString path() override { return folder; }
};

/// What one launch of the application finds out.
struct Launch {
    bool newVersion = false, newSystem = false, newBuild = false, newMedia = false, crashed = false;
};

/// An application that is launched again and again, each time as a process of its own.
class StartUpContractTest : public testing::Test {
protected:
    StartUpContractTest()
    {
        reports.folder = folder.filePath(QStringLiteral("CrashReporter"));
        system.packed = 0x1058;
        system.mediaFramework = 0x07648000;
    }

    QString log() const { return folder.filePath(QStringLiteral("Logs/App.log")); }

    /// From the marking of the main thread to the closing of the log.
    void launch(
        const char *revision, const Launch &expected, const std::function<void()> &work = [] {})
    {
        SCOPED_TRACE(revision);
        runInChild([&] {
            const StubApplication application(
                {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.startup")},
                 {QStringLiteral("CFBundleExecutable"), QStringLiteral("Starter")},
                 {QStringLiteral("CFBundleShortVersionString"), QStringLiteral("2.1")},
                 {QStringLiteral("CFBundleVersion"), QString::fromLatin1(revision)},
                 {QStringLiteral("KVBuildStyle"), QStringLiteral("Release")}});
            NSUserDefaults::standardUserDefaults().synchronize();
            KVMainThread::markCurrentThreadAsMainThread();
            EXPECT_EQ(KVMainThread::mainThread(), QThread::currentThread());
            EXPECT_TRUE(KVLogOpen(log()));
            EXPECT_EQ(KVAppVersionUtils::firstStartOfAppVersion(), expected.newVersion);
            EXPECT_EQ(KVAppVersionUtils::firstStartWithSystemVersion(), expected.newSystem);
            EXPECT_EQ(KVAppVersionUtils::firstStartWithSystemBuild(), expected.newBuild);
            EXPECT_EQ(KVAppVersionUtils::firstStartWithQuickTimeVersion(), expected.newMedia);
            KVAppVersionUtils::registerAppVersion();
            CrashReport::setFirstCrashDateToToday();
            EXPECT_EQ(CrashReport::newCrashLogExists(), expected.crashed);
            EXPECT_EQ(KVAppVersionUtils::firstStartOfAppVersion(), expected.newVersion);
            KVLog("%@ runs", InfoDictionary::versionString());
            work();
            KVLogClose();
            EXPECT_TRUE(NSUserDefaults::standardUserDefaults().synchronize());
        });
    }

    QTemporaryDir folder;
    StubSystemVersions system;
    ReportsIn reports;
    ScopedService<SystemVersions> systemGuard{&system};
    ScopedService<CrashFolder> reportsGuard{&reports};
};

TEST_F(StartUpContractTest, EachLaunchKnowsWhatTheOneBeforeRecorded)
{
    launch("100", {}, [] { EXPECT_EQ(KVLogDestination(), 1); });
    launch("101", {.newVersion = true});
    launch("101", {});
    system.packed = 0x1060;
    system.build = QStringLiteral("10A432");
    launch("101", {.newSystem = true, .newBuild = true});
    system.mediaFramework = 0x07660000;
    writeFile(reports.folder + QStringLiteral("/Starter_1.crash"), "It broke.\n");
    launch("102", {.newVersion = true, .newMedia = true, .crashed = true}, [] {
        EXPECT_EQ(CrashReport::crashReportText(), QStringLiteral("It broke.\n"));
        KVLogError(-43, "readDocument", "/src/Document.cpp", 41);
    });
    launch("102", {});

    const QByteArray text = readFile(log());
    EXPECT_EQ(text.count("\nNew session: App.log\n"), 6);
    EXPECT_EQ(text.count("\nVersion: 2.1 (Rev. 101-F"), 3);
    EXPECT_EQ(text.count("\nVersion 2.1 (Rev. 102-F"), 2);
    EXPECT_EQ(text.count("\nSystem: 10.5.8 (9L31a)\nQuickTime: 07648000\n"), 3);
    EXPECT_EQ(text.count("\nreadDocument: Error -43 in file Document.cpp, line 41\n"), 1);
}

} // namespace
} // namespace KVBase
