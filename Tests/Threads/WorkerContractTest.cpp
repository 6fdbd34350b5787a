#include <KVBase/KVBackgroundThread.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"
#include "Support/StubSystemVersions.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;

/// What a worker's requests call; remembers what came, on which thread.
class Target : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void none() { note(QStringLiteral("none")); }
    Q_INVOKABLE void one(const QVariant &a) { note(QStringLiteral("one ") + text(a)); }
    Q_INVOKABLE void two(const QVariant &a, const QVariant &b)
    {
        note(QStringLiteral("two ") + text(a) + QLatin1Char(' ') + text(b));
    }
    Q_INVOKABLE void raise(const QString &reason)
    {
        throw NSException(QStringLiteral("TestException"), reason);
    }
    Q_INVOKABLE void raiseNameless() { throw NSException(QStringLiteral("OnlyAName"), QString()); }

    QStringList seen() const
    {
        const std::lock_guard lock(mutex);
        return calls;
    }

private:
    static QString text(const QVariant &value)
    {
        return value.isValid() ? value.toString() : QStringLiteral("nil");
    }
    void note(const QString &call)
    {
        const std::lock_guard lock(mutex);
        calls.append(call);
    }
    mutable std::mutex mutex;
    QStringList calls;
};

/// How a worker is fed: a driver of the loops, and the path through the queue or the direct one.
struct Way {
    LoopKind loop;
    bool direct;
};

class KVBackgroundThreadWaysTest : public testing::TestWithParam<Way> {
protected:
    KVBackgroundThreadWaysTest() : driver(GetParam().loop), guard(&versions)
    {
        versions.minorRelease = GetParam().direct ? 5 : 4;
        versions.packed = GetParam().direct ? 0x1058 : 0x1049;
    }
    bool direct() const { return GetParam().direct; }

    /// Waits until the worker has run everything that was flushed to it.
    static void drain(const Ref<KVBackgroundThread> &worker)
    {
        std::promise<void> done;
        worker->perform([&] { done.set_value(); });
        ASSERT_EQ(done.get_future().wait_for(kNet), std::future_status::ready);
    }

    LoopDriver<> driver;
    StubSystemVersions versions;
    ScopedService<SystemVersions> guard;
    Target target;
};

std::string nameOfWay(const testing::TestParamInfo<Way> &info)
{
    return nameOfLoop({info.param.loop, 0}) + (info.param.direct ? "Direct" : "Queue");
}

INSTANTIATE_TEST_SUITE_P(Ways, KVBackgroundThreadWaysTest,
                         testing::Values(Way{LoopKind::NoApplication, false}, Way{LoopKind::GLib, false},
                                         Way{LoopKind::GLib, true}, Way{LoopKind::Plain, false},
                                         Way{LoopKind::Plain, true}),
                         nameOfWay);

/// Expects that `work` raises what a worker raises that does not run.
void expectNotStarted(const std::function<void()> &work, int line)
{
    try {
        work();
        ADD_FAILURE() << "nothing was raised, line " << line;
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), QStringLiteral("KVBackgroundThread")) << line;
        EXPECT_EQ(exception.reason(), QStringLiteral("The thread has not been started")) << line;
    }
}

void expectEverythingRefused(KVBackgroundThread &worker, Target *target)
{
    expectNotStarted([&] { worker.performSelector("none", target); }, __LINE__);
    expectNotStarted([&] { worker.performSelector("one:", target, 1); }, __LINE__);
    expectNotStarted([&] { worker.performSelector("two::", target, 1, 2); }, __LINE__);
    for (const KVFlushMode mode : {KVFlushMode::Queue, KVFlushMode::Flush, KVFlushMode::Coalesced})
        expectNotStarted([&] { worker.performSelector("two::", target, 1, 2, mode); }, __LINE__);
    expectNotStarted([&] { worker.perform([] {}); }, __LINE__);
    expectNotStarted([&] { worker.perform([] {}, KVFlushMode::Queue); }, __LINE__);
    expectNotStarted([&] { worker.flush(); }, __LINE__);
    expectNotStarted([&] { worker.stop(false); }, __LINE__);
    expectNotStarted([&] { worker.stop(true); }, __LINE__);
    worker.cancel();
}

