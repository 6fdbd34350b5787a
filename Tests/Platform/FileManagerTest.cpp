#include "Platform/Services/FileManager.h"

#include "Support/FileFixtures.h"

#include <QtCore/QFile>
#include <QtCore/QSet>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

FileManager &files() { return *Service<FileManager>::current(); }

QByteArray bytes(const QString &path) { return QFile::encodeName(path); }

/// Paths that name nothing, whatever is on the disk.
QStringList namelessPaths()
{
    return {QString(),
            QStringLiteral(""),
            QStringLiteral("/tmp") + QChar(0) + QStringLiteral("x"),
            QStringLiteral("/\ufffd") + QChar(0xdc00),
            QString(1'000'000, u'x'),
            QStringLiteral("/a").repeated(500'000),
            QStringLiteral("/line\nbreak/x")};
}

std::uint32_t modeOf(const QString &path)
{
    struct stat status {};
    ::stat(bytes(path).constData(), &status);
    return status.st_mode & 07777;
}

struct Walked {
    QStringList paths;
    std::uint64_t size = 0;
};

Walked walk(const QString &folder)
{
    Walked walked;
    files().forEachEntryBelow(folder, [&](const FolderEntry &entry) {
        walked.paths.append(entry.relativePath());
        walked.size += entry.attributes != nullptr ? entry.attributes->size : 0;
        return WalkStep::GoOn;
    });
    walked.paths.sort();
    return walked;
}

TEST(FileManagerTest, AnswersNeutrallyForPathsThatNameNothing)
{
    for (const QString &path : namelessPaths()) {
        EXPECT_FALSE(files().exists(path));
        EXPECT_FALSE(files().isFolder(path));
        EXPECT_FALSE(files().attributes(path).has_value());
        EXPECT_FALSE(files().fileSystemAttributes(path).has_value());
        EXPECT_FALSE(files().forEachEntryBelow(path, [](const FolderEntry &) { return WalkStep::GoOn; }));
        EXPECT_FALSE(files().createFile(path));
        EXPECT_FALSE(files().createDirectory(path, false));
        EXPECT_FALSE(files().remove(path));
        EXPECT_FALSE(files().move(path, path));
        EXPECT_FALSE(files().read(path).has_value());
        EXPECT_FALSE(files().write(path, "x"));
        EXPECT_EQ(files().openForAppend(path), -1);
        EXPECT_FALSE(files().isWritable(path));
        EXPECT_TRUE(files().resolve(path).isNull());
        FSRef ref;
        EXPECT_NE(files().makeRef(path, &ref, true), 0);
    }
}

TEST(FileManagerTest, TellsKindsApart)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/file"), "12345");
    putLink(folder + QStringLiteral("/link"), QStringLiteral("file"));
    putLink(folder + QStringLiteral("/dangling"), QStringLiteral("nowhere"));
    ::mkfifo(bytes(folder + QStringLiteral("/fifo")).constData(), 0600);

    EXPECT_TRUE(files().attributes(folder)->isFolder());
    EXPECT_TRUE(files().attributes(folder + QStringLiteral("/file"))->isRegularFile());
    EXPECT_EQ(files().attributes(folder + QStringLiteral("/file"))->size, 5u);
    EXPECT_TRUE(files().attributes(folder + QStringLiteral("/link"))->isSymbolicLink());
    EXPECT_EQ(files().attributes(folder + QStringLiteral("/link"))->size, 4u);
    EXPECT_EQ(files().attributes(folder + QStringLiteral("/fifo"))->kind, FileAttributes::Kind::Other);
    EXPECT_TRUE(files().exists(folder + QStringLiteral("/link")));
    EXPECT_FALSE(files().exists(folder + QStringLiteral("/dangling")));
    EXPECT_TRUE(files().attributes(folder + QStringLiteral("/dangling")).has_value());
    EXPECT_TRUE(files().isFolder(folder));
    EXPECT_FALSE(files().isFolder(folder + QStringLiteral("/file")));
}

