#include "Platform/Services/Processes.h"

#include "Support/TestPaths.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace KVBase
{
namespace
{

Processes *processes() { return Service<Processes>::current(); }

QByteArray outputOf(const QList<QStringList> &commands)
{
    QByteArray data = "left over";
    EXPECT_TRUE(processes()->readOutput(commands, &data));
    return data;
}

QStringList shell(const QString &script) { return {QStringLiteral("/bin/sh"), QStringLiteral("-c"), script}; }

bool hasNoChildren()
{
    const QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        if (waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD)
            return true;
        QThread::msleep(5);
    }
    return false;
}

QByteArray contentOnceThere(const QString &path)
{
    const QDeadlineTimer deadline(20000);
    while (!deadline.hasExpired()) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            return file.readAll();
        QThread::msleep(5);
    }
    return "never written";
}

TEST(ProcessesTest, ReadsTheOutputOfOneCommand)
{
    EXPECT_EQ(outputOf({{QStringLiteral("/bin/echo"), QStringLiteral("a  b"), QStringLiteral("ü")}}),
              "a  b ü\n");
}

TEST(ProcessesTest, FindsACommandWithoutAPathInPath)
{
    EXPECT_EQ(outputOf({{QStringLiteral("echo"), QStringLiteral("found")}}), "found\n");
}

TEST(ProcessesTest, PassesTheOutputOfEachCommandToTheNext)
{
    EXPECT_EQ(outputOf({shell(QStringLiteral("printf 'c\\nb\\na\\n'")),
                        {QStringLiteral("sort")},
                        {QStringLiteral("tr"), QStringLiteral("abc"), QStringLiteral("xyz")}}),
              "x\ny\nz\n");
}

TEST(ProcessesTest, LeavesStandardErrorAlone)
{
    EXPECT_EQ(outputOf({shell(QStringLiteral("echo lost >&2; echo kept"))}), "kept\n");
}

TEST(ProcessesTest, GivesTheFirstCommandNothingToRead) { EXPECT_EQ(outputOf({{QStringLiteral("cat")}}), ""); }

TEST(ProcessesTest, DoesNotCareForExitCodes)
{
    EXPECT_EQ(outputOf({shell(QStringLiteral("echo done; exit 3"))}), "done\n");
}

TEST(ProcessesTest, AnswersFalseForACommandThatIsMissing)
{
    QByteArray data = "left over";
    EXPECT_FALSE(processes()->readOutput({{QStringLiteral("/nowhere/tool")}}, &data));
    EXPECT_TRUE(data.isEmpty());
    EXPECT_FALSE(
        processes()->readOutput({{QStringLiteral("echo")}, {QStringLiteral("/nowhere/tool")}}, &data));
    EXPECT_TRUE(data.isEmpty());
    EXPECT_TRUE(hasNoChildren());
}

TEST(ProcessesTest, AnswersFalseWithoutCommands)
{
    QByteArray data = "left over";
    EXPECT_FALSE(processes()->readOutput({}, &data));
    EXPECT_FALSE(processes()->readOutput({QStringList()}, &data));
    EXPECT_TRUE(data.isEmpty());
}

TEST(ProcessesTest, ReadsMuchMoreThanAPipeHolds)
{
    const QByteArray data = outputOf({{QStringLiteral("head"), QStringLiteral("-c"),
                                       QStringLiteral("3000001"), QStringLiteral("/dev/zero")}});
    EXPECT_EQ(data.size(), 3000001);
}

TEST(ProcessesTest, MovesTwoHundredMegabytesThroughAPipe)
{
    EXPECT_EQ(outputOf({{QStringLiteral("head"), QStringLiteral("-c"), QStringLiteral("200000000"),
                         QStringLiteral("/dev/zero")},
                        {QStringLiteral("wc"), QStringLiteral("-c")}})
                  .trimmed(),
              "200000000");
}

TEST(ProcessesTest, StopsReadingWhenTheOutputEnds)
{
    // The program would run for a minute more; only its output counts.
    const QByteArray data = outputOf({shell(QStringLiteral("echo $$; exec >&-; exec sleep 60"))});
    const pid_t left = data.trimmed().toInt();
    EXPECT_EQ(waitpid(left, nullptr, WNOHANG), 0) << "it should still run";
    kill(left, SIGKILL);
    EXPECT_EQ(waitpid(left, nullptr, 0), left);
}

