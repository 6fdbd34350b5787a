#include <KVBase/KVBackgroundThread.h>
#include <KVBase/KVException.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSObject.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"
#include "Support/StubSystemVersions.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>
#include <stdexcept>
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
    std::thread::id lastThread() const
    {
        const std::lock_guard lock(mutex);
        return thread;
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
        thread = std::this_thread::get_id();
    }
    mutable std::mutex mutex;
    QStringList calls;
    std::thread::id thread;
};

class Delegate : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void handleBackgroundThreadException(const KVBase::NSException &exception)
    {
        calls.append(exception.name() + QLatin1Char('|') + exception.reason());
        onMain = std::this_thread::get_id() == main;
    }
    QStringList calls;
    std::thread::id main = std::this_thread::get_id();
    bool onMain = false;
};

/// How a worker is fed: a driver of the loops, and the path through the queue or the direct one.
struct Way {
    LoopKind loop;
    bool direct;
};

class KVBackgroundThreadContractTest : public testing::TestWithParam<Way> {
protected:
    KVBackgroundThreadContractTest() : driver(GetParam().loop), guard(&versions)
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

INSTANTIATE_TEST_SUITE_P(Ways, KVBackgroundThreadContractTest,
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

TEST_P(KVBackgroundThreadContractTest, theFactoryGivesARunningWorker)
{
    const auto worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("Loader"));
    EXPECT_EQ(worker->name(), QStringLiteral("Loader"));
    worker->performSelector("none", &target);
    worker->stop(true);
    EXPECT_EQ(target.seen(), QStringList({QStringLiteral("none")}));
    EXPECT_NE(target.lastThread(), std::this_thread::get_id());
}

TEST_P(KVBackgroundThreadContractTest, namesAndDelegatesStartAsNil)
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

TEST_P(KVBackgroundThreadContractTest, beforeTheStartEverythingIsRefused)
{
    const auto worker = KVBackgroundThread::create(QStringLiteral("Idle"));
    expectEverythingRefused(*worker, &target);
    EXPECT_EQ(worker.use_count(), 1) << "a refused stop leaks its own reference";
    EXPECT_TRUE(target.seen().isEmpty());
}

TEST_P(KVBackgroundThreadContractTest, afterTheEndEverythingIsRefused)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->stop(true);
    expectEverythingRefused(*worker, &target);
}

TEST_P(KVBackgroundThreadContractTest, runsAgainAfterAStop)
{
    const auto worker = KVBackgroundThread::create();
    for (int round = 0; round < 5; ++round) {
        worker->start(true);
        worker->performSelector("one:", &target, round);
        worker->stop(true);
    }
    EXPECT_EQ(target.seen(),
              QStringList({QStringLiteral("one 0"), QStringLiteral("one 1"), QStringLiteral("one 2"),
                           QStringLiteral("one 3"), QStringLiteral("one 4")}));
}

TEST_P(KVBackgroundThreadContractTest, oneThreadRunsAllInTheOrderOfSubmission)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    QStringList expected;
    for (int i = 0; i < 200; ++i) {
        if (i % 2)
            worker->performSelector("one:", &target, i);
        else
            worker->perform([&, i] { target.one(i); });
        expected.append(QStringLiteral("one %1").arg(i));
    }
    worker->stop(true);
    EXPECT_EQ(target.seen(), expected);
}

TEST_P(KVBackgroundThreadContractTest, argumentsArriveAsGiven)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("none", &target);
    worker->performSelector("one:", &target, 7);
    worker->performSelector("one:", &target);
    worker->performSelector("two::", &target, 1, QStringLiteral("b"));
    worker->performSelector("two::", &target, 1);
    worker->performSelector("two::", &target, 1, QVariant());
    worker->performSelector("two::", &target, QVariant(), 2);
    worker->performSelector("one:", &target, 3, 4);
    worker->stop(true);
    EXPECT_EQ(target.seen(), QStringList({QStringLiteral("none"), QStringLiteral("one 7"),
                                          QStringLiteral("one nil"), QStringLiteral("two 1 b"),
                                          QStringLiteral("two 1 nil"), QStringLiteral("two 1 nil"),
                                          QStringLiteral("two nil nil"), QStringLiteral("one 3")}));
}

TEST_P(KVBackgroundThreadContractTest, theWorkersOwnRequestsRunAtOnceWhateverTheFlushMode)
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