TEST(FileManagerTest, AnswersTheModificationDateInUtc)
{
    const QString path = freshFolder() + QStringLiteral("/file");
    putFile(path, "x");
    const timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, 250'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, bytes(path).constData(), times, 0), 0);
    EXPECT_EQ(files().attributes(path)->modificationDate().toString(Qt::ISODateWithMs),
              QStringLiteral("2001-09-09T01:46:40.250Z"));
}

TEST(FileManagerTest, CreatesExclusively)
{
    const QString folder = freshFolder();
    const QString path = folder + QStringLiteral("/new");
    EXPECT_TRUE(files().createFile(path, 0600));
    EXPECT_EQ(modeOf(path), 0600u);
    putFile(path, "kept");
    EXPECT_FALSE(files().createFile(path));
    EXPECT_EQ(contentOf(path), QByteArray("kept"));
    putLink(folder + QStringLiteral("/dangling"), QStringLiteral("target"));
    EXPECT_FALSE(files().createFile(folder + QStringLiteral("/dangling")));
    EXPECT_FALSE(files().createFile(folder + QStringLiteral("/missing/file")));
    EXPECT_EQ(namesIn(folder), (QStringList{QStringLiteral("dangling"), QStringLiteral("new")}));
}

TEST(FileManagerTest, CreatesFolders)
{
    const QString folder = freshFolder();
    EXPECT_TRUE(files().createDirectory(folder + QStringLiteral("/a"), false));
    EXPECT_FALSE(files().createDirectory(folder + QStringLiteral("/a"), false));
    EXPECT_TRUE(files().createDirectory(folder + QStringLiteral("/a"), true));
    EXPECT_FALSE(files().createDirectory(folder + QStringLiteral("/b/c"), false));
    EXPECT_TRUE(files().createDirectory(folder + QStringLiteral("/b//c/d/"), true));
    EXPECT_TRUE(files().isFolder(folder + QStringLiteral("/b/c/d")));
    putFile(folder + QStringLiteral("/file"), "");
    EXPECT_FALSE(files().createDirectory(folder + QStringLiteral("/file"), true));
    EXPECT_FALSE(files().createDirectory(folder + QStringLiteral("/file/x"), true));
}

TEST(FileManagerTest, RemovesFilesAndLinksButNoFolders)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/file"), "x");
    putLink(folder + QStringLiteral("/link"), QStringLiteral("file"));
    EXPECT_TRUE(files().remove(folder + QStringLiteral("/link")));
    EXPECT_TRUE(files().exists(folder + QStringLiteral("/file")));
    EXPECT_TRUE(files().remove(folder + QStringLiteral("/file")));
    EXPECT_FALSE(files().remove(folder + QStringLiteral("/file")));
    EXPECT_FALSE(files().remove(folder));
    EXPECT_TRUE(files().isFolder(folder));
}

TEST(FileManagerTest, MovesOverAnExistingFile)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/a"), "new");
    putFile(folder + QStringLiteral("/b"), "old");
    EXPECT_TRUE(files().move(folder + QStringLiteral("/a"), folder + QStringLiteral("/b")));
    EXPECT_EQ(contentOf(folder + QStringLiteral("/b")), QByteArray("new"));
    EXPECT_EQ(namesIn(folder), QStringList{QStringLiteral("b")});
    EXPECT_FALSE(files().move(folder + QStringLiteral("/a"), folder + QStringLiteral("/c")));
}

TEST(FileManagerTest, ReadsFromAnOffset)
{
    const QString path = freshFolder() + QStringLiteral("/file");
    putFile(path, "0123456789");
    EXPECT_EQ(files().read(path).value(), QByteArray("0123456789"));
    EXPECT_EQ(files().read(path, 4).value(), QByteArray("456789"));
    EXPECT_EQ(files().read(path, 10).value().size(), 0);
    EXPECT_EQ(files().read(path, 11).value().size(), 0);
    EXPECT_EQ(files().read(path, ~std::uint64_t(0)).value().size(), 0);
}

