#include <KVBase/InfoDictionary.h>

#include "Support/StubBundles.h"

#include <KVBase/KVBuildStyle.h>

#include <gtest/gtest.h>

using namespace KVBase;
using namespace KVBase::Tests;
using namespace KVBase::InfoDictionary;

namespace
{

constexpr char kIdentifier[] = "com.example.product.edition";

QVariantMap withIdentifier(QVariantMap info)
{
    info.insert("CFBundleIdentifier", kIdentifier);
    return info;
}

/// A framework whose revision is known.
const Ref<NSBundle> &stampedFramework()
{
    static const BundleFolder folder(
        {{"CFBundleIdentifier", "com.kelvo.KVBase"}, {"CFBundleVersion", "23456"}});
    static const Ref<NSBundle> bundle = folder.bundle();
    return bundle;
}

} // namespace

TEST(InfoDictionaryTest, TheExportedWordsAreThese)
{
    EXPECT_EQ(kNSBundleNameKey, QLatin1StringView("CFBundleName"));
    EXPECT_EQ(KNSBundleDisplayNameKey, QLatin1StringView("CFBundleDisplayName"));
    EXPECT_EQ(kNSBundleExecutalbeKey, QLatin1StringView("CFBundleExecutable"));
    EXPECT_EQ(kNSBundleVersionKey, QLatin1StringView("CFBundleVersion"));
    EXPECT_EQ(kNSShortVersionStringKey, QLatin1StringView("CFBundleShortVersionString"));
    EXPECT_EQ(kNSBundleIconFileKey, QLatin1StringView("CFBundleIconFile"));
    EXPECT_EQ(kNSBundleHelpBookNameKey, QLatin1StringView("CFBundleHelpBookName"));
    EXPECT_EQ(kKVAppStoreProductNameKey, QLatin1StringView("AppStoreProductName"));
    EXPECT_EQ(kKVAppStoreProductLogoKey, QLatin1StringView("AppStoreProductLogo"));
    EXPECT_EQ(kCompanyName, QLatin1StringView("Kelvo"));
}

TEST(InfoDictionaryTest, ReadsTheMainBundle)
{
    const QVariantMap info = withIdentifier({{"CFBundleName", "Tool"},
                                             {"CFBundleDisplayName", "The Tool"},
                                             {"CFBundleExecutable", "tool"},
                                             {"CFBundleVersion", "1234"},
                                             {"CFBundleShortVersionString", "2.1"},
                                             {"CFBundleIconFile", "tool.png"},
                                             {"CFBundleHelpBookName", "Tool Help"},
                                             {"KVBuildStyle", "Release"}});
    const StubApplication application(info);
    EXPECT_EQ(infoDict(), info);
    EXPECT_EQ(infoDictForBundleWithIdentifier(kIdentifier), info);
    EXPECT_FALSE(localizedInfoDict().has_value());
    EXPECT_EQ(bundleIdentifier(), QString(kIdentifier));
    EXPECT_EQ(bundleName(), QStringLiteral("Tool"));
    EXPECT_EQ(localizedBundleName(), QStringLiteral("Tool"));
    EXPECT_EQ(bundleDisplayName(), QStringLiteral("The Tool"));
    EXPECT_EQ(localizedBundleDisplayName(), QStringLiteral("The Tool"));
    EXPECT_EQ(bundleExecutable(), QStringLiteral("tool"));
    EXPECT_EQ(bundleVersion(), QStringLiteral("1234"));
    EXPECT_EQ(bundleVersionAsNumber(), QVariant(1234LL));
    EXPECT_EQ(bundleVersionAsNumber().typeId(), QMetaType::LongLong);
    EXPECT_EQ(shortVersionString(), QStringLiteral("2.1"));
    EXPECT_EQ(bundleIconFile(), QStringLiteral("tool.png"));
    EXPECT_EQ(bundleHelpBookName(), QStringLiteral("Tool Help"));
    EXPECT_EQ(buildStyle(), QStringLiteral("Release"));
    EXPECT_EQ(appStoreProductName(), QStringLiteral("The Tool"));
    EXPECT_EQ(appStoreLastBundleComponent(), QStringLiteral("edition"));
    EXPECT_EQ(majorVersion(), 2);
}

