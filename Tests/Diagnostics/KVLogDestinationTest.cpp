#include <KVBase/KVLog.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

/// Runs steps in processes of their own that share a home.
class KVLogProbeTest : public testing::Test {
protected:
    Tests::ToolResult probe(const QStringList &steps) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
        return Tests::runProgram(Tests::programFolder() + QStringLiteral("/LogProbe"), steps, {},
                                 environment);
    }

    QStringList answers(const QStringList &steps) const { return probe(steps).lines(); }

    QTemporaryDir home;
};

TEST_F(KVLogProbeTest, IsOffUntilTheDefaultIsRegistered)
{
    EXPECT_EQ(answers({QStringLiteral("get"), QStringLiteral("default"), QStringLiteral("get")}),
              QStringList({QStringLiteral("0"), QStringLiteral("1")}));
}

TEST_F(KVLogProbeTest, AStoredValueWinsOverTheDefault)
{
    EXPECT_EQ(answers({QStringLiteral("set 2"), QStringLiteral("get")}), QStringList({QStringLiteral("2")}));
    EXPECT_EQ(answers({QStringLiteral("get"), QStringLiteral("default"), QStringLiteral("get")}),
              QStringList({QStringLiteral("2"), QStringLiteral("2")}));
    EXPECT_EQ(answers({QStringLiteral("set 0")}), QStringList());
    EXPECT_EQ(answers({QStringLiteral("default"), QStringLiteral("get")}),
              QStringList({QStringLiteral("0")}));
}

TEST_F(KVLogProbeTest, RegisteringDropsTheValueInUse)
{
    EXPECT_EQ(answers({QStringLiteral("set 2"), QStringLiteral("store 5"), QStringLiteral("get"),
                       QStringLiteral("default"), QStringLiteral("get")}),
              QStringList({QStringLiteral("2"), QStringLiteral("5")}));
}

TEST_F(KVLogProbeTest, AStoredNegativeValueIsReadAgainEachTime)
{
    EXPECT_EQ(
        answers({QStringLiteral("store -3"), QStringLiteral("get"), QStringLiteral("store -7"),
                 QStringLiteral("get"), QStringLiteral("store 2"), QStringLiteral("get"),
                 QStringLiteral("store 1"), QStringLiteral("get")}),
        QStringList({QStringLiteral("-3"), QStringLiteral("-7"), QStringLiteral("2"), QStringLiteral("2")}));
}

TEST_F(KVLogProbeTest, OpeningRegistersTheDefault)
{
    const QString path = home.filePath(QStringLiteral("App.log"));
    EXPECT_EQ(answers({QStringLiteral("open ") + path, QStringLiteral("get"), QStringLiteral("path")}),
              QStringList({QStringLiteral("YES"), QStringLiteral("1"), path}));
    EXPECT_TRUE(QFileInfo::exists(path));
}

TEST_F(KVLogProbeTest, OpensNothingWhenTheStoredDestinationIsOff)
{
    const QString path = home.filePath(QStringLiteral("folder/App.log"));
    for (const QString &store : {QStringLiteral("store 0"), QStringLiteral("store -2")}) {
        EXPECT_EQ(answers({store, QStringLiteral("open ") + path, QStringLiteral("path")}),
                  QStringList({QStringLiteral("NO"), QStringLiteral("(null)")}));
        EXPECT_FALSE(QFileInfo::exists(home.filePath(QStringLiteral("folder"))));
    }
}

TEST_F(KVLogProbeTest, WritesTheConsoleWithoutAFile)
{
    const Tests::ToolResult result = probe({QStringLiteral("set 2"), QStringLiteral("log only here")});
    EXPECT_TRUE(result.err.endsWith("] only here\n")) << result.err.toStdString();
    EXPECT_EQ(result.err.count('\n'), 1);
    EXPECT_EQ(result.out, "");
    const Tests::ToolResult quiet = probe({QStringLiteral("set 1"), QStringLiteral("log nowhere")});
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(quiet.out, "");
}