TEST(FileManagerTest, ReadsFilesOfUnknownLength)
{
    // The kernel says 0 bytes of its own files.
    EXPECT_TRUE(files().read(QStringLiteral("/proc/self/status")).value().startsWith("Name:"));
    const QString path = freshFolder() + QStringLiteral("/large");
    putFile(path, QByteArray(3'000'000, 'x'));
    EXPECT_EQ(files().read(path).value().size(), 3'000'000);
}

TEST(FileManagerTest, NeverWaitsForAFifoADeviceOrASocket)
{
    const QString folder = freshFolder();
    const QString fifo = folder + QStringLiteral("/fifo");
    ASSERT_EQ(::mkfifo(bytes(fifo).constData(), 0600), 0);
    const QString socket = folder + QStringLiteral("/s");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, bytes(socket).constData(), sizeof address.sun_path);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);

    for (const QString &path : {fifo, socket, QStringLiteral("/dev/zero"), folder}) {
        EXPECT_FALSE(files().read(path).has_value()) << qUtf8Printable(path);
        EXPECT_FALSE(files().write(path, "x")) << qUtf8Printable(path);
        EXPECT_EQ(files().openForAppend(path), -1) << qUtf8Printable(path);
    }
    EXPECT_EQ(walk(folder).paths, (QStringList{QStringLiteral("fifo"), QStringLiteral("s")}));
    ::close(listener);
}

TEST(FileManagerTest, WritesANewFileWithTheModeAskedFor)
{
    const QString folder = freshFolder();
    const mode_t mask = ::umask(022);
    EXPECT_TRUE(files().write(folder + QStringLiteral("/public"), "x"));
    EXPECT_TRUE(files().write(folder + QStringLiteral("/private"), "x", {kPrivateFileMode, true}));
    ::umask(mask);
    EXPECT_EQ(modeOf(folder + QStringLiteral("/public")), 0644u);
    EXPECT_EQ(modeOf(folder + QStringLiteral("/private")), 0600u);
    EXPECT_EQ(namesIn(folder), (QStringList{QStringLiteral("private"), QStringLiteral("public")}));
}

TEST(FileManagerTest, WriteKeepsModeOwnerAndGroup)
{
    const QString path = freshFolder() + QStringLiteral("/file");
    putFile(path, "old");
    const bool asRoot = ::geteuid() == 0;
    if (asRoot) {
        ASSERT_EQ(::chown(bytes(path).constData(), 1234, 2345), 0);
    }
    ASSERT_EQ(::chmod(bytes(path).constData(), 04751), 0);
    EXPECT_TRUE(files().write(path, "new content", {kPrivateFileMode, true}));
    EXPECT_EQ(contentOf(path), QByteArray("new content"));
    EXPECT_EQ(modeOf(path), 04751u);
    if (asRoot) {
        EXPECT_EQ(files().attributes(path)->owner, 1234u);
        EXPECT_EQ(files().attributes(path)->group, 2345u);
    }
}

TEST(FileManagerTest, WriteKeepsALinkAndReplacesItsTarget)
{
    const QString folder = freshFolder();
    putFolder(folder + QStringLiteral("/sub"));
    putFile(folder + QStringLiteral("/sub/target"), "old");
    putLink(folder + QStringLiteral("/second"), QStringLiteral("sub/target"));
    putLink(folder + QStringLiteral("/first"), folder + QStringLiteral("/second"));
    EXPECT_TRUE(files().write(folder + QStringLiteral("/first"), "new"));
    EXPECT_TRUE(files().attributes(folder + QStringLiteral("/first"))->isSymbolicLink());
    EXPECT_TRUE(files().attributes(folder + QStringLiteral("/second"))->isSymbolicLink());
    EXPECT_EQ(contentOf(folder + QStringLiteral("/sub/target")), QByteArray("new"));
    EXPECT_EQ(namesIn(folder + QStringLiteral("/sub")), QStringList{QStringLiteral("target")});
}

TEST(FileManagerTest, WriteThroughADanglingLinkMakesItsTarget)
{
    const QString folder = freshFolder();
    putLink(folder + QStringLiteral("/link"), QStringLiteral("made"));
    EXPECT_TRUE(files().write(folder + QStringLiteral("/link"), "x"));
    EXPECT_EQ(contentOf(folder + QStringLiteral("/made")), QByteArray("x"));
    EXPECT_TRUE(files().attributes(folder + QStringLiteral("/link"))->isSymbolicLink());
}