TEST_P(KVBackgroundThreadContractTest, requestsThatWaitForAFlushRunInOrderWithIt)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("one:", &target, QStringLiteral("A"), QVariant(), KVFlushMode::Queue);
    worker->performSelector("one:", &target, QStringLiteral("B"), QVariant(), KVFlushMode::Queue);
    if (!direct()) {
        QThread::msleep(30);
        EXPECT_TRUE(target.seen().isEmpty());
    }
    worker->performSelector("one:", &target, QStringLiteral("C"), QVariant(), KVFlushMode::Flush);
    worker->stop(true);
    EXPECT_EQ(target.seen(),
              QStringList({QStringLiteral("one A"), QStringLiteral("one B"), QStringLiteral("one C")}));
}

TEST_P(KVBackgroundThreadContractTest, aFlushRunsWhatWaits)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("one:", &target, 1, QVariant(), KVFlushMode::Queue);
    worker->perform([&] { target.none(); }, KVFlushMode::Queue);
    worker->flush();
    EXPECT_TRUE(waitUntil([&] { return target.seen().size() == 2; }));
    EXPECT_EQ(target.seen(), QStringList({QStringLiteral("one 1"), QStringLiteral("none")}));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadContractTest, theDirectPathIgnoresFlushModes)
{
    if (!direct())
        return;
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("one:", &target, 0, QVariant(), KVFlushMode::Queue);
    worker->performSelector("one:", &target, 2, QVariant(), KVFlushMode::Coalesced);
    EXPECT_TRUE(waitUntil([&] { return target.seen().size() == 2; }));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadContractTest, cancelDropsWhatWaitsOnTheQueuePathOnly)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    for (int i = 0; i < 3; ++i)
        worker->performSelector("one:", &target, i, QVariant(), KVFlushMode::Queue);
    worker->cancel();
    worker->flush();
    drain(worker);
    EXPECT_EQ(target.seen().size(), direct() ? 3 : 0);
    worker->performSelector("none", &target);
    worker->stop(true);
    EXPECT_EQ(target.seen().last(), QStringLiteral("none"));
}

TEST_P(KVBackgroundThreadContractTest, cancelAlsoDropsAQueuedStop)
{
    if (direct())
        return;
    const auto worker = KVBackgroundThread::backgroundThread();
    std::promise<void> go;
    std::promise<void> entered;
    worker->perform([&] {
        entered.set_value();
        go.get_future().wait();
    });
    entered.get_future().wait();
    worker->stop(false);
    worker->cancel();
    go.set_value();
    drain(worker);
    worker->performSelector("none", &target);
    worker->stop(true);
    EXPECT_EQ(target.seen(), QStringList({QStringLiteral("none")}));
}

TEST_P(KVBackgroundThreadContractTest, recordsQueuedBehindAStopInTheSameDrainStillRun)
{
    if (direct())
        return;
    const auto worker = KVBackgroundThread::backgroundThread();
    std::promise<void> go;
    std::promise<void> entered;
    worker->perform([&] {
        entered.set_value();
        go.get_future().wait();
    });
    entered.get_future().wait();
    worker->stop(false);
    worker->performSelector("none", &target, QVariant(), QVariant(), KVFlushMode::Queue);
    go.set_value();
    EXPECT_TRUE(waitUntil([&] { return target.seen().size() == 1; }));
}

TEST_P(KVBackgroundThreadContractTest, aCoalescedFlushWaitsForTheSubmittersLoop)
{
    if (direct())
        return;
    const auto worker = KVBackgroundThread::backgroundThread();
    for (int i = 0; i < 3; ++i)
        worker->performSelector("one:", &target, i, QVariant(), KVFlushMode::Coalesced);
    QThread::msleep(30);
    EXPECT_TRUE(target.seen().isEmpty());
    EXPECT_TRUE(spinUntil([&] { return target.seen().size() == 3; }));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadContractTest, aCancelledCoalescedFlushLeavesTheRequestsWaiting)
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

TEST_P(KVBackgroundThreadContractTest, aCoalescedFlushAfterTheEndIsWrittenToTheConsoleAndTheLoopGoesOn)
{
    if (direct())
        return;
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("none", &target, QVariant(), QVariant(), KVFlushMode::Coalesced);
    worker->stop(true);
    CapturedLog log;
    bool after = false;
    PerformDeferred::performDelayed(&target, [&] { after = true; });
    EXPECT_TRUE(spinUntil([&] { return after; }));
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().contains(QStringLiteral("The thread has not been started")))
        << log.lines().first().toStdString();
}

TEST_P(KVBackgroundThreadContractTest, stopRunsEverythingSubmittedBefore)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::promise<void> go;
    worker->perform([&] { go.get_future().wait(); });
    for (int i = 0; i < 50; ++i)
        worker->performSelector("one:", &target, i, QVariant(),
                                i % 2 ? KVFlushMode::Flush : KVFlushMode::Queue);
    worker->stop(false);
    EXPECT_TRUE(target.seen().isEmpty()) << "stop: without waiting returned only after the requests";
    go.set_value();
    EXPECT_TRUE(waitUntil([&] { return target.seen().size() == 50; }));
}

