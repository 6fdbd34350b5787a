#include <KVBase/KVAppVersionUtils.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include "Support/CapturedLog.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <gtest/gtest.h>

#include <memory>

namespace KVBase
{
namespace
{

using namespace Tests;

const QStringList kKeys{"LastVersionRun", "LastSystemVersionRun", "LastSystemBuildVersionRun",
                        "LastQuickTimeVersionRun"};

QVariantMap application(const QVariant &version, const QString &style = QStringLiteral("Release"))
{
    QVariantMap info{{"CFBundleIdentifier", "com.kelvo.firststart"}, {"KVBuildStyle", style}};
    if (version.isValid())
        info.insert("CFBundleVersion", version);
    return info;
}

/// One launch of the application: a system, a bundle and what an earlier launch stored.
class Launch {
public:
    explicit Launch(const QVariantMap &info) : bundle(std::make_unique<StubApplication>(info)), guard(&system)
    {
        for (const QString &key : kKeys)
            defaults().removeObjectForKey(key);
    }

    static NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }
    static void store(const QString &key, const QVariant &value) { defaults().setObject(value, key); }
    static QVariant stored(const QString &key) { return defaults().objectForKey(key); }

    void restyle(const QVariantMap &info)
    {
        bundle.reset();
        bundle = std::make_unique<StubApplication>(info);
    }

    StubSystemVersions system;

private:
    std::unique_ptr<StubApplication> bundle;
    ScopedService<SystemVersions> guard;
};

TEST(KVFirstStartTest, WithNothingStoredEveryAnswerIsNo)
{
    runInChild([] {
        Launch launch(application("101"));
        launch.system.mediaFramework = 0x07600000;
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemBuild());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithQuickTimeVersion());
        for (const QString &key : kKeys)
            EXPECT_TRUE(isNil(Launch::stored(key))) << "asking stores nothing";
        Launch::store("LastVersionRun", 100);
        Launch::store("LastSystemVersionRun", 0x1057);
        Launch::store("LastSystemBuildVersionRun", "9L30");
        Launch::store("LastQuickTimeVersionRun", 0x07550000);
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion()) << "decided once";
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemBuild());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithQuickTimeVersion());
    });
}

TEST(KVFirstStartTest, WhatDiffersIsAFirstStartAndStaysOne)
{
    runInChild([] {
        Launch launch(application("101"));
        launch.system.mediaFramework = 0x07600000;
        Launch::store("LastVersionRun", 100);
        Launch::store("LastSystemVersionRun", 0x1057);
        Launch::store("LastSystemBuildVersionRun", "9L30");
        Launch::store("LastQuickTimeVersionRun", 0x07550000);
        EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemVersion());
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemBuild());
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithQuickTimeVersion());
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(Launch::stored("LastVersionRun"), QVariant(qlonglong(101)));
        EXPECT_EQ(Launch::stored("LastSystemVersionRun"), QVariant(qlonglong(0x1058)));
        EXPECT_EQ(Launch::stored("LastSystemBuildVersionRun"), QVariant(QString("9L31a")));
        EXPECT_EQ(Launch::stored("LastQuickTimeVersionRun"), QVariant(qlonglong(0x07600000)));
        EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemVersion());
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemBuild());
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithQuickTimeVersion());
    });
}

TEST(KVFirstStartTest, AskedAfterRegistrationTheAnswerIsNo)
{
    runInChild([] {
        Launch launch(application("101"));
        launch.system.mediaFramework = 0x07600000;
        Launch::store("LastVersionRun", 100);
        Launch::store("LastSystemVersionRun", 0x1057);
        Launch::store("LastSystemBuildVersionRun", "9L30");
        Launch::store("LastQuickTimeVersionRun", 0x07550000);
        KVAppVersionUtils::registerAppVersion();
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemVersion());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemBuild());
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithQuickTimeVersion());
    });
}

TEST(KVFirstStartTest, ADowngradeIsAFirstStartToo)
{
    runInChild([] {
        const Launch launch(application("99"));
        Launch::store("LastVersionRun", 100);
        Launch::store("LastSystemVersionRun", 0x1060);
        EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemVersion());
    });
}

struct Version {
    const char *description;
    QVariant stored;
    QVariant bundle;
    bool first;
};

class KVFirstStartVersions : public testing::TestWithParam<Version> {};

TEST_P(KVFirstStartVersions, AreComparedAsNumbers)
{
    runInChild([] {
        const Launch launch(application(GetParam().bundle));
        const CapturedLog log;
        Launch::store("LastVersionRun", GetParam().stored);
        EXPECT_EQ(KVAppVersionUtils::firstStartOfAppVersion(), GetParam().first) << GetParam().description;
        EXPECT_EQ(log.lines(), QStringList()) << "no warning";
    });
}

INSTANTIATE_TEST_SUITE_P(Versions, KVFirstStartVersions,
                         testing::Values(Version{"the same", 101, "101", false},
                                         Version{"another", 100, "101", true},
                                         Version{"the same as a fraction", 101.0, "101", false},
                                         Version{"another fraction", 100.5, "101", true},
                                         Version{"leading zeros", 101, "0101", false},
                                         Version{"points end the number", 10, "10.5.8", false},
                                         Version{"missing is 0", 5, QVariant(), true},
                                         Version{"missing against 0", 0, QVariant(), false},
                                         Version{"no number is 0", 7, "abc", true},
                                         Version{"no number against 0", 0, "abc", false},
                                         Version{"nothing stored", QVariant(), "101", false},
                                         Version{"a text is no number", "100", "101", false},
                                         Version{"a list is no number", QVariantList{100}, "101", false},
                                         Version{"large", qlonglong(4294967397), "101", true}));

TEST(KVFirstStartDebugTest, NeverSeesAFirstStartAndNeverDecides)
{
    runInChild([] {
        Launch launch(application("101", "Debug"));
        launch.system.mediaFramework = 0x07600000;
        const CapturedLog log;
        Launch::store("LastVersionRun", 100);
        Launch::store("LastSystemVersionRun", 0x1057);
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(Launch::stored("LastVersionRun"), QVariant(100)) << "nothing is stored";
        EXPECT_EQ(Launch::stored("LastSystemVersionRun"), QVariant(0x1057));
        EXPECT_TRUE(isNil(Launch::stored("LastSystemBuildVersionRun")));
        EXPECT_TRUE(isNil(Launch::stored("LastQuickTimeVersionRun")));
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemVersion()) << "the other questions decide as ever";
        EXPECT_EQ(log.lines(), QStringList());
        launch.restyle(application("101", "Release"));
        EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion()) << "it had not been decided";
        launch.restyle(application("101", "Debug"));
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion()) << "the style is asked first";
    });
}

TEST(KVFirstStartMissingTest, BuildsAreComparedAsTexts)
{
    runInChild([] {
        const Launch launch(application("101"));
        Launch::store("LastSystemBuildVersionRun", "9L31A");
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemBuild()) << "case matters";
    });
    runInChild([] {
        Launch launch(application("101"));
        launch.system.build = QString("");
        Launch::store("LastSystemBuildVersionRun", "9L31a");
        EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemBuild()) << "an empty build is a build";
    });
    runInChild([] {
        const Launch launch(application("101"));
        Launch::store("LastSystemBuildVersionRun", 931);
        EXPECT_FALSE(KVAppVersionUtils::firstStartWithSystemBuild()) << "a number is no build";
    });
}

} // namespace
} // namespace KVBase
