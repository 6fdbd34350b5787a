#include <KVBase/KVPathUtils.h>
#include <KVBase/UPath.h>

#include "Support/FileFixtures.h"

#include "Platform/Services/Applications.h"
#include "Platform/Services/Folders.h"
#include "Platform/Services/Volumes.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace KVBase
{
namespace
{

using namespace Tests;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

TEST(KVPathUtilsTest, FindsWhateverIsThere)
{
    const QString folder = freshFolder();
    putFile(folder + text("/file"), "");
    putLink(folder + text("/dangling"), text("nowhere"));
    for (const auto &exists : {&KVPathUtils::fileExists, &UPath::FileExists}) {
        EXPECT_TRUE(exists(folder));
        EXPECT_TRUE(exists(folder + text("/file")));
        EXPECT_FALSE(exists(folder + text("/missing")));
        EXPECT_FALSE(exists(folder + text("/dangling")));
        EXPECT_FALSE(exists(QString()));
        EXPECT_FALSE(exists(text("")));
        EXPECT_FALSE(exists(text("/tmp") + QChar(0)));
    }
}

TEST(KVPathUtilsTest, NilIsNeitherAbsoluteNorRelative)
{
    EXPECT_FALSE(KVPathUtils::isAbsolutePath(QString()));
    EXPECT_FALSE(KVPathUtils::isRelativePath(QString()));
    EXPECT_FALSE(UPath::IsAbsolutePath(QString()));
    EXPECT_FALSE(UPath::IsRelativePath(QString()));
}

TEST(KVPathUtilsTest, EveryOtherPathIsOneOfBoth)
{
    EXPECT_TRUE(KVPathUtils::isAbsolutePath(text("/a")));
    EXPECT_FALSE(KVPathUtils::isRelativePath(text("/a")));
    EXPECT_FALSE(KVPathUtils::isAbsolutePath(text("a")));
    EXPECT_TRUE(KVPathUtils::isRelativePath(text("a")));
    EXPECT_TRUE(KVPathUtils::isRelativePath(text("")));
    EXPECT_TRUE(UPath::IsAbsolutePath(text("/")));
    EXPECT_TRUE(UPath::IsRelativePath(text("./a")));
}

TEST(KVPathUtilsTest, JoinsAndStandardizes)
{
    struct Row {
        const char *base, *relative, *expected;
    };
    const Row rows[] = {{"/a/b", "../c", "/a/c"}, {"/a/b", "c", "/a/b/c"}, {"/a/b/", "./c//d/", "/a/b/c/d"},
                        {"/a", "../../..", "/"},  {"/a/b", "", "/a/b"},    {"/", "a", "/a"},
                        {"/a", "/b", "/a/b"},     {"/a", "~/b", "/a/~/b"}};
    for (const Row &row : rows) {
        EXPECT_EQ(KVPathUtils::absolutePathWithBasePath(text(row.base), text(row.relative)),
                  text(row.expected));
        EXPECT_EQ(UPath::GetAbsolutePath(text(row.base), text(row.relative)), text(row.expected));
    }
    EXPECT_TRUE(KVPathUtils::absolutePathWithBasePath(QString(), text("a")).isNull());
    EXPECT_TRUE(KVPathUtils::absolutePathWithBasePath(text("/a"), QString()).isNull());
    EXPECT_EQ(UPath::GetAbsolutePath(text("~"), text("x")), qEnvironmentVariable("HOME") + text("/x"));
}

TEST(KVPathUtilsTest, RelativePathsAreCutFromTheText)
{
    struct Row {
        const char *base, *absolute, *expected;
    };
    const Row rows[] = {{"/a/b", "/a/b/c/d", "c/d"},
                        {"/a/b", "/a/bc/d", "/d"},
                        {"/a/b/", "/a/b/cd", "d"},
                        {"/a/b", "/a/b", ""},
                        {"/a/b", "/a/b/", ""},
                        {"", "/a", "a"},
                        {"", "", ""},
                        {"/a/b", "/a/bc", ""}};
    for (const Row &row : rows) {
        const QString relative = KVPathUtils::relativePathWithBasePath(text(row.base), text(row.absolute));
        EXPECT_FALSE(relative.isNull()) << row.base << " " << row.absolute;
        EXPECT_EQ(relative, text(row.expected)) << row.base << " " << row.absolute;
        EXPECT_EQ(UPath::GetRelativePath(text(row.base), text(row.absolute)), text(row.expected));
    }
}

TEST(KVPathUtilsTest, PathsOutsideTheBaseHaveNoRelativePath)
{
    EXPECT_TRUE(KVPathUtils::relativePathWithBasePath(text("/x"), text("/a/b")).isNull());
    EXPECT_TRUE(KVPathUtils::relativePathWithBasePath(text("/A"), text("/a/b")).isNull());
    EXPECT_TRUE(KVPathUtils::relativePathWithBasePath(text("/a/b/c"), text("/a/b")).isNull());
    EXPECT_TRUE(KVPathUtils::relativePathWithBasePath(QString(), text("/a")).isNull());
    EXPECT_TRUE(KVPathUtils::relativePathWithBasePath(text("/a"), QString()).isNull());
    EXPECT_TRUE(UPath::GetRelativePath(text("/x"), text("/a/b")).isNull());
    // Code units are compared: a letter and its accent are not the composed letter.
    EXPECT_TRUE(KVPathUtils::relativePathWithBasePath(text("/\u00e9"), text("/e\u0301/x")).isNull());
    EXPECT_EQ(KVPathUtils::relativePathWithBasePath(text("/e"), text("/e\u0301/x")), text("/x"));
}

TEST(KVPathUtilsTest, CleansFileNames)
{
    for (const auto &cleaned :
         {&UPath::ReplaceIllegalCharactersInFilename, &UPath::ReplacePathDelimitersInFileName}) {
        EXPECT_EQ(cleaned(text("a/b:c\\d")), text("a-b-c-d"));
        EXPECT_EQ(cleaned(text("//::\\\\")), text("------"));
        EXPECT_EQ(cleaned(text("plain name.txt")), text("plain name.txt"));
        EXPECT_EQ(cleaned(text("")), text(""));
        EXPECT_TRUE(cleaned(QString()).isNull());
        EXPECT_EQ(cleaned(QString(1'000'000, u':')), QString(1'000'000, u'-'));
    }
}

TEST(KVPathUtilsTest, ResolvesAliases)
{
    const QString folder = freshFolder();
    putFile(folder + text("/file"), "");
    putFolder(folder + text("/sub"));
    putLink(folder + text("/one"), text("file"));
    putLink(folder + text("/two"), folder + text("/one"));
    putLink(folder + text("/folder"), text("sub"));
    for (const auto &resolved : {&KVPathUtils::resolveLeafAlias, &KVPathUtils::resolvedPath,
                                 &UPath::ResolveLeafAlias, &UPath::GetResolvedPath}) {
        EXPECT_EQ(resolved(folder + text("/two")), folder + text("/file"));
        EXPECT_EQ(resolved(folder + text("/folder")), folder + text("/sub"));
        EXPECT_EQ(resolved(folder + text("/file")), folder + text("/file"));
        EXPECT_EQ(resolved(folder + text("/folder/../file")), folder + text("/file"));
    }
}

TEST(KVPathUtilsTest, FailureToResolveGivesTheInputOrNil)
{
    const QString folder = freshFolder();
    putLink(folder + text("/a"), text("b"));
    putLink(folder + text("/b"), text("a"));
    putLink(folder + text("/dangling"), text("nowhere"));
    for (const QString &path : {folder + text("/a"), folder + text("/dangling"), folder + text("/missing"),
                                text(""), QString(1'000'000, u'x'), text("/tmp") + QChar(0)}) {
        EXPECT_EQ(KVPathUtils::resolvedPath(path), path);
        EXPECT_EQ(UPath::GetResolvedPath(path), path);
        EXPECT_TRUE(KVPathUtils::resolveLeafAlias(path).isNull());
        EXPECT_TRUE(UPath::ResolveLeafAlias(path).isNull());
    }
    EXPECT_TRUE(KVPathUtils::resolvedPath(QString()).isNull());
    EXPECT_TRUE(KVPathUtils::resolveLeafAlias(QString()).isNull());
}

TEST(KVPathUtilsTest, TheVolumeIsThatOfTheNearestExistingFolder)
{
    const QString folder = freshFolder();
    const std::int16_t volume = KVPathUtils::volumeForPath(folder);
    EXPECT_GT(volume, 0);
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + text("/one/two/three")), volume);
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + text("/bad") + QChar(0) + text("/x")), volume);
    EXPECT_NE(KVPathUtils::volumeForPath(text("/proc/none/such")), volume);
    EXPECT_EQ(KVPathUtils::volumeForPath(text("/none-such")), KVPathUtils::volumeForPath(text("/")));
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + QString(1'000'000, u'/') + text("x")), volume);
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + text("/a").repeated(500'000)), volume);
}

