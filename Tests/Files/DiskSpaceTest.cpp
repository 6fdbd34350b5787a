#include <KVBase/KVPathUtils.h>
#include <KVBase/UPath.h>

#include "Support/FileFixtures.h"
#include "Support/IdleFileManager.h"

#include "Platform/Services/Folders.h"
#include "Platform/Services/SystemVersions.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

#include <QtCore/QFile>
#include <QtCore/QLocale>

#include <gtest/gtest.h>

#include <limits>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

/// Versions of the frameworks that a test chooses.
struct ChosenVersions final : SystemVersions {
    OSStatus gestalt(OSType, std::int32_t *) override { return kGestaltUndefinedSelector; }
    QString productVersion() override { return {}; }
    QString productBuildVersion() override { return {}; }
    double foundationVersionNumber() override { return foundation; }
    double appKitVersionNumber() override { return appKit; }
    double foundation = 1000;
    double appKit = 1000;
};

/// Network folders that a test chooses.
struct NetworkFolders final : Folders {
    QStringList libraryFolders(std::uint32_t domains) override
    {
        return domains == NSNetworkDomainMask ? network : QStringList();
    }
    QString temporaryFolder() override { return {}; }
    QString frameworksFolder() override { return {}; }
    QStringList network;
};

constexpr double kKilo = 1024.0;
constexpr double kMega = 1024.0 * 1024.0;
constexpr double kGiga = 1024.0 * 1024.0 * 1024.0;
constexpr double kTera = kGiga * 1024.0;

TEST(DiskSpaceTest, MeasuresFiles)
{
    const QString folder = freshFolder();
    putFile(folder + text("/file"), "0123456789");
    putLink(folder + text("/link"), text("file"));
    EXPECT_EQ(KVPathUtils::fileSizeAtPath(folder + text("/file")).toULongLong(), 10u);
    EXPECT_EQ(UPath::GetFileSize(folder + text("/file")), 10u);
    // A link to a file has the length of the path in it.
    EXPECT_EQ(UPath::GetFileSize(folder + text("/link")), 4u);
    EXPECT_EQ(UPath::GetFileSize(folder + text("/missing")), 0u);
    EXPECT_EQ(UPath::GetFileSize(QString()), 0u);
    EXPECT_EQ(KVPathUtils::fileSizeAtPath(QString()).toULongLong(), 0u);
    EXPECT_EQ(KVPathUtils::fileSizeAtPath(folder + text("/file")).typeId(), QMetaType::ULongLong);
}

TEST(DiskSpaceTest, MeasuresFolders)
{
    const QString folder = freshFolder();
    EXPECT_EQ(UPath::GetFileSize(folder), 0u);
    putFile(folder + text("/ten"), "0123456789");
    putFile(folder + text("/twenty"), "01234567890123456789");
    EXPECT_EQ(UPath::GetFileSize(folder), 30u);
    EXPECT_EQ(KVPathUtils::fileSizeAtPath(folder + text("/")).toULongLong(), 30u);
    putFolder(folder + text("/sub"));
    putFile(folder + text("/sub/five"), "01234");
    struct stat status {};
    ASSERT_EQ(::lstat(QFile::encodeName(folder + text("/sub")).constData(), &status), 0);
    EXPECT_EQ(UPath::GetFileSize(folder), 35u + static_cast<std::uint64_t>(status.st_size));
}

TEST(DiskSpaceTest, CountsLinksAsThemselvesAndHardLinksTwice)
{
    const QString folder = freshFolder();
    putFolder(folder + text("/measured"));
    putFile(folder + text("/large"), QByteArray(5000, 'x'));
    putLink(folder + text("/measured/link"), text("../large"));
    putLink(folder + text("/measured/loop"), text("."));
    EXPECT_EQ(UPath::GetFileSize(folder + text("/measured")), 9u);
    putFile(folder + text("/measured/a"), "1234567");
    const QByteArray a = QFile::encodeName(folder + text("/measured/a"));
    ASSERT_EQ(::link(a.constData(), QFile::encodeName(folder + text("/measured/b")).constData()), 0);
    EXPECT_EQ(UPath::GetFileSize(folder + text("/measured")), 23u);
}