TEST(ProcessesTest, EndsAProducerWhoseReaderHasGone)
{
    struct sigaction ignored = {};
    struct sigaction previous = {};
    ignored.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignored, &previous);
    EXPECT_EQ(outputOf({{QStringLiteral("yes")}, {QStringLiteral("head"), QStringLiteral("-n1")}}), "y\n");
    EXPECT_TRUE(hasNoChildren());
    sigaction(SIGPIPE, &previous, nullptr);
}

TEST(ProcessesTest, LeavesNoChildAndNoDescriptorBehind)
{
    const auto descriptors = [] { return QDir(QStringLiteral("/proc/self/fd")).entryList().size(); };
    outputOf({{QStringLiteral("true")}});
    const auto before = descriptors();
    for (int i = 0; i < 20; ++i)
        outputOf({{QStringLiteral("echo")}, {QStringLiteral("cat")}});
    EXPECT_EQ(descriptors(), before);
    EXPECT_TRUE(hasNoChildren());
}

/// The numbers that this process hands to every program it starts, and the one that `ls` uses to read them.
QSet<QByteArray> inheritedDescriptors()
{
    QSet<QByteArray> numbers = {"0", "1", "2"};
    for (int fd = 3; fd < 1024; ++fd) {
        const int flags = fcntl(fd, F_GETFD);
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0)
            numbers.insert(QByteArray::number(fd));
    }
    int reading = 3;
    while (numbers.contains(QByteArray::number(reading)))
        ++reading;
    numbers.insert(QByteArray::number(reading));
    return numbers;
}

TEST(ProcessesTest, HandsOnNoDescriptorOfItsOwn)
{
    const QSet<QByteArray> inherited = inheritedDescriptors();
    const QByteArray data =
        outputOf({{QStringLiteral("ls"), QStringLiteral("/proc/self/fd")}, {QStringLiteral("cat")}});
    const QList<QByteArray> seen = data.simplified().split(' ');
    EXPECT_GE(seen.size(), 4);
    for (const QByteArray &number : seen)
        EXPECT_TRUE(inherited.contains(number)) << number.constData();
}

TEST(ProcessesTest, UnblocksTheSignalsOfTheProgram)
{
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const QByteArray data = outputOf({shell(QStringLiteral("grep SigBlk /proc/self/status"))});
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    EXPECT_EQ(data.simplified(), "SigBlk: 0000000000000000");
}

TEST(ProcessesTest, StartsADetachedProgramWithTheVariablesGiven)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("out"));
    const QString script =
        QStringLiteral("printf '%s %s %s' \"$GREETING\" \"$HOME\" \"$(cat)\" > \"$0.part\"; "
                       "mv \"$0.part\" \"$0\"");
    qputenv("GREETING", "old");
    EXPECT_TRUE(processes()->launchDetached(shell(script) + QStringList{path},
                                            {{QStringLiteral("GREETING"), QStringLiteral("hello")}}));
    EXPECT_EQ(contentOnceThere(path), "hello " + qgetenv("HOME") + ' ');
}

TEST(ProcessesTest, StartsADetachedProgramInASessionOfItsOwnAsNobodysChild)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("out"));
    const QString script =
        QStringLiteral("cut -d' ' -f4,6 /proc/self/stat > \"$0.part\"; mv \"$0.part\" \"$0\"");
    EXPECT_TRUE(processes()->launchDetached(shell(script) + QStringList{path}, {}));
    EXPECT_TRUE(hasNoChildren());
    const QList<QByteArray> fields = contentOnceThere(path).simplified().split(' ');
    ASSERT_EQ(fields.size(), 2);
    EXPECT_NE(fields[1].toLongLong(), static_cast<qlonglong>(getsid(0)));
}

TEST(ProcessesTest, AnswersFalseForADetachedProgramThatIsMissing)
{
    EXPECT_FALSE(processes()->launchDetached({QStringLiteral("/nowhere/tool")}, {}));
    EXPECT_FALSE(processes()->launchDetached({QStringLiteral("/dev/null")}, {}));
    EXPECT_FALSE(processes()->launchDetached({}, {}));
    EXPECT_TRUE(hasNoChildren());
}

TEST(ProcessesThreads, StartFromManyThreadsAtOnce)
{
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i, &right] {
            for (int round = 0; round < 5; ++round) {
                QByteArray data;
                const QString word = QString::number(i * 100 + round);
                if (processes()->readOutput({{QStringLiteral("echo"), word}, {QStringLiteral("cat")}},
                                            &data) &&
                    data == word.toUtf8() + '\n')
                    ++right;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(right, 20);
}

} // namespace
} // namespace KVBase