TEST(KVPathUtilsTest, PathsWithoutAnyExistingFolderHaveNoVolume)
{
    EXPECT_EQ(KVPathUtils::volumeForPath(QString()), 0);
    EXPECT_EQ(KVPathUtils::volumeForPath(text("")), 0);
    EXPECT_EQ(KVPathUtils::volumeForPath(text("none-such/either")), 0);
    EXPECT_EQ(KVPathUtils::volumeForPath(text("x").repeated(1'000'000)), 0);
}

TEST(KVPathUtilsTest, TheTemporaryFolderIsOnThePathsVolume)
{
    const QString folder = freshFolder();
    const QString temporary = KVPathUtils::tempFolderForPath(folder + text("/not/yet"));
    ASSERT_FALSE(temporary.isNull());
    EXPECT_EQ(KVPathUtils::volumeForPath(temporary), KVPathUtils::volumeForPath(folder));
    EXPECT_EQ(UPath::GetTempFolder(folder + text("/not/yet")), temporary);
    EXPECT_EQ(UPath::GetTempFolder(KVPathUtils::volumeForPath(folder)), temporary);
    putFile(temporary + text("/file"), "x");
    EXPECT_EQ(contentOf(temporary + text("/file")), QByteArray("x"));
}

TEST(KVPathUtilsTest, WithoutAVolumeThereIsNoTemporaryFolder)
{
    EXPECT_TRUE(KVPathUtils::tempFolderForPath(QString()).isNull());
    EXPECT_TRUE(KVPathUtils::tempFolderForPath(text("")).isNull());
    EXPECT_TRUE(UPath::GetTempFolder(QString()).isNull());
    EXPECT_TRUE(UPath::GetTempFolder(std::int16_t(0)).isNull());
    EXPECT_TRUE(UPath::GetTempFolder(std::int16_t(-5)).isNull());
    EXPECT_TRUE(KVPathUtils::tempFolderForPath(text("/proc/self")).isNull());
}