TEST_P(KVBackgroundThreadWaysTest, NamesAndDelegatesStartAsNil)
{
    for (const auto &worker : {KVBackgroundThread::create(), KVBackgroundThread::create(QString())}) {
        EXPECT_TRUE(worker->name().isNull());
        EXPECT_EQ(worker->delegate(), nullptr);
        worker->setName(QStringLiteral(""));
        EXPECT_FALSE(worker->name().isNull());
        worker->setName(QStringLiteral("x"));
        EXPECT_EQ(worker->name(), QStringLiteral("x"));
        worker->setName(QString());
        EXPECT_TRUE(worker->name().isNull());
    }
    const auto running = KVBackgroundThread::backgroundThread();
    EXPECT_TRUE(running->name().isNull());
    running->stop(true);
}

TEST_P(KVBackgroundThreadWaysTest, BeforeTheStartEverythingIsRefused)
{
    const auto worker = KVBackgroundThread::create(QStringLiteral("Idle"));
    expectEverythingRefused(*worker, &target);
    EXPECT_EQ(worker.use_count(), 1) << "a refused stop leaks its own reference";
    EXPECT_TRUE(target.seen().isEmpty());
}

TEST_P(KVBackgroundThreadWaysTest, AfterTheEndEverythingIsRefused)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->stop(true);
    expectEverythingRefused(*worker, &target);
}

TEST_P(KVBackgroundThreadWaysTest, TheWorkersOwnRequestsRunAtOnceWhateverTheFlushMode)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->perform([&] {
        for (const KVFlushMode mode : {KVFlushMode::Queue, KVFlushMode::Flush, KVFlushMode::Coalesced}) {
            const qsizetype before = target.seen().size();
            worker->performSelector("one:", &target, 1, QVariant(), mode);
            EXPECT_EQ(target.seen().size(), before + 1);
            worker->perform([&] { target.none(); }, mode);
            EXPECT_EQ(target.seen().size(), before + 2);
        }
        worker->performSelector("two::", &target, QVariant(), 2);
    });
    worker->stop(true);
    EXPECT_EQ(target.seen().size(), 7);
    EXPECT_EQ(target.seen().last(), QStringLiteral("two nil 2"))
        << "no record is built there that could drop it";
}

TEST_P(KVBackgroundThreadWaysTest, ACancelledCoalescedFlushLeavesTheRequestsWaiting)
{
    if (direct())
        return;
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("none", &target, QVariant(), QVariant(), KVFlushMode::Coalesced);
    PerformDeferred::cancelDelayedSelector(worker, "flush", QVariant());
    spin(30ms);
    EXPECT_TRUE(target.seen().isEmpty());
    worker->flush();
    EXPECT_TRUE(waitUntil([&] { return target.seen().size() == 1; }));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadWaysTest, ARequestThatRaisesIsLoggedAndTheWorkerGoesOn)
{
    struct Row {
        QString name;
        QString reason;
        QString line;
    };
    const Row rows[] = {
        {QStringLiteral("Loader"), QStringLiteral("it broke"),
         QStringLiteral("KVBackgroundThread Loader caught exception: it broke")},
        {QString(), QStringLiteral("it broke"),
         QStringLiteral("KVBackgroundThread (null) caught exception: it broke")},
        {QStringLiteral(""), QStringLiteral("x"), QStringLiteral("KVBackgroundThread  caught exception: x")},
        {QStringLiteral("W"), QStringLiteral("100%% sure"),
         QStringLiteral("KVBackgroundThread W caught exception: 100% sure")},
        {QStringLiteral("W"), QStringLiteral("%@ %d %s %n %"),
         QStringLiteral("KVBackgroundThread W caught exception: %@ %d %s %n %")},
        {QStringLiteral("50%%"), QStringLiteral("y"),
         QStringLiteral("KVBackgroundThread 50% caught exception: y")},
    };
    for (const Row &row : rows) {
        const auto worker = KVBackgroundThread::backgroundThreadWithName(row.name);
        CapturedLog log;
        worker->performSelector("raise:", &target, row.reason);
        drain(worker);
        EXPECT_EQ(log.lines(), QStringList({row.line}));
        worker->stop(true);
    }
    const auto worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("W"));
    CapturedLog log;
    worker->performSelector("raiseNameless", &target);
    worker->perform([] { throw NSException(QStringLiteral("N"), QStringLiteral("callable")); });
    worker->stop(true);
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("KVBackgroundThread W caught exception: OnlyAName"),
                                        QStringLiteral("KVBackgroundThread W caught exception: callable")}));
}

