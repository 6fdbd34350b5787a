// Includes the one header alone: the build-style words have to come with it.
#include <KVBase/InfoDictionary.h>

#include "Support/StubBundles.h"

#include <gtest/gtest.h>

using namespace KVBase;
using namespace KVBase::Tests;
using namespace KVBase::InfoDictionary;

namespace
{

constexpr char kIdentifier[] = "com.example.contract";

QVariantMap withIdentifier(QVariantMap info)
{
    info.insert("CFBundleIdentifier", kIdentifier);
    return info;
}

} // namespace

TEST(InfoDictionaryContractTest, TheBuildStyleWordsComeWithTheHeader)
{
    EXPECT_EQ(kKVBuildStyleKey, "KVBuildStyle");
    EXPECT_EQ(kKVRevisionPlaceholderString, "REVISION_NUMBER_PLACEHOLDER");
    EXPECT_EQ(kMaxRevisionNumber, "999999");
    EXPECT_EQ(kKVBuildStylePlaceholderString, "BUILD_STYLE_PLACEHOLDER");
    EXPECT_EQ(kKVBuildStyleDebug, "Debug");
    EXPECT_EQ(kKVBuildStyleTest, "Test");
    EXPECT_EQ(kKVBuildStyleRelease, "Release");
}

TEST(InfoDictionaryContractTest, WithoutAMainBundleEveryValueIsNil)
{
    StubBundles none;
    const ScopedService<Bundles> guard(&none);
    EXPECT_FALSE(infoDict().has_value());
    EXPECT_FALSE(localizedInfoDict().has_value());
    for (const QString &value : {bundleIdentifier(), bundleName(), localizedBundleName(), bundleDisplayName(),
                                 localizedBundleDisplayName(), bundleExecutable(), bundleVersion(),
                                 shortVersionString(), bundleIconFile(), bundleHelpBookName(), buildStyle(),
                                 appStoreProductName(), appStoreLastBundleComponent()})
        EXPECT_TRUE(value.isNull()) << qPrintable(value);
    EXPECT_EQ(bundleVersionAsNumber(), QVariant(0LL));
    EXPECT_EQ(majorVersion(), 0);
    EXPECT_EQ(versionString(), "Version *.* (Rev. ****-F****-*)");
}

TEST(InfoDictionaryContractTest, TheFrameworksRevisionFollowsTheSameRules)
{
    const struct {
        QVariant revision;
        const char *line;
    } rows[] = {
        {QVariant(), "Version *.* (Rev. ****-F****-*)"},
        {"", "Version *.* (Rev. ****-F****-*)"},
        {"1234", "Version *.* (Rev. ****-F1234-*)"},
        {"12345", "Version *.* (Rev. ****-F12345-*)"},
        {"123456", "Version *.* (Rev. ****-F12345-*)"},
        {"REVISION_NUMBER_PLACEHOLDER", "Version *.* (Rev. ****-F99999-*)"},
        {"revision_number_placeholder", "Version *.* (Rev. ****-Frevis-*)"},
    };
    for (const auto &row : rows) {
        QVariantMap info{{"CFBundleIdentifier", "com.kelvo.KVBase"}};
        if (row.revision.isValid())
            info.insert("CFBundleVersion", row.revision);
        const BundleFolder framework(info);
        const StubApplication application(withIdentifier({}), framework.bundle());
        EXPECT_EQ(versionString(), row.line);
    }
}

TEST(InfoDictionaryContractTest, AnUnstampedApplicationShowsItsLineWithTheRealFramework)
{
    const StubApplication application(withIdentifier({{"CFBundleShortVersionString", "1.0"},
                                                      {"CFBundleVersion", "REVISION_NUMBER_PLACEHOLDER"},
                                                      {"KVBuildStyle", "BUILD_STYLE_PLACEHOLDER"}}));
    EXPECT_TRUE(versionString().startsWith("Version 1.0 (Rev. 99999-F")) << qPrintable(versionString());
    EXPECT_TRUE(versionString().endsWith("-D)")) << qPrintable(versionString());
}

TEST(InfoDictionaryContractTest, AnotherBundlesValuesAreReadByItsIdentifier)
{
    const BundleFolder plugin({{"CFBundleIdentifier", "com.example.contract.plugin"},
                               {"CFBundleName", "Plug"},
                               {"CFBundleVersion", "REVISION_NUMBER_PLACEHOLDER"},
                               {"CFBundleShortVersionString", "3.2"},
                               {"CFBundleIconFile", "plug.png"},
                               {"CFBundleHelpBookName", "Plug Help"},
                               {"KVBuildStyle", "BUILD_STYLE_PLACEHOLDER"}});
    plugin.addResource("en.lproj/InfoPlist.strings", "CFBundleDisplayName = \"The Plug\";");
    const QString identifier = "com.example.contract.plugin";
    StubBundles bundles;
    bundles.known = {plugin.bundle()};
    const ScopedService<Bundles> guard(&bundles);
    EXPECT_EQ(localizedInfoDictForBundleWithIdentifier(identifier),
              (QVariantMap{{"CFBundleDisplayName", "The Plug"}}));
    EXPECT_EQ(localizedBundleNameForBundleWithIdentifier(identifier), "Plug");
    EXPECT_EQ(bundleDisplayNameForBundleWithIdentifier(identifier), "Plug");
    EXPECT_EQ(localizedBundleDisplayNameForBundleWithIdentifier(identifier), "The Plug");
    EXPECT_EQ(appStoreProductNameForBundleWithIdentifier(identifier), "The Plug");
    EXPECT_EQ(bundleVersionForBundleWithIdentifier(identifier), "999999");
    EXPECT_EQ(bundleVersionAsNumberForBundleWithIdentifier(identifier), QVariant(999999LL));
    EXPECT_EQ(shortVersionStringForBundleWithIdentifier(identifier), "3.2");
    EXPECT_EQ(bundleIconFileForBundleWithIdentifier(identifier), "plug.png");
    EXPECT_EQ(bundleHelpBookNameForBundleWithIdentifier(identifier), "Plug Help");
    EXPECT_EQ(buildStyleForBundleWithIdentifier(identifier), "Debug");
    EXPECT_TRUE(bundleExecutableForBundleWithIdentifier(identifier).isNull());
    EXPECT_TRUE(shortVersionString().isNull());
}

TEST(InfoDictionaryContractTest, ASwitchIsShownAsTheNumberThatItIs)
{
    const StubApplication application(
        withIdentifier({{"CFBundleVersion", true}, {"KVBuildStyle", false}, {"CFBundleName", true}}));
    EXPECT_EQ(bundleVersion(), "1");
    EXPECT_EQ(bundleVersionAsNumber(), QVariant(1LL));
    EXPECT_EQ(buildStyle(), "0");
    EXPECT_EQ(fullProductName(), "Kelvo 1");
}
