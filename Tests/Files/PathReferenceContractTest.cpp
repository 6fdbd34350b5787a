#include <KVBase/KVPathUtils.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/UPath.h>

#include "Support/FileFixtures.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString nil;

QByteArray nameOf(const FSSpec &spec)
{
    return QByteArray(reinterpret_cast<const char *>(spec.name) + 1, spec.name[0]);
}

bool isEmpty(const FSSpec &spec) { return spec.vRefNum == 0 && spec.parID == 0 && spec.name[0] == 0; }

dev_t deviceOf(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_dev : 0;
}

class KVPathAliasTest : public testing::Test {
protected:
    KVPathAliasTest() : folder(freshFolder())
    {
        putFolder(folder + "/real");
        putFile(folder + "/real/file", "x");
        putLink(folder + "/one", "two");
        putLink(folder + "/two", folder + "/three");
        putLink(folder + "/three", "real/file");
        putLink(folder + "/folder", "real");
        putLink(folder + "/loop", "pool");
        putLink(folder + "/pool", "loop");
        putLink(folder + "/dangling", "nothing");
    }

    void expectResolved(const QString &path, const QString &result) const
    {
        EXPECT_EQ(KVPathUtils::resolvedPath(path), result);
        EXPECT_EQ(KVPathUtils::resolveLeafAlias(path), result);
        EXPECT_EQ(UPath::GetResolvedPath(path), result);
        EXPECT_EQ(UPath::ResolveLeafAlias(path), result);
    }

    void expectUnresolved(const QString &path) const
    {
        EXPECT_EQ(KVPathUtils::resolvedPath(path), path);
        EXPECT_EQ(UPath::GetResolvedPath(path), path);
        EXPECT_EQ(KVPathUtils::resolvedPath(path).isNull(), path.isNull());
        EXPECT_EQ(UPath::GetResolvedPath(path).isNull(), path.isNull());
        EXPECT_TRUE(isNil(KVPathUtils::resolveLeafAlias(path))) << path.left(300).toStdString();
        EXPECT_TRUE(isNil(UPath::ResolveLeafAlias(path))) << path.left(300).toStdString();
    }

    QString folder;
};

TEST_F(KVPathAliasTest, ChainsAreFollowedToTheirEnd)
{
    expectResolved(folder + "/three", folder + "/real/file");
    expectResolved(folder + "/one", folder + "/real/file");
    expectResolved(folder + "/folder", folder + "/real");
    expectResolved(folder + "/folder/file", folder + "/real/file");
}

TEST_F(KVPathAliasTest, WhatIsNoAliasComesBackAsTheFileSystemSpellsIt)
{
    expectResolved(folder + "/real/file", folder + "/real/file");
    expectResolved(folder + "/real//../real/./file", folder + "/real/file");
    expectResolved(folder + "/real/", folder + "/real");
    expectResolved("/", "/");
}

TEST_F(KVPathAliasTest, FailuresAnswerTheInputOrNil)
{
    for (const QString &path :
         {folder + "/nothing", folder + "/dangling", folder + "/loop", folder + "/real/file/x", nil,
          QString(""), QString(folder + "/real/file") + QChar(0) + "x",
          QString("/") + QString(1'000'000, u'n'), QString("~/x")})
        expectUnresolved(path);
}

TEST_F(KVPathAliasTest, NamesOfFullLengthResolve)
{
    QString deep = folder;
    for (int level = 0; level < 8; ++level)
        deep += "/" + QString(200, u'd');
    putFolder(deep);
    putLink(folder + "/deep", deep);
    expectResolved(folder + "/deep", deep);
}

TEST(KVPathVolumeTest, MissingComponentsAreLeftOut)
{
    const QString folder = freshFolder();
    const std::int16_t volume = KVPathUtils::volumeForPath(folder);
    EXPECT_GT(volume, 0);
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + "/x/y/z"), volume);
    putFile(folder + "/file", "");
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + "/file/y/z"), volume);
    putLink(folder + "/dangling", "/proc/no/such");
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + "/dangling"), volume);
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + "/dangling/x"), volume);
    EXPECT_EQ(KVPathUtils::volumeForPath(folder + "/" + QString(1'000'000, u'n')), volume);
}

TEST(KVPathVolumeTest, NoPathHasNoVolumeAndTheWalkEnds)
{
    EXPECT_EQ(KVPathUtils::volumeForPath(nil), 0);
    EXPECT_EQ(KVPathUtils::volumeForPath(""), 0);
    EXPECT_EQ(KVPathUtils::volumeForPath("no-such-item/x/y"), 0);
    EXPECT_GT(KVPathUtils::volumeForPath("/"), 0);
    EXPECT_EQ(KVPathUtils::volumeForPath("/no-such-item/x/y"), KVPathUtils::volumeForPath("/"));
}