TEST(DiskSpaceTest, MeasuresTheFolderBehindALink)
{
    const QString folder = freshFolder();
    putFolder(folder + text("/real"));
    putFile(folder + text("/real/file"), "123");
    putLink(folder + text("/link"), text("real"));
    EXPECT_EQ(UPath::GetFileSize(folder + text("/link")), 3u);
}

TEST(DiskSpaceTest, MeasuresPastFifosAndTheLike)
{
    const QString folder = freshFolder();
    putFile(folder + text("/file"), "123");
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder + text("/fifo")).constData(), 0600), 0);
    EXPECT_EQ(UPath::GetFileSize(folder), 3u);
    EXPECT_EQ(UPath::GetFileSize(folder + text("/fifo")), 0u);
}

TEST(DiskSpaceTest, MeasuresSparseFilesByTheirLength)
{
    const QString folder = freshFolder();
    putFile(folder + text("/sparse"), "");
    const QByteArray path = QFile::encodeName(folder + text("/sparse"));
    ASSERT_EQ(::truncate(path.constData(), 5'000'000'000), 0);
    EXPECT_EQ(UPath::GetFileSize(folder), 5'000'000'000u);
    EXPECT_EQ(UPath::GetFileSize(folder + text("/sparse")), 5'000'000'000u);
}

TEST(DiskSpaceTest, FreeSpaceIsWhatTheUserMayUse)
{
    const QString folder = freshFolder();
    struct statvfs status {};
    ASSERT_EQ(::statvfs(QFile::encodeName(folder).constData(), &status), 0);
    const double available = static_cast<double>(status.f_bavail) * static_cast<double>(status.f_frsize);
    // Others use the disk meanwhile.
    const double tolerance = 4e9;
    EXPECT_NEAR(static_cast<double>(UPath::GetFreeDiskBytesForFolder(folder)), available, tolerance);
    EXPECT_NEAR(KVPathUtils::freeDiskBytesForFolder(folder).toDouble(), available, tolerance);
    EXPECT_NEAR(KVPathUtils::getFreeSpaceForPath(folder + text("/.")).toDouble(), available, tolerance);
    EXPECT_EQ(KVPathUtils::getFreeSpaceForPath(folder).typeId(), QMetaType::ULongLong);
}

TEST(DiskSpaceTest, FreeSpaceFailuresHaveTheirOwnValues)
{
    for (const QString &path : {QString(), text(""), text("/none/such"), text("/tmp") + QChar(0)}) {
        EXPECT_EQ(KVPathUtils::freeDiskBytesForFolder(path).toLongLong(), 0);
        EXPECT_FALSE(isNil(KVPathUtils::freeDiskBytesForFolder(path)));
        EXPECT_EQ(KVPathUtils::getFreeSpaceForPath(path).toLongLong(), -1024);
        EXPECT_EQ(UPath::GetFreeDiskBytesForFolder(path), 0u);
        EXPECT_EQ(UPath::GetFreeDiskStringForFolder(path), text("0 Bytes"));
    }
}

TEST(DiskSpaceTest, OnlyGetFreeSpaceStandardizesItsPath)
{
    const QString folder = freshFolder();
    const QString roundabout = folder + text("/missing/..");
    EXPECT_GT(KVPathUtils::getFreeSpaceForPath(roundabout).toLongLong(), 0);
    EXPECT_EQ(KVPathUtils::freeDiskBytesForFolder(roundabout).toLongLong(), 0);
    EXPECT_EQ(UPath::GetFreeDiskBytesForFolder(roundabout), 0u);
    EXPECT_GT(KVPathUtils::getFreeSpaceForPath(text("~")).toLongLong(), 0);
}

TEST(DiskSpaceTest, SizeTextsHaveOneDecimal)
{
    struct Row {
        double bytes;
        const char *expected;
    };
    const Row rows[] = {{0, "0 Bytes"},           {-0.5, "0 Bytes"},
                        {0.9, "0 Bytes"},         {1, "1.0 Bytes"},
                        {512, "512.0 Bytes"},     {1024, "1024.0 Bytes"},
                        {1025, "1.0 KB"},         {1536, "1.0 KB"},
                        {3 * kKilo, "3.0 KB"},    {kMega, "1024.0 KB"},
                        {1572864, "1.5 MB"},      {1.25 * kMega, "1.2 MB"},
                        {1.75 * kMega, "1.8 MB"}, {kGiga, "1024.0 MB"},
                        {2.5 * kGiga, "2.5 GB"},  {kTera, "1024.0 GB"},
                        {3 * kTera, "3.0 TB"},    {5000 * kTera, "5000.0 TB"},
                        {-1, "-1.0 Bytes"},       {-1e12, "-2147483648.0 Bytes"}};
    for (const Row &row : rows)
        EXPECT_EQ(KVPathUtils::sizeStringFromBytes(row.bytes), text(row.expected)) << row.bytes;
}

TEST(DiskSpaceTest, SizeTextsSurviveNumbersThatAreNone)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(nan), text("-2147483648.0 Bytes"));
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(infinity), text("\u221e TB"));
    EXPECT_EQ(UPath::GetSizeString(nan), text("-2147483648 Bytes"));
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(std::numeric_limits<double>::max()).size(), 302);
}

