#include <KVBase/KVPathUtils.h>
#include <KVBase/UPath.h>

#include "Support/FileFixtures.h"
#include "Support/ToolRunner.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <cstring>

#include <fcntl.h>
#include <linux/btrfs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

struct stat statusOf(const QString &path)
{
    struct stat status {};
    EXPECT_EQ(::lstat(QFile::encodeName(path).constData(), &status), 0);
    return status;
}

/// A real btrfs in a file, with a subvolume "sub" in a folder; without the rights or the program to make one
/// the tests are skipped.
class SubvolumesTest : public testing::Test {
protected:
    void SetUp() override
    {
        const QString folder = freshFolder();
        const QString image = folder + text("/image");
        disk = folder + text("/Disk");
        other = folder + text("/Other");
        putFolder(disk);
        putFolder(other);
        putFile(image, "");
        ASSERT_EQ(::truncate(QFile::encodeName(image).constData(), 256 << 20), 0);
        if (runProgram(text("mkfs.btrfs"), {text("-q"), image}).exitCode != 0)
            GTEST_SKIP() << "no program that makes a btrfs";
        mounted = runProgram(text("mount"), {text("-o"), text("loop"), image, disk}).exitCode == 0;
        if (!mounted)
            GTEST_SKIP() << "may not mount";
        putFolder(disk + text("/folder"));
        ASSERT_TRUE(makeSubvolume(disk + text("/folder"), "sub"));
        sub = disk + text("/folder/sub");
    }

    void TearDown() override
    {
        ::umount2(QFile::encodeName(other).constData(), MNT_DETACH);
        if (mounted)
            ::umount2(QFile::encodeName(disk).constData(), MNT_DETACH);
    }

    static bool makeSubvolume(const QString &parent, const char *name)
    {
        const int folder = ::open(QFile::encodeName(parent).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        btrfs_ioctl_vol_args arguments{};
        std::strncpy(arguments.name, name, sizeof arguments.name - 1);
        const bool made = ::ioctl(folder, BTRFS_IOC_SUBVOL_CREATE, &arguments) == 0;
        ::close(folder);
        return made;
    }

    void bindToOther(const QString &path) const
    {
        ASSERT_EQ(::mount(QFile::encodeName(path).constData(), QFile::encodeName(other).constData(), nullptr,
                          MS_BIND, nullptr),
                  0);
    }

    QString disk;
    QString sub;
    QString other;
    bool mounted = false;
};

TEST_F(SubvolumesTest, ASubvolumeIsAVolumeOfItsOwn)
{
    const std::int16_t whole = KVPathUtils::volumeForPath(disk);
    const std::int16_t part = KVPathUtils::volumeForPath(sub);
    EXPECT_GT(whole, 0);
    EXPECT_GT(part, 0);
    EXPECT_NE(part, whole);
    EXPECT_NE(whole, KVPathUtils::volumeForPath(disk + text("/..")));
    EXPECT_EQ(KVPathUtils::volumeForPath(disk + text("/folder")), whole);
    EXPECT_EQ(KVPathUtils::volumeForPath(sub + text("/not/yet/there")), part);
    EXPECT_EQ(KVPathUtils::volumeForPath(sub), part);
}

TEST_F(SubvolumesTest, TheTemporaryFolderLiesInTheSubvolume)
{
    const QString temporary = KVPathUtils::tempFolderForPath(sub + text("/not/yet"));
    ASSERT_FALSE(temporary.isNull());
    EXPECT_EQ(statusOf(temporary).st_dev, statusOf(sub).st_dev);
    EXPECT_EQ(statusOf(temporary).st_mode & 07777u, 0700u);
    EXPECT_EQ(UPath::GetTempFolder(sub), temporary);
    const QString outside = KVPathUtils::tempFolderForPath(disk);
    ASSERT_FALSE(outside.isNull());
    EXPECT_EQ(statusOf(outside).st_dev, statusOf(disk).st_dev);
    EXPECT_NE(outside, temporary);
}

TEST_F(SubvolumesTest, ABindMountOfASubvolumeIsTheSubvolume)
{
    ASSERT_NO_FATAL_FAILURE(bindToOther(sub));
    EXPECT_EQ(KVPathUtils::volumeForPath(other), KVPathUtils::volumeForPath(sub));
    EXPECT_EQ(KVPathUtils::tempFolderForPath(other), KVPathUtils::tempFolderForPath(sub));
}

TEST_F(SubvolumesTest, SeenFirstThroughABindMountItHasATemporaryFolderToo)
{
    ASSERT_TRUE(makeSubvolume(sub, "inner"));
    ASSERT_NO_FATAL_FAILURE(bindToOther(sub + text("/inner")));
    const QString temporary = KVPathUtils::tempFolderForPath(other);
    ASSERT_FALSE(temporary.isNull());
    EXPECT_EQ(statusOf(temporary).st_dev, statusOf(sub + text("/inner")).st_dev);
    ASSERT_EQ(::umount2(QFile::encodeName(other).constData(), 0), 0);
    const QString later = KVPathUtils::tempFolderForPath(sub + text("/inner"));
    ASSERT_FALSE(later.isNull()) << "the way in which it was seen first has gone";
    EXPECT_EQ(statusOf(later).st_dev, statusOf(sub + text("/inner")).st_dev);
}

TEST_F(SubvolumesTest, AFolderIsMeasuredAcrossItsSubvolumes)
{
    putFile(disk + text("/folder/ten"), "0123456789");
    putFile(sub + text("/five"), "01234");
    EXPECT_EQ(UPath::GetFileSize(disk + text("/folder")),
              15u + static_cast<std::uint64_t>(statusOf(sub).st_size));
    FSSpec inside;
    FSSpec outside;
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(sub + text("/five"), &inside), 0);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(disk + text("/folder/ten"), &outside), 0);
    EXPECT_NE(inside.vRefNum, outside.vRefNum);
    EXPECT_NE(inside.parID, outside.parID);
}

