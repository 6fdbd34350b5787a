#include <KVBase/KVAppVersionUtils.h>

#include "Files/FirstStartQuestion.h"
#include "Support/CapturedLog.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <gtest/gtest.h>

using namespace KVBase;
using namespace KVBase::Tests;
using Change = KVAppVersionChange;

namespace
{

QVariantMap application(const QVariant &version, const QString &style = QStringLiteral("Release"))
{
    QVariantMap info{{"CFBundleIdentifier", "com.example.firststart"}, {"KVBuildStyle", style}};
    if (version.isValid())
        info.insert("CFBundleVersion", version);
    return info;
}

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

struct Answers {
    bool app = false;
    bool system = false;
    bool build = false;
    bool mediaFramework = false;

    static Answers now()
    {
        return {KVAppVersionUtils::firstStartOfAppVersion(), KVAppVersionUtils::firstStartWithSystemVersion(),
                KVAppVersionUtils::firstStartWithSystemBuild(),
                KVAppVersionUtils::firstStartWithQuickTimeVersion()};
    }

    bool operator==(const Answers &) const = default;
};

void storeOtherValues()
{
    defaults().setInteger(100, "LastVersionRun");
    defaults().setInteger(0x1057, "LastSystemVersionRun");
    defaults().setObject("9G55", "LastSystemBuildVersionRun");
    defaults().setInteger(0x07600000, "LastQuickTimeVersionRun");
}

} // namespace

class KVAppVersionUtilsTest : public testing::Test {
protected:
    KVAppVersionUtilsTest() : guard(&versions) { versions.mediaFramework = 0x07628000; }

    StubSystemVersions versions;
    ScopedService<SystemVersions> guard;
};

TEST_F(KVAppVersionUtilsTest, TheVeryFirstLaunchIsNoFirstStart)
{
    runInChild([] {
        const StubApplication app(application("101"));
        EXPECT_EQ(Answers::now(), (Answers{false, false, false, false}));
        EXPECT_EQ(KVAppVersionUtils::appVersionChange(), Change::New);
    });
}

TEST_F(KVAppVersionUtilsTest, WhatDiffersIsAFirstStartAlsoAfterRegistration)
{
    runInChild([] {
        const StubApplication app(application("101"));
        storeOtherValues();
        EXPECT_EQ(Answers::now(), (Answers{true, true, true, true}));
        EXPECT_EQ(KVAppVersionUtils::appVersionChange(), Change::Upgraded);
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(Answers::now(), (Answers{true, true, true, true}));
        EXPECT_EQ(KVAppVersionUtils::appVersionChange(), Change::Unchanged);
        EXPECT_EQ(defaults().objectForKey("LastVersionRun"), QVariant(101LL));
        EXPECT_EQ(defaults().objectForKey("LastSystemVersionRun"), QVariant(0x1058LL));
        EXPECT_EQ(defaults().objectForKey("LastSystemBuildVersionRun"), QVariant("9L31a"));
        EXPECT_EQ(defaults().objectForKey("LastQuickTimeVersionRun"), QVariant(0x07628000LL));
    });
}

TEST_F(KVAppVersionUtilsTest, WhatIsAskedAfterRegistrationIsNoFirstStart)
{
    runInChild([] {
        const StubApplication app(application("101"));
        storeOtherValues();
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(Answers::now(), (Answers{false, false, false, false}));
    });
}

TEST_F(KVAppVersionUtilsTest, EqualValuesAreNoFirstStartWhateverComesLater)
{
    runInChild([] {
        const StubApplication app(application("101"));
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(Answers::now(), (Answers{false, false, false, false}));
        storeOtherValues();
        EXPECT_EQ(Answers::now(), (Answers{false, false, false, false}));
    });
}