TEST(DiskSpaceTest, SizeTextsUseTheLocalesSeparator)
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));
    const QString german = KVPathUtils::sizeStringFromBytes(1572864);
    const QString free = KVPathUtils::getFreeSpaceString(QVariant(1500000000));
    QLocale::setDefault(before);
    EXPECT_TRUE(german.startsWith(text("1,5"))) << german.toStdString();
    // The free space is formatted without a locale.
    EXPECT_TRUE(free.startsWith(text("1.5"))) << free.toStdString();
}

TEST(DiskSpaceTest, OlderSizeTextsShowWholeBytesAndKilobytes)
{
    struct Row {
        double bytes;
        const char *expected;
    };
    const Row rows[] = {{0, "0 Bytes"},      {512, "512 Bytes"},      {1024, "1024 Bytes"},
                        {1536, "1 KB"},      {3 * kKilo, "3 KB"},     {kMega, "1024 KB"},
                        {1572864, "1.5 MB"}, {2.5 * kGiga, "2.5 GB"}, {3 * kTera, "3.0 TB"},
                        {-7.9, "-7 Bytes"}};
    for (const Row &row : rows)
        EXPECT_EQ(UPath::GetSizeString(row.bytes), text(row.expected)) << row.bytes;
}

TEST(DiskSpaceTest, FreeSpaceTextsCountInThousands)
{
    struct Row {
        QVariant bytes;
        const char *expected;
    };
    const Row rows[] = {{QVariant(-1024), "n/a"},
                        {QVariant(-0.1), "n/a"},
                        {QVariant(), "0 Bytes"},
                        {QVariant(0), "0 Bytes"},
                        {QVariant(999), "999 Bytes"},
                        {QVariant(1000), "1000 Bytes"},
                        {QVariant(1001), "1 KB"},
                        {QVariant(1500000000), "1.5 GB"},
                        {QVariant(980000000), "980 MB"},
                        {QVariant(1999999), "1.99 MB"},
                        {QVariant(qulonglong(1000000000000000)), "1000 TB"}};
    ChosenVersions versions;
    versions.foundation = 751.0;
    const ScopedService<SystemVersions> service(&versions);
    for (const Row &row : rows)
        EXPECT_EQ(KVPathUtils::getFreeSpaceString(row.bytes), text(row.expected)) << row.bytes.toDouble();
}

TEST(DiskSpaceTest, OlderSystemsCountFreeSpaceIn1024s)
{
    ChosenVersions versions;
    versions.foundation = 750.9;
    const ScopedService<SystemVersions> service(&versions);
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(1500000000)), text("1.39 GB"));
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(1024)), text("1024 Bytes"));
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(1025)), text("1 KB"));
}

TEST(DiskSpaceTest, ThisSystemCountsFreeSpaceInThousands)
{
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(QVariant(1500000000)), text("1.5 GB"));
}

TEST(DiskSpaceTest, MoreThanTheLastUnitHoldsIsARangeException)
{
    EXPECT_THROW(KVPathUtils::getFreeSpaceString(QVariant(qulonglong(1000000000000001) * 2)), NSException);
    try {
        KVPathUtils::getFreeSpaceString(QVariant(1e18));
        FAIL();
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), text("NSRangeException"));
    }
}

