#include <KVBase/Platform/KVNil.h>
#include <KVBase/UPath.h>

#include "Platform/Services/Applications.h"
#include "Platform/Services/Folders.h"
#include "Support/FileFixtures.h"
#include "Support/TestPaths.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString nil;

TEST(UPathCreateFolderTest, MakesEveryFolderOfThePath)
{
    const QString folder = freshFolder();
    EXPECT_TRUE(UPath::CreateFolder(folder + "/a/b/c"));
    EXPECT_TRUE(QFileInfo(folder + "/a/b/c").isDir());
    EXPECT_TRUE(UPath::CreateFolder(folder + "/a/b/c")) << "it is there already";
    EXPECT_TRUE(UPath::CreateFolder(folder + "//d///e//"));
    EXPECT_TRUE(QFileInfo(folder + "/d/e").isDir());
    EXPECT_EQ(namesIn(folder), (QStringList{"a", "d"}));
}

TEST(UPathCreateFolderTest, NilIsAFailureAndNothingToMakeIsNone)
{
    EXPECT_FALSE(UPath::CreateFolder(nil));
    EXPECT_TRUE(UPath::CreateFolder(""));
    EXPECT_TRUE(UPath::CreateFolder("/"));
}

TEST(UPathCreateFolderTest, AFileInTheWayStopsItAtOnce)
{
    const QString folder = freshFolder();
    putFile(folder + "/file", "kept");
    EXPECT_FALSE(UPath::CreateFolder(folder + "/file"));
    EXPECT_FALSE(UPath::CreateFolder(folder + "/file/x"));
    EXPECT_EQ(contentOf(folder + "/file"), "kept");
}

TEST(UPathCreateFolderTest, WhatWasMadeBeforeAFailureStays)
{
    const QString folder = freshFolder();
    EXPECT_FALSE(UPath::CreateFolder(folder + "/one/two/" + QString(300, u'n') + "/four"));
    EXPECT_TRUE(QFileInfo(folder + "/one/two").isDir());
    EXPECT_EQ(namesIn(folder + "/one/two"), QStringList());
}

TEST(UPathCreateFolderTest, ThePathIsTakenComponentByComponent)
{
    const QString folder = freshFolder();
    EXPECT_TRUE(UPath::CreateFolder(folder + "/a/../b"));
    EXPECT_EQ(namesIn(folder), (QStringList{"a", "b"}));
}

TEST(UPathCreateFolderTest, LinksToFoldersCountAndDanglingOnesFail)
{
    const QString folder = freshFolder();
    putFolder(folder + "/real");
    putLink(folder + "/link", folder + "/real");
    putLink(folder + "/dangling", folder + "/nothing");
    EXPECT_TRUE(UPath::CreateFolder(folder + "/link/x"));
    EXPECT_TRUE(QFileInfo(folder + "/real/x").isDir());
    EXPECT_FALSE(UPath::CreateFolder(folder + "/dangling"));
    EXPECT_FALSE(UPath::CreateFolder(folder + "/dangling/x"));
    EXPECT_FALSE(QFileInfo::exists(folder + "/nothing"));
}

TEST(UPathCreateFolderTest, RelativePathsBeginInTheWorkingFolder)
{
    const QString before = QDir::currentPath();
    const QString folder = freshFolder();
    ASSERT_TRUE(QDir::setCurrent(folder));
    EXPECT_TRUE(UPath::CreateFolder("r/s"));
    QDir::setCurrent(before);
    EXPECT_TRUE(QFileInfo(folder + "/r/s").isDir());
}

TEST(UPathCreateFolderTest, ANulMakesNothing)
{
    const QString folder = freshFolder();
    EXPECT_FALSE(UPath::CreateFolder(folder + "/a" + QChar(0) + "b"));
    EXPECT_EQ(namesIn(folder), QStringList());
}

TEST(UPathCreateFolderThreads, SeveralCreatorsOfOnePathAllSucceed)
{
    const QString folder = freshFolder() + "/1/2/3/4/5/6/7/8";
    std::vector<std::thread> creators;
    std::array<bool, 4> made{};
    for (bool &result : made)
        creators.emplace_back([&] { result = UPath::CreateFolder(folder); });
    for (std::thread &creator : creators)
        creator.join();
    EXPECT_TRUE(made[0] && made[1] && made[2] && made[3]);
}

