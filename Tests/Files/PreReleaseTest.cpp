#include <KVBase/PreRelease.h>

#include "Support/StubBundles.h"

#include <KVBase/Platform/NSApplication.h>

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>

using namespace KVBase;
using namespace KVBase::Tests;

class PreReleaseTestDelegate : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE bool isBetaVersion() const { return beta; }
    bool beta = false;
};

namespace
{

QVariantMap infoWithVersion(const QVariant &version)
{
    QVariantMap info{{"CFBundleIdentifier", "com.example.prerelease"}};
    if (version.isValid())
        info.insert("CFBundleShortVersionString", version);
    return info;
}

struct Application {
    int argc = 1;
    char name[5] = "test";
    char *argv[2] = {name, nullptr};
    QCoreApplication application{argc, argv};
};

} // namespace

TEST(PreReleaseTest, LettersAndALeadingZeroDecide)
{
    const struct {
        QVariant version;
        bool preRelease;
    } rows[] = {
        {"1.0", false},    {"0.9", true},       {"2.0B1", true}, {"2.0b3", true},     {"1.1d2", true},
        {"1.1D2", true},   {"3a", true},        {"3A1", true},   {"1.0 Final", true}, {"10.0", false},
        {"2.0.1", false},  {"", false},         {"0", false},    {"0.", true},        {" 0.9", false},
        {"1.0fc2", false}, {QVariant(), false}, {"00.1", false}, {"20.0.", false},    {"1.0-gm", false},
    };
    for (const auto &row : rows) {
        const StubApplication application(infoWithVersion(row.version));
        EXPECT_EQ(PreRelease::isPreReleaseVersion(), row.preRelease) << qPrintable(row.version.toString());
    }
}

TEST(PreReleaseTest, TheDelegateIsAskedFirst)
{
    const Application application;
    PreReleaseTestDelegate delegate;
    NSApplication::sharedApplication()->setDelegate(&delegate);
    {
        const StubApplication beta(infoWithVersion("0.9b1"));
        EXPECT_FALSE(PreRelease::isPreReleaseVersion());
    }
    delegate.beta = true;
    const StubApplication final(infoWithVersion("1.0"));
    EXPECT_TRUE(PreRelease::isPreReleaseVersion());
    NSApplication::sharedApplication()->setDelegate(nullptr);
    EXPECT_FALSE(PreRelease::isPreReleaseVersion());
}

TEST(PreReleaseTest, ADelegateWithoutAnAnswerIsPassedOver)
{
    const Application application;
    QObject delegate;
    NSApplication::sharedApplication()->setDelegate(&delegate);
    const StubApplication beta(infoWithVersion("1.0b1"));
    EXPECT_TRUE(PreRelease::isPreReleaseVersion());
    NSApplication::sharedApplication()->setDelegate(nullptr);
}

#include "PreReleaseTest.moc"
