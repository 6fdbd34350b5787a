#include <KVBase/Platform/KVNil.h>
#include <KVBase/UPath.h>

#include "Platform/Services/Folders.h"
#include "Support/FileFixtures.h"

#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString nil;

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

TEST(UPathCreateFolderTest, ANulMakesNothing)
{
    const QString folder = freshFolder();
    EXPECT_FALSE(UPath::CreateFolder(folder + "/a" + QChar(0) + "b"));
    EXPECT_EQ(namesIn(folder), QStringList());
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

} // namespace
} // namespace KVBase