TEST_P(KVBackgroundThreadContractTest, aSecondStartLeavesTheWorkerAlone)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("none", &target);
    drain(worker);
    const auto first = target.lastThread();
    CapturedLog log;
    worker->start(true);
    EXPECT_EQ(log.lines().size(), 1);
    worker->performSelector("none", &target);
    drain(worker);
    EXPECT_EQ(target.lastThread(), first);
    worker->stop(true);
}

TEST_P(KVBackgroundThreadContractTest, aRequestThatRaisesIsLoggedAndTheWorkerGoesOn)
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

TEST_P(KVBackgroundThreadContractTest, theDelegateGetsTheExceptionOnTheMainThread)
{
    const auto worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("W"));
    Delegate delegate;
    worker->setDelegate(&delegate);
    EXPECT_EQ(worker->delegate(), &delegate);
    CapturedLog log;
    worker->performSelector("raise:", &target, QStringLiteral("one"));
    worker->perform([] { throw NSException(QStringLiteral("Second"), QStringLiteral("two")); });
    drain(worker);
    EXPECT_TRUE(delegate.calls.isEmpty()) << "called before the main thread's loop ran";
    EXPECT_TRUE(spinUntil([&] { return delegate.calls.size() == 2; }));
    EXPECT_EQ(delegate.calls,
              QStringList({QStringLiteral("TestException|one"), QStringLiteral("Second|two")}));
    EXPECT_TRUE(delegate.onMain);
    EXPECT_EQ(log.lines().size(), 2);
    worker->stop(true);
}

TEST_P(KVBackgroundThreadContractTest, aDelegateWithoutTheOperationOrGoneIsLeftOut)
{
    const auto worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("W"));
    CapturedLog log;
    QObject dumb;
    worker->setDelegate(&dumb);
    worker->performSelector("raise:", &target, QStringLiteral("one"));
    drain(worker);
    auto delegate = std::make_unique<Delegate>();
    worker->setDelegate(delegate.get());
    worker->performSelector("raise:", &target, QStringLiteral("two"));
    drain(worker);
    delegate.reset();
    EXPECT_EQ(worker->delegate(), nullptr);
    worker->performSelector("raise:", &target, QStringLiteral("three"));
    worker->stop(true);
    spin(20ms);
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("KVBackgroundThread W caught exception: one"),
                                        QStringLiteral("KVBackgroundThread W caught exception: two"),
                                        QStringLiteral("KVBackgroundThread W caught exception: three")}));
}

TEST_P(KVBackgroundThreadContractTest, anExceptionOfTheWorkersOwnRequestUnwindsIntoTheOuterOne)
{
    const auto worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("W"));
    CapturedLog log;
    std::atomic<bool> after{false};
    worker->perform([&] {
        worker->performSelector("raise:", &target, QStringLiteral("inner"));
        after = true;
    });
    worker->stop(true);
    EXPECT_FALSE(after);
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("KVBackgroundThread W caught exception: inner")}));
}

TEST_P(KVBackgroundThreadContractTest, anUnknownSelectorIsLoggedWithClassAndSelector)
{
    const auto worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("W"));
    CapturedLog log;
    worker->performSelector("frobnicate:", &target, 1);
    worker->performSelector("none", &target);
    worker->stop(true);
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().startsWith(QStringLiteral("KVBackgroundThread W caught exception: ")));
    EXPECT_TRUE(log.lines().first().contains(QStringLiteral("frobnicate:")));
    EXPECT_TRUE(log.lines().first().contains(QStringLiteral("Target")));
    EXPECT_EQ(target.seen(), QStringList({QStringLiteral("none")}));
}

TEST_P(KVBackgroundThreadContractTest, nilAndGoneTargetsDoNothing)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    CapturedLog log;
    std::promise<void> go;
    worker->perform([&] { go.get_future().wait(); });
    auto gone = std::make_unique<Target>();
    worker->performSelector("none", gone.get());
    worker->performSelector("none", nullptr);
    worker->performSelector("none", nullptr, 1, 2, KVFlushMode::Queue);
    worker->perform(nullptr);
    gone.reset();
    go.set_value();
    worker->stop(true);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_P(KVBackgroundThreadContractTest, aSharedTargetLivesUntilItsRequestHasRun)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::promise<void> go;
    worker->perform([&] { go.get_future().wait(); });
    auto shared = std::make_shared<Target>();
    const std::weak_ptr<Target> watch = shared;
    worker->performSelector("none", shared);
    shared.reset();
    EXPECT_FALSE(watch.expired());
    go.set_value();
    EXPECT_TRUE(waitUntil([&] { return watch.expired(); }));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadContractTest, cancelledRequestsReleaseTheirTargets)
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

