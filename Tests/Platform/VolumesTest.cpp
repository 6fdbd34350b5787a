#include "Platform/Services/Volumes.h"
#include "Platform/Services/MountTable_linux.h"

#include "Support/FileFixtures.h"

#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

Volumes &volumes() { return *Service<Volumes>::current(); }

std::uint64_t deviceOf(const QString &path)
{
    struct stat status {};
    ::stat(QFile::encodeName(path).constData(), &status);
    return status.st_dev;
}

TEST(VolumesTest, NumbersAreStableAndTellDevicesApart)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/file"), "");
    const std::int16_t here = volumes().volumeOf(folder);
    EXPECT_GT(here, 0);
    EXPECT_EQ(volumes().volumeOf(folder + QStringLiteral("/file")), here);
    const std::int16_t kernel = volumes().volumeOf(QStringLiteral("/proc"));
    EXPECT_GT(kernel, 0);
    EXPECT_NE(kernel, here);
    EXPECT_EQ(volumes().volumeOf(folder), here);
    EXPECT_EQ(volumes().volumeOf(folder + QStringLiteral("/missing")), 0);
    EXPECT_EQ(volumes().volumeOf(QString()), 0);
}

TEST(VolumesTest, AFinalLinkIsFollowedWhereAsked)
{
    const QString folder = freshFolder();
    putLink(folder + QStringLiteral("/link"), QStringLiteral("/proc"));
    EXPECT_EQ(volumes().volumeOf(folder + QStringLiteral("/link")),
              volumes().volumeOf(QStringLiteral("/proc")));
    EXPECT_EQ(volumes().volumeOfLink(folder + QStringLiteral("/link")), volumes().volumeOf(folder));
}

TEST(VolumesTest, TheTemporaryFolderIsPrivateAndOnItsVolume)
{
    const QString folder = freshFolder();
    const QString temporary = volumes().temporaryFolder(volumes().volumeOf(folder));
    ASSERT_FALSE(temporary.isNull());
    struct stat status {};
    ASSERT_EQ(::lstat(QFile::encodeName(temporary).constData(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    EXPECT_EQ(status.st_uid, ::geteuid());
    EXPECT_EQ(status.st_dev, deviceOf(folder));
    EXPECT_EQ(volumes().temporaryFolder(volumes().volumeOf(folder)), temporary);
}

TEST(VolumesTest, NoVolumeHasNoTemporaryFolder)
{
    EXPECT_TRUE(volumes().temporaryFolder(0).isNull());
    EXPECT_TRUE(volumes().temporaryFolder(-1).isNull());
    EXPECT_TRUE(volumes().temporaryFolder(32767).isNull());
    // Nobody can make a folder there.
    EXPECT_TRUE(volumes().temporaryFolder(volumes().volumeOf(QStringLiteral("/proc"))).isNull());
}

/// A file system of its own for a test that runs as root; without the right to mount the test is skipped.
class VolumesMountTest : public testing::Test {
protected:
    void SetUp() override
    {
        mountPoint = freshFolder() + QStringLiteral("/disk \\ of mine");
        putFolder(mountPoint);
        mounted = ::mount("none", path().constData(), "tmpfs", 0, "size=1m,mode=0755") == 0;
        if (!mounted)
            GTEST_SKIP() << "may not mount";
    }

    void TearDown() override
    {
        if (mounted)
            ::umount2(path().constData(), MNT_DETACH);
    }

    QByteArray path() const { return QFile::encodeName(mountPoint); }

    QString mountPoint;
    bool mounted = false;
};

TEST_F(VolumesMountTest, AMountHasANumberAndATemporaryFolderOfItsOwn)
{
    putFolder(mountPoint + QStringLiteral("/sub/folder"));
    const std::int16_t volume = volumes().volumeOf(mountPoint + QStringLiteral("/sub/folder"));
    EXPECT_NE(volume, volumes().volumeOf(mountPoint + QStringLiteral("/..")));
    const QString temporary = volumes().temporaryFolder(volume);
    EXPECT_EQ(temporary, mountPoint + QStringLiteral("/.kvbase-tmp-%1").arg(::geteuid()));
    EXPECT_EQ(deviceOf(temporary), deviceOf(mountPoint));
}

TEST_F(VolumesMountTest, ABindMountIsTheSameVolume)
{
    const QString other = freshFolder();
    ASSERT_EQ(::mount(path().constData(), QFile::encodeName(other).constData(), nullptr, MS_BIND, nullptr),
              0);
    EXPECT_EQ(volumes().volumeOf(other), volumes().volumeOf(mountPoint));
    ::umount2(QFile::encodeName(other).constData(), MNT_DETACH);
}

TEST_F(VolumesMountTest, ALinkInPlaceOfTheTemporaryFolderIsNotFollowed)
{
    const QString elsewhere = freshFolder();
    putLink(mountPoint + QStringLiteral("/.kvbase-tmp-%1").arg(::geteuid()), elsewhere);
    EXPECT_TRUE(volumes().temporaryFolder(volumes().volumeOf(mountPoint)).isNull());
}

TEST_F(VolumesMountTest, AFolderThatOthersMayEnterIsNotTaken)
{
    const QString name = mountPoint + QStringLiteral("/.kvbase-tmp-%1").arg(::geteuid());
    putFolder(name);
    ASSERT_EQ(::chmod(QFile::encodeName(name).constData(), 0755), 0);
    EXPECT_TRUE(volumes().temporaryFolder(volumes().volumeOf(mountPoint)).isNull());
}

TEST_F(VolumesMountTest, AReadOnlyVolumeHasNoTemporaryFolder)
{
    ASSERT_EQ(::mount("none", path().constData(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const std::int16_t volume = volumes().volumeOf(mountPoint);
    EXPECT_GT(volume, 0);
    EXPECT_TRUE(volumes().temporaryFolder(volume).isNull());
}

TEST(MountTableTest, ReadsTheKernelsForm)
{
    const auto mounts = parseMountTable(
        "21 98 0:20 / /proc rw,nosuid shared:12 - proc proc rw\n"
        "36 35 8:17 /sub /mnt/with\\040blank\\134 rw,noatime master:1 shared:2 - ext3 /dev/root\\040one rw\n"
        "garbage\n"
        "1 2 3:4 / - \n"
        "\n");
    ASSERT_EQ(mounts.size(), 2u);
    EXPECT_EQ(mounts[0].path, "/proc");
    EXPECT_EQ(mounts[0].source, "proc");
    EXPECT_EQ(mounts[0].device, gnu_dev_makedev(0, 20));
    EXPECT_EQ(mounts[1].path, "/mnt/with blank\\");
    EXPECT_EQ(mounts[1].source, "/dev/root one");
    EXPECT_EQ(mounts[1].device, gnu_dev_makedev(8, 17));
}

TEST(MountTableTest, KnowsTheRoot)
{
    bool found = false;
    for (const MountPoint &mount : parseMountTable("1 0 8:1 / / rw - ext4 /dev/sda1 rw"))
        found = found || mount.path == "/";
    EXPECT_TRUE(found);
    EXPECT_TRUE(parseMountTable("").empty());
}

} // namespace
} // namespace KVBase