TEST(FileManagerTest, WriteReplacesALinkWhereAsked)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/target"), "old");
    putLink(folder + QStringLiteral("/link"), QStringLiteral("target"));
    EXPECT_TRUE(files().write(folder + QStringLiteral("/link"), "new", {0666, false}));
    EXPECT_TRUE(files().attributes(folder + QStringLiteral("/link"))->isRegularFile());
    EXPECT_EQ(contentOf(folder + QStringLiteral("/target")), QByteArray("old"));
}

TEST(FileManagerTest, WriteFailsOnALinkLoopAndInAMissingFolder)
{
    const QString folder = freshFolder();
    putLink(folder + QStringLiteral("/a"), QStringLiteral("b"));
    putLink(folder + QStringLiteral("/b"), QStringLiteral("a"));
    EXPECT_FALSE(files().write(folder + QStringLiteral("/a"), "x"));
    EXPECT_FALSE(files().write(folder + QStringLiteral("/missing/file"), "x"));
    EXPECT_EQ(namesIn(folder), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
}

TEST(FileManagerTest, AppendsToAPrivateFileThatNoChildInherits)
{
    const QString path = freshFolder() + QStringLiteral("/log");
    const int first = files().openForAppend(path);
    ASSERT_GE(first, 0);
    EXPECT_EQ(::write(first, "one", 3), 3);
    EXPECT_EQ(::fcntl(first, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    ::close(first);
    const int second = files().openForAppend(path);
    EXPECT_EQ(::write(second, "two", 3), 3);
    ::close(second);
    EXPECT_EQ(contentOf(path), QByteArray("onetwo"));
    EXPECT_EQ(modeOf(path), 0600u);
}

TEST(FileManagerTest, DisplaysTheLastComponent)
{
    EXPECT_EQ(files().displayName(QStringLiteral("/some/where/name.txt")), QStringLiteral("name.txt"));
    EXPECT_EQ(files().displayName(QStringLiteral("/some/where/")), QStringLiteral("where"));
    EXPECT_EQ(files().displayName(QStringLiteral("")), QStringLiteral(""));
    EXPECT_TRUE(files().displayName(QString()).isNull());
}

TEST(FileManagerTest, ResolvesChainsOfLinks)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/file"), "");
    putLink(folder + QStringLiteral("/one"), QStringLiteral("file"));
    putLink(folder + QStringLiteral("/two"), folder + QStringLiteral("/one"));
    putLink(folder + QStringLiteral("/loop"), QStringLiteral("loop"));
    putLink(folder + QStringLiteral("/dangling"), QStringLiteral("nowhere"));
    EXPECT_EQ(files().resolve(folder + QStringLiteral("/two")), folder + QStringLiteral("/file"));
    EXPECT_EQ(files().resolve(folder + QStringLiteral("/./file")), folder + QStringLiteral("/file"));
    EXPECT_TRUE(files().resolve(folder + QStringLiteral("/loop")).isNull());
    EXPECT_TRUE(files().resolve(folder + QStringLiteral("/dangling")).isNull());
}

TEST(FileManagerTest, ResolvesNoNameThatIsNoText)
{
    const QString folder = freshFolder();
    const QByteArray broken = bytes(folder) + "/\xff";
    ASSERT_EQ(::mkdir(broken.constData(), 0700), 0);
    ASSERT_EQ(::symlink("\xff", (bytes(folder) + "/link").constData()), 0);
    EXPECT_TRUE(files().resolve(folder + QStringLiteral("/link")).isNull());
    // The name that a lax conversion would give belongs to another file.
    EXPECT_FALSE(files().exists(folder + QStringLiteral("/\ufffd")));
    EXPECT_EQ(::rmdir(broken.constData()), 0);
}

TEST(FileManagerTest, ReferencesLeadBackToTheirItem)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/file"), "x");
    FSRef ref;
    ASSERT_EQ(files().makeRef(folder + QStringLiteral("/./file"), &ref, true), 0);
    EXPECT_EQ(files().refPath(ref), folder + QStringLiteral("/file"));
    const FSRef copy = ref;
    EXPECT_EQ(files().refPath(copy), folder + QStringLiteral("/file"));
    files().remove(folder + QStringLiteral("/file"));
    EXPECT_TRUE(files().refPath(ref).isNull());
}

TEST(FileManagerTest, ReferencesFollowAFinalLinkWhereAsked)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/file"), "x");
    putLink(folder + QStringLiteral("/link"), QStringLiteral("file"));
    putLink(folder + QStringLiteral("/self"), QStringLiteral("."));
    FSRef ref;
    ASSERT_EQ(files().makeRef(folder + QStringLiteral("/link"), &ref, true), 0);
    EXPECT_EQ(files().refPath(ref), folder + QStringLiteral("/file"));
    ASSERT_EQ(files().makeRef(folder + QStringLiteral("/self/link"), &ref, false), 0);
    EXPECT_EQ(files().refPath(ref), folder + QStringLiteral("/link"));
    ASSERT_EQ(files().makeRef(folder + QStringLiteral("/self/"), &ref, false), 0);
    EXPECT_EQ(files().refPath(ref), folder);
}