TEST_P(KVBackgroundThreadContractTest, aReleasedWorkerRunsOnUntilItIsStopped)
{
    auto worker = KVBackgroundThread::backgroundThread();
    const std::weak_ptr<KVBackgroundThread> watch = worker;
    worker.reset();
    QThread::msleep(20);
    auto again = watch.lock();
    ASSERT_NE(again, nullptr);
    again->performSelector("none", &target);
    again->stop(true);
    EXPECT_EQ(target.seen(), QStringList({QStringLiteral("none")}));
    again.reset();
    EXPECT_TRUE(waitUntil([&] { return watch.expired(); }));
}

TEST_P(KVBackgroundThreadContractTest, aWorkerMayLoseItsLastOwnerInsideItsOwnRequest)
{
    auto worker = KVBackgroundThread::backgroundThread();
    const std::weak_ptr<KVBackgroundThread> watch = worker;
    std::promise<void> ready;
    worker->perform([mine = worker, &ready]() mutable {
        ready.get_future().wait();
        mine->stop(false);
        mine.reset();
    });
    worker.reset();
    ready.set_value();
    EXPECT_TRUE(waitUntil([&] { return watch.expired(); }));
}

TEST_P(KVBackgroundThreadContractTest, theWorkerRunsALoopOfItsOwn)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::promise<void> done;
    std::thread::id delayed;
    const auto mine = NSRunLoop::currentRunLoop();
    worker->perform([&] {
        EXPECT_NE(NSRunLoop::currentRunLoop(), mine);
        PerformDeferred::performDelayed(&target, [&] {
            delayed = std::this_thread::get_id();
            done.set_value();
        });
    });
    ASSERT_EQ(done.get_future().wait_for(kNet), std::future_status::ready);
    EXPECT_NE(delayed, std::this_thread::get_id());
    worker->stop(true);
}

TEST_P(KVBackgroundThreadContractTest, requestsRunInTheDefaultModeAndANestedLoopRunsTheNextOnes)
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

TEST_P(KVBackgroundThreadContractTest, aPendingCoalescedFlushKeepsTheWorkerUntilTheLoopRan)
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

TEST_P(KVBackgroundThreadContractTest, aRequestMayStopItsWorkerWithoutWaiting)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->perform([&] { worker->stop(false); });
    EXPECT_TRUE(waitUntil([&] {
        try {
            worker->flush();
            return false;
        } catch (const NSException &) {
            return true;
        }
    }));
}

TEST_P(KVBackgroundThreadContractTest, thePathIsFixedWhenTheWorkerIsMade)
{
    const auto worker = KVBackgroundThread::create();
    versions.minorRelease = direct() ? 4 : 6;
    versions.packed = direct() ? 0x1049 : 0x1060;
    worker->start(true);
    worker->performSelector("none", &target, QVariant(), QVariant(), KVFlushMode::Queue);
    if (direct()) {
        EXPECT_TRUE(waitUntil([&] { return target.seen().size() == 1; }));
    } else {
        QThread::msleep(30);
        EXPECT_TRUE(target.seen().isEmpty());
        worker->cancel();
    }
    worker->stop(true);
    EXPECT_EQ(target.seen().size(), direct() ? 1 : 0);
}

TEST_P(KVBackgroundThreadContractTest, terminateThreadEndsTheWorkerAfterTheRequest)
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

TEST(KVBackgroundThreadPathContractTest, withoutAnApplicationTheQueuePathIsTaken)
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

void throwOnAWorker(bool direct, const std::function<void()> &thrower)
{
    const LoopDriver<> driver(direct ? LoopKind::Plain : LoopKind::NoApplication);
    StubSystemVersions leopard;
    const ScopedService<SystemVersions> guard(&leopard);
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->perform(thrower);
    QThread::msleep(10000);
    std::_Exit(0);
}

TEST(KVBackgroundThreadDeathTest, anyOtherExceptionEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const bool direct : {false, true}) {
        EXPECT_EXIT(throwOnAWorker(direct, [] { throw std::runtime_error("other"); }),
                    testing::KilledBySignal(SIGABRT), "other");
        EXPECT_EXIT(throwOnAWorker(direct, [] { throw KVException("n", "m"); }),
                    testing::KilledBySignal(SIGABRT), "");
        EXPECT_EXIT(throwOnAWorker(direct, [] { throw 42; }), testing::KilledBySignal(SIGABRT), "");
    }
}

} // namespace
} // namespace KVBase::Tests

#include "WorkerBlindTest.moc"
