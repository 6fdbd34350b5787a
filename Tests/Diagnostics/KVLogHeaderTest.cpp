#include "Diagnostics/LogSupport.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>

#include "Platform/Services/Bundles.h"
#include "Platform/Services/Clock.h"
#include "Platform/Services/SystemVersions.h"
#include "Platform/Services/UserIdentity.h"

#include <QtCore/QDir>

#include <optional>

namespace KVBase
{
namespace
{

struct StubBundles : Bundles {
    Ref<NSBundle> mainBundle() override { return main; }
    Ref<NSBundle> frameworkBundle() override { return framework; }
    std::vector<Ref<NSBundle>> knownBundles() override { return {}; }
    Ref<NSBundle> main;
    Ref<NSBundle> framework;
};

struct StubVersions : SystemVersions {
    OSStatus gestalt(OSType selector, std::int32_t *response) override
    {
        EXPECT_EQ(selector, 0x7174696du);
        if (mediaVersion.has_value())
            *response = *mediaVersion;
        return mediaVersion.has_value() ? 0 : -5551;
    }
    QString productVersion() override { return version; }
    QString productBuildVersion() override { return build; }
    double foundationVersionNumber() override { return 0; }
    double appKitVersionNumber() override { return 0; }
    std::optional<std::int32_t> mediaVersion;
    QString version;
    QString build;
};

struct StubClock : Clock {
    QDateTime now() override { return QDateTime(QDate(2024, 3, 1), QTime(18, 45, 9), Qt::UTC); }
    std::chrono::nanoseconds monotonic() override { return std::chrono::nanoseconds(0); }
};

struct StubUser : UserIdentity {
    QString fullName() override { return name; }
    QString name = QStringLiteral("Ada Zürich");
};

class KVLogHeaderTest : public LogFixture {
protected:
    /// A bundle whose Info.plist holds `info`, or none at all.
    Ref<NSBundle> bundle(const char *name, const std::optional<QVariantMap> &info) const
    {
        EXPECT_TRUE(QDir().mkpath(file(name)));
        if (info.has_value()) {
            EXPECT_TRUE(
                NSPropertyListSerialization::writeToFile(*info, file(name) + QStringLiteral("/Info.plist")));
        }
        return NSBundle::bundleWithPath(file(name));
    }

    void setMain(const std::optional<QVariantMap> &info) { bundles.main = bundle("Main", info); }