TEST(KVPathUtilsTest, SpecsOfExistingItems)
{
    const QString folder = freshFolder();
    putFile(folder + text("/file"), "content");
    NSError error(text("stale"), 1, {});
    const FSSpec spec = KVPathUtils::getFSSpecFromAbsolutePath(folder + text("/file"), &error);
    EXPECT_TRUE(error.isNil());
    EXPECT_EQ(spec.vRefNum, KVPathUtils::volumeForPath(folder));
    EXPECT_EQ(spec.name[0], 4);
    EXPECT_EQ(QByteArray(reinterpret_cast<const char *>(spec.name + 1), 4), QByteArray("file"));
    EXPECT_EQ(contentOf(folder + text("/file")), QByteArray("content"));
    EXPECT_EQ(KVPathUtils::getFSSpecFromAbsolutePath(folder + text("/file")).parID, spec.parID);
}

TEST(KVPathUtilsTest, ASpecOfAMissingFileLeavesNothingBehind)
{
    const QString folder = freshFolder();
    NSError error;
    const FSSpec spec = KVPathUtils::getFSSpecFromAbsolutePath(folder + text("/missing"), &error);
    EXPECT_TRUE(error.isNil());
    EXPECT_GT(spec.vRefNum, 0);
    EXPECT_EQ(spec.name[0], 7);
    EXPECT_TRUE(namesIn(folder).isEmpty());
    FSSpec other;
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + text("/missing"), &other), 0);
    EXPECT_EQ(other.parID, spec.parID);
    EXPECT_TRUE(namesIn(folder).isEmpty());
}

TEST(KVPathUtilsTest, SpecFailuresCarryTheStatus)
{
    const QString folder = freshFolder();
    NSError error;
    const FSSpec spec = KVPathUtils::getFSSpecFromAbsolutePath(folder + text("/none/file"), &error);
    EXPECT_EQ(error.domain(), text("com.kelvo.KVBase.PathUtilsError"));
    EXPECT_EQ(error.code(), -120);
    EXPECT_TRUE(error.userInfo().isEmpty());
    EXPECT_EQ(spec.vRefNum, 0);
    EXPECT_EQ(spec.name[0], 0);

    FSSpec cleared;
    cleared.vRefNum = 9;
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + text("/none/file"), &cleared), -120);
    EXPECT_EQ(cleared.vRefNum, 0);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(QString(), &cleared), -50);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder, nullptr), -50);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(text(""), &cleared), -43);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(text("/a") + QChar(0), &cleared), -43);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + u'/' + QString(64, u'n'), &cleared), -37);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + u'/' + QString(1'000'000, u'n'), &cleared), -37);
    EXPECT_TRUE(namesIn(folder).isEmpty());
}

