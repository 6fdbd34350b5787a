#include <KVBase/Platform/NSBundle.h>

#include "Platform/ExecutablePath.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"

#include <KVBase/Platform/NSUserDefaults.h>

#include <gtest/gtest.h>

#include <thread>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

QString text(const Ref<NSBundle> &bundle, const char *key, const char *table = "T",
             const QString &value = QString())
{
    return bundle->localizedStringForKey(QString::fromUtf8(key), value, QString::fromUtf8(table));
}

} // namespace

TEST(NSBundleTest, TheFrameworksBundleIsCompiledIn)
{
    const Ref<NSBundle> bundle = NSBundle::frameworkBundle();
    ASSERT_NE(bundle, nullptr);
    EXPECT_EQ(bundle->bundleIdentifier(), QStringLiteral("com.kelvo.KVBase"));
    EXPECT_EQ(bundle, NSBundle::bundleWithIdentifier(QString(kKVBaseBundleIdentifier)));
    EXPECT_EQ(bundle->localizedStringForKey("NA_STRING", QString(), "KVBase"), QStringLiteral("n/a"));
    EXPECT_TRUE(bundle->dataForResource("KVBase", "strings").has_value());
}

TEST(NSBundleTest, TheMainBundleFollowsTheExecutable)
{
    const QString root = scratchFolder() + QStringLiteral("/places");
    QDir().mkpath(root + QStringLiteral("/prefix/share/tool"));
    EXPECT_EQ(bundlePathForExecutable("/opt/My Tool.app/Contents/MacOS/tool"),
              QStringLiteral("/opt/My Tool.app"));
    EXPECT_EQ(bundlePathForExecutable(root + "/prefix/bin/tool"), root + "/prefix/share/tool");
    EXPECT_EQ(bundlePathForExecutable(root + "/prefix/bin/other"), root + "/prefix/bin");
    EXPECT_EQ(bundlePathForExecutable(root + "/prefix/libexec/tool"), root + "/prefix/libexec");
    EXPECT_EQ(NSBundle::mainBundle(), NSBundle::mainBundle());
    EXPECT_EQ(NSBundle::mainBundle()->bundlePath(), programFolder());
}

TEST(NSBundleTest, ABundleIsTheSameObjectWhileSomebodyHoldsIt)
{
    const BundleFolder folder({{"CFBundleIdentifier", "com.example.same"}});
    Ref<NSBundle> bundle = folder.bundle();
    ASSERT_NE(bundle, nullptr);
    EXPECT_EQ(bundle, NSBundle::bundleWithPath(folder.path() + QStringLiteral("/")));
    EXPECT_EQ(bundle, NSBundle::bundleWithIdentifier("com.example.same"));
    EXPECT_EQ(bundle->bundlePath(), folder.path());
    bundle.reset();
    EXPECT_EQ(NSBundle::bundleWithIdentifier("com.example.same"), nullptr);
}

TEST(NSBundleTest, OfTwoBundlesWithOneIdentifierTheFirstWins)
{
    const BundleFolder one({{"CFBundleIdentifier", "com.example.twice"}});
    const BundleFolder two({{"CFBundleIdentifier", "com.example.twice"}});
    const Ref<NSBundle> first = one.bundle();
    const Ref<NSBundle> second = two.bundle();
    EXPECT_NE(first, second);
    EXPECT_EQ(NSBundle::bundleWithIdentifier("com.example.twice"), first);
}

TEST(NSBundleTest, WhatIsNoFolderIsNoBundle)
{
    const QString file = scratchFolder() + QStringLiteral("/file");
    writeFile(file, "x");
    for (const QString &path : {QString(), QStringLiteral(""), file, QStringLiteral("/nowhere/at/all")})
        EXPECT_EQ(NSBundle::bundleWithPath(path), nullptr);
    EXPECT_EQ(NSBundle::bundleWithIdentifier(QString()), nullptr);
    EXPECT_EQ(NSBundle::bundleWithIdentifier("com.example.unknown"), nullptr);
}

TEST(NSBundleTest, ABundleWithoutAnIdentifierIsFoundByNone)
{
    const BundleFolder folder({{"CFBundleName", "Nameless"}});
    const Ref<NSBundle> bundle = folder.bundle();
    EXPECT_TRUE(bundle->bundleIdentifier().isNull());
    EXPECT_EQ(NSBundle::bundleWithIdentifier(QStringLiteral("")), nullptr);
}

