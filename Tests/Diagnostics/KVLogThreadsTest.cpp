#include "Diagnostics/LogSupport.h"

#include <KVBase/KVLog.h>

#include <atomic>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace KVBase
{
namespace
{

using KVLogThreads = LogFixture;

void join(std::vector<std::thread> &threads)
{
    for (std::thread &thread : threads)
        thread.join();
}

/// "<number> <number as letters, 200 times>": whole lines can be told from broken ones.
bool isWhole(const QByteArray &line)
{
    const QList<QByteArray> parts = line.split(' ');
    return parts.size() == 2 && parts[0].size() == 1 && parts[1] == QByteArray(200, parts[0].at(0));
}

void logWholeLine(int number) { KVLog("%d %@", number, QString(200, QChar(u'0' + number))); }

TEST_F(KVLogThreads, KeepLinesWholeAndLoseNone)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([number] {
            for (int i = 0; i < 500; ++i)
                logWholeLine(number);
        });
    join(threads);
    QList<QByteArray> lines = linesBehindHeader(path).split('\n');
    lines.removeLast();
    EXPECT_EQ(lines.size(), 2000);
    for (const QByteArray &line : lines)
        EXPECT_TRUE(isWhole(line)) << line.toStdString();
}

TEST_F(KVLogThreads, MayLogWhileAnotherThreadClosesAndOpens)
{
    const QString path = file("App.log");
    std::atomic<bool> stop{false};
    std::atomic<int> logged{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number)
        threads.emplace_back([number, &stop, &logged] {
            while (!stop) {
                logWholeLine(number);
                KVLogError(1, "context", "file", 2);
                KVLogPath();
                ++logged;
            }
        });
    for (int i = 0; i < 40 || logged < 100; ++i) {
        KVLogOpen(path);
        KVLogSetDestination(1);
        KVLogClose();
    }
    stop = true;
    join(threads);
    const QByteArray all = contents(path);
    EXPECT_GE(all.count("New session: App.log\n"), 40);
    for (const QByteArray &line : all.split('\n')) {
        if (!line.isEmpty() && line.at(0) >= '0' && line.at(0) <= '9') {
            EXPECT_TRUE(isWhole(line)) << line.toStdString();
        }
    }
}

TEST_F(KVLogThreads, LetOneOfManyOpenTheFile)
{
    for (int round = 0; round < 10; ++round) {
        const QString path = file("App.log");
        QFile::remove(path);
        std::atomic<int> opened{0};
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number)
            threads.emplace_back([&path, &opened] { opened += KVLogOpen(path) ? 1 : 0; });
        join(threads);
        EXPECT_EQ(opened, 1);
        EXPECT_EQ(contents(path).count("New session: App.log\n"), 1);
        EXPECT_EQ(contents(path).count("Tried to open a KVLogFile"), 3);
        KVLogClose();
    }
}

TEST_F(KVLogThreads, MayChangeDestinationAndLevels)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([number] {
            for (int i = 0; i < 100; ++i) {
                KVLogSetDestination(1 + i % 2);
                KVLogSetDomainLevel(static_cast<std::uint32_t>(i % 130), number);
                EXPECT_GE(KVLogDestination(), 1);
                EXPECT_LE(KVLogDomainLevel(static_cast<std::uint32_t>(i % 130)), 3);
                if (i % 10 == 0)
                    KVLogSetDefaultDestination();
            }
        });
    join(threads);
    for (std::uint32_t domain = 0; domain < 128; ++domain)
        KVLogSetDomainLevel(domain, 0);
}

class KVLogForkTest : public LogFixture {};

TEST_F(KVLogForkTest, AChildMayLogWhateverTheOtherThreadsDid)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int number = 0; number < 2; ++number)
        threads.emplace_back([number, &stop] {
            while (!stop)
                logWholeLine(number);
        });
    for (int i = 0; i < 30; ++i) {
        const pid_t child = ::fork();
        if (child == 0) {
            logWholeLine(9);
            ::_exit(7);
        }
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(WEXITSTATUS(status), 7);
    }
    stop = true;
    join(threads);
    EXPECT_EQ(linesBehindHeader(path).count("9 9"), 30);
}

} // namespace

} // namespace KVBase