TEST(KVPathUtilsTest, SpecOfADanglingLinkTouchesNothing)
{
    const QString folder = freshFolder();
    putLink(folder + text("/link"), text("target"));
    FSSpec spec;
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + text("/link"), &spec), 0);
    EXPECT_EQ(spec.name[0], 4);
    EXPECT_EQ(namesIn(folder), QStringList{text("link")});
}

TEST(KVPathUtilsTest, ReferencesGoThereAndBack)
{
    const QString folder = freshFolder();
    putFile(folder + text("/na\u00efve name"), "");
    putLink(folder + text("/link"), text("nowhere"));
    FSRef ref;
    EXPECT_EQ(UPath::PathToFSRef(folder + text("/na\u00efve name"), &ref), 0);
    EXPECT_EQ(UPath::FSRefToPath(ref), folder + text("/na\u00efve name"));
    EXPECT_EQ(UPath::PathToFSRef(folder + text("/link"), &ref), 0);
    EXPECT_EQ(UPath::FSRefToPath(ref), folder + text("/link"));
    EXPECT_EQ(UPath::PathToFSRef(folder, nullptr), -50);
    EXPECT_EQ(UPath::PathToFSRef(QString(), &ref), -50);
    EXPECT_EQ(UPath::PathToFSRef(folder + text("/missing"), &ref), -43);
    EXPECT_TRUE(UPath::FSRefToPath(FSRef()).isNull());
}

TEST(KVPathUtilsTest, CreatesFoldersOneAfterTheOther)
{
    const QString folder = freshFolder();
    EXPECT_TRUE(UPath::CreateFolder(folder + text("/a/b/c")));
    EXPECT_TRUE(QFile::exists(folder + text("/a/b/c")));
    EXPECT_TRUE(UPath::CreateFolder(folder + text("/a/b/c/")));
    EXPECT_TRUE(UPath::CreateFolder(folder + text("/made/../b")));
    EXPECT_EQ(namesIn(folder), (QStringList{text("a"), text("b"), text("made")}));
    EXPECT_TRUE(UPath::CreateFolder(text("/")));
    EXPECT_TRUE(UPath::CreateFolder(text("")));
    EXPECT_FALSE(UPath::CreateFolder(QString()));
}

TEST(KVPathUtilsTest, CreateFolderStopsAtWhatStandsInTheWay)
{
    const QString folder = freshFolder();
    putFile(folder + text("/file"), "x");
    putLink(folder + text("/dangling"), text("nowhere"));
    EXPECT_FALSE(UPath::CreateFolder(folder + text("/file")));
    EXPECT_FALSE(UPath::CreateFolder(folder + text("/file/below")));
    EXPECT_FALSE(UPath::CreateFolder(folder + text("/dangling/below")));
    EXPECT_FALSE(UPath::CreateFolder(folder + text("/kept/") + QString(300, u'n') + text("/x")));
    EXPECT_EQ(namesIn(folder), (QStringList{text("dangling"), text("file"), text("kept")}));
    EXPECT_EQ(contentOf(folder + text("/file")), QByteArray("x"));
}

TEST(KVPathUtilsTest, CreateFolderRefusesAPathThatIsTooLong)
{
    const QString folder = freshFolder();
    EXPECT_FALSE(UPath::CreateFolder(folder + u'/' + QString(1'000'000, u'n')));
    EXPECT_FALSE(UPath::CreateFolder(folder + text("/a\nb") + QChar(0)));
    EXPECT_TRUE(namesIn(folder).isEmpty());
}

TEST(KVPathUtilsThreads, SeveralMakeTheSameFolders)
{
    const QString folder = freshFolder();
    std::vector<std::thread> threads;
    std::atomic<int> made{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round)
                made += UPath::CreateFolder(folder + QStringLiteral("/%1/a/b/c").arg(round)) ? 1 : 0;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(made.load(), 160);
}