TEST(KVPathVolumeTest, DevicesHaveNumbersOfTheirOwnThatStay)
{
    const std::int16_t root = KVPathUtils::volumeForPath("/");
    ASSERT_NE(deviceOf("/proc"), deviceOf("/"));
    const std::int16_t processes = KVPathUtils::volumeForPath("/proc");
    EXPECT_GT(processes, 0);
    EXPECT_NE(processes, root);
    EXPECT_EQ(KVPathUtils::volumeForPath("/proc/self/no-such-item"), processes);
    EXPECT_EQ(KVPathUtils::volumeForPath("/"), root);
}

TEST(KVPathTemporaryFolderTest, LiesOnTheVolumeAndIsPrivate)
{
    const QString folder = freshFolder();
    for (const QString &path : {folder, folder + "/x/y", QString("/dev/shm")}) {
        const QString temporary = KVPathUtils::tempFolderForPath(path);
        ASSERT_FALSE(isNil(temporary)) << path.toStdString();
        EXPECT_TRUE(QFileInfo(temporary).isDir());
        const QString existing = path.endsWith("/x/y") ? folder : path;
        EXPECT_EQ(deviceOf(temporary), deviceOf(existing));
        EXPECT_EQ(UPath::GetTempFolder(path), temporary);
        EXPECT_EQ(UPath::GetTempFolder(KVPathUtils::volumeForPath(path)), temporary);
    }
}

TEST(KVPathTemporaryFolderTest, WhereNoneCanBeThereIsNil)
{
    for (const QString &path : {nil, QString(""), QString("no-such-item/x"), QString("/proc")}) {
        EXPECT_TRUE(isNil(KVPathUtils::tempFolderForPath(path))) << path.toStdString();
        EXPECT_TRUE(isNil(UPath::GetTempFolder(path))) << path.toStdString();
    }
    for (const int volume : {0, -1, 32767, -32768})
        EXPECT_TRUE(isNil(UPath::GetTempFolder(static_cast<std::int16_t>(volume)))) << volume;
}

TEST(UPathReferenceTest, GoesThereAndBack)
{
    const QString folder = freshFolder();
    putFile(folder + "/a file", "x");
    putLink(folder + "/link", "a file");
    for (const QString &path : {folder, folder + "/a file", folder + "/link", QString("/")}) {
        FSRef reference;
        EXPECT_EQ(UPath::PathToFSRef(path, &reference), 0) << path.toStdString();
        EXPECT_EQ(UPath::FSRefToPath(reference), path) << "a final link is not followed";
    }
}

TEST(UPathReferenceTest, FailuresAreStatuses)
{
    const QString folder = freshFolder();
    putFile(folder + "/file", "x");
    FSRef reference;
    EXPECT_EQ(UPath::PathToFSRef(folder, nullptr), -50);
    EXPECT_EQ(UPath::PathToFSRef(nil, nullptr), -50);
    EXPECT_EQ(UPath::PathToFSRef(folder + "/nothing", &reference), -43);
    EXPECT_EQ(UPath::PathToFSRef(folder + "/nothing/x", &reference), -120);
    EXPECT_NE(UPath::PathToFSRef(nil, &reference), 0);
    EXPECT_NE(UPath::PathToFSRef("", &reference), 0);
    EXPECT_NE(UPath::PathToFSRef(folder + "/file/x", &reference), 0);
    EXPECT_NE(UPath::PathToFSRef(folder + "/file" + QChar(0), &reference), 0);
    EXPECT_TRUE(isNil(UPath::FSRefToPath(FSRef())));
}

TEST(UPathReferenceTest, AnItemThatHasGoneHasNoPath)
{
    const QString folder = freshFolder();
    putFile(folder + "/file", "x");
    FSRef reference;
    ASSERT_EQ(UPath::PathToFSRef(folder + "/file", &reference), 0);
    ASSERT_TRUE(QFile::remove(folder + "/file"));
    EXPECT_TRUE(isNil(UPath::FSRefToPath(reference)));
    FSRef garbage;
    for (std::uint8_t &byte : garbage.hidden)
        byte = 0xa5;
    EXPECT_TRUE(isNil(UPath::FSRefToPath(garbage)));
}