TEST(DiskSpaceTest, TheNetworkIsTheTextThatPathsBeginWith)
{
    struct Row {
        const char *path;
        bool network;
    };
    const Row rows[] = {
        {"/Network/Servers/x", true}, {"/Network", true},    {"/Networks/x", true}, {"/Net", false},
        {"/Volumes/x", false},        {"/network/x", false}, {"", false},           {"x/Network", false}};
    for (const Row &row : rows)
        EXPECT_EQ(KVPathUtils::testPathForNetwork(text(row.path)), row.network) << row.path;
    EXPECT_FALSE(KVPathUtils::testPathForNetwork(QString()));
}

TEST(DiskSpaceTest, TheNetworkFoldersFirstTwoComponentsArePrefix)
{
    NetworkFolders folders;
    const ScopedService<Folders> service(&folders);
    folders.network = {text("/mnt/share/Library"), text("/other")};
    EXPECT_TRUE(KVPathUtils::testPathForNetwork(text("/mnt/x")));
    EXPECT_FALSE(KVPathUtils::testPathForNetwork(text("/Network/x")));
    folders.network = {text("relative/Library")};
    EXPECT_TRUE(KVPathUtils::testPathForNetwork(text("relative/Library")));
    EXPECT_FALSE(KVPathUtils::testPathForNetwork(text("relative/x")));
    folders.network = {text("/")};
    EXPECT_TRUE(KVPathUtils::testPathForNetwork(text("/Network/x")));
    folders.network = {text("")};
    EXPECT_FALSE(KVPathUtils::testPathForNetwork(text("/mnt")));
}

TEST(DiskSpaceTest, AWritableFolderCanBeWrittenTo)
{
    const QString folder = freshFolder();
    NSError error(text("stale"), 1, {});
    EXPECT_TRUE(KVPathUtils::canWriteToPath(folder, QVariant(), &error));
    EXPECT_TRUE(error.isNil());
    EXPECT_TRUE(KVPathUtils::canWriteToPath(folder, QVariant(1), &error));
    EXPECT_TRUE(KVPathUtils::canWriteToPath(folder, QVariant(1)));
}

TEST(DiskSpaceTest, AMissingPathComesFirst)
{
    const QString folder = freshFolder();
    NSError error;
    EXPECT_FALSE(KVPathUtils::canWriteToPath(folder + text("/missing"), QVariant(1e30), &error));
    EXPECT_EQ(error.domain(), text("com.kelvo.KVBase.PathUtilsError"));
    EXPECT_EQ(error.code(), 2);
    EXPECT_EQ(error.localizedFailureReason(), text("The path 'missing' does not exist."));
    EXPECT_EQ(error.userInfo().keys(), QStringList{text("NSLocalizedFailureReason")});
    EXPECT_FALSE(KVPathUtils::canWriteToPath(folder + text("/missing"), QVariant()));
    EXPECT_FALSE(KVPathUtils::canWriteToPath(QString(), QVariant(), &error));
    EXPECT_EQ(error.code(), 2);
    EXPECT_EQ(error.localizedFailureReason(), text("The path '(null)' does not exist."));
}

TEST(DiskSpaceTest, APathThatIsNotWritableComesSecond)
{
    NSError error;
    // Nobody writes to the kernel's files.
    EXPECT_FALSE(KVPathUtils::canWriteToPath(text("/proc/self/no-such"), QVariant(), &error));
    EXPECT_EQ(error.code(), 2);
    const uid_t user = ::geteuid();
    const QString folder = QStringLiteral("/tmp/kvbase-closed-%1").arg(::getpid());
    ASSERT_EQ(::mkdir(QFile::encodeName(folder).constData(), 0555), 0);
    if (user == 0) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const bool can = KVPathUtils::canWriteToPath(folder, QVariant(1e30), &error);
    if (user == 0) {
        ASSERT_EQ(::seteuid(0), 0);
    }
    ::rmdir(QFile::encodeName(folder).constData());
    EXPECT_FALSE(can);
    EXPECT_EQ(error.code(), 1);
    EXPECT_EQ(error.localizedFailureReason(),
              QStringLiteral("The path 'kvbase-closed-%1' does not allow writing.").arg(::getpid()));
}

