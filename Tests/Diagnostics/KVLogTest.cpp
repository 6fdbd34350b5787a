#include "Diagnostics/LogSupport.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVNil.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using KVLogTest = LogFixture;

struct Throwing {
    QString description() const { throw 1; }
};

TEST_F(KVLogTest, WritesPlainLinesBehindTheHeader)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLog("plain");
    KVLog("%@ is %d of %s%%", QStringLiteral("Zürich"), 5, "100");
    KVLog("");
    EXPECT_EQ(linesBehindHeader(path), "plain\nZ\xc3\xbcrich is 5 of 100%\n\n");
    EXPECT_EQ(console.lines(), QStringList());
}

TEST_F(KVLogTest, WritesTheConsoleTooFromTwoOn)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLogSetDestination(2);
    KVLog("both %d", 1);
    KVLogSetDestination(1);
    KVLog("file");
    KVLogSetDestination(0);
    KVLog("none");
    EXPECT_EQ(linesBehindHeader(path), "both 1\nfile\n");
    EXPECT_EQ(console.lines(), QStringList({QStringLiteral("both 1")}));
}

TEST_F(KVLogTest, TakesATextThatIsItselfAFormat)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLog(KVFormatString<>{QStringLiteral("%@ %d %n")}, QStringLiteral("a"));
    KVLog(KVFormatString<>{QStringLiteral("50% of %s")});
    EXPECT_EQ(linesBehindHeader(path), "a %d %n\n50% of %s\n");
}

TEST_F(KVLogTest, CutsATextAtItsFirstNul)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLogSetDestination(2);
    KVLog("%@", QStringLiteral("ab") + QChar(u'\0') + QStringLiteral("cd"));
    EXPECT_EQ(linesBehindHeader(path), "ab\n");
    EXPECT_EQ(console.lines(), QStringList({QStringLiteral("ab")}));
}

TEST_F(KVLogTest, SaysWhenATextHasNoUtf8)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    const QString half(QChar(u'\xd800'));
    KVLog("%@", half);
    KVLogSetDestination(2);
    KVLog("before %@ behind", half);
    KVLog(KVFormatString<>{half});
    KVLogSetDestination(0);
    KVLog("%@", half);
    const QByteArray line = "* KVLog() conversion to C string failed *\n";
    EXPECT_EQ(linesBehindHeader(path), line + line + line);
    const QString shown = QStringLiteral("* KVLog() conversion to C string failed *");
    EXPECT_EQ(console.lines(), QStringList({shown, shown}));
}

TEST_F(KVLogTest, ReadsBrokenBytesAsReplacements)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLog("%s", "a\xff");
    EXPECT_EQ(linesBehindHeader(path), "a\xef\xbf\xbd\n");
}

TEST_F(KVLogTest, WritesLongLinesWhole)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLog("%@", QString(1000000, u'x'));
    KVLog("next");
    EXPECT_EQ(linesBehindHeader(path), QByteArray(1000000, 'x') + "\nnext\n");
}

TEST_F(KVLogTest, NeverThrowsAndLosesOnlyTheLineThatDoes)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    EXPECT_NO_THROW(KVLog("%@", Throwing()));
    KVLog("next");
    EXPECT_EQ(linesBehindHeader(path), "next\n");
}

TEST_F(KVLogTest, LeavesErrnoAlone)
{
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    errno = ENOTTY;
    KVLog("%s %d", "text", 5);
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(KVLogTest, WritesErrorsWithTheirPlace)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLogError(0, "context", "/src/x/Thing.src", 1);
    KVLogError(-43, "context", "/src/x/Thing.src", 12);
    KVLogError(5, nullptr, "Thing.src", -1);
    KVLogError(5, "", "a/b/", 0);
    KVLogError(6, "100%d", "/", 0);
    KVLogError(7, "c", nullptr, 3);
    KVLogError(8, "c", "/src/Z\xc3\xbcrich.src", 3);
    EXPECT_EQ(linesBehindHeader(path), "context: Error -43 in file Thing.src, line 12\n"
                                       "Error 5 in file Thing.src, line -1\n"
                                       ": Error 5 in file b, line 0\n"
                                       "100%d: Error 6 in file /, line 0\n"
                                       "c: Error 7 in file (null), line 3\n"
                                       "c: Error 8 in file Z\xc3\xbcrich.src, line 3\n");
}

