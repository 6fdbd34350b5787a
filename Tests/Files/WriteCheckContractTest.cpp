#include <KVBase/KVPathUtils.h>
#include <KVBase/Platform/KVNil.h>

#include "Support/FileFixtures.h"
#include "Support/IdleFileManager.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <gtest/gtest.h>

#include <limits>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString nil;

/// A file system that answers what a test wants to know of one path.
struct StubFileManager final : IdleFileManager {
    bool there = true;
    bool writable = true;
    std::optional<std::uint64_t> freeSize;
    QString shownName = QStringLiteral("Shown");
    QStringList questions;

    bool exists(const QString &) override
    {
        questions << "exists";
        return there;
    }
    bool isFolder(const QString &) override { return there; }
    std::optional<FileSystemAttributes> fileSystemAttributes(const QString &) override
    {
        questions << "free";
        if (!freeSize)
            return std::nullopt;
        return FileSystemAttributes{*freeSize, *freeSize, false};
    }
    bool isWritable(const QString &) override
    {
        questions << "writable";
        return writable;
    }
    QString displayName(const QString &) override { return shownName; }
};

class KVWriteCheckTest : public testing::Test {
protected:
    void expectFailure(const QVariant &required, std::int32_t code, const QString &text)
    {
        NSError error(QStringLiteral("stale"), 7, {});
        EXPECT_FALSE(KVPathUtils::canWriteToPath(QStringLiteral("/some/path"), required, &error));
        ASSERT_FALSE(isNil(error));
        EXPECT_EQ(error.domain(), "com.kelvo.KVBase.PathUtilsError");
        EXPECT_EQ(error.code(), code);
        EXPECT_EQ(error.userInfo().keys(), QStringList{"NSLocalizedFailureReason"});
        EXPECT_EQ(error.localizedFailureReason().toStdString(), text.toStdString());
        EXPECT_FALSE(KVPathUtils::canWriteToPath(QStringLiteral("/some/path"), required));
        EXPECT_FALSE(KVPathUtils::canWriteToPath(QStringLiteral("/some/path"), required, nullptr));
    }

    void expectSuccess(const QVariant &required)
    {
        NSError error(QStringLiteral("stale"), 7, {});
        EXPECT_TRUE(KVPathUtils::canWriteToPath(QStringLiteral("/some/path"), required, &error))
            << required.toString().toStdString();
        EXPECT_TRUE(isNil(error)) << "an error of before is cleared";
        EXPECT_TRUE(KVPathUtils::canWriteToPath(QStringLiteral("/some/path"), required, nullptr));
    }

    StubFileManager files;
    ScopedService<FileManager> guard{&files};
};

TEST_F(KVWriteCheckTest, WhatIsMissingComesFirst)
{
    files.there = false;
    files.writable = false;
    expectFailure(5, 2, "The path 'Shown' does not exist.");
    EXPECT_FALSE(files.questions.contains("writable"));
    EXPECT_FALSE(files.questions.contains("free"));
    expectFailure(QVariant(), 2, "The path 'Shown' does not exist.");
}

TEST_F(KVWriteCheckTest, ThenWhatIsNotWritable)
{
    files.writable = false;
    files.freeSize = 0;
    expectFailure(5, 1, "The path 'Shown' does not allow writing.");
    EXPECT_FALSE(files.questions.contains("free"));
    expectFailure(QVariant(), 1, "The path 'Shown' does not allow writing.");
}

TEST_F(KVWriteCheckTest, ThenTheFreeSpace)
{
    files.freeSize = 1000;
    expectSuccess(999);
    expectSuccess(1000);
    expectSuccess(1000.0);
    expectFailure(1001, 28, "The volume Shown does not have enough free space available.");
    expectFailure(1000.5, 28, "The volume Shown does not have enough free space available.");
}

TEST_F(KVWriteCheckTest, WithoutARequirementNobodyAsksForTheSpace)
{
    expectSuccess(QVariant());
    expectSuccess(0);
    expectSuccess(0.0);
    expectSuccess(-1);
    expectSuccess(-1024);
    expectSuccess(-2048.5);
    expectSuccess(std::numeric_limits<qlonglong>::min());
    EXPECT_FALSE(files.questions.contains("free"));
}

TEST_F(KVWriteCheckTest, UnknownSpaceFailsEveryPositiveRequirement)
{
    const QString text("The volume Shown does not have enough free space available.");
    expectFailure(1, 28, text);
    expectFailure(0.25, 28, text);
    expectFailure(std::numeric_limits<qulonglong>::max(), 28, text);
}

TEST_F(KVWriteCheckTest, LargeNumbersAreComparedAsNumbers)
{
    const qulonglong half = 1ULL << 63;
    files.freeSize = half + 5;
    expectSuccess(QVariant(half + 5));
    expectSuccess(QVariant(half + 4));
    expectSuccess(QVariant(std::numeric_limits<qlonglong>::max()));
    expectFailure(QVariant(half + 6), 28, "The volume Shown does not have enough free space available.");
    files.freeSize = 9007199254740993ULL;
    expectSuccess(QVariant(9007199254740993ULL));
    expectFailure(QVariant(9007199254740994ULL), 28,
                  "The volume Shown does not have enough free space available.");
    files.freeSize = std::numeric_limits<std::uint64_t>::max();
    expectSuccess(QVariant(std::numeric_limits<qulonglong>::max()));
}

TEST_F(KVWriteCheckTest, TheTextsKeyDependsOnTheApplicationFramework)
{
    files.there = false;
    StubSystemVersions versions;
    const ScopedService<SystemVersions> system(&versions);
    struct Row {
        double version;
        QString key;
    };
    for (const Row &row : {Row{742.0, "NSLocalizedDescription"}, Row{743.0, "NSLocalizedDescription"},
                           Row{743.99, "NSLocalizedDescription"}, Row{744.0, "NSLocalizedFailureReason"},
                           Row{1000.0, "NSLocalizedFailureReason"}}) {
        versions.appKit = row.version;
        NSError error;
        EXPECT_FALSE(KVPathUtils::canWriteToPath("/x", QVariant(), &error));
        EXPECT_EQ(error.userInfo(), (QVariantMap{{row.key, "The path 'Shown' does not exist."}}))
            << row.version;
    }
}

TEST(KVWriteCheckTextTest, ComesFromTheFrameworksTable)
{
    const BundleFolder folder({{"CFBundleIdentifier", "com.kelvo.KVBase"}});
    folder.addResource("KVBase.strings", "\"PATH_NOT_EXISTS\" = \"Weg <%@> fehlt 100%, %@ %d\";");
    const StubApplication application({{"CFBundleIdentifier", "com.kelvo.sample"}}, folder.bundle());
    NSError error;
    EXPECT_FALSE(KVPathUtils::canWriteToPath("/no/such/name %s", QVariant(), &error));
    EXPECT_EQ(error.localizedFailureReason().toStdString(), "Weg <name %s> fehlt 100%, %@ %d");
}

} // namespace
} // namespace KVBase