TEST(NSBundleTest, AnUnreadableInfoPlistIsNoDictionary)
{
    const QByteArray deep =
        "<?xml version=\"1.0\"?><plist>" + QByteArray("<array>").repeated(1000000) + "</plist>";
    for (const QByteArray &content :
         {QByteArray(), QByteArray("<?xml version=\"1.0\"?><plist><dict><key>CFBundleName</key>"), deep,
          QByteArray("<?xml version=\"1.0\"?><plist><array/></plist>"), QByteArray("bplist00garbage")}) {
        const BundleFolder folder({});
        writeFile(folder.infoPath(), content);
        const Ref<NSBundle> bundle = folder.bundle();
        ASSERT_NE(bundle, nullptr);
        EXPECT_FALSE(bundle->infoDictionary().has_value());
        EXPECT_TRUE(bundle->bundleIdentifier().isNull());
        EXPECT_FALSE(bundle->localizedInfoDictionary().has_value());
    }
}

TEST(NSBundleTest, ReadsFlatBundles)
{
    const QString root = scratchFolder() + QStringLiteral("/flat");
    NSPropertyListSerialization::writeToFile(
        QVariantMap{{"CFBundleIdentifier", "com.example.flat"}},
        (writeFile(root + "/en.lproj/T.strings", "k = in_root;"), root + QStringLiteral("/Info.plist")));
    Ref<NSBundle> bundle = NSBundle::bundleWithPath(root);
    EXPECT_EQ(bundle->bundleIdentifier(), QStringLiteral("com.example.flat"));
    EXPECT_EQ(text(bundle, "k"), QStringLiteral("in_root"));

    bundle.reset();
    writeFile(root + "/Resources/en.lproj/T.strings", "k = in_resources;");
    EXPECT_EQ(text(NSBundle::bundleWithPath(root), "k"), QStringLiteral("in_resources"));
}

TEST(NSBundleTest, FindsResourcesFirstWithoutThenByLanguage)
{
    const BundleFolder folder({});
    folder.addResource("both.txt", "plain");
    folder.addResource("en.lproj/both.txt", "english");
    folder.addResource("en.lproj/only.txt", "english");
    folder.addResource("fr.lproj/french.txt", "french");
    folder.addResource("noextension", "x");
    const Ref<NSBundle> bundle = folder.bundle();
    EXPECT_EQ(bundle->pathForResource("both", "txt"), folder.resource("both.txt"));
    EXPECT_EQ(bundle->pathForResource("only", "txt"), folder.resource("en.lproj/only.txt"));
    EXPECT_EQ(bundle->dataForResource("only", "txt"), QByteArray("english"));
    EXPECT_EQ(bundle->pathForResource("noextension", QString()), folder.resource("noextension"));
    EXPECT_EQ(bundle->pathForResource("noextension", ""), folder.resource("noextension"));
    EXPECT_TRUE(bundle->pathForResource("french", "txt").isNull());
    EXPECT_TRUE(bundle->pathForResource(QString(), "txt").isNull());
    EXPECT_FALSE(bundle->dataForResource("missing", "txt").has_value());
}

TEST(NSBundleTest, AnEmptyResourceIsNotNil)
{
    const BundleFolder folder({});
    folder.addResource("empty.txt", "");
    const auto data = folder.bundle()->dataForResource("empty", "txt");
    ASSERT_TRUE(data.has_value());
    EXPECT_TRUE(data->isEmpty());
}