TEST(FileManagerTest, RefusesReferencesThatItDidNotMake)
{
    FSRef ref;
    EXPECT_TRUE(files().refPath(ref).isNull());
    for (std::uint8_t &byte : ref.hidden)
        byte = 0xa5;
    EXPECT_TRUE(files().refPath(ref).isNull());
    FSSpec spec;
    EXPECT_EQ(files().refSpec(ref, &spec), -50);
}

TEST(FileManagerTest, ReferenceStatusesAreTheClassicOnes)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/file"), "x");
    FSRef ref;
    EXPECT_EQ(files().makeRef(QString(), &ref, false), -50);
    EXPECT_EQ(files().makeRef(folder, nullptr, false), -50);
    EXPECT_EQ(files().makeRef(folder + QStringLiteral("/none"), &ref, false), -43);
    EXPECT_EQ(files().makeRef(folder + QStringLiteral("/none/none"), &ref, false), -120);
    EXPECT_EQ(files().makeRef(folder + QStringLiteral("/file/none"), &ref, false), -120);
    EXPECT_EQ(files().makeRef(folder + u'/' + QString(300, u'n'), &ref, false), -37);
}

TEST(FileManagerTest, SpecsNameVolumeFolderAndName)
{
    const QString folder = freshFolder();
    const QString longest(63, u'n');
    putFile(folder + QStringLiteral("/one"), "");
    putFile(folder + u'/' + longest, "");
    putFile(folder + u'/' + longest + u'n', "");
    putFolder(folder + QStringLiteral("/sub"));
    putFile(folder + QStringLiteral("/sub/one"), "");
    const auto specOf = [](const QString &path, OSStatus expected) {
        FSRef ref;
        FSSpec spec;
        EXPECT_EQ(files().makeRef(path, &ref, false), 0);
        EXPECT_EQ(files().refSpec(ref, &spec), expected);
        return spec;
    };
    const FSSpec one = specOf(folder + QStringLiteral("/one"), 0);
    EXPECT_GT(one.vRefNum, 0);
    EXPECT_GT(one.parID, 0);
    EXPECT_EQ(one.name[0], 3);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(one.name + 1), 3), "one");
    const FSSpec other = specOf(folder + u'/' + longest, 0);
    EXPECT_EQ(other.name[0], 63);
    EXPECT_EQ(other.parID, one.parID);
    EXPECT_EQ(other.vRefNum, one.vRefNum);
    EXPECT_NE(specOf(folder + QStringLiteral("/sub/one"), 0).parID, one.parID);
    specOf(folder + u'/' + longest + u'n', -37);
}

