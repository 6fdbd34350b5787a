#include <KVBase/KVPathUtils.h>
#include <KVBase/UPath.h>

#include "Platform/Services/FileManager.h"
#include "Platform/Services/Folders.h"
#include "Support/FileFixtures.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <algorithm>

#include <fcntl.h>
#include <malloc.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/un.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString nil;

qulonglong entrySize(const QString &path)
{
    struct stat status = {};
    EXPECT_EQ(::lstat(QFile::encodeName(path).constData(), &status), 0);
    return static_cast<qulonglong>(status.st_size);
}

void expectSize(const QString &path, qulonglong size)
{
    const QVariant number = KVPathUtils::fileSizeAtPath(path);
    EXPECT_TRUE(number.isValid());
    EXPECT_EQ(number.typeId(), QMetaType::ULongLong);
    EXPECT_EQ(number.toULongLong(), size) << path.left(300).toStdString();
    EXPECT_EQ(UPath::GetFileSize(path), size) << path.left(300).toStdString();
}

TEST(KVFileSizeTest, OfNothingIsZero)
{
    const QString folder = freshFolder();
    putFile(folder + "/ten", "0123456789");
    for (const QString &path : {nil, QString(""), folder + "/missing", folder + "/ten/x",
                                folder + "/ten" + QChar(0), "/" + QString(1'000'000, u'n')})
        expectSize(path, 0);
}

TEST(KVFileSizeTest, OfAFolderIsThatOfEverythingBelowIt)
{
    const QString folder = freshFolder();
    expectSize(folder, 0);
    putFile(folder + "/a", QByteArray(10, 'a'));
    putFile(folder + "/.hidden", QByteArray(20, 'b'));
    expectSize(folder, 30);
    expectSize(folder + "/", 30);
    putFolder(folder + "/sub/deep");
    putFile(folder + "/sub/deep/c", QByteArray(5, 'c'));
    expectSize(folder, 35 + entrySize(folder + "/sub") + entrySize(folder + "/sub/deep"));
}

TEST(KVFileSizeTest, LinksAreNotFollowedInside)
{
    const QString folder = freshFolder();
    putFolder(folder + "/measured");
    putFile(folder + "/big", QByteArray(100'000, 'x'));
    putLink(folder + "/measured/link", "../big");
    putLink(folder + "/measured/loop", "loop");
    putLink(folder + "/measured/up", "..");
    expectSize(folder + "/measured", 6 + 4 + 2);
}

TEST(KVFileSizeTest, SpecialItemsDoNotBlockAndHaveNoSize)
{
    const QString folder = freshFolder();
    putFile(folder + "/file", "0123456789");
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder + "/fifo").constData(), 0600), 0);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(folder + "/socket");
    ASSERT_LT(static_cast<std::size_t>(name.size()), sizeof(address.sun_path));
    std::copy(name.begin(), name.end(), address.sun_path);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
    expectSize(folder, 10);
    expectSize(folder + "/fifo", 0);
    expectSize(folder + "/socket", 0);
    expectSize("/dev/null", 0);
    ::close(socket);
}