struct StubFolders final : Folders {
    QStringList user;
    std::uint32_t asked = 0;
    QStringList libraryFolders(std::uint32_t domains) override
    {
        asked = domains;
        return user;
    }
    QString temporaryFolder() override { return QStringLiteral("/tmp"); }
    QString frameworksFolder() override { return QStringLiteral("/nowhere"); }
};

TEST(UPathApplicationSupportTest, LiesInTheUsersLibraryAndIsMade)
{
    StubFolders folders;
    folders.user = {freshFolder() + "/Library", "/another"};
    const ScopedService<Folders> guard(&folders);
    const QString expected = folders.user.first() + "/Application Support/Kelvo/Sketch";
    EXPECT_EQ(UPath::GetApplicationSupportFolder("Sketch"), expected);
    EXPECT_TRUE(QFileInfo(expected).isDir());
    EXPECT_EQ(folders.asked, 1u) << "the user's domain alone";
    EXPECT_EQ(UPath::GetApplicationSupportFolder("Sketch"), expected);
}

TEST(UPathApplicationSupportTest, WithoutALibraryThereIsNone)
{
    StubFolders folders;
    const ScopedService<Folders> guard(&folders);
    EXPECT_TRUE(isNil(UPath::GetApplicationSupportFolder("Sketch")));
}

TEST(UPathApplicationSupportTest, TheOutcomeOfMakingItIsNotChecked)
{
    StubFolders folders;
    folders.user = {freshFolder()};
    putFile(folders.user.first() + "/Application Support", "in the way");
    const ScopedService<Folders> guard(&folders);
    EXPECT_EQ(UPath::GetApplicationSupportFolder("Sketch"),
              folders.user.first() + "/Application Support/Kelvo/Sketch");
    EXPECT_EQ(contentOf(folders.user.first() + "/Application Support"), "in the way");
}

TEST(UPathApplicationSupportTest, AFileOfThatNameIsAnsweredAndKept)
{
    StubFolders folders;
    folders.user = {freshFolder()};
    putFolder(folders.user.first() + "/Application Support/Kelvo");
    putFile(folders.user.first() + "/Application Support/Kelvo/Sketch", "kept");
    const ScopedService<Folders> guard(&folders);
    EXPECT_EQ(UPath::GetApplicationSupportFolder("Sketch"),
              folders.user.first() + "/Application Support/Kelvo/Sketch");
    EXPECT_EQ(contentOf(folders.user.first() + "/Application Support/Kelvo/Sketch"), "kept");
}

TEST(UPathApplicationSupportTest, NamesAreNotChecked)
{
    StubFolders folders;
    folders.user = {freshFolder()};
    const ScopedService<Folders> guard(&folders);
    const QString root = folders.user.first() + "/Application Support/Kelvo";
    EXPECT_EQ(UPath::GetApplicationSupportFolder("a/b"), root + "/a/b");
    EXPECT_TRUE(QFileInfo(root + "/a/b").isDir());
    EXPECT_EQ(UPath::GetApplicationSupportFolder(""), root);
}

TEST(UPathApplicationSupportTest, TheLibraryIsTheUsersDataFolder)
{
    const QString expected =
        QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME")) + "/Application Support/Kelvo/Sketch";
    EXPECT_EQ(UPath::GetApplicationSupportFolder("Sketch"), expected);
    EXPECT_TRUE(QFileInfo(expected).isDir());
}

struct StubApplications final : Applications {
    OSType asked = 0;
    QString answer;
    QString applicationForCreator(OSType creator) override
    {
        asked = creator;
        return answer;
    }
    bool openFile(const QString &) override { return false; }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &) override {}
};

TEST(UPathApplicationTest, IsFoundByItsCreatorCode)
{
    StubApplications applications;
    const ScopedService<Applications> guard(&applications);
    EXPECT_TRUE(isNil(UPath::GetApplicationPath(0x4b564c31)));
    applications.answer = "/opt/Sketch.app";
    EXPECT_EQ(UPath::GetApplicationPath(0xfb564c32), "/opt/Sketch.app");
    EXPECT_EQ(applications.asked, 0xfb564c32u);
}

TEST(UPathApplicationTest, NobodyHasTheseCodes)
{
    EXPECT_TRUE(isNil(UPath::GetApplicationPath(0)));
    EXPECT_TRUE(isNil(UPath::GetApplicationPath(0x3f3f3f3f)));
    EXPECT_TRUE(isNil(UPath::GetApplicationPath(0xffffffff)));
}

} // namespace
} // namespace KVBase