TEST(FileManagerTest, TheRootHasItsOwnSpec)
{
    FSRef ref;
    FSSpec spec;
    ASSERT_EQ(files().makeRef(QStringLiteral("/"), &ref, false), 0);
    EXPECT_EQ(files().refPath(ref), QStringLiteral("/"));
    EXPECT_EQ(files().refSpec(ref, &spec), 0);
    EXPECT_EQ(spec.parID, 1);
}

TEST(FolderWalkTest, VisitsEverythingOnceFoldersBeforeTheirContent)
{
    const QString folder = freshFolder();
    putFolder(folder + QStringLiteral("/a/b"));
    putFile(folder + QStringLiteral("/a/b/x"), "1234567890");
    putFile(folder + QStringLiteral("/.hidden"), "12345");
    putLink(folder + QStringLiteral("/link"), QStringLiteral("a"));
    QStringList seen;
    EXPECT_TRUE(files().forEachEntryBelow(folder, [&](const FolderEntry &entry) {
        seen.append(entry.relativePath());
        return WalkStep::GoOn;
    }));
    EXPECT_LT(seen.indexOf(QStringLiteral("a")), seen.indexOf(QStringLiteral("a/b")));
    EXPECT_LT(seen.indexOf(QStringLiteral("a/b")), seen.indexOf(QStringLiteral("a/b/x")));
    seen.sort();
    EXPECT_EQ(seen, (QStringList{QStringLiteral(".hidden"), QStringLiteral("a"), QStringLiteral("a/b"),
                                 QStringLiteral("a/b/x"), QStringLiteral("link")}));
}

TEST(FolderWalkTest, SkipsAndStopsWhereTold)
{
    const QString folder = freshFolder();
    putFolder(folder + QStringLiteral("/skipped/inner"));
    putFolder(folder + QStringLiteral("/entered/inner"));
    QStringList seen;
    files().forEachEntryBelow(folder, [&](const FolderEntry &entry) {
        seen.append(entry.relativePath());
        return entry.name == "skipped" ? WalkStep::SkipFolder : WalkStep::GoOn;
    });
    seen.sort();
    EXPECT_EQ(seen, (QStringList{QStringLiteral("entered"), QStringLiteral("entered/inner"),
                                 QStringLiteral("skipped")}));
    int visits = 0;
    EXPECT_TRUE(files().forEachEntryBelow(folder, [&](const FolderEntry &) {
        ++visits;
        return WalkStep::Stop;
    }));
    EXPECT_EQ(visits, 1);
}

TEST(FolderWalkTest, FollowsTheLinkItIsGivenButNoOther)
{
    const QString folder = freshFolder();
    putFolder(folder + QStringLiteral("/real"));
    putFile(folder + QStringLiteral("/real/file"), "1");
    putLink(folder + QStringLiteral("/real/up"), QStringLiteral(".."));
    putLink(folder + QStringLiteral("/link"), QStringLiteral("real"));
    EXPECT_EQ(walk(folder + QStringLiteral("/link")).paths,
              (QStringList{QStringLiteral("file"), QStringLiteral("up")}));
}

TEST(FolderWalkTest, CountsNamesThatAreNoText)
{
    const QString folder = freshFolder();
    const QByteArray path = bytes(folder) + "/\xff\xfe";
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(::write(file, "1234567", 7), 7);
    ::close(file);
    const Walked walked = walk(folder);
    EXPECT_EQ(walked.size, 7u);
    ASSERT_EQ(walked.paths.size(), 1);
    EXPECT_TRUE(walked.paths.first().isNull());
    // What clears the scratch folder cannot remove such a name.
    EXPECT_EQ(::unlink(path.constData()), 0);
}

constexpr const char *kLink = "folder";