TEST_P(KVBackgroundThreadWaysTest, CancelledRequestsReleaseTheirTargets)
{
    if (direct())
        return;
    const auto worker = KVBackgroundThread::backgroundThread();
    auto shared = std::make_shared<Target>();
    const std::weak_ptr<Target> watch = shared;
    worker->performSelector("none", shared, QVariant(), QVariant(), KVFlushMode::Queue);
    shared.reset();
    EXPECT_FALSE(watch.expired());
    worker->cancel();
    EXPECT_TRUE(watch.expired());
    worker->stop(true);
}

TEST_P(KVBackgroundThreadWaysTest, RequestsRunInTheDefaultModeAndANestedLoopRunsTheNextOnes)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    QString mode;
    std::promise<void> entered;
    std::atomic<bool> innerRan{false};
    std::atomic<bool> nested{false};
    worker->perform([&] {
        mode = NSRunLoop::currentRunLoop()->currentMode();
        entered.set_value();
        nested = spinUntil([&] { return innerRan.load(); });
    });
    entered.get_future().wait();
    worker->perform([&] { innerRan = true; });
    worker->stop(true);
    EXPECT_EQ(mode, QStringLiteral("NSDefaultRunLoopMode"));
    EXPECT_TRUE(nested);
}

TEST_P(KVBackgroundThreadWaysTest, APendingCoalescedFlushKeepsTheWorkerUntilTheLoopRan)
{
    if (direct())
        return;
    auto worker = KVBackgroundThread::backgroundThread();
    const std::weak_ptr<KVBackgroundThread> watch = worker;
    worker->performSelector("none", &target, QVariant(), QVariant(), KVFlushMode::Coalesced);
    worker->stop(true);
    worker.reset();
    CapturedLog log;
    QThread::msleep(20);
    EXPECT_FALSE(watch.expired()) << "a timed request retains its target";
    EXPECT_TRUE(spinUntil([&] { return watch.expired(); }));
}

TEST_P(KVBackgroundThreadWaysTest, TerminateThreadEndsTheWorkerAfterTheRequest)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("terminateThread:", worker);
    EXPECT_TRUE(waitUntil([&] {
        try {
            worker->flush();
            return false;
        } catch (const NSException &) {
            return true;
        }
    }));
    worker->start(true);
    worker->performSelector("none", &target);
    worker->stop(true);
    EXPECT_EQ(target.seen(), QStringList({QStringLiteral("none")}));
}

TEST(KVBackgroundThreadPathTest, WithoutAnApplicationTheQueuePathIsTaken)
{
    StubSystemVersions leopard;
    const ScopedService<SystemVersions> guard(&leopard);
    Target target;
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("none", &target, QVariant(), QVariant(), KVFlushMode::Queue);
    QThread::msleep(30);
    worker->cancel();
    worker->stop(true);
    EXPECT_TRUE(target.seen().isEmpty());
}

} // namespace
} // namespace KVBase::Tests

#include "WorkerContractTest.moc"