TEST(KVFileSizeTest, NamesThatAreNoTextCount)
{
    const QString folder = freshFolder();
    const QByteArray odd = QFile::encodeName(folder) + "/bad\xff\xfename";
    ASSERT_EQ(::mkdir(odd.constData(), 0700), 0);
    const int descriptor = ::open((odd + "/in\xc3side").constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(descriptor, 0);
    ASSERT_EQ(::write(descriptor, "1234567", 7), 7);
    ::close(descriptor);
    struct stat status = {};
    ASSERT_EQ(::lstat(odd.constData(), &status), 0);
    expectSize(folder, 7 + static_cast<qulonglong>(status.st_size));
    EXPECT_EQ(::unlink((odd + "/in\xc3side").constData()), 0);
    EXPECT_EQ(::rmdir(odd.constData()), 0);
}

TEST(KVFileSizeTest, AVeryDeepTreeIsMeasured)
{
    const QString folder = freshFolder();
    int level = ::open(QFile::encodeName(folder).constData(), O_DIRECTORY | O_CLOEXEC);
    for (int depth = 0; depth < 1200; ++depth) {
        ASSERT_EQ(::mkdirat(level, "d", 0700), 0);
        const int next = ::openat(level, "d", O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(next, 0);
        ::close(level);
        level = next;
    }
    const int file = ::openat(level, "file", O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_EQ(::write(file, "0123456789", 10), 10);
    ::close(file);
    ::close(level);
    const qulonglong expected = 10 + 1200 * entrySize(folder + "/d");
    EXPECT_EQ(UPath::GetFileSize(folder), expected);
}

/// The most memory in use at any item of the walk, above what was in use before.
std::size_t peakOfWalk(const QString &folder)
{
    const auto inUse = [] {
        const struct mallinfo2 information = ::mallinfo2();
        return information.uordblks + information.hblkhd;
    };
    const std::size_t before = inUse();
    std::size_t peak = before;
    Service<FileManager>::current()->forEachEntryBelow(folder, [&](const FolderEntry &) {
        peak = std::max(peak, inUse());
        return WalkStep::GoOn;
    });
    return peak - before;
}

TEST(KVFileSizeTest, MemoryDoesNotGrowWithTheNumberOfFiles)
{
    const QString few = freshFolder();
    const QString many = freshFolder();
    putFile(few + "/a file", "x");
    for (int number = 0; number < 4000; ++number)
        putFile(many + "/a file with a name of ordinary length " + QString::number(number), "x");
    const std::size_t small = peakOfWalk(few);
    const std::size_t large = peakOfWalk(many);
    EXPECT_LT(large, small + 16 * 1024) << "4,000 names alone have 160 KB";
    expectSize(many, 4000);
}

void expectFreeSpaceOf(const QString &path, const QString &asked)
{
    for (int attempt = 0; attempt < 1000; ++attempt) {
        struct statvfs before = {};
        struct statvfs after = {};
        ASSERT_EQ(::statvfs(QFile::encodeName(path).constData(), &before), 0);
        const qulonglong first = KVPathUtils::freeDiskBytesForFolder(path).toULongLong();
        const qulonglong second = KVPathUtils::getFreeSpaceForPath(asked).toULongLong();
        const qulonglong third = UPath::GetFreeDiskBytesForFolder(path);
        ASSERT_EQ(::statvfs(QFile::encodeName(path).constData(), &after), 0);
        if (before.f_bavail != after.f_bavail)
            continue;
        const qulonglong expected = static_cast<qulonglong>(before.f_bavail) * before.f_frsize;
        EXPECT_EQ(first, expected);
        EXPECT_EQ(second, expected);
        EXPECT_EQ(third, expected);
        return;
    }
    GTEST_SKIP() << "the free space never stands still";
}

TEST(KVFreeSpaceTest, IsWhatTheUserMayUse)
{
    expectFreeSpaceOf("/dev/shm", "/dev/shm/no-such-item/..");
    expectFreeSpaceOf("/proc", "/proc");
    const QString folder = freshFolder();
    expectFreeSpaceOf(folder, folder + "//.");
    EXPECT_EQ(KVPathUtils::freeDiskBytesForFolder("/").typeId(), QMetaType::ULongLong);
    EXPECT_EQ(KVPathUtils::getFreeSpaceForPath("/").typeId(), QMetaType::ULongLong);
}

struct StubFolders final : Folders {
    QStringList network;
    std::uint32_t asked = 0;
    QStringList libraryFolders(std::uint32_t domains) override
    {
        asked = domains;
        return network;
    }
    QString temporaryFolder() override { return QStringLiteral("/tmp"); }
    QString frameworksFolder() override { return QStringLiteral("/nowhere"); }
};

struct NetworkPath {
    QStringList libraries;
    QString path;
    bool onNetwork;
};

class KVNetworkPaths : public testing::TestWithParam<NetworkPath> {};

TEST_P(KVNetworkPaths, AreToldByTheirFirstCharacters)
{
    StubFolders folders;
    folders.network = GetParam().libraries;
    const ScopedService<Folders> guard(&folders);
    EXPECT_EQ(KVPathUtils::testPathForNetwork(GetParam().path), GetParam().onNetwork)
        << GetParam().path.toStdString();
    EXPECT_TRUE(folders.asked == 0 || folders.asked == 4);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, KVNetworkPaths,
    testing::Values(NetworkPath{{}, "/Network/Servers/x", true}, NetworkPath{{}, "/Network", true},
                    NetworkPath{{}, "/Networks/x", true}, NetworkPath{{}, "/Net", false},
                    NetworkPath{{}, "/Networ", false}, NetworkPath{{}, "/Volumes/x", false},
                    NetworkPath{{}, "/network/x", false}, NetworkPath{{}, "", false},
                    NetworkPath{{}, nil, false}, NetworkPath{{}, "x/Network", false},
                    NetworkPath{{}, "//Network/x", false},
                    NetworkPath{{"/Network/Library"}, "/Network/x", true},
                    NetworkPath{{"/net/a/Library", "/other/b"}, "/net", true},
                    NetworkPath{{"/net/a/Library", "/other/b"}, "/network/x", true},
                    NetworkPath{{"/net/a/Library", "/other/b"}, "/other/b", false},
                    NetworkPath{{"/net/a/Library"}, "/Network/x", false},
                    NetworkPath{{"/"}, "/Network/x", true}, NetworkPath{{"/"}, "/etc", false}));

} // namespace
} // namespace KVBase