/// Makes a chain of folders by descriptors, since its path is longer than any path may be.
void putChain(const QByteArray &top, int depth)
{
    int current = ::open(top.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < depth; ++level) {
        ASSERT_EQ(::mkdirat(current, kLink, 0700), 0);
        const int file = ::openat(current, "f", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(::write(file, "x", 1), 1);
        ::close(file);
        const int next = ::openat(current, kLink, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(current);
        current = next;
        ASSERT_GE(current, 0);
    }
    ::close(current);
}

void removeChain(const QByteArray &top, int depth)
{
    int current = ::open(top.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < depth; ++level) {
        const int next = ::openat(current, kLink, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(current);
        current = next;
    }
    for (int level = 0; level < depth; ++level) {
        const int above = ::openat(current, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(current);
        current = above;
        ::unlinkat(current, kLink, AT_REMOVEDIR);
        ::unlinkat(current, "f", 0);
    }
    ::close(current);
}

TEST(FolderWalkTest, WalksTreesDeeperThanPathsAndDescriptorsReach)
{
    constexpr int kDepth = 1100;
    const QString folder = freshFolder();
    putChain(bytes(folder), kDepth);
    int regularFiles = 0;
    int folders = 0;
    files().forEachEntryBelow(folder, [&](const FolderEntry &entry) {
        regularFiles += entry.attributes != nullptr && entry.attributes->isRegularFile() ? 1 : 0;
        folders += entry.attributes != nullptr && entry.attributes->isFolder() ? 1 : 0;
        return WalkStep::GoOn;
    });
    EXPECT_EQ(regularFiles, kDepth);
    EXPECT_EQ(folders, kDepth);
    removeChain(bytes(folder), kDepth);
}

TEST(FolderWalkTest, KeepsItsPlaceInAFolderItHadToLeave)
{
    // The upper levels are closed while the walk is below the deep branch, and have many entries left to
    // visit.
    constexpr int kDepth = 40;
    constexpr int kWidth = 300;
    const QString folder = freshFolder();
    QString deep = folder;
    int expected = 0;
    for (int level = 0; level < kDepth; ++level) {
        if (level % 13 == 0) {
            for (int i = 0; i < kWidth; ++i, ++expected)
                putFile(deep + QStringLiteral("/file%1").arg(i), "");
        }
        deep += QStringLiteral("/folder");
        putFolder(deep);
        ++expected;
    }
    const Walked walked = walk(folder);
    EXPECT_EQ(walked.paths.size(), expected);
    EXPECT_EQ(QSet<QString>(walked.paths.begin(), walked.paths.end()).size(), expected);
}

TEST(FolderWalkTest, SurvivesATreeThatVanishesUnderIt)
{
    const QString folder = freshFolder();
    for (int i = 0; i < 50; ++i) {
        putFolder(folder + QStringLiteral("/%1/inner").arg(i));
        putFile(folder + QStringLiteral("/%1/inner/file").arg(i), "x");
    }
    int visits = 0;
    EXPECT_TRUE(files().forEachEntryBelow(folder, [&](const FolderEntry &) {
        if (++visits == 3) {
            for (int i = 0; i < 50; ++i) {
                const QByteArray path = bytes(folder + QStringLiteral("/%1").arg(i));
                ::unlink((path + "/inner/file").constData());
                ::rmdir((path + "/inner").constData());
                ::rmdir(path.constData());
            }
        }
        return WalkStep::GoOn;
    }));
    EXPECT_LE(visits, 150);
}

TEST(FolderWalkTest, PassesByFoldersThatCannotBeRead)
{
    if (::geteuid() == 0) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const QByteArray top = QByteArray("/tmp/kvbase-walk-") + QByteArray::number(::getpid());
    ASSERT_EQ(::mkdir(top.constData(), 0755), 0);
    ASSERT_EQ(::mkdir((top + "/closed").constData(), 0), 0);
    ASSERT_EQ(::mkdir((top + "/open").constData(), 0755), 0);
    EXPECT_EQ(walk(QString::fromUtf8(top)).paths,
              (QStringList{QStringLiteral("closed"), QStringLiteral("open")}));
    EXPECT_FALSE(files().forEachEntryBelow(QString::fromUtf8(top + "/closed"),
                                           [](const FolderEntry &) { return WalkStep::GoOn; }));
    ::rmdir((top + "/closed").constData());
    ::rmdir((top + "/open").constData());
    ::rmdir(top.constData());
    if (::getuid() == 0) {
        ASSERT_EQ(::seteuid(0), 0);
    }
}

} // namespace
} // namespace KVBase