    void setFramework(QVariantMap info)
    {
        info.insert(QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.kelvo.KVBase"));
        bundles.framework = bundle("Framework", info);
    }

    /// Opens a log and answers the header's line that starts with `label`.
    QByteArray headerLine(const char *label)
    {
        KVLogClose();
        QFile::remove(file("App.log"));
        EXPECT_TRUE(KVLogOpen(file("App.log")));
        for (const QByteArray &line : contents(file("App.log")).split('\n')) {
            if (line.startsWith(label))
                return line;
        }
        return "none";
    }

    StubBundles bundles;
    StubVersions versions;
    StubClock clock;
    StubUser user;
    ScopedService<SystemVersions> versionsGuard{&versions};
    ScopedService<Clock> clockGuard{&clock};
    ScopedService<UserIdentity> userGuard{&user};
    ScopedService<Bundles> bundlesGuard{&bundles};
};

QVariantMap info(const char *version, const char *revision, const char *style)
{
    return {{QStringLiteral("CFBundleShortVersionString"), QString::fromUtf8(version)},
            {QStringLiteral("CFBundleVersion"), QString::fromUtf8(revision)},
            {QStringLiteral("KVBuildStyle"), QString::fromUtf8(style)}};
}

TEST_F(KVLogHeaderTest, ShowsEveryFieldInOrder)
{
    setMain(info("2.1", "1234", "Release"));
    setFramework({{QStringLiteral("CFBundleVersion"), QStringLiteral("567")}});
    versions.version = QStringLiteral("12.5");
    versions.build = QStringLiteral("6.1.0");
    versions.mediaVersion = 0x07648000;
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_EQ(contents(file("App.log")),
              "\n\n-------------------------------------------------------------------------\n"
              "New session: App.log\n"
              "Version: 2.1 (Rev. 1234-F567-R)\n"
              "System: 12.5 (6.1.0)\n"
              "QuickTime: 07648000\n"
              "Date: 2024-03-02 00:15:09 +0530\n"
              "User: Ada Z\xc3\xbcrich\n\n");
}

TEST_F(KVLogHeaderTest, HasARuleOf73Hyphens)
{
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_TRUE(contents(file("App.log")).startsWith("\n\n" + QByteArray(73, '-') + "\nNew session: "));
}

TEST_F(KVLogHeaderTest, ShowsDashesAndAStarWithoutInfo)
{
    setMain(std::nullopt);
    EXPECT_EQ(headerLine("Version"), "Version: - (Rev. --F--*)");
    bundles.framework = bundle("Framework", std::nullopt);
    EXPECT_EQ(headerLine("Version"), "Version: - (Rev. --F--*)");
    bundles.main = nullptr;
    EXPECT_EQ(headerLine("Version"), "Version: - (Rev. --F--*)");
}

TEST_F(KVLogHeaderTest, ShowsNothingForKeysThatAreMissing)
{
    setMain(QVariantMap{{QStringLiteral("CFBundleName"), QStringLiteral("App")}});
    setFramework({});
    EXPECT_EQ(headerLine("Version"), "Version:  (Rev. -F-*)");
}

struct StyleCase {
    const char *name;
    QVariant style;
    const char *letter;
};

class KVLogHeaderStyleTest : public KVLogHeaderTest, public testing::WithParamInterface<StyleCase> {};

TEST_P(KVLogHeaderStyleTest, ShowsTheLetter)
{
    setMain(QVariantMap{{QStringLiteral("KVBuildStyle"), GetParam().style}});
    EXPECT_EQ(headerLine("Version"), QByteArray("Version:  (Rev. -F--") + GetParam().letter + ")");
}

INSTANTIATE_TEST_SUITE_P(
    All, KVLogHeaderStyleTest,
    testing::Values(StyleCase{"Debug", QStringLiteral("Debug"), "D"},
                    StyleCase{"Test", QStringLiteral("Test"), "T"},
                    StyleCase{"Release", QStringLiteral("Release"), "R"},
                    StyleCase{"ThePlaceholderIsDebug", QStringLiteral("BUILD_STYLE_PLACEHOLDER"), "D"},
                    StyleCase{"OneCharacter", QStringLiteral("x"), "x"},
                    StyleCase{"TwoCharacters", QStringLiteral("xy"), "x"},
                    StyleCase{"Empty", QStringLiteral(""), ""},
                    StyleCase{"ForeignLetter", QStringLiteral("Über"), "Ü"},
                    StyleCase{"APair", QStringLiteral("😀 style"), "😀"}, StyleCase{"ANumber", 57, "5"},
                    StyleCase{"AList", QVariantList{1}, "("}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(KVLogHeaderTest, ShowsTheLargestRevisionForThePlaceholder)
{
    setMain(info("1.0", "REVISION_NUMBER_PLACEHOLDER", "Test"));
    setFramework({{QStringLiteral("CFBundleVersion"), QStringLiteral("REVISION_NUMBER_PLACEHOLDER")}});
    EXPECT_EQ(headerLine("Version"), "Version: 1.0 (Rev. 999999-F999999-T)");
}

TEST_F(KVLogHeaderTest, ShowsLongValuesWhole)
{
    setMain(info("1.2.3.4.5.6", "12345678", "Test"));
    EXPECT_EQ(headerLine("Version"), "Version: 1.2.3.4.5.6 (Rev. 12345678-F--T)");
}

TEST_F(KVLogHeaderTest, ShowsValuesOfOtherKindsByTheirText)
{
    setMain(QVariantMap{{QStringLiteral("CFBundleShortVersionString"), 2.5},
                        {QStringLiteral("CFBundleVersion"), QVariantList{1, 2}},
                        {QStringLiteral("KVBuildStyle"), true}});
    EXPECT_EQ(headerLine("Version"), "Version: 2.5 (Rev. (1, 2)-F--1)");
}

TEST_F(KVLogHeaderTest, ShowsNothingForAnUnknownSystem) { EXPECT_EQ(headerLine("System"), "System:  ()"); }

TEST_F(KVLogHeaderTest, ShowsEightDigitsForTheMediaFramework)
{
    EXPECT_EQ(headerLine("QuickTime"), "QuickTime: 00000000");
    versions.mediaVersion = static_cast<std::int32_t>(0xabcdef01u);
    EXPECT_EQ(headerLine("QuickTime"), "QuickTime: ABCDEF01");
}

TEST_F(KVLogHeaderTest, ShowsNothingForAnUnknownUser)
{
    user.name = QString();
    EXPECT_EQ(headerLine("User"), "User: ");
    EXPECT_TRUE(contents(file("App.log")).endsWith("\nUser: \n\n"));
}

TEST_F(KVLogHeaderTest, TakesTextsWithPercentSignsAsTheyAre)
{
    user.name = QStringLiteral("100%@ %d");
    EXPECT_EQ(headerLine("User"), "User: 100%@ %d");
    ASSERT_FALSE(KVLogOpen(file("%s.log")));
    EXPECT_TRUE(contents(file("App.log")).contains("/%s.log. Log file"));
}

TEST(UserIdentityTest, KnowsANameForTheUser)
{
    EXPECT_FALSE(Service<UserIdentity>::current()->fullName().isNull());
    EXPECT_FALSE(Service<UserIdentity>::current()->fullName().contains(u','));
}

} // namespace
} // namespace KVBase
