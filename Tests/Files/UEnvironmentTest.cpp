#include <KVBase/UEnvironment.h>

#include "Platform/Services/Folders.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <KVBase/Platform/NSClass.h>
#include <KVBase/Runtime.h>

#include <gtest/gtest.h>

using namespace KVBase;
using namespace KVBase::Tests;

class UEnvironmentTestThing : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void instanceOnly() {}
};

class UEnvironmentTestThingClass : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void classMethod() {}
    Q_INVOKABLE void classMethod(const QVariant &) {}
};

TEST(UEnvironmentTest, ReleaseTestsLookAtTheMinorNumberFromMajorTenOn)
{
    const struct {
        std::int32_t majorRelease;
        std::int32_t minorRelease;
        bool jaguar, panther, tiger, leopard, snowLeopard;
    } rows[] = {
        {10, 0, false, false, false, false, false}, {10, 1, false, false, false, false, false},
        {10, 2, true, false, false, false, false},  {10, 3, true, true, false, false, false},
        {10, 4, true, true, true, false, false},    {10, 5, true, true, true, true, false},
        {10, 6, true, true, true, true, true},      {10, 100, true, true, true, true, true},
        {9, 6, false, false, false, false, false},  {9, 100, false, false, false, false, false},
        {11, 0, false, false, false, false, false}, {11, 5, true, true, true, true, false},
        {0, 9, false, false, false, false, false},
    };
    for (const auto &row : rows) {
        StubSystemVersions versions;
        versions.majorRelease = row.majorRelease;
        versions.minorRelease = row.minorRelease;
        const ScopedService<SystemVersions> guard(&versions);
        SCOPED_TRACE(testing::Message() << row.majorRelease << '.' << row.minorRelease);
        EXPECT_EQ(UEnvironment::RunningOnJaguarOrBetter(), row.jaguar);
        EXPECT_EQ(UEnvironment::RunningOnPantherOrBetter(), row.panther);
        EXPECT_EQ(UEnvironment::RunningOnTigerOrBetter(), row.tiger);
        EXPECT_EQ(UEnvironment::RunningOnLeopardOrBetter(), row.leopard);
        EXPECT_EQ(Runtime::runningOnPantherOrHigher(), row.panther);
        EXPECT_EQ(Runtime::runningOnTigerOrHigher(), row.tiger);
        EXPECT_EQ(Runtime::runningOnLeopardOrHigher(), row.leopard);
        EXPECT_EQ(Runtime::runningOnSnowLeopardOrHigher(), row.snowLeopard);
    }
}

TEST(UEnvironmentTest, ReleaseTestsAskOnEveryCallAndReadAFailureAsZero)
{
    StubSystemVersions versions;
    const ScopedService<SystemVersions> guard(&versions);
    EXPECT_TRUE(UEnvironment::RunningOnLeopardOrBetter());
    versions.minorRelease = 4;
    EXPECT_FALSE(UEnvironment::RunningOnLeopardOrBetter());
    EXPECT_EQ(versions.questions, 4);
    versions.minorRelease = -1;
    EXPECT_FALSE(UEnvironment::RunningOnJaguarOrBetter());
    versions.minorRelease = 9;
    versions.majorRelease = -1;
    EXPECT_FALSE(Runtime::runningOnPantherOrHigher());
}

TEST(UEnvironmentTest, TheVersionItselfIsNotCached)
{
    StubSystemVersions versions;
    const ScopedService<SystemVersions> guard(&versions);
    EXPECT_EQ(UEnvironment::SystemVersion(), 0x1058);
    EXPECT_EQ(Runtime::systemVersion(), 0x1058);
    versions.packed = 0x1060;
    EXPECT_EQ(UEnvironment::SystemVersion(), 0x1060);
    EXPECT_EQ(Runtime::systemVersion(), 0x1060);
    versions.packed = -1;
    EXPECT_EQ(UEnvironment::SystemVersion(), 0);
    EXPECT_EQ(Runtime::systemVersion(), 0);
}

TEST(UEnvironmentTest, ComparesWithTheVersionThatWasFoundFirst)
{
    runInChild([] {
        StubSystemVersions versions;
        const ScopedService<SystemVersions> guard(&versions);
        EXPECT_TRUE(UEnvironment::RunningOnSystem(0x1040));
        EXPECT_TRUE(UEnvironment::RunningOnSystem(0x1058));
        EXPECT_FALSE(UEnvironment::RunningOnSystem(0x1059));
        EXPECT_FALSE(UEnvironment::RunningOnSystem(0x1060));
        EXPECT_TRUE(UEnvironment::RunningOnSystem(-1));
        EXPECT_EQ(versions.questions, 1);
        versions.packed = 0x1070;
        EXPECT_FALSE(UEnvironment::RunningOnSystem(0x1060));
        // The application object's form keeps a version of its own.
        EXPECT_TRUE(Runtime::runningOnSystemVersion(0x1060));
        versions.packed = 0x1040;
        EXPECT_TRUE(Runtime::runningOnSystemVersion(0x1060));
    });
}