TEST(DiskSpaceTest, TooLittleRoomComesLast)
{
    const QString folder = freshFolder() + text("/Disk");
    putFolder(folder);
    NSError error;
    for (const QVariant &required : {QVariant(~qulonglong(0)), QVariant(1e30)}) {
        EXPECT_FALSE(KVPathUtils::canWriteToPath(folder, required, &error));
        EXPECT_EQ(error.code(), 28);
        EXPECT_EQ(error.localizedFailureReason(),
                  text("The volume Disk does not have enough free space available."));
    }
}

TEST(DiskSpaceTest, OnlyAPositiveRequirementIsCompared)
{
    const QString folder = freshFolder();
    for (const QVariant &required : {QVariant(), QVariant(0), QVariant(-5), QVariant(qlonglong(-1) << 62),
                                     QVariant(0.0), QVariant(-0.5)})
        EXPECT_TRUE(KVPathUtils::canWriteToPath(folder, required));
}

/// A file manager whose file system says what a test wants.
struct SpaceOnly final : Tests::IdleFileManager {
    std::optional<FileSystemAttributes> fileSystemAttributes(const QString &path) override
    {
        asked.append(path);
        return space;
    }
    QString displayName(const QString &) override { return QStringLiteral("My Disk"); }

    std::optional<FileSystemAttributes> space;
    QStringList asked;
};

TEST(DiskSpaceTest, ComparesTheRequirementWithTheFreeSpace)
{
    SpaceOnly files;
    const ScopedService<FileManager> service(&files);
    files.space = FileSystemAttributes{5000, 1000, false};
    EXPECT_TRUE(KVPathUtils::canWriteToPath(text("/a"), QVariant(1000)));
    NSError error;
    EXPECT_FALSE(KVPathUtils::canWriteToPath(text("/a/../b"), QVariant(1001), &error));
    EXPECT_EQ(error.code(), 28);
    EXPECT_EQ(error.localizedFailureReason(),
              text("The volume My Disk does not have enough free space available."));
    EXPECT_EQ(files.asked.last(), text("/b"));
    EXPECT_EQ(KVPathUtils::getFreeSpaceForPath(text("/a")).toULongLong(), 1000u);
    EXPECT_EQ(UPath::GetFreeDiskStringForFolder(text("/a")), text("1000 Bytes"));
}

TEST(DiskSpaceTest, AnUnknownFreeSpaceFailsEveryRequirement)
{
    SpaceOnly files;
    const ScopedService<FileManager> service(&files);
    EXPECT_FALSE(KVPathUtils::canWriteToPath(text("/a"), QVariant(1)));
    EXPECT_TRUE(KVPathUtils::canWriteToPath(text("/a"), QVariant(0)));
    EXPECT_TRUE(KVPathUtils::canWriteToPath(text("/a"), QVariant()));
    files.space = FileSystemAttributes{~std::uint64_t(0), ~std::uint64_t(0), false};
    EXPECT_TRUE(KVPathUtils::canWriteToPath(text("/a"), QVariant(~qulonglong(0))));
    EXPECT_EQ(KVPathUtils::getFreeSpaceForPath(text("/a")).toULongLong(), ~qulonglong(0));
}

TEST(DiskSpaceTest, OlderFrameworksShowTheDescription)
{
    ChosenVersions versions;
    const ScopedService<SystemVersions> service(&versions);
    NSError error;
    versions.appKit = 743.9;
    EXPECT_FALSE(KVPathUtils::canWriteToPath(text("/none/such"), QVariant(), &error));
    EXPECT_EQ(error.userInfo().keys(), QStringList{text("NSLocalizedDescription")});
    EXPECT_EQ(error.localizedDescription(), text("The path 'such' does not exist."));
    versions.appKit = 744.0;
    EXPECT_FALSE(KVPathUtils::canWriteToPath(text("/none/such"), QVariant(), &error));
    EXPECT_EQ(error.userInfo().keys(), QStringList{text("NSLocalizedFailureReason")});
}

} // namespace
} // namespace KVBase