TEST(KVLogDestinationTest, IsStoredAndUsedFromTheNextLineOn)
{
    const Tests::CapturedLog log;
    KVLog("one");
    KVLogSetDestination(1);
    EXPECT_EQ(KVLogDestination(), 1);
    EXPECT_EQ(NSUserDefaults::standardUserDefaults().integerForKey(QStringLiteral("KVLogDestination")), 1);
    KVLog("two");
    KVLogSetDestination(17);
    KVLog("three");
    KVLogSetDestination(0);
    KVLog("four");
    KVLogSetDestination(-1);
    EXPECT_EQ(KVLogDestination(), -1);
    KVLog("five");
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("one"), QStringLiteral("three")}));
}

TEST(KVLogDestinationTest, FormatsNothingWhenOff)
{
    struct Counting {
        QString description() const
        {
            ++*count;
            return QStringLiteral("counted");
        }
        int *count;
    };
    const Tests::CapturedLog log;
    int count = 0;
    KVLogSetDestination(0);
    KVLog("%@", Counting{&count});
    EXPECT_EQ(count, 0);
    KVLogSetDestination(2);
    KVLog("%@", Counting{&count});
    EXPECT_EQ(count, 1);
}

TEST(KVLogDestinationTest, SaturatesAStoredValueThatIsTooLarge)
{
    const std::int32_t before = KVLogDestination();
    NSUserDefaults::standardUserDefaults().setObject(qlonglong{1} << 40, QStringLiteral("KVLogDestination"));
    KVLogSetDefaultDestination();
    EXPECT_EQ(KVLogDestination(), 2147483647);
    KVLogSetDestination(before);
}

TEST(KVLogDomainsTest, HoldALevelForEachOf128Domains)
{
    EXPECT_EQ(KVLogDomainLevel(0), 0);
    EXPECT_EQ(KVLogDomainLevel(127), 0);
    KVLogSetDomainLevel(0, 5);
    KVLogSetDomainLevel(127, -2147483647 - 1);
    EXPECT_EQ(KVLogDomainLevel(0), 5);
    EXPECT_EQ(KVLogDomainLevel(127), -2147483647 - 1);
    EXPECT_EQ(sDomainLevel[0].load(), 5);
    KVLogSetDomainLevel(0, 0);
    KVLogSetDomainLevel(127, 0);
}

TEST(KVLogDomainsTest, IgnoreNumbersAbove127)
{
    KVLogSetDomainLevel(128, 5);
    KVLogSetDomainLevel(0xffffffffu, 5);
    EXPECT_EQ(KVLogDomainLevel(128), 0);
    EXPECT_EQ(KVLogDomainLevel(0xffffffffu), 0);
    for (const std::atomic<std::int32_t> &level : sDomainLevel)
        EXPECT_EQ(level.load(), 0);
}

TEST(KVLogDomainsTest, DoNotDecideWhatIsLogged)
{
    const Tests::CapturedLog log;
    KVLogSetDomainLevel(3, -100);
    KVLog("still here");
    KVLogSetDomainLevel(3, 0);
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("still here")}));
}

TEST(KVBuildStyleTest, HasItsValues)
{
    EXPECT_EQ(kKVBuildStyleKey, "KVBuildStyle");
    EXPECT_EQ(kKVRevisionPlaceholderString, "REVISION_NUMBER_PLACEHOLDER");
    EXPECT_EQ(kMaxRevisionNumber, "999999");
    EXPECT_EQ(kKVBuildStylePlaceholderString, "BUILD_STYLE_PLACEHOLDER");
    EXPECT_EQ(kKVBuildStyleDebug, "Debug");
    EXPECT_EQ(kKVBuildStyleTest, "Test");
    EXPECT_EQ(kKVBuildStyleRelease, "Release");
    EXPECT_EQ(kKVLogDestinationKey, "KVLogDestination");
}

} // namespace
} // namespace KVBase
