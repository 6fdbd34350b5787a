#include <KVBase/KVPathUtils.h>
#include <KVBase/UPath.h>

#include "Support/FileFixtures.h"
#include "Support/StubSystemVersions.h"

#include "Platform/Services/Folders.h"

#include <KVBase/Platform/KVNil.h>

#include <gtest/gtest.h>

#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

static_assert(sizeof(FSRef) == 80);
static_assert(sizeof(FSSpec::vRefNum) == 2 && sizeof(FSSpec::parID) == 4 && sizeof(FSSpec::name) == 64);

TEST(PathsContractTest, DelimitersAreReplacedOneForOneAndLiterally)
{
    for (const auto &cleaned :
         {&UPath::ReplaceIllegalCharactersInFilename, &UPath::ReplacePathDelimitersInFileName}) {
        EXPECT_EQ(cleaned(text("/\u0301x:\u0338")), text("-\u0301x-\u0338"));
        EXPECT_EQ(cleaned(text("\uff0f\u2215\u00a5\uff1a")), text("\uff0f\u2215\u00a5\uff1a"));
        EXPECT_EQ(cleaned(text("a/") + QChar(0) + text("\\b")), text("a-") + QChar(0) + text("-b"));
        EXPECT_EQ(cleaned(text("..")), text(".."));
        EXPECT_FALSE(cleaned(text("")).isNull());
    }
}

TEST(PathsContractTest, StandardizingExpandsTheHomeOfTheJoinedPath)
{
    const QString home = qEnvironmentVariable("HOME");
    EXPECT_EQ(KVPathUtils::absolutePathWithBasePath(text("~/a"), text("../b")), home + text("/b"));
    EXPECT_EQ(KVPathUtils::absolutePathWithBasePath(text(""), text("/x/./y")), text("/x/y"));
    EXPECT_EQ(KVPathUtils::absolutePathWithBasePath(text("/a/b/c"), text("../../d/../e")), text("/a/e"));
    EXPECT_EQ(KVPathUtils::absolutePathWithBasePath(text("/a/b"), text("...")), text("/a/b/..."));
}

TEST(PathsContractTest, FoldersMayBeRelativeAndBehindLinks)
{
    const QString folder = freshFolder();
    putFolder(folder + text("/real"));
    putLink(folder + text("/link"), text("real"));
    EXPECT_TRUE(UPath::CreateFolder(folder + text("/link")));
    EXPECT_TRUE(UPath::CreateFolder(folder + text("/link/below")));
    EXPECT_EQ(namesIn(folder + text("/real")), QStringList{text("below")});
    char before[4096];
    ASSERT_NE(::getcwd(before, sizeof before), nullptr);
    ASSERT_EQ(::chdir(qUtf8Printable(folder)), 0);
    const bool made = UPath::CreateFolder(text("one/two"));
    const bool exists = KVPathUtils::fileExists(text("one/two"));
    const std::int16_t volume = KVPathUtils::volumeForPath(text("one/none"));
    ASSERT_EQ(::chdir(before), 0);
    EXPECT_TRUE(made);
    EXPECT_TRUE(exists);
    EXPECT_EQ(volume, KVPathUtils::volumeForPath(folder));
    EXPECT_EQ(namesIn(folder + text("/one")), QStringList{text("two")});
}

struct OneLibrary final : Folders {
    QStringList libraryFolders(std::uint32_t domains) override
    {
        return domains == NSUserDomainMask ? QStringList{library} : QStringList();
    }
    QString temporaryFolder() override { return QStringLiteral("/tmp"); }
    QString frameworksFolder() override { return {}; }
    QString library;
};

TEST(PathsContractTest, TheSupportFolderIsMadeOnlyWhenNothingIsThere)
{
    OneLibrary folders;
    folders.library = freshFolder();
    const ScopedService<Folders> service(&folders);
    putFolder(folders.library + text("/Application Support/Kelvo"));
    putFile(folders.library + text("/Application Support/Kelvo/File"), "x");
    EXPECT_EQ(UPath::GetApplicationSupportFolder(text("File")),
              folders.library + text("/Application Support/Kelvo/File"));
    EXPECT_EQ(contentOf(folders.library + text("/Application Support/Kelvo/File")), QByteArray("x"));
    EXPECT_EQ(UPath::GetApplicationSupportFolder(text("A/B")),
              folders.library + text("/Application Support/Kelvo/A/B"));
    EXPECT_TRUE(KVPathUtils::fileExists(folders.library + text("/Application Support/Kelvo/A/B")));
}

TEST(PathsContractTest, ASpecOfAFolderNamesTheFolder)
{
    const QString folder = freshFolder();
    putFolder(folder + text("/Sub"));
    NSError error(text("stale"), 5, {});
    const FSSpec spec = KVPathUtils::getFSSpecFromAbsolutePath(folder + text("/Sub"), &error);
    EXPECT_TRUE(error.isNil());
    EXPECT_EQ(QByteArray(reinterpret_cast<const char *>(spec.name), 4), QByteArray("\3Sub"));
    EXPECT_EQ(namesIn(folder), QStringList{text("Sub")});
    const FSSpec longest = KVPathUtils::getFSSpecFromAbsolutePath(folder + u'/' + QString(63, u'n'));
    EXPECT_EQ(longest.name[0], 63);
    EXPECT_EQ(namesIn(folder), QStringList{text("Sub")});
}