TEST_F(KVLogTest, WritesNothingWithoutAFileAtDestinationOne)
{
    KVLog("nowhere");
    KVLogError(1, "c", "f", 1);
    EXPECT_EQ(console.lines(), QStringList());
    EXPECT_TRUE(isNil(KVLogPath()));
}

TEST_F(KVLogTest, OpensNothingWhenOff)
{
    KVLogSetDestination(0);
    EXPECT_FALSE(KVLogOpen(file("sub/App.log")));
    KVLogSetDestination(-4);
    EXPECT_FALSE(KVLogOpen(file("sub/App.log")));
    EXPECT_FALSE(QFileInfo::exists(file("sub")));
    EXPECT_TRUE(isNil(KVLogPath()));
}

TEST_F(KVLogTest, LeavesThePathAloneWhenOff)
{
    EXPECT_TRUE(KVLogOpen(folder.path()));
    EXPECT_EQ(KVLogPath(), folder.path());
    KVLogSetDestination(0);
    EXPECT_FALSE(KVLogOpen(file("App.log")));
    EXPECT_EQ(KVLogPath(), folder.path());
}

TEST_F(KVLogTest, MakesFoldersAndStandardisesThePath)
{
    EXPECT_TRUE(KVLogOpen(file("a/./b//c/../App.log")));
    EXPECT_EQ(KVLogPath(), file("a/b/App.log"));
    EXPECT_TRUE(QFileInfo::exists(file("a/b/App.log")));
    EXPECT_FALSE(QFileInfo::exists(file("a/b/c")));
}

TEST_F(KVLogTest, ExpandsATilde)
{
    EXPECT_TRUE(KVLogOpen(QStringLiteral("~/logs/App.log")));
    EXPECT_EQ(KVLogPath(), QDir::homePath() + QStringLiteral("/logs/App.log"));
    KVLogClose();
    EXPECT_TRUE(QFile::remove(QDir::homePath() + QStringLiteral("/logs/App.log")));
}

TEST_F(KVLogTest, ReportsASecondOpenAndKeepsTheFirstFile)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLogSetDestination(0);
    EXPECT_FALSE(KVLogOpen(file("x/../Other.log")));
    EXPECT_EQ(KVLogDestination(), 0);
    const QString tried = file("x/../Other.log");
    EXPECT_EQ(
        console.lines(),
        QStringList(
            {QStringLiteral("Tried to open a KVLogFile, but it was already open. Log file tried to open: ") +
             tried + QStringLiteral(". Log file which is open: ") + path}));
    EXPECT_EQ(linesBehindHeader(path).toStdString(),
              ("Tried to open a KVLogFile, but it was already open. Path tried to open: " + tried.toUtf8() +
               ". Log file which is open: " + path.toUtf8() + "\n")
                  .toStdString());
    EXPECT_FALSE(QFileInfo::exists(file("Other.log")));
    EXPECT_EQ(KVLogPath(), path);
    KVLogSetDestination(1);
    KVLog("goes on");
    EXPECT_TRUE(contents(path).endsWith("goes on\n"));
}

TEST_F(KVLogTest, ReportsASecondOpenOfNil)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    EXPECT_FALSE(KVLogOpen(QString()));
    EXPECT_EQ(linesBehindHeader(path).toStdString(), "Tried to open a KVLogFile, but it was already open. "
                                                     "Path tried to open: (null). Log file which is open: " +
                                                         path.toStdString() + "\n");
}

TEST_F(KVLogTest, ClosesAndForgetsThePath)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLogClose();
    EXPECT_TRUE(isNil(KVLogPath()));
    KVLog("nowhere");
    EXPECT_EQ(linesBehindHeader(path), "");
    KVLogClose();
    EXPECT_TRUE(KVLogOpen(path));
    EXPECT_EQ(contents(path).count("New session: App.log\n"), 2);
}

