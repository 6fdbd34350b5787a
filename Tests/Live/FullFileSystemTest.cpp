#include "Platform/Services/FileManager.h"

#include "Support/FileFixtures.h"

#include <KVBase/KVBitmapContext.h>
#include <KVBase/KVMutableExecutable.h>
#include <KVBase/KVMutableInfoPlist.h>
#include <KVBase/KVPathUtils.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>
#include <KVBase/UPath.h>

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <sys/mount.h>

namespace KVBase
{
namespace
{

using namespace Tests;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

/// A real small file system; without the right to mount the tests are skipped.
class FullFileSystemTest : public testing::Test {
protected:
    void SetUp() override
    {
        disk = freshFolder() + text("/Disk");
        putFolder(disk);
        mounted = ::mount("none", path().constData(), "tmpfs", 0, "size=128k,mode=0755") == 0;
        if (!mounted)
            GTEST_SKIP() << "may not mount";
        putFile(disk + text("/file"), "old content");
    }

    void TearDown() override
    {
        if (mounted)
            ::umount2(path().constData(), MNT_DETACH);
    }

    void makeReadOnly()
    {
        ASSERT_EQ(::mount("none", path().constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }

    QByteArray path() const { return QFile::encodeName(disk); }

    FileManager &files = *Service<FileManager>::current();
    QString disk;
    bool mounted = false;
};

TEST_F(FullFileSystemTest, AWriteThatFindsNoRoomLeavesTheOldFile)
{
    EXPECT_FALSE(files.write(disk + text("/file"), QByteArray(1'000'000, 'x')));
    EXPECT_EQ(contentOf(disk + text("/file")), QByteArray("old content"));
    EXPECT_FALSE(files.write(disk + text("/new"), QByteArray(1'000'000, 'x')));
    EXPECT_EQ(namesIn(disk), QStringList{text("file")});
    EXPECT_TRUE(files.write(disk + text("/file"), "new content"));
    EXPECT_EQ(contentOf(disk + text("/file")), QByteArray("new content"));
}

TEST_F(FullFileSystemTest, APictureThatFindsNoRoomLeavesTheOldFile)
{
    const auto context = KVBitmapContext::create(nullptr, 300, 300, 0, QColorSpace());
    std::uint32_t noise = 1;
    for (std::size_t i = 0; i < std::size_t{300} * context->rowBytes(); ++i)
        context->buffer()[i] = static_cast<std::uint8_t>((noise = noise * 1664525 + 1013904223) >> 24);
    EXPECT_FALSE(context->savePNGFileAtPath(disk + text("/new.png")));
    EXPECT_TRUE(context->savePNGFileAtPath(disk + text("/file"))) << "a file is there";
    EXPECT_EQ(contentOf(disk + text("/file")), QByteArray("old content"));
    EXPECT_EQ(namesIn(disk), QStringList{text("file")});
}

TEST_F(FullFileSystemTest, NothingIsWrittenToAReadOnlyDisk)
{
    makeReadOnly();
    EXPECT_FALSE(files.write(disk + text("/file"), "new"));
    EXPECT_FALSE(files.createFile(disk + text("/new")));
    EXPECT_FALSE(files.createDirectory(disk + text("/folder"), true));
    EXPECT_FALSE(files.remove(disk + text("/file")));
    EXPECT_EQ(files.openForAppend(disk + text("/file")), -1);
    EXPECT_FALSE(UPath::CreateFolder(disk + text("/folder")));
    EXPECT_EQ(contentOf(disk + text("/file")), QByteArray("old content"));
    EXPECT_EQ(namesIn(disk), QStringList{text("file")});
}

TEST_F(FullFileSystemTest, AReadOnlyDiskIsNotWritable)
{
    makeReadOnly();
    NSError error;
    EXPECT_FALSE(KVPathUtils::canWriteToPath(disk, QVariant(1e30), &error));
    EXPECT_EQ(error.code(), 1);
    EXPECT_EQ(error.localizedFailureReason(), text("The path 'Disk' does not allow writing."));
}

TEST_F(FullFileSystemTest, ASpecOnAReadOnlyDiskFailsForAMissingFile)
{
    makeReadOnly();
    FSSpec spec;
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(disk + text("/file"), &spec), 0);
    EXPECT_EQ(UPath::AbsolutePathToFSSpec(disk + text("/new"), &spec), -43);
}

TEST_F(FullFileSystemTest, ACommitThatFindsNoRoomAnswersNoAndLeavesTheOldBundle)
{
    const QString contents = disk + text("/A.app/Contents");
    putFolder(contents + text("/MacOS"));
    const QByteArray program = QByteArray(40'000, 'p') + "AAAA";
    putFile(contents + text("/MacOS/tool"), program);
    ASSERT_TRUE(NSPropertyListSerialization::writeToFile(QVariantMap{{text("Key"), text("old")}},
                                                         contents + text("/Info.plist")));
    const QByteArray list = contentOf(contents + text("/Info.plist"));
    KVMutableExecutable executable(disk + text("/A.app"), text("tool"));
    KVMutableInfoPlist info(disk + text("/A.app"));
    EXPECT_TRUE(executable.replaceString(text("AAAA"), text("BBBB")));
    info.setValue(QString(200'000, u'x'), text("Key"));
    // What is left holds neither.
    while (
        files.write(disk + text("/filling-") + QString::number(namesIn(disk).size()), QByteArray(4096, 'f')))
        continue;
    EXPECT_FALSE(executable.commit());
    EXPECT_FALSE(info.commit());
    EXPECT_EQ(contentOf(contents + text("/MacOS/tool")), program);
    EXPECT_EQ(contentOf(contents + text("/Info.plist")), list);
    EXPECT_EQ(namesIn(contents), (QStringList{text("Info.plist"), text("MacOS")}));
    EXPECT_EQ(namesIn(contents + text("/MacOS")), QStringList{text("tool")});
    for (const QString &name : namesIn(disk)) {
        if (name.startsWith(text("filling-"))) {
            EXPECT_TRUE(files.remove(disk + u'/' + name));
        }
    }
    info.setValue(text("new"), text("Key"));
    EXPECT_TRUE(executable.commit()) << "once there is room again";
    EXPECT_TRUE(info.commit());
    EXPECT_TRUE(contentOf(contents + text("/MacOS/tool")).endsWith("BBBB"));
}

TEST_F(FullFileSystemTest, ACommitOnAReadOnlyDiskAnswersNo)
{
    const QString contents = disk + text("/A.app/Contents");
    putFolder(contents + text("/MacOS"));
    putFile(contents + text("/MacOS/tool"), "AAAA");
    ASSERT_TRUE(NSPropertyListSerialization::writeToFile(QVariantMap{}, contents + text("/Info.plist")));
    KVMutableExecutable executable(disk + text("/A.app"), text("tool"));
    KVMutableInfoPlist info(disk + text("/A.app"));
    makeReadOnly();
    EXPECT_TRUE(executable.replaceString(text("AAAA"), text("BBBB")));
    EXPECT_FALSE(executable.commit());
    info.setValue(1, text("Key"));
    EXPECT_FALSE(info.commit());
    EXPECT_EQ(contentOf(contents + text("/MacOS/tool")), QByteArray("AAAA"));
}

TEST_F(FullFileSystemTest, RoomIsComparedWithWhatTheDiskHas)
{
    NSError error;
    EXPECT_TRUE(KVPathUtils::canWriteToPath(disk, QVariant(65536), &error));
    EXPECT_FALSE(KVPathUtils::canWriteToPath(disk, QVariant(131073), &error));
    EXPECT_EQ(error.code(), 28);
    EXPECT_EQ(error.localizedFailureReason(),
              text("The volume Disk does not have enough free space available."));
    EXPECT_LE(UPath::GetFreeDiskBytesForFolder(disk), 131072u);
}

} // namespace
} // namespace KVBase