TEST(KVPathUtilsThreads, NumbersAndReferencesAreShared)
{
    const QString folder = freshFolder();
    const std::int16_t volume = KVPathUtils::volumeForPath(folder);
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 50; ++round) {
                FSSpec spec;
                const QString path = folder + QStringLiteral("/%1-%2").arg(i).arg(round);
                const bool good = UPath::AbsolutePathToFSSpec(path, &spec) == 0 && spec.vRefNum == volume;
                right += good && KVPathUtils::volumeForPath(path) == volume ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(right.load(), 200);
    EXPECT_TRUE(namesIn(folder).isEmpty());
}

/// Library folders that a test chooses.
struct ChosenFolders final : Folders {
    QStringList libraryFolders(std::uint32_t domains) override
    {
        return domains == NSUserDomainMask ? user : QStringList();
    }
    QString temporaryFolder() override { return QStringLiteral("/tmp"); }
    QString frameworksFolder() override { return {}; }
    QStringList user;
};

TEST(KVPathUtilsTest, MakesTheMakersApplicationSupportFolder)
{
    ChosenFolders chosen;
    chosen.user = {freshFolder() + text("/Library"), text("/second")};
    const ScopedService<Folders> service(&chosen);
    const QString path = UPath::GetApplicationSupportFolder(text("Presets"));
    EXPECT_EQ(path, chosen.user.first() + text("/Application Support/Kelvo/Presets"));
    EXPECT_TRUE(QFile::exists(path));
    EXPECT_EQ(UPath::GetApplicationSupportFolder(text("Presets")), path);
    EXPECT_EQ(UPath::GetApplicationSupportFolder(text("")),
              chosen.user.first() + text("/Application Support/Kelvo"));
    EXPECT_TRUE(UPath::GetApplicationSupportFolder(QString()).isNull());
}

TEST(KVPathUtilsTest, AnswersTheSupportFolderThoughItCannotBeMade)
{
    ChosenFolders chosen;
    const QString file = freshFolder() + text("/file");
    putFile(file, "");
    chosen.user = {file};
    const ScopedService<Folders> service(&chosen);
    EXPECT_EQ(UPath::GetApplicationSupportFolder(text("x")), file + text("/Application Support/Kelvo/x"));
    EXPECT_FALSE(QFile::exists(file + text("/Application Support")));
    chosen.user.clear();
    EXPECT_TRUE(UPath::GetApplicationSupportFolder(text("x")).isNull());
}

TEST(KVPathUtilsTest, TheSupportFolderLiesInTheUsersDataFolder)
{
    EXPECT_EQ(UPath::GetApplicationSupportFolder(text("Own")),
              qEnvironmentVariable("XDG_DATA_HOME") + text("/Application Support/Kelvo/Own"));
}

struct OneApplication final : Applications {
    QString applicationForCreator(OSType creator) override
    {
        return creator == 0x4b564c4f ? QStringLiteral("/opt/Kelvo.app") : QString();
    }
    bool openFile(const QString &) override { return false; }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &) override {}
};

TEST(KVPathUtilsTest, AsksForTheApplicationOfACreator)
{
    OneApplication applications;
    const ScopedService<Applications> service(&applications);
    EXPECT_EQ(UPath::GetApplicationPath(0x4b564c4f), text("/opt/Kelvo.app"));
    EXPECT_TRUE(UPath::GetApplicationPath(0x4b564c50).isNull());
}

TEST(KVPathUtilsTest, NobodyHasTheCreatorCodeZero) { EXPECT_TRUE(UPath::GetApplicationPath(0).isNull()); }

TEST(KVPathUtilsTest, AnswersTypeIdentifiers)
{
    const QString folder = freshFolder();
    putFile(folder + text("/picture.jpeg"), "");
    EXPECT_EQ(KVPathUtils::utiForPath(folder + text("/picture.jpeg")), text("public.jpeg"));
    EXPECT_EQ(KVPathUtils::utiForPath(folder), text("public.folder"));
    EXPECT_TRUE(KVPathUtils::utiForPath(folder + text("/missing.jpeg")).isNull());
    EXPECT_TRUE(KVPathUtils::utiForPath(QString()).isNull());
    EXPECT_TRUE(KVPathUtils::utiForPath(QString(1'000'000, u'x')).isNull());
    EXPECT_EQ(KVPathUtils::utiForExtension(text("png")), text("public.png"));
    EXPECT_TRUE(KVPathUtils::utiForExtension(text("kvnobodyknows")).startsWith(text("dyn.")));
    EXPECT_TRUE(KVPathUtils::utiForExtension(text("")).isNull());
    EXPECT_TRUE(KVPathUtils::utiForExtension(QString()).isNull());
}

} // namespace
} // namespace KVBase