TEST_F(KVLogTest, KeepsWhatTheFileHeld)
{
    const QString path = file("App.log");
    create(path, "old line\n");
    ASSERT_TRUE(KVLogOpen(path));
    EXPECT_TRUE(contents(path).startsWith("old line\n" + QByteArray(kRule)));
}

TEST_F(KVLogTest, AnswersYesForNilAndEmptyPathsAndOpensNothing)
{
    EXPECT_TRUE(KVLogOpen(QString()));
    EXPECT_TRUE(isNil(KVLogPath()));
    EXPECT_TRUE(KVLogOpen(QStringLiteral("")));
    EXPECT_FALSE(isNil(KVLogPath()));
    EXPECT_EQ(KVLogPath(), "");
    KVLogSetDestination(2);
    KVLog("console");
    EXPECT_EQ(console.lines(), QStringList({QStringLiteral("console")}));
}

/// Makes something at the log's path that is no regular file, or cannot be reached.
struct BadPath {
    const char *name;
    QString (*make)(const QString &folder);
};

class KVLogBadPathTest : public LogFixture, public testing::WithParamInterface<BadPath> {};

TEST_P(KVLogBadPathTest, AnswersYesAndWritesTheConsoleOnly)
{
    const QString path = GetParam().make(folder.path());
    EXPECT_TRUE(KVLogOpen(path));
    EXPECT_EQ(KVLogPath(), path);
    KVLog("nowhere");
    KVLogSetDestination(2);
    KVLog("console");
    EXPECT_EQ(console.lines(), QStringList({QStringLiteral("console")}));
    // A path whose file never opened is not forgotten.
    KVLogClose();
    EXPECT_EQ(KVLogPath(), path);
    EXPECT_TRUE(KVLogOpen(file("Good.log")));
    EXPECT_EQ(KVLogPath(), file("Good.log"));
}

