#include "Support/StubBundles.h"
#include "Support/Together.h"

#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Platform/NSClass.h>
#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSObject.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <gtest/gtest.h>

#include <atomic>

namespace KVBase::Tests
{
namespace
{

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

/// One of a few keys, made anew so that no two threads share its text.
QString key(int round) { return QStringLiteral("pairs%1").arg(round % 4); }

struct Shared {};

const SharedOperation<Shared> kDefaultsOperations[] = {
    {"ObjectForKey",
     [](Shared &, int round) {
         const QVariant value = defaults().objectForKey(key(round));
         EXPECT_TRUE(!value.isValid() || value.toLongLong() < 1000);
     }},
    {"IntegerForKey", [](Shared &, int round) { EXPECT_LT(defaults().integerForKey(key(round)), 1000); }},
    {"StringForKey", [](Shared &, int round) { (void)defaults().stringForKey(key(round)); }},
    {"ArrayForKey",
     [](Shared &, int round) {
         EXPECT_FALSE(defaults().arrayForKey(key(round)).has_value());
         EXPECT_FALSE(defaults().arrayForKey(QStringLiteral("fresh%1").arg(round)).has_value());
     }},
    {"SetInteger", [](Shared &, int round) { defaults().setInteger(round, key(round)); }},
    {"SetObject", [](Shared &, int round) { defaults().setObject(round, key(round)); }},
    {"RemoveObjectForKey", [](Shared &, int round) { defaults().removeObjectForKey(key(round)); }},
    {"RegisterDefaults",
     [](Shared &, int round) {
         defaults().registerDefaults({{key(round), round}});
     }},
    {"Synchronize", [](Shared &, int round) { EXPECT_TRUE(round % 10 != 0 || defaults().synchronize()); }},
};

class NSUserDefaultsPairsThreads : public testing::TestWithParam<SharedOperation<Shared>> {};

TEST_P(NSUserDefaultsPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kDefaultsOperations, 30, [] { return std::make_unique<Shared>(); },
        [](Shared &) {
            defaults().setInteger(77, QStringLiteral("pairs0"));
            EXPECT_EQ(defaults().integerForKey(QStringLiteral("pairs0")), 77);
        });
    for (int i = 0; i < 4; ++i)
        defaults().removeObjectForKey(key(i));
}

INSTANTIATE_TEST_SUITE_P(Each, NSUserDefaultsPairsThreads, testing::ValuesIn(kDefaultsOperations),
                         nameOfOperation<Shared>);

/// A bundle on disk that threads ask.
struct SharedBundle {
    BundleFolder folder{{{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.pairs")}}};
    Ref<NSBundle> bundle;
    SharedBundle()
    {
        folder.addResource(QStringLiteral("en.lproj/T.strings"), "k = value;");
        folder.addResource(QStringLiteral("plain.txt"), "content");
        bundle = folder.bundle();
    }
};

const SharedOperation<SharedBundle> kBundleOperations[] = {
    {"LocalizedString",
     [](SharedBundle &shared, int) {
         EXPECT_EQ(shared.bundle->localizedStringForKey(QStringLiteral("k"), QStringLiteral("default"),
                                                        QStringLiteral("T")),
                   QStringLiteral("value"));
     }},
    {"LocalizedStringOfTheFramework",
     [](SharedBundle &, int) {
         EXPECT_EQ(NSBundle::frameworkBundle()->localizedStringForKey(
                       QStringLiteral("NO_SUCH_KEY"), QStringLiteral("default"), QStringLiteral("KVBase")),
                   QStringLiteral("default"));
     }},
    {"MissingTable",
     [](SharedBundle &shared, int round) {
         EXPECT_EQ(shared.bundle->localizedStringForKey(QStringLiteral("k"), QStringLiteral("d"),
                                                        QStringLiteral("None%1").arg(round)),
                   QStringLiteral("d"));
     }},
    {"InfoDictionary",
     [](SharedBundle &shared, int) {
         EXPECT_EQ(shared.bundle->infoDictionary()->size(), 1);
         (void)shared.bundle->localizedInfoDictionary();
     }},
    {"MainBundle", [](SharedBundle &, int) { EXPECT_EQ(NSBundle::mainBundle(), NSBundle::mainBundle()); }},
    {"BundleWithIdentifier",
     [](SharedBundle &, int) {
         EXPECT_EQ(NSBundle::bundleWithIdentifier(QStringLiteral("com.kelvo.KVBase")),
                   NSBundle::frameworkBundle());
         EXPECT_EQ(NSBundle::bundleWithIdentifier(QStringLiteral("com.example.none")), nullptr);
     }},
    {"BundleWithPath",
     [](SharedBundle &shared, int) {
         EXPECT_EQ(NSBundle::bundleWithPath(shared.folder.path())->bundleIdentifier(),
                   QStringLiteral("com.example.pairs"));
     }},
    {"Resource",
     [](SharedBundle &shared, int) {
         EXPECT_FALSE(
             shared.bundle->pathForResource(QStringLiteral("plain"), QStringLiteral("txt")).isNull());
         EXPECT_EQ(shared.bundle->dataForResource(QStringLiteral("plain"), QStringLiteral("txt")),
                   QByteArray("content"));
     }},
};

class NSBundlePairsThreads : public testing::TestWithParam<SharedOperation<SharedBundle>> {};

TEST_P(NSBundlePairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kBundleOperations, 20, [] { return std::make_unique<SharedBundle>(); },
        [](SharedBundle &shared) { EXPECT_EQ(shared.bundle->bundlePath(), shared.folder.path()); });
}

INSTANTIATE_TEST_SUITE_P(Each, NSBundlePairsThreads, testing::ValuesIn(kBundleOperations),
                         nameOfOperation<SharedBundle>);

TEST(NSClassPairsThreads, LookUpsOfManyNamesMeetRegistrations)
{
    QObject one;
    QObject two;
    std::atomic<int> wrong{0};
    const auto look = [&](int round) {
        QObject *const found =
            NSClassFromString(round % 2 ? QStringLiteral("PairsOne") : QStringLiteral("PairsNone"));
        wrong += found == nullptr || (round % 2 && (found == &one || found == &two)) ? 0 : 1;
    };
    together({[&](int) { const NSClassRegistration registration("PairsOne", &one); },
              [&](int) { const NSClassRegistration registration("PairsOne", &two); }, look, look,
              [&](int) { (void)NSClassOfObject(&one); }},
             200);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(NSClassFromString(QStringLiteral("PairsOne")), nullptr);
}

TEST(NSClassPairsThreads, ALaterRegistrationWinsWhileOthersLook)
{
    QObject one;
    QObject two;
    const NSClassRegistration first("PairsLater", &one);
    together({[&](int) {
                  const NSClassRegistration second("PairsLater", &two);
                  EXPECT_EQ(NSClassFromString(QStringLiteral("PairsLater")), &two);
              },
              [&](int) { EXPECT_NE(NSClassFromString(QStringLiteral("PairsLater")), nullptr); }},
             200);
    EXPECT_EQ(NSClassFromString(QStringLiteral("PairsLater")), &one);
}

} // namespace
} // namespace KVBase::Tests
