#include <KVBase/KVAppVersionUtils.h>
#include <KVBase/Relaunch.h>

#include "Support/CapturedLog.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include "Platform/Services/Applications.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtGui/QAction>
#include <QtGui/QGuiApplication>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

QVariantMap application(const QVariant &version, const QString &style)
{
    QVariantMap info{{text("CFBundleIdentifier"), text("com.example.launch")}};
    if (version.isValid())
        info.insert(text("CFBundleVersion"), version);
    if (!style.isNull())
        info.insert(text("KVBuildStyle"), style);
    return info;
}

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

TEST(FirstStartContractTest, AnAnswerOfNoHoldsToo)
{
    StubSystemVersions versions;
    const ScopedService<SystemVersions> guard(&versions);
    runInChild([] {
        const StubApplication app(application(text("101"), text("Test")));
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemBuild());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithQuickTimeVersion());
        defaults().setObject(QVariant(100), text("LastVersionRun"));
        defaults().setObject(QVariant(text("9A1")), text("LastSystemBuildVersionRun"));
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemBuild());
    });
}

TEST(FirstStartContractTest, OnlyTheExactStyleIsDebug)
{
    StubSystemVersions versions;
    const ScopedService<SystemVersions> guard(&versions);
    runInChild([] {
        const CapturedLog log;
        const StubApplication app(application(text("abc"), text("debug")));
        defaults().setObject(QVariant(100), text("LastVersionRun"));
        EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion());
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(defaults().objectForKey(text("LastVersionRun")).toLongLong(), 0);
        EXPECT_EQ(defaults().objectForKey(text("LastSystemVersionRun")).toLongLong(), 0x1058);
        EXPECT_EQ(defaults().objectForKey(text("LastSystemBuildVersionRun")), QVariant(text("9L31a")));
        EXPECT_TRUE(isNil(defaults().objectForKey(text("LastQuickTimeVersionRun"))));
        EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_EQ(log.lines(), QStringList());
    });
}

TEST(FirstStartContractTest, AStoredZeroEqualsAMissingVersion)
{
    StubSystemVersions versions;
    const ScopedService<SystemVersions> guard(&versions);
    runInChild([] {
        const StubApplication app(application(QVariant(), text("Release")));
        defaults().setObject(QVariant(0), text("LastVersionRun"));
        defaults().setObject(QVariant(double(0x1058)), text("LastSystemVersionRun"));
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemVersion());
    });
}

struct CountedApplications final : Applications {
    QString applicationForCreator(OSType) override { return {}; }
    bool openFile(const QString &) override { return false; }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &) override
    {
        seen.append(qEnvironmentVariable("LAUNCH_PATH"));
        languages = defaults().objectForKey(text("AppleLanguages"));
    }
    QStringList seen;
    QVariant languages;
};

TEST(RelaunchContractTest, TheLaunchPathIsSetAndTheLanguageStoredBeforeTheCommandRuns)
{
    CountedApplications applications;
    const ScopedService<Applications> guard(&applications);
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    const QGuiApplication running(argc, argv);
    const QString bundle = NSBundle::mainBundle()->bundlePath();
    ASSERT_FALSE(bundle.isEmpty());
    qputenv("LAUNCH_PATH", "/before");
    QObject other;
    EXPECT_FALSE(Relaunch::relaunchUsingLocalization(&other));
    EXPECT_EQ(qgetenv("LAUNCH_PATH"), QByteArray("/before"));
    QAction item(text("de"), nullptr);
    EXPECT_TRUE(Relaunch::relaunchUsingLocalization(&item));
    EXPECT_EQ(applications.seen, QStringList{bundle});
    EXPECT_EQ(applications.languages, QVariant(QVariantList{text("de")}));
    EXPECT_EQ(qEnvironmentVariable("LAUNCH_PATH"), bundle);
    qunsetenv("LAUNCH_PATH");
    Relaunch::removeLocalizationPreference(nullptr);
    EXPECT_TRUE(isNil(defaults().objectForKey(text("AppleLanguages"))));
}

} // namespace
} // namespace KVBase