INSTANTIATE_TEST_SUITE_P(
    All, KVLogBadPathTest,
    testing::Values(BadPath{"Folder", [](const QString &folder) { return folder; }},
                    BadPath{"Fifo",
                            [](const QString &folder) {
                                const QString path = folder + QStringLiteral("/fifo.log");
                                ::mkfifo(QFile::encodeName(path).constData(), 0600);
                                return path;
                            }},
                    BadPath{"Device", [](const QString &) { return QStringLiteral("/dev/null"); }},
                    BadPath{"FullDevice", [](const QString &) { return QStringLiteral("/dev/full"); }},
                    BadPath{"FileInPlaceOfAFolder",
                            [](const QString &folder) {
                                QFile plain(folder + QStringLiteral("/plain"));
                                plain.open(QFile::WriteOnly);
                                return folder + QStringLiteral("/plain/App.log");
                            }},
                    BadPath{"KernelFolder",
                            [](const QString &) { return QStringLiteral("/proc/none/App.log"); }},
                    BadPath{"LoopOfLinks",
                            [](const QString &folder) {
                                const QString path = folder + QStringLiteral("/loop.log");
                                QFile::link(path, path);
                                return path;
                            }},
                    BadPath{"TooLongName",
                            [](const QString &folder) {
                                return folder + QStringLiteral("/") + QString(300, u'x') +
                                       QStringLiteral(".log");
                            }}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(KVLogTest, AnswersYesInAFolderThatMayNotBeWritten)
{
    // Rights do not stop the super-user, so the open happens as somebody else.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::chmod(QFile::encodeName(folder.path()).constData(), 0555);
        if (::geteuid() == 0 && ::seteuid(65534) != 0)
            ::_exit(1);
        const bool answer = KVLogOpen(file("App.log"));
        KVLog("nowhere");
        ::_exit(answer && !QFileInfo::exists(file("App.log")) ? 7 : 2);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ::chmod(QFile::encodeName(folder.path()).constData(), 0700);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(KVLogTest, IsReadableByItsOwnerAlone)
{
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    struct stat made = {};
    ASSERT_EQ(::stat(QFile::encodeName(file("App.log")).constData(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777u, 0600u);
}

/// The flags of the descriptor that this process has on `path`; -1 when it has none.
int descriptorFlags(const QString &path)
{
    DIR *const folder = ::opendir("/proc/self/fd");
    int flags = -1;
    while (const dirent *entry = ::readdir(folder)) {
        if (QFile::symLinkTarget(QStringLiteral("/proc/self/fd/") + QString::fromUtf8(entry->d_name)) == path)
            flags = ::fcntl(std::atoi(entry->d_name), F_GETFD);
    }
    ::closedir(folder);
    return flags;
}

TEST_F(KVLogTest, DoesNotReachOtherPrograms)
{
    const QString path = QFileInfo(folder.path()).canonicalFilePath() + QStringLiteral("/App.log");
    ASSERT_TRUE(KVLogOpen(path));
    EXPECT_EQ(descriptorFlags(path), FD_CLOEXEC);
    KVLogClose();
    EXPECT_EQ(descriptorFlags(path), -1);
}

TEST_F(KVLogTest, GoesOnWhenTheFileIsDeletedUnderneath)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    ASSERT_TRUE(QFile::remove(path));
    KVLog("into nothing");
    EXPECT_EQ(KVLogPath(), path);
    KVLogClose();
    ASSERT_TRUE(KVLogOpen(path));
    KVLog("back");
    EXPECT_EQ(linesBehindHeader(path), "back\n");
}

TEST_F(KVLogTest, FollowsALinkToItsFile)
{
    create(file("Target.log"), "old\n");
    ASSERT_TRUE(QFile::link(file("Target.log"), file("App.log")));
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    KVLog("line");
    EXPECT_TRUE(contents(file("Target.log")).contains("New session: App.log\n"));
    EXPECT_TRUE(contents(file("Target.log")).endsWith("\nline\n"));
    EXPECT_EQ(KVLogPath(), file("App.log"));
}

/// Lets files grow to a limit only, as a full disk does, until it is destroyed.
class FullDisk {
public:
    explicit FullDisk(std::uint64_t size)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &previous);
        rlimit limit = previous;
        limit.rlim_cur = size;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &previous); }

private:
    rlimit previous{};
};

TEST_F(KVLogTest, LosesNothingToADiskThatIsFullForAWhile)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLog("before");
    const auto size = static_cast<std::uint64_t>(QFileInfo(path).size());
    {
        const FullDisk full(size + 4);
        KVLog("in the middle");
        KVLog("second");
        EXPECT_EQ(linesBehindHeader(path), "before\nin t");
    }
    KVLog("after");
    EXPECT_EQ(linesBehindHeader(path), "before\nin the middle\nsecond\nafter\n");
}

TEST_F(KVLogTest, WritesWhatWaitedWhenItCloses)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    {
        const FullDisk full(static_cast<std::uint64_t>(QFileInfo(path).size()));
        KVLog("waits");
        EXPECT_EQ(linesBehindHeader(path), "");
    }
    KVLogClose();
    EXPECT_EQ(linesBehindHeader(path), "waits\n");
}

TEST_F(KVLogTest, KeepsAMebibyteAtMostForAFullDisk)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    const QString line(65535, u'x');
    {
        const FullDisk full(static_cast<std::uint64_t>(QFileInfo(path).size()));
        for (int i = 0; i < 40; ++i)
            KVLog("%@", line);
    }
    KVLogClose();
    EXPECT_EQ(linesBehindHeader(path).size(), 16 * 65536);
}

TEST_F(KVLogTest, AForkedChildRepeatsNothing)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLog("parent before");
    {
        const FullDisk full(static_cast<std::uint64_t>(QFileInfo(path).size()));
        KVLog("waits in the parent");
    }
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        KVLog("child");
        KVLogClose();
        std::_Exit(KVLogOpen(path) ? 7 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    KVLog("parent after");
    KVLogClose();
    const QByteArray all = contents(path);
    for (const char *line : {"\nparent before\n", "\nchild\n", "\nwaits in the parent\n", "\nparent after\n"})
        EXPECT_EQ(all.count(line + 1), 1) << line;
}

} // namespace
} // namespace KVBase