TEST(PathsContractTest, ANameTooLongForASpecStillHasATemporaryFolder)
{
    const QString folder = freshFolder() + u'/' + QString(100, u'n');
    putFolder(folder);
    const QString temporary = KVPathUtils::tempFolderForPath(folder);
    EXPECT_FALSE(temporary.isNull());
    EXPECT_EQ(UPath::GetTempFolder(folder), temporary);
    EXPECT_EQ(UPath::GetTempFolder(folder + text("/not/yet")), temporary);
}

TEST(PathsContractTest, ExtensionsAreKnownInAnyCase)
{
    struct Row {
        const char *extension, *type;
    };
    const Row rows[] = {{"JPG", "public.jpeg"},
                        {"jpg", "public.jpeg"},
                        {"txt", "public.plain-text"},
                        {"TIFF", "public.tiff"},
                        {"mov", "com.apple.quicktime-movie"},
                        {"pdf", "com.adobe.pdf"},
                        {"html", "public.html"}};
    for (const Row &row : rows)
        EXPECT_EQ(KVPathUtils::utiForExtension(text(row.extension)), text(row.type)) << row.extension;
}

TEST(SizesContractTest, FreeSpaceTextsCutTheValueAsItIsComputed)
{
    struct Row {
        double bytes;
        const char *expected;
    };
    const Row rows[] = {{1150000000.0, "1.14 GB"}, {123456.0, "123.45 KB"}, {999999.0, "999.99 KB"},
                        {999.999, "999.99 Bytes"}, {0.5, "0.5 Bytes"},      {-0.0, "0 Bytes"},
                        {1000000.0, "1000 KB"},    {1e9, "1000 MB"},        {1e12, "1000 GB"},
                        {2.5e12, "2.5 TB"},        {0.009, "0 Bytes"}};
    StubSystemVersions versions;
    const ScopedService<SystemVersions> guard(&versions);
    for (const Row &row : rows)
        EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(row.bytes)), text(row.expected)) << row.bytes;
    versions.foundation = 750.99;
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(1048577)), text("1 MB"));
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(qulonglong(1) << 50)), text("1024 TB"));
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(-1)), text("n/a"));
}

TEST(SizesContractTest, SizeTextsAroundTheirLimits)
{
    struct Row {
        double bytes;
        const char *current, *older;
    };
    const Row rows[] = {
        {1023, "1023.0 Bytes", "1023 Bytes"},    {1024.5, "1.0 KB", "1 KB"},
        {1048575, "1023.0 KB", "1023 KB"},       {1048576, "1024.0 KB", "1024 KB"},
        {1048577, "1.0 MB", "1.0 MB"},           {1073741824, "1024.0 MB", "1024.0 MB"},
        {1073741825, "1.0 GB", "1.0 GB"},        {1099511627776, "1024.0 GB", "1024.0 GB"},
        {1649267441664, "1.5 TB", "1.5 TB"},     {-0.5, "0 Bytes", "0 Bytes"},
        {-3000, "-3000.0 Bytes", "-3000 Bytes"}, {-5e9, "-2147483648.0 Bytes", "-2147483648 Bytes"}};
    for (const Row &row : rows) {
        EXPECT_EQ(KVPathUtils::sizeStringFromBytes(row.bytes), text(row.current)) << row.bytes;
        EXPECT_EQ(UPath::GetSizeString(row.bytes), text(row.older)) << row.bytes;
    }
}

TEST(SizesContractTest, AFileCanBeCheckedLikeAFolder)
{
    const QString file = freshFolder() + text("/Name.txt");
    putFile(file, "x");
    NSError error(text("stale"), 5, {});
    EXPECT_TRUE(KVPathUtils::canWriteToPath(file, QVariant(0.25), &error));
    EXPECT_TRUE(error.isNil());
    EXPECT_FALSE(KVPathUtils::canWriteToPath(file, QVariant(qulonglong(1) << 63), &error));
    EXPECT_EQ(error.domain(), text("com.kelvo.KVBase.PathUtilsError"));
    EXPECT_EQ(error.code(), 28);
    EXPECT_EQ(error.localizedFailureReason(),
              text("The volume Name.txt does not have enough free space available."));
    EXPECT_TRUE(KVPathUtils::canWriteToPath(file, QVariant(-1024), &error));
    EXPECT_TRUE(isNil(error));
    EXPECT_EQ(contentOf(file), QByteArray("x"));
}

TEST(SizesContractTest, FailureTextsKeepWhatAPathHolds)
{
    NSError error;
    EXPECT_FALSE(KVPathUtils::canWriteToPath(text("/none/100%@ %d"), QVariant(), &error));
    EXPECT_EQ(error.localizedFailureReason(), text("The path '100%@ %d' does not exist."));
    EXPECT_EQ(error.userInfo().size(), 1);
}

} // namespace
} // namespace KVBase