TEST(UEnvironmentTest, AFailedQueryIsAskedAgain)
{
    runInChild([] {
        StubSystemVersions versions;
        versions.packed = -1;
        const ScopedService<SystemVersions> guard(&versions);
        EXPECT_FALSE(UEnvironment::RunningOnSystem(1));
        EXPECT_TRUE(UEnvironment::RunningOnSystem(0));
        EXPECT_FALSE(Runtime::runningOnSystemVersion(1));
        versions.packed = 0x1058;
        EXPECT_TRUE(UEnvironment::RunningOnSystem(0x1058));
        EXPECT_TRUE(Runtime::runningOnSystemVersion(0x1058));
    });
}

TEST(UEnvironmentTest, TheMediaFrameworksVersionIsKeptOnceKnown)
{
    runInChild([] {
        StubSystemVersions versions;
        const ScopedService<SystemVersions> guard(&versions);
        EXPECT_EQ(UEnvironment::QuickTimeVersion(), 0u);
        EXPECT_EQ(Runtime::quickTimeVersion(), 0u);
        versions.mediaFramework = 0x07628000;
        EXPECT_EQ(UEnvironment::QuickTimeVersion(), 0x07628000u);
        versions.mediaFramework = 0x07700000;
        EXPECT_EQ(UEnvironment::QuickTimeVersion(), 0x07628000u);
        EXPECT_EQ(Runtime::quickTimeVersion(), 0x07700000u);
    });
}

TEST(UEnvironmentTest, ThisSystemIsNewerThanAllTheNamedReleases)
{
    EXPECT_TRUE(UEnvironment::RunningOnLeopardOrBetter());
    EXPECT_TRUE(Runtime::runningOnSnowLeopardOrHigher());
    EXPECT_GE(UEnvironment::SystemVersion(), 0x1060);
}

namespace
{

struct StubFolders : Folders {
    QString frameworks;

    QStringList libraryFolders(std::uint32_t) override { return {}; }
    QString temporaryFolder() override { return {}; }
    QString frameworksFolder() override { return frameworks; }
};

} // namespace

TEST(UEnvironmentTest, AFrameworkIsKnownOrLiesInTheSystemsFolder)
{
    StubFolders folders;
    folders.frameworks = scratchFolder() + QStringLiteral("/Frameworks");
    QDir().mkpath(folders.frameworks + QStringLiteral("/Present.framework"));
    writeFile(folders.frameworks + QStringLiteral("/File.framework"), "x");
    const ScopedService<Folders> guard(&folders);

    EXPECT_TRUE(UEnvironment::HasFramework("com.kelvo.KVBase"));
    EXPECT_TRUE(UEnvironment::HasFramework("com.example.Present"));
    EXPECT_TRUE(UEnvironment::HasFramework("Present"));
    EXPECT_FALSE(UEnvironment::HasFramework("com.example.present"));
    EXPECT_FALSE(UEnvironment::HasFramework("com.example.Absent"));
    EXPECT_FALSE(UEnvironment::HasFramework("com.example.File"));
    EXPECT_FALSE(UEnvironment::HasFramework("com.example.Present."));
    EXPECT_FALSE(UEnvironment::HasFramework(""));
    EXPECT_FALSE(UEnvironment::HasFramework(QString()));

    const BundleFolder folder({{"CFBundleIdentifier", "com.example.loaded"}});
    EXPECT_FALSE(UEnvironment::HasFramework("com.example.loaded"));
    const Ref<NSBundle> bundle = folder.bundle();
    EXPECT_TRUE(UEnvironment::HasFramework("com.example.loaded"));
}

TEST(UEnvironmentTest, ClassesAnswerForTheirClassMethods)
{
    UEnvironmentTestThingClass thingClass;
    UEnvironmentTestThing thing;
    EXPECT_FALSE(UEnvironment::HasClass("UEnvironmentTestThing"));
    EXPECT_FALSE(UEnvironment::ObjectHasMethod(&thing, "classMethod"));
    const NSClassRegistration registration("UEnvironmentTestThing", &thingClass);
    EXPECT_TRUE(UEnvironment::HasClass("UEnvironmentTestThing"));
    EXPECT_FALSE(UEnvironment::HasClass(QString()));

    QObject *const classObject = NSClassFromString("UEnvironmentTestThing");
    EXPECT_TRUE(UEnvironment::ClassHasMethod(classObject, "classMethod"));
    EXPECT_TRUE(UEnvironment::ClassHasMethod(classObject, "classMethod:"));
    EXPECT_FALSE(UEnvironment::ClassHasMethod(classObject, "classMethod:with:"));
    EXPECT_FALSE(UEnvironment::ClassHasMethod(classObject, "instanceOnly"));
    EXPECT_FALSE(UEnvironment::ClassHasMethod(nullptr, "classMethod"));
    EXPECT_FALSE(UEnvironment::ClassHasMethod(classObject, KVSelector()));

    EXPECT_TRUE(UEnvironment::ObjectHasMethod(&thing, "classMethod"));
    EXPECT_FALSE(UEnvironment::ObjectHasMethod(&thing, "instanceOnly"));
    EXPECT_FALSE(UEnvironment::ObjectHasMethod(nullptr, "classMethod"));
}

#include "UEnvironmentTest.moc"