TEST(NSBundleTest, LooksTextsUp)
{
    const BundleFolder folder({});
    folder.addResource("en.lproj/T.strings", "\"k\" = \"value\"; \"blank\" = \"\";");
    folder.addResource("en.lproj/Localizable.strings", "\"k\" = \"default table\";");
    const Ref<NSBundle> bundle = folder.bundle();
    EXPECT_EQ(text(bundle, "k"), QStringLiteral("value"));
    EXPECT_EQ(text(bundle, "blank", "T", "default"), QStringLiteral(""));
    EXPECT_EQ(text(bundle, "unknown", "T", "default"), QStringLiteral("default"));
    EXPECT_EQ(text(bundle, "unknown", "T", ""), QStringLiteral("unknown"));
    EXPECT_EQ(text(bundle, "unknown"), QStringLiteral("unknown"));
    EXPECT_EQ(text(bundle, "k", "Missing", "default"), QStringLiteral("default"));
    EXPECT_EQ(bundle->localizedStringForKey("k", QString(), QString()), QStringLiteral("default table"));
    EXPECT_EQ(bundle->localizedStringForKey("k", QString(), ""), QStringLiteral("default table"));
    EXPECT_EQ(bundle->localizedStringForKey(QString(), "default", "T"), QStringLiteral("default"));
    EXPECT_EQ(bundle->localizedStringForKey(QString(), QString(), "T"), QStringLiteral(""));
    EXPECT_FALSE(bundle->localizedStringForKey(QString(), QString(), "T").isNull());
}

TEST(NSBundleTest, TextsFollowTheApplicationsLanguages)
{
    runInChild([] {
        NSUserDefaults::standardUserDefaults().setObject(QVariantList{"de-AT", "fr"}, "AppleLanguages");
        const BundleFolder folder({});
        folder.addResource("de.lproj/T.strings", "k = deutsch;");
        folder.addResource("fr.lproj/T.strings", "k = francais; f = francais;");
        folder.addResource("en.lproj/T.strings", "k = english; e = english;");
        folder.addResource("en.lproj/OnlyEnglish.strings", "k = english;");
        folder.addResource("de.lproj/InfoPlist.strings", "CFBundleName = Werkzeug;");
        const Ref<NSBundle> bundle = folder.bundle();
        EXPECT_EQ(text(bundle, "k"), QStringLiteral("deutsch"));
        // One language for one table: what is missing there is the caller's default.
        EXPECT_EQ(text(bundle, "e", "T", "default"), QStringLiteral("default"));
        EXPECT_EQ(text(bundle, "k", "OnlyEnglish"), QStringLiteral("english"));
        EXPECT_EQ(bundle->localizedInfoDictionary(), (QVariantMap{{"CFBundleName", "Werkzeug"}}));

        NSUserDefaults::standardUserDefaults().setObject(QVariantList{"fr"}, "AppleLanguages");
        EXPECT_EQ(text(bundle, "k"), QStringLiteral("deutsch"));
    });
}

TEST(NSBundleTest, AWrongKindOfLanguageListIsIgnored)
{
    runInChild([] {
        const BundleFolder folder({});
        folder.addResource("de.lproj/T.strings", "k = deutsch;");
        folder.addResource("en.lproj/T.strings", "k = english;");
        for (const QVariant &wrong :
             {QVariant("de"), QVariant(7), QVariant(QVariantList{7, QVariantMap()})}) {
            NSUserDefaults::standardUserDefaults().setObject(wrong, "AppleLanguages");
            EXPECT_EQ(text(folder.bundle(), "k"), QStringLiteral("english"));
        }
    });
}

TEST(NSBundleTest, DamagedTablesAreNeutral)
{
    const BundleFolder folder({});
    folder.addResource("en.lproj/Garbage.strings", QByteArray("\x01\x02\xff\xfe\x00garbage", 12));
    folder.addResource("en.lproj/Latin.strings", "k = \"gr\xfc\xdf\";");
    QDir().mkpath(folder.resource("en.lproj/Folder.strings"));
    const Ref<NSBundle> bundle = folder.bundle();
    EXPECT_EQ(text(bundle, "k", "Garbage", "default"), QStringLiteral("default"));
    EXPECT_EQ(text(bundle, "k", "Folder", "default"), QStringLiteral("default"));
    EXPECT_EQ(text(bundle, "k", "Latin"), QStringLiteral("grüß"));
}

TEST(NSBundleThreads, TextsAndBundlesMayBeAskedForAtOnce)
{
    const BundleFolder folder({{"CFBundleIdentifier", "com.example.threads"}});
    folder.addResource("en.lproj/T.strings", "k = value;");
    const Ref<NSBundle> bundle = folder.bundle();
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round)
                right += text(NSBundle::bundleWithIdentifier("com.example.threads"), "k") ==
                         QStringLiteral("value");
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(right, 800);
}