TEST_F(KVAppVersionUtilsTest, ADebugBuildNeverAnswersNorStores)
{
    runInChild([] {
        storeOtherValues();
        {
            const StubApplication app(application("101", "BUILD_STYLE_PLACEHOLDER"));
            EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
            EXPECT_EQ(KVAppVersionUtils::appVersionChange(), Change::Unchanged);
            KVAppVersionUtils::registerAppVersion();
            EXPECT_EQ(defaults().objectForKey("LastVersionRun"), QVariant(100LL));
            EXPECT_EQ(defaults().objectForKey("LastSystemBuildVersionRun"), QVariant("9G55"));
            // The other three decide all the same.
            EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemVersion());
            EXPECT_TRUE(KVAppVersionUtils::firstStartWithSystemBuild());
            EXPECT_TRUE(KVAppVersionUtils::firstStartWithQuickTimeVersion());
        }
        // Nothing was decided, so a release build may still say yes, and a debug build no again.
        {
            const StubApplication app(application("101"));
            EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion());
        }
        const StubApplication app(application("101", "Debug"));
        EXPECT_FALSE(KVAppVersionUtils::firstStartOfAppVersion());
    });
}

TEST_F(KVAppVersionUtilsTest, AMissingVersionIsZeroWithoutAWarning)
{
    runInChild([] {
        const CapturedLog log;
        const StubApplication app(application(QVariant()));
        storeOtherValues();
        EXPECT_TRUE(KVAppVersionUtils::firstStartOfAppVersion());
        EXPECT_EQ(KVAppVersionUtils::appVersionChange(), Change::Downgraded);
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(defaults().objectForKey("LastVersionRun"), QVariant(0LL));
        EXPECT_EQ(log.lines(), QStringList());
    });
}

TEST_F(KVAppVersionUtilsTest, NoVersionAtAllIsLoggedAndDecided)
{
    runInChild([] {
        storeOtherValues();
        const CapturedLog log;
        FirstStartQuestion question;
        EXPECT_FALSE(decideAppVersion(question, QVariant()));
        EXPECT_TRUE(question.isDecided());
        EXPECT_FALSE(question.answer());
        EXPECT_EQ(log.lines(), QStringList{"WARNING: No internal app version specified!"});
    });
}

TEST_F(KVAppVersionUtilsTest, WhatTheSystemDoesNotSayIsLeftAsItWas)
{
    runInChild([this] {
        const StubApplication app(application("101"));
        storeOtherValues();
        versions.packed = -1;
        versions.mediaFramework = -1;
        versions.build = QString();
        EXPECT_EQ(Answers::now(), (Answers{true, false, false, false}));
        KVAppVersionUtils::registerAppVersion();
        EXPECT_EQ(defaults().objectForKey("LastVersionRun"), QVariant(101LL));
        EXPECT_EQ(defaults().objectForKey("LastSystemVersionRun"), QVariant(0x1057LL));
        EXPECT_EQ(defaults().objectForKey("LastSystemBuildVersionRun"), QVariant("9G55"));
        EXPECT_EQ(defaults().objectForKey("LastQuickTimeVersionRun"), QVariant(0x07600000LL));
    });
}

TEST_F(KVAppVersionUtilsTest, StoredValuesOfAnotherTypeCountAsAbsent)
{
    runInChild([] {
        const StubApplication app(application("101"));
        defaults().setObject("100", "LastVersionRun");
        defaults().setObject(QVariantList{1}, "LastSystemVersionRun");
        defaults().setObject(7, "LastSystemBuildVersionRun");
        defaults().setObject(QByteArray("x"), "LastQuickTimeVersionRun");
        EXPECT_EQ(Answers::now(), (Answers{false, false, false, false}));
        EXPECT_EQ(KVAppVersionUtils::appVersionChange(), Change::New);
    });
}

TEST_F(KVAppVersionUtilsTest, ComparesNumbersAsNumbers)
{
    EXPECT_TRUE(numbersDiffer(101LL, 100LL));
    EXPECT_FALSE(numbersDiffer(101LL, 101LL));
    EXPECT_FALSE(numbersDiffer(101LL, 101.0));
    EXPECT_TRUE(numbersDiffer(101LL, 101.5));
    EXPECT_FALSE(numbersDiffer(1LL, true));
    EXPECT_TRUE(numbersDiffer(-1LL, 18446744073709551615ULL));
    EXPECT_FALSE(numbersDiffer(QVariant(), 1LL));
    EXPECT_FALSE(numbersDiffer(1LL, QVariant()));
    EXPECT_TRUE(textsDiffer("a", "A"));
    EXPECT_FALSE(textsDiffer("a", "a"));
    EXPECT_FALSE(textsDiffer("a", QVariant()));
    EXPECT_FALSE(textsDiffer(QVariant(), "a"));
}