TEST(UPathSpecTest, NamesVolumeFolderAndItem)
{
    const QString folder = freshFolder();
    putFolder(folder + "/other");
    putFile(folder + "/file", "kept");
    putFile(folder + "/other/file", "");
    FSSpec spec;
    FSSpec sibling;
    FSSpec cousin;
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/file", &spec), 0);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/other", &sibling), 0);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/other/file", &cousin), 0);
    EXPECT_EQ(spec.vRefNum, KVPathUtils::volumeForPath(folder));
    EXPECT_EQ(nameOf(spec), "file");
    EXPECT_EQ(nameOf(sibling), "other");
    EXPECT_NE(spec.parID, 0);
    EXPECT_EQ(spec.parID, sibling.parID);
    EXPECT_NE(spec.parID, cousin.parID);
    EXPECT_EQ(contentOf(folder + "/file"), "kept");
    const FSSpec twin = KVPathUtils::getFSSpecFromAbsolutePath(folder + "/file");
    EXPECT_EQ(twin.vRefNum, spec.vRefNum);
    EXPECT_EQ(twin.parID, spec.parID);
    EXPECT_EQ(nameOf(twin), "file");
}

TEST(UPathSpecTest, FailuresClearTheSpecAndNameTheirStatus)
{
    const QString folder = freshFolder();
    FSSpec spec{3, 5, {1, 'x'}};
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/no/item", &spec), -120);
    EXPECT_TRUE(isEmpty(spec));
    NSError error;
    EXPECT_TRUE(isEmpty(KVPathUtils::getFSSpecFromAbsolutePath(folder + "/no/item", &error)));
    ASSERT_FALSE(isNil(error));
    EXPECT_EQ(error.domain(), "com.kelvo.KVBase.PathUtilsError");
    EXPECT_EQ(error.code(), -120);
    EXPECT_TRUE(error.userInfo().isEmpty());
    EXPECT_TRUE(isEmpty(KVPathUtils::getFSSpecFromAbsolutePath(folder + "/no/item")));
    EXPECT_EQ(namesIn(folder), QStringList());
}

TEST(UPathSpecTest, EveryBadArgumentIsAStatus)
{
    const QString folder = freshFolder();
    putFile(folder + "/file", "kept");
    FSSpec spec;
    for (const QString &path : {nil, QString(""), folder + "/file/x", folder + "/a" + QChar(0) + "b",
                                folder + "/" + QString(300, u'n')}) {
        EXPECT_NE(UPath::AbsolutePathToFSSpec(path, &spec), 0) << path.toStdString();
        NSError error;
        KVPathUtils::getFSSpecFromAbsolutePath(path, &error);
        ASSERT_FALSE(isNil(error)) << path.toStdString();
        EXPECT_TRUE(error.code() < 0) << "1, 2 and 28 belong to the write check, not " << error.code();
    }
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/file", nullptr), -50);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/nothing", nullptr), -50);
    EXPECT_EQ(namesIn(folder), QStringList{"file"});
}

TEST(UPathSpecTest, NamesHaveUpToSixtyThreeBytes)
{
    const QString folder = freshFolder();
    FSSpec spec;
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/" + QString(63, u'n'), &spec), 0);
    EXPECT_EQ(nameOf(spec), QByteArray(63, 'n'));
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/" + QString(64, u'n'), &spec), -37);
    EXPECT_TRUE(isEmpty(spec));
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/" + QString(32, QChar(0xe9)), &spec), -37);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(folder + "/" + QString(31, QChar(0xe9)), &spec), 0);
    EXPECT_EQ(spec.name[0], 62);
    EXPECT_EQ(namesIn(folder), QStringList());
}

TEST(KVPathTypeTest, ItemsHaveTheTypeOfTheirNames)
{
    const QString folder = freshFolder();
    putFile(folder + "/picture.png", "this is text");
    putFile(folder + "/PICTURE.JPG", "");
    putFile(folder + "/text.txt", "");
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder + "/pipe.pdf").constData(), 0600), 0);
    EXPECT_EQ(KVPathUtils::utiForPath(folder + "/picture.png"), "public.png");
    EXPECT_EQ(KVPathUtils::utiForPath(folder + "/PICTURE.JPG"), "public.jpeg");
    EXPECT_EQ(KVPathUtils::utiForPath(folder + "/text.txt"), "public.plain-text");
    EXPECT_EQ(KVPathUtils::utiForPath(folder), "public.folder");
    EXPECT_FALSE(isNil(KVPathUtils::utiForPath(folder + "/pipe.pdf"))) << "and it did not wait for a writer";
}

} // namespace
} // namespace KVBase