TEST(InfoDictionaryTest, EveryValueHasAFormForOtherBundles)
{
    const StubApplication application(withIdentifier({}));
    const QString framework = QStringLiteral("com.kelvo.KVBase");
    EXPECT_EQ(bundleNameForBundleWithIdentifier(framework), QStringLiteral("KVBase"));
    EXPECT_EQ(localizedBundleNameForBundleWithIdentifier(framework), QStringLiteral("KVBase"));
    EXPECT_EQ(bundleDisplayNameForBundleWithIdentifier(framework), QStringLiteral("KVBase"));
    EXPECT_EQ(localizedBundleDisplayNameForBundleWithIdentifier(framework), QStringLiteral("KVBase"));
    EXPECT_EQ(appStoreProductNameForBundleWithIdentifier(framework), QStringLiteral("KVBase"));
    EXPECT_EQ(bundleExecutableForBundleWithIdentifier(framework), QStringLiteral("KVBase"));
    EXPECT_FALSE(shortVersionStringForBundleWithIdentifier(framework).isEmpty());
    EXPECT_TRUE(infoDictForBundleWithIdentifier(framework).has_value());
}

TEST(InfoDictionaryTest, AnUnknownBundleGivesNilForEveryValue)
{
    for (const QString &unknown : {QStringLiteral("com.example.unknown"), QStringLiteral(""), QString()}) {
        EXPECT_FALSE(infoDictForBundleWithIdentifier(unknown).has_value());
        EXPECT_FALSE(localizedInfoDictForBundleWithIdentifier(unknown).has_value());
        EXPECT_TRUE(bundleNameForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(localizedBundleNameForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(bundleDisplayNameForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(localizedBundleDisplayNameForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(bundleExecutableForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(bundleVersionForBundleWithIdentifier(unknown).isNull());
        EXPECT_EQ(bundleVersionAsNumberForBundleWithIdentifier(unknown), QVariant(0LL));
        EXPECT_TRUE(shortVersionStringForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(bundleIconFileForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(bundleHelpBookNameForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(buildStyleForBundleWithIdentifier(unknown).isNull());
        EXPECT_TRUE(appStoreProductNameForBundleWithIdentifier(unknown).isNull());
    }
}

TEST(InfoDictionaryTest, AMainBundleWithoutAnIdentifierGivesNil)
{
    const StubApplication application({{"CFBundleName", "Tool"}, {"CFBundleShortVersionString", "2.1"}});
    EXPECT_FALSE(infoDict().has_value());
    EXPECT_TRUE(bundleIdentifier().isNull());
    EXPECT_TRUE(bundleName().isNull());
    EXPECT_EQ(majorVersion(), 0);
    EXPECT_TRUE(appStoreLastBundleComponent().isNull());
}

TEST(InfoDictionaryTest, PlaceholdersAreReplaced)
{
    const StubApplication application(withIdentifier(
        {{"CFBundleVersion", "REVISION_NUMBER_PLACEHOLDER"}, {"KVBuildStyle", "BUILD_STYLE_PLACEHOLDER"}}));
    EXPECT_EQ(bundleVersion(), QStringLiteral("999999"));
    EXPECT_EQ(bundleVersionAsNumber(), QVariant(999999LL));
    EXPECT_EQ(buildStyle(), QStringLiteral("Debug"));
}

TEST(InfoDictionaryTest, NamesFallBackAlongTheirChains)
{
    const char *const table = "en.lproj/InfoPlist.strings";
    {
        const StubApplication application(withIdentifier({{"CFBundleName", "Tool"}}));
        EXPECT_EQ(bundleDisplayName(), QStringLiteral("Tool"));
        EXPECT_EQ(localizedBundleDisplayName(), QStringLiteral("Tool"));
    }
    {
        const StubApplication application(withIdentifier({{"CFBundleName", "Tool"}}));
        application.bundleFolder().addResource(table, "CFBundleName = Werkzeug;");
        EXPECT_EQ(bundleName(), QStringLiteral("Tool"));
        EXPECT_EQ(localizedBundleName(), QStringLiteral("Werkzeug"));
        // Never by way of the localised name.
        EXPECT_EQ(localizedBundleDisplayName(), QStringLiteral("Tool"));
        EXPECT_EQ(localizedInfoDict(), (QVariantMap{{"CFBundleName", "Werkzeug"}}));
    }
    {
        const StubApplication application(
            withIdentifier({{"CFBundleName", "Tool"}, {"CFBundleDisplayName", ""}}));
        application.bundleFolder().addResource(table, "CFBundleDisplayName = \"Mein Werkzeug\";");
        EXPECT_EQ(bundleDisplayName(), QStringLiteral(""));
        EXPECT_EQ(localizedBundleDisplayName(), QStringLiteral("Mein Werkzeug"));
        EXPECT_EQ(appStoreProductName(), QStringLiteral("Mein Werkzeug"));
    }
}

TEST(InfoDictionaryTest, ValuesOfTheWrongTypeAreShownAsTextOrMissing)
{
    const StubApplication application(withIdentifier({{"CFBundleVersion", 4711},
                                                      {"CFBundleShortVersionString", 2.5},
                                                      {"CFBundleName", QVariantList{"x"}},
                                                      {"CFBundleDisplayName", QVariantMap{{"x", 1}}},
                                                      {"CFBundleExecutable", QByteArray("tool")},
                                                      {"KVBuildStyle", true}}));
    EXPECT_EQ(bundleVersion(), QStringLiteral("4711"));
    EXPECT_EQ(bundleVersionAsNumber(), QVariant(4711LL));
    EXPECT_EQ(shortVersionString(), QStringLiteral("2.5"));
    EXPECT_TRUE(bundleName().isNull());
    EXPECT_TRUE(bundleDisplayName().isNull());
    EXPECT_TRUE(bundleExecutable().isNull());
    EXPECT_EQ(versionString().left(26), QStringLiteral("Version 2.5 (Rev. 4711-F99"));
}

TEST(InfoDictionaryTest, NumbersAreTheLeadingIntegers)
{
    const struct {
        QString text;
        qlonglong number;
        std::int32_t major;
    } rows[] = {
        {"101", 101, 101},
        {"12.5", 12, 12},
        {" 7b", 7, 7},
        {"-3", -3, -3},
        {"beta", 0, 0},
        {"", 0, 0},
        {"9999999999", 9999999999LL, 2147483647},
        {"99999999999999999999", 9223372036854775807LL, 2147483647},
        {"-99999999999999999999", std::numeric_limits<qlonglong>::min(),
         std::numeric_limits<std::int32_t>::min()},
    };
    for (const auto &row : rows) {
        const StubApplication application(
            withIdentifier({{"CFBundleVersion", row.text}, {"CFBundleShortVersionString", row.text}}));
        EXPECT_EQ(bundleVersionAsNumber(), QVariant(row.number)) << qPrintable(row.text);
        EXPECT_EQ(majorVersion(), row.major) << qPrintable(row.text);
    }
}

TEST(InfoDictionaryTest, TheCompanyWordStandsInFrontOnce)
{
    const struct {
        QString name;
        QString full;
    } rows[] = {
        {"Tool", "Kelvo Tool"},
        {"Kelvo Tool", "Kelvo Tool"},
        {"Kelvo", "Kelvo"},
        {"KelvoTool", "KelvoTool"},
        {"kelvo tool", "Kelvo kelvo tool"},
        {"My Kelvo", "Kelvo My Kelvo"},
        {"", "Kelvo "},
    };
    for (const auto &row : rows) {
        const StubApplication application(withIdentifier({{"CFBundleName", "x"}}));
        application.bundleFolder().addResource(
            "en.lproj/InfoPlist.strings",
            QStringLiteral("CFBundleName = \"%1\"; CFBundleDisplayName = \"%1\";").arg(row.name).toUtf8());
        EXPECT_EQ(fullProductName(), row.full);
        EXPECT_EQ(appStoreFullProductName(), row.full);
    }
    const StubApplication nameless(withIdentifier({}));
    EXPECT_EQ(fullProductName(), QStringLiteral("Kelvo (null)"));
}

TEST(InfoDictionaryTest, TheLastComponentNeedsFourPieces)
{
    EXPECT_TRUE(appStoreLastBundleComponentForBundleIdentifier("com.kelvo.tool").isNull());
    EXPECT_EQ(appStoreLastBundleComponentForBundleIdentifier("com.kelvo.tool.lite"), QStringLiteral("lite"));
    EXPECT_EQ(appStoreLastBundleComponentForBundleIdentifier("a.b.c.d.e"), QStringLiteral("e"));
    EXPECT_EQ(appStoreLastBundleComponentForBundleIdentifier("a.b.c."), QStringLiteral(""));
    EXPECT_FALSE(appStoreLastBundleComponentForBundleIdentifier("a.b.c.").isNull());
    EXPECT_FALSE(appStoreLastBundleComponentForBundleIdentifier("...").isNull());
    EXPECT_TRUE(appStoreLastBundleComponentForBundleIdentifier("").isNull());
    EXPECT_TRUE(appStoreLastBundleComponentForBundleIdentifier(QString()).isNull());
}

TEST(InfoDictionaryTest, TheVersionLineHasFourFields)
{
    const struct {
        const char *what;
        QVariantMap info;
        QString line;
    } rows[] = {
        {"everything",
         {{"CFBundleShortVersionString", "2.1"}, {"CFBundleVersion", "12345"}, {"KVBuildStyle", "Release"}},
         "Version 2.1 (Rev. 12345-F23456-R)"},
        {"an unstamped build",
         {{"CFBundleShortVersionString", "1.0"},
          {"CFBundleVersion", "REVISION_NUMBER_PLACEHOLDER"},
          {"KVBuildStyle", "BUILD_STYLE_PLACEHOLDER"}},
         "Version 1.0 (Rev. 99999-F23456-D)"},
        {"nothing", {}, "Version *.* (Rev. ****-F23456-*)"},
        {"empty texts",
         {{"CFBundleShortVersionString", ""}, {"CFBundleVersion", ""}, {"KVBuildStyle", ""}},
         "Version *.* (Rev. ****-F23456-*)"},
        {"a short revision", {{"CFBundleVersion", "1234"}}, "Version *.* (Rev. 1234-F23456-*)"},
        {"a long revision", {{"CFBundleVersion", "1234567"}}, "Version *.* (Rev. 12345-F23456-*)"},
        {"six characters", {{"CFBundleVersion", "123456"}}, "Version *.* (Rev. 12345-F23456-*)"},
        {"a style of one letter", {{"KVBuildStyle", "X"}}, "Version *.* (Rev. ****-F23456-X)"},
        {"a style of two letters", {{"KVBuildStyle", "Xy"}}, "Version *.* (Rev. ****-F23456-X)"},
        {"the test style", {{"KVBuildStyle", "Test"}}, "Version *.* (Rev. ****-F23456-T)"},
        {"percent signs", {{"CFBundleShortVersionString", "%@%d"}}, "Version %@%d (Rev. ****-F23456-*)"},
    };
    for (const auto &row : rows) {
        const StubApplication application(withIdentifier(row.info), stampedFramework());
        EXPECT_EQ(versionString(), row.line) << row.what;
    }
    const StubApplication application(withIdentifier({}), nullptr);
    EXPECT_EQ(versionString(), QStringLiteral("Version *.* (Rev. ****-F****-*)"));
}

TEST(InfoDictionaryTest, CutsMaySplitACharacterButNeverCrash)
{
    const StubApplication application(withIdentifier({{"CFBundleVersion", QString::fromUtf8("1234😀😀")},
                                                      {"KVBuildStyle", QString::fromUtf8("😀")}}),
                                      stampedFramework());
    const QString line = versionString();
    EXPECT_EQ(line.size(), QStringLiteral("Version *.* (Rev. 12345-F23456-R)").size());
}
