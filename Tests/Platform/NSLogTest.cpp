#include <KVBase/Platform/NSLog.h>

#include "Platform/FileDescriptor.h"
#include "Platform/Services/Clock.h"
#include "Platform/Services/ConsoleSink.h"

#include <QtCore/QRegularExpression>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace KVBase
{
namespace
{

struct FixedClock : Clock {
    QDateTime now() override { return QDateTime(QDate(2024, 3, 1), QTime(9, 5, 7, 42)); }
    std::chrono::nanoseconds monotonic() override { return std::chrono::nanoseconds(0); }
};

struct CollectingSink : ConsoleSink {
    void write(const QString &line) override { lines.append(line); }
    QStringList lines;
};

struct ThrowingSink : ConsoleSink {
    void write(const QString &) override { throw 1; }
};

/// Puts another descriptor in place of standard error.
class StandardErrorGuard {
public:
    explicit StandardErrorGuard(int replacement) : saved(::dup(STDERR_FILENO))
    {
        if (replacement >= 0)
            ::dup2(replacement, STDERR_FILENO);
        else
            ::close(STDERR_FILENO);
    }
    ~StandardErrorGuard() { ::dup2(saved.get(), STDERR_FILENO); }

private:
    FileDescriptor saved;
};

/// Both ends of a pipe.
struct Pipe {
    Pipe()
    {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
        reading.reset(ends[0]);
        writing.reset(ends[1]);
    }

    QByteArray read() const
    {
        QByteArray all;
        char buffer[65536];
        for (ssize_t got; (got = ::read(reading.get(), buffer, sizeof buffer)) > 0;)
            all.append(buffer, static_cast<qsizetype>(got));
        return all;
    }

    FileDescriptor reading;
    FileDescriptor writing;
};

TEST(NSLogTest, WritesDateProcessAndTextOnOneLine)
{
    FixedClock clock;
    CollectingSink sink;
    const ScopedService<Clock> clockGuard(&clock);
    const ScopedService<ConsoleSink> sinkGuard(&sink);
    NSLog("%@ and %d", QStringLiteral("text"), 5);
    ASSERT_EQ(sink.lines.size(), 1);
    const QString expected = QStringLiteral("2024-03-01 09:05:07.042 KVBasePlatformTests[%1:%2] text and 5")
                                 .arg(::getpid())
                                 .arg(::gettid());
    EXPECT_EQ(sink.lines.first().toStdString(), expected.toStdString());
}

TEST(NSLogTest, GoesToStandardError)
{
    const Pipe pipe;
    {
        const StandardErrorGuard guard(pipe.writing.get());
        NSLog("first");
        NSLog("second");
    }
    const QStringList lines = QString::fromUtf8(pipe.read()).split(u'\n');
    ASSERT_EQ(lines.size(), 3);
    const QRegularExpression form(QStringLiteral(
        "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} KVBasePlatformTests\\[\\d+:\\d+\\] (.*)$"));
    EXPECT_EQ(form.match(lines.at(0)).captured(1), "first");
    EXPECT_EQ(form.match(lines.at(1)).captured(1), "second");
    EXPECT_EQ(lines.at(2), "");
}

TEST(NSLogTest, OutlivesAClosedStandardError)
{
    const StandardErrorGuard guard(-1);
    errno = 0;
    NSLog("nowhere");
    EXPECT_EQ(errno, 0);
}

TEST(NSLogTest, OutlivesAPipeThatNobodyReads)
{
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGPIPE, SIG_DFL);
        Pipe pipe;
        pipe.reading.reset();
        ::dup2(pipe.writing.get(), STDERR_FILENO);
        NSLog("nowhere");
        NSLog("nowhere");
        ::_exit(7);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(NSLogTest, NeverThrows)
{
    ThrowingSink sink;
    const ScopedService<ConsoleSink> guard(&sink);
    EXPECT_NO_THROW(NSLog("text"));
}

TEST(NSLogTest, NeverUsesStandardOutput)
{
    const Pipe pipe;
    const FileDescriptor saved(::dup(STDOUT_FILENO));
    ::dup2(pipe.writing.get(), STDOUT_FILENO);
    {
        const StandardErrorGuard guard(-1);
        NSLog("nowhere");
    }
    ::dup2(saved.get(), STDOUT_FILENO);
    EXPECT_EQ(pipe.read(), "");
}

TEST(NSLogThreads, KeepLinesWhole)
{
    const Pipe pipe;
    ::fcntl(pipe.writing.get(), F_SETPIPE_SZ, 1 << 20);
    {
        const StandardErrorGuard guard(pipe.writing.get());
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number)
            threads.emplace_back([number] {
                for (int i = 0; i < 50; ++i)
                    NSLog("%d-%@-end", number, QString(200, QChar(u'a' + number)));
            });
        for (std::thread &thread : threads)
            thread.join();
    }
    const QList<QByteArray> lines = pipe.read().split('\n');
    ASSERT_EQ(lines.size(), 201);
    for (const QByteArray &line : lines.first(200)) {
        const char number = line.at(line.indexOf("] ") + 2);
        EXPECT_TRUE(line.endsWith(QByteArray(1, number) + '-' +
                                  QByteArray(200, static_cast<char>(number - '0' + 'a')) + "-end"));
    }
}

} // namespace
} // namespace KVBase