/// A label of a disk, as the system keeps them; gone with the object.
class DiskLabel {
public:
    DiskLabel(const QByteArray &escapedName, const QByteArray &device)
        : link("/dev/disk/by-label/" + escapedName)
    {
        putFolder(text("/dev/disk/by-label"));
        made = ::symlink(device.constData(), link.constData()) == 0;
    }

    ~DiskLabel()
    {
        if (!made)
            return;
        ::unlink(link.constData());
        // Both stay where they hold anything else.
        ::rmdir("/dev/disk/by-label");
        ::rmdir("/dev/disk");
    }

    bool made = false;

private:
    QByteArray link;
};

TEST_F(SubvolumesTest, TheRootIsShownByTheLabelAndASubvolumeByItsName)
{
    const ToolResult source = runProgram(text("findmnt"), {text("-n"), text("-o"), text("SOURCE"), disk});
    const QByteArray number = QByteArray::number(::getpid());
    const DiskLabel label("KVBase\\x20" + number, source.out.trimmed());
    if (!label.made)
        GTEST_SKIP() << "may not name a disk";
    NSError error;
    EXPECT_FALSE(KVPathUtils::canWriteToPath(disk, QVariant(1e18), &error));
    EXPECT_EQ(error.localizedFailureReason(), text("The volume KVBase ") + QString::fromLatin1(number) +
                                                  text(" does not have enough free space available."));
    EXPECT_FALSE(KVPathUtils::canWriteToPath(sub, QVariant(1e18), &error));
    EXPECT_EQ(error.localizedFailureReason(),
              text("The volume sub does not have enough free space available."));
}

TEST_F(SubvolumesTest, FreeSpaceIsWhatTheSystemShows)
{
    for (const QString &path : {disk, sub}) {
        const ToolResult shown = runProgram(text("df"), {text("-B1"), text("--output=avail"), path});
        ASSERT_EQ(shown.exitCode, 0);
        EXPECT_EQ(UPath::GetFreeDiskBytesForFolder(path), shown.lines().last().trimmed().toULongLong());
    }
}

} // namespace
} // namespace KVBase
