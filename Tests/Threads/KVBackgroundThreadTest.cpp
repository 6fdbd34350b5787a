#include <KVBase/KVBackgroundThread.h>

#include "Platform/Services/SystemVersions.h"
#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"

#include <KVBase/KVErrException.h>

#include <QtCore/QTimer>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

namespace KVBase
{
namespace
{

using namespace std::chrono_literals;
using Tests::LoopKind;
using Tests::spin;
using Tests::spinUntil;
using Tests::waitUntil;

enum class Path { Queue, Direct };

/// A release that cannot or can perform on a given thread.
struct StubVersions final : SystemVersions {
    explicit StubVersions(std::int32_t minor) : minorRelease(minor) {}

    OSStatus gestalt(OSType selector, std::int32_t *response) override
    {
        *response = selector == kGestaltSystemVersionMajor ? 10 : minorRelease;
        return 0;
    }
    QString productVersion() override { return {}; }
    QString productBuildVersion() override { return {}; }
    double foundationVersionNumber() override { return 1000; }
    double appKitVersionNumber() override { return 1000; }

    std::int32_t minorRelease;
};

class Target : public QObject {
    Q_OBJECT

public:
    QStringList calls() const
    {
        const std::lock_guard lock(mutex);
        return noted;
    }

    Q_INVOKABLE void note() { add(QStringLiteral("note")); }
    Q_INVOKABLE void note(const QVariant &object) { add(text(object)); }
    Q_INVOKABLE void note(const QVariant &a, const QVariant &b) { add(text(a) + u',' + text(b)); }
    Q_INVOKABLE void fail(const QString &reason) { throw NSException(QStringLiteral("Broken"), reason); }

private:
    static QString text(const QVariant &object)
    {
        return object.isValid() ? object.toString() : QStringLiteral("nil");
    }

    void add(const QString &call)
    {
        const std::lock_guard lock(mutex);
        noted.append(call);
    }

    mutable std::mutex mutex;
    QStringList noted;
};

class Delegate : public QObject {
    Q_OBJECT

public:
    QStringList reasons;
    bool wasElsewhere = false;

    Q_INVOKABLE void handleBackgroundThreadException(const KVBase::NSException &exception)
    {
        reasons.append(exception.description());
        wasElsewhere = wasElsewhere || QThread::currentThread() != thread();
    }
};

struct Parameter {
    LoopKind loop;
    Path path;
};

std::string nameOf(const testing::TestParamInfo<Parameter> &parameter)
{
    static const char *const loops[] = {"NoApplication", "GLib", "Plain"};
    return std::string(loops[static_cast<int>(parameter.param.loop)]) +
           (parameter.param.path == Path::Queue ? "Queue" : "Direct");
}

/// Makes workers of one path. Without an application object there is only the queue, so the others are made
/// in one that goes away again.
class WorkerTest : public testing::TestWithParam<Parameter> {
protected:
    Ref<KVBackgroundThread> create(const QString &name = {})
    {
        StubVersions versions(GetParam().path == Path::Queue ? 4 : 5);
        const ScopedService<SystemVersions> guard(&versions);
        if (GetParam().path == Path::Queue || GetParam().loop != LoopKind::NoApplication)
            return KVBackgroundThread::create(name);
        const Tests::LoopDriver<> temporary(LoopKind::GLib);
        return KVBackgroundThread::create(name);
    }

    Ref<KVBackgroundThread> running(const QString &name = {})
    {
        const auto worker = create(name);
        worker->start(true);
        return worker;
    }

    Tests::LoopDriver<> driver{GetParam().loop};
    Target target;
};

class KVBackgroundThreadTest : public WorkerTest {};

INSTANTIATE_TEST_SUITE_P(Loops, KVBackgroundThreadTest,
                         testing::Values(Parameter{LoopKind::NoApplication, Path::Queue},
                                         Parameter{LoopKind::NoApplication, Path::Direct},
                                         Parameter{LoopKind::GLib, Path::Queue},
                                         Parameter{LoopKind::GLib, Path::Direct},
                                         Parameter{LoopKind::Plain, Path::Queue},
                                         Parameter{LoopKind::Plain, Path::Direct}),
                         nameOf);

class KVBackgroundThreadQueueTest : public WorkerTest {};

INSTANTIATE_TEST_SUITE_P(Loops, KVBackgroundThreadQueueTest,
                         testing::Values(Parameter{LoopKind::NoApplication, Path::Queue},
                                         Parameter{LoopKind::GLib, Path::Queue},
                                         Parameter{LoopKind::Plain, Path::Queue}),
                         nameOf);

class KVBackgroundThreadDirectTest : public WorkerTest {};

INSTANTIATE_TEST_SUITE_P(Loops, KVBackgroundThreadDirectTest,
                         testing::Values(Parameter{LoopKind::NoApplication, Path::Direct},
                                         Parameter{LoopKind::GLib, Path::Direct},
                                         Parameter{LoopKind::Plain, Path::Direct}),
                         nameOf);

void expectNotStarted(const std::function<void()> &work)
{
    try {
        work();
        FAIL() << "nothing was raised";
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), QStringLiteral("KVBackgroundThread"));
        EXPECT_EQ(exception.reason(), QStringLiteral("The thread has not been started"));
    }
}

QStringList list(std::initializer_list<const char *> texts)
{
    QStringList result;
    for (const char *text : texts)
        result.append(QString::fromUtf8(text));
    return result;
}

TEST_P(KVBackgroundThreadTest, RunsRequestsOnItsOwnThread)
{
    const auto worker = running();
    std::mutex mutex;
    std::thread::id first;
    std::thread::id second;
    worker->perform([&] {
        const std::lock_guard lock(mutex);
        first = std::this_thread::get_id();
    });
    worker->perform([&] {
        const std::lock_guard lock(mutex);
        second = std::this_thread::get_id();
    });
    worker->stop(true);
    EXPECT_NE(first, std::thread::id());
    EXPECT_EQ(first, second);
    EXPECT_NE(first, std::this_thread::get_id());
}

TEST_P(KVBackgroundThreadTest, FactoriesAnswerARunningWorker)
{
    const auto nameless = KVBackgroundThread::backgroundThread();
    const auto named = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("named"));
    EXPECT_TRUE(nameless->name().isNull());
    EXPECT_EQ(named->name(), QStringLiteral("named"));
    nameless->performSelector("note:", &target, 1);
    nameless->stop(true);
    EXPECT_EQ(target.calls(), list({"1"}));
    named->stop(true);
    EXPECT_TRUE(KVBackgroundThread::create()->name().isNull());
}

TEST_P(KVBackgroundThreadTest, PassesUpToTwoObjects)
{
    const auto worker = running();
    worker->performSelector("note", &target);
    worker->performSelector("note:", &target, 1);
    worker->performSelector("note:and:", &target, 1, 2);
    worker->performSelector("note:and:", &target, 1);
    worker->performSelector("note:and:", &target, QVariant(), 2);
    worker->performSelector("note:and:", &target, 3, 4, KVFlushMode::Flush);
    worker->performSelector("note", nullptr, 1);
    worker->stop(true);
    EXPECT_EQ(target.calls(), list({"note", "1", "1,2", "1,nil", "nil,nil", "3,4"}));
}

TEST_P(KVBackgroundThreadTest, RaisesBeforeItWasStartedAndAfterItHasEnded)
{
    const auto worker = create();
    const auto expectRefusal = [&] {
        expectNotStarted([&] { worker->performSelector("note", &target); });
        expectNotStarted([&] { worker->performSelector("note:", &target, 1); });
        expectNotStarted([&] { worker->performSelector("note:and:", &target, 1, 2); });
        expectNotStarted([&] { worker->performSelector("note", &target, {}, {}, KVFlushMode::Queue); });
        expectNotStarted([&] { worker->perform([] {}); });
        expectNotStarted([&] { worker->perform(nullptr); });
        expectNotStarted([&] { worker->flush(); });
        expectNotStarted([&] { worker->stop(true); });
        expectNotStarted([&] { worker->stop(false); });
        worker->cancel();
    };
    expectRefusal();
    worker->start(true);
    worker->stop(true);
    expectRefusal();
    EXPECT_EQ(worker.use_count(), 1);
    EXPECT_TRUE(target.calls().isEmpty());
}

TEST_P(KVBackgroundThreadTest, StartsAgainAfterItHasEnded)
{
    const auto worker = create();
    for (int round = 0; round < 3; ++round) {
        worker->start(round != 1);
        EXPECT_TRUE(waitUntil([&] {
            try {
                worker->performSelector("note:", &target, round);
                return true;
            } catch (const NSException &) {
                return false;
            }
        }));
        worker->stop(true);
    }
    EXPECT_EQ(target.calls(), list({"0", "1", "2"}));
}

TEST_P(KVBackgroundThreadTest, StartingTwiceChangesNothingButTheConsole)
{
    const Tests::CapturedLog log;
    const auto worker = running(QStringLiteral("worker"));
    worker->start(true);
    worker->start(false);
    EXPECT_EQ(log.lines().size(), 2);
    worker->performSelector("note", &target);
    worker->stop(true);
    EXPECT_EQ(target.calls(), list({"note"}));
    expectNotStarted([&] { worker->flush(); });
}

TEST_P(KVBackgroundThreadTest, StopsAfterTheRequestsBeforeIt)
{
    const auto worker = running();
    for (int number = 0; number < 100; ++number)
        worker->performSelector("note:", &target, number);
    worker->stop(true);
    ASSERT_EQ(target.calls().size(), 100);
    for (int number = 0; number < 100; ++number)
        EXPECT_EQ(target.calls().at(number), QString::number(number));
}

TEST_P(KVBackgroundThreadTest, StopsWithoutWaiting)
{
    const auto worker = running();
    std::mutex gate;
    std::unique_lock closed(gate);
    worker->perform([&] { const std::lock_guard lock(gate); });
    worker->stop(false);
    closed.unlock();
    EXPECT_TRUE(waitUntil([&] {
        try {
            worker->flush();
            return false;
        } catch (const NSException &) {
            return true;
        }
    }));
}

TEST_P(KVBackgroundThreadTest, RunsItsOwnSubmissionsAtOnce)
{
    const auto worker = running();
    worker->perform([&] {
        worker->performSelector("note:", &target, 1, {}, KVFlushMode::Queue);
        worker->performSelector("note:and:", &target, QVariant(), 2, KVFlushMode::Coalesced);
        worker->perform([&] { worker->performSelector("note:", &target, 3); });
        worker->performSelector("note:", &target, 4);
    });
    worker->stop(true);
    EXPECT_EQ(target.calls(), list({"1", "nil,2", "3", "4"}));
}

TEST_P(KVBackgroundThreadTest, LogsAnExceptionTellsTheDelegateAndGoesOn)
{
    const Tests::CapturedLog log;
    Delegate delegate;
    const auto worker = running(QStringLiteral("worker"));
    worker->setDelegate(&delegate);
    EXPECT_EQ(worker->delegate(), &delegate);
    worker->performSelector("fail:", &target, QStringLiteral("It broke."));
    worker->performSelector("note", &target);
    EXPECT_TRUE(spinUntil([&] { return delegate.reasons.size() == 1; }));
    worker->stop(true);
    EXPECT_EQ(delegate.reasons, list({"It broke."}));
    EXPECT_FALSE(delegate.wasElsewhere);
    EXPECT_EQ(target.calls(), list({"note"}));
    EXPECT_EQ(log.lines(), list({"KVBackgroundThread worker caught exception: It broke."}));
}

TEST_P(KVBackgroundThreadTest, UsesTheFinishedTextAsAFormatAgain)
{
    const Tests::CapturedLog log;
    const auto worker = running();
    worker->performSelector("fail:", &target, QStringLiteral("100%% %@ %s %n %d"));
    worker->performSelector("unknown", &target);
    worker->stop(true);
    ASSERT_EQ(log.lines().size(), 2);
    EXPECT_EQ(log.lines().first(),
              QStringLiteral("KVBackgroundThread (null) caught exception: 100% %@ %s %n %d"));
    EXPECT_TRUE(log.lines().last().contains(QStringLiteral("unknown")));
}

TEST_P(KVBackgroundThreadTest, AnExceptionOfAnOwnSubmissionReachesTheSubmittingRequest)
{
    const Tests::CapturedLog log;
    const auto worker = running();
    bool wasCaught = false;
    worker->perform([&] {
        try {
            worker->performSelector("fail:", &target, QStringLiteral("inner"));
        } catch (const NSException &) {
            wasCaught = true;
        }
    });
    worker->perform([&] { worker->performSelector("fail:", &target, QStringLiteral("outer")); });
    worker->stop(true);
    EXPECT_TRUE(wasCaught);
    EXPECT_EQ(log.lines(), list({"KVBackgroundThread (null) caught exception: outer"}));
}

TEST_P(KVBackgroundThreadTest, ADelegateMayGoOrHaveNoSuchMethod)
{
    const Tests::CapturedLog log;
    const auto worker = running();
    auto gone = std::make_unique<Delegate>();
    worker->setDelegate(gone.get());
    worker->performSelector("fail:", &target, QStringLiteral("first"));
    EXPECT_TRUE(waitUntil([&] { return log.lines().size() == 1; }));
    gone.reset();
    EXPECT_EQ(worker->delegate(), nullptr);
    worker->performSelector("fail:", &target, QStringLiteral("second"));
    EXPECT_TRUE(waitUntil([&] { return log.lines().size() == 2; }));
    QObject mute;
    worker->setDelegate(&mute);
    worker->performSelector("fail:", &target, QStringLiteral("third"));
    worker->stop(true);
    spin(20ms);
    EXPECT_EQ(log.lines().size(), 3);
}

TEST_P(KVBackgroundThreadTest, DropsTheRequestOfAPlainTargetThatHasGoneAndKeepsASharedOne)
{
    const auto worker = running();
    std::mutex gate;
    std::unique_lock closed(gate);
    worker->perform([&] { const std::lock_guard lock(gate); });
    auto plain = std::make_unique<Target>();
    auto shared = std::make_shared<Target>();
    const std::weak_ptr<Target> weak = shared;
    worker->performSelector("note", plain.get());
    worker->performSelector("note", shared);
    plain.reset();
    shared.reset();
    EXPECT_FALSE(weak.expired());
    closed.unlock();
    worker->stop(true);
    EXPECT_TRUE(weak.expired());
}

TEST_P(KVBackgroundThreadTest, ARunningWorkerKeepsItsObjectUntilItIsStopped)
{
    auto worker = running();
    const std::weak_ptr<KVBackgroundThread> weak = worker;
    std::atomic<bool> ran{false};
    worker->perform([&ran] { ran = true; });
    worker.reset();
    EXPECT_TRUE(waitUntil([&] { return ran.load(); }));
    EXPECT_FALSE(weak.expired());
    weak.lock()->stop(false);
    EXPECT_TRUE(waitUntil([&] { return weak.expired(); }));
}

TEST_P(KVBackgroundThreadTest, TheOwnerMayLetGoInsideARequest)
{
    auto worker = running();
    const std::weak_ptr<KVBackgroundThread> weak = worker;
    KVBackgroundThread *const plain = worker.get();
    plain->perform([owner = std::move(worker)]() mutable {
        owner->stop(false);
        owner.reset();
    });
    EXPECT_TRUE(waitUntil([&] { return weak.expired(); }));
}

TEST_P(KVBackgroundThreadTest, ALoopInsideARequestMissesNoRequest)
{
    const auto worker = running();
    std::atomic<int> inner{0};
    std::atomic<bool> innerSawAll{false};
    worker->perform([&] { innerSawAll = spinUntil([&] { return inner == 3; }); });
    worker->perform([&] { ++inner; });
    EXPECT_TRUE(waitUntil([&] { return inner == 1; }));
    worker->perform([&] { ++inner; });
    EXPECT_TRUE(waitUntil([&] { return inner == 2; }));
    worker->perform([&] { ++inner; });
    worker->stop(true);
    EXPECT_TRUE(innerSawAll.load());
}

TEST_P(KVBackgroundThreadTest, RequestsThatComeAsOneDrainEndsAreNotLost)
{
    const auto worker = running();
    std::atomic<int> count{0};
    for (int round = 1; round <= 3000; ++round) {
        worker->perform([&] { ++count; });
        ASSERT_TRUE(waitUntil([&] {
            for (int look = 0; look < 1000 && count != round; ++look)
                std::this_thread::yield();
            return count == round;
        }));
    }
    worker->stop(true);
}

TEST_P(KVBackgroundThreadTest, NamesCanBeChanged)
{
    const auto worker = create(QStringLiteral("a rather long name for a worker"));
    worker->setName(QStringLiteral("other"));
    EXPECT_EQ(worker->name(), QStringLiteral("other"));
    worker->setName(QString());
    EXPECT_TRUE(worker->name().isNull());
    EXPECT_EQ(worker->delegate(), nullptr);
}

TEST_P(KVBackgroundThreadTest, WhatIsSubmittedDuringTheStopRunsOrRaises)
{
    const auto worker = running();
    std::atomic<int> accepted{0};
    std::atomic<bool> refused{false};
    std::atomic<int> ran{0};
    std::thread submitter([&] {
        try {
            for (;;) {
                worker->perform([&] { ++ran; });
                ++accepted;
            }
        } catch (const NSException &) {
            refused = true;
        }
    });
    EXPECT_TRUE(waitUntil([&] { return accepted > 10; }));
    worker->stop(true);
    submitter.join();
    EXPECT_TRUE(refused.load());
    EXPECT_LE(ran.load(), accepted.load() + 1);
    EXPECT_GT(ran.load(), 0);
}

TEST_P(KVBackgroundThreadTest, TimersOfTheWorkersLoopHaveTheirTurnHoweverFastOthersSubmit)
{
    const auto worker = running();
    std::atomic<int> fired{0};
    std::atomic<bool> isScheduled{false};
    worker->perform([&] {
        NSRunLoop::currentRunLoop()->addTimer(
            NSTimer::timerWithTimeInterval(0.001, true, [&fired](NSTimer &) { ++fired; }),
            NSDefaultRunLoopMode);
        isScheduled = true;
    });
    ASSERT_TRUE(waitUntil([&] { return isScheduled.load(); }));
    std::atomic<bool> ends{false};
    std::thread submitter([&] {
        while (!ends)
            worker->perform([] {});
    });
    EXPECT_TRUE(waitUntil([&] { return fired > 3; }));
    ends = true;
    submitter.join();
    worker->stop(true);
}

TEST_P(KVBackgroundThreadTest, RequestsAndWhatIsHandedToItsLoopBeforeRunInTheOrderOfTheCalls)
{
    const auto worker = running();
    std::mutex gate;
    std::unique_lock closed(gate);
    std::promise<Ref<NSRunLoop>> workersLoop;
    worker->perform([&] { workersLoop.set_value(NSRunLoop::currentRunLoop()); });
    const auto loop = workersLoop.get_future().get();
    std::atomic<bool> isHeld{false};
    loop->performOnThread([&] {
        isHeld = true;
        const std::lock_guard lock(gate);
    });
    ASSERT_TRUE(waitUntil([&] { return isHeld.load(); }));
    worker->performSelector("note:", &target, 1);
    loop->performOnThread("note:", &target, 2);
    closed.unlock();
    EXPECT_TRUE(waitUntil([&] { return target.calls().size() == 2; }));
    EXPECT_TRUE(target.calls() == list({"1", "2"}) || GetParam().path == Path::Queue);
    worker->stop(true);
}

TEST_P(KVBackgroundThreadQueueTest, RunsQueuedRequestsAfterAFlushInOrder)
{
    const auto worker = running();
    std::promise<std::weak_ptr<NSRunLoop>> workersLoop;
    worker->perform([&] { workersLoop.set_value(NSRunLoop::currentRunLoop()); });
    const auto loop = workersLoop.get_future().get().lock();
    ASSERT_NE(loop, nullptr);
    const auto turn = [&loop] {
        std::atomic<bool> turned{false};
        loop->performOnThread([&turned] { turned = true; });
        EXPECT_TRUE(waitUntil([&turned] { return turned.load(); }));
    };
    // The request that answered has left the queue empty once the loop turns.
    turn();
    worker->performSelector("note:", &target, QStringLiteral("A"), {}, KVFlushMode::Queue);
    worker->performSelector("note:", &target, QStringLiteral("B"), {}, KVFlushMode::Queue);
    turn();
    EXPECT_TRUE(target.calls().isEmpty()) << "what is only queued waits for a flush";
    worker->performSelector("note:", &target, QStringLiteral("C"), {}, KVFlushMode::Flush);
    EXPECT_TRUE(waitUntil([&] { return target.calls().size() == 3; }));
    EXPECT_EQ(target.calls(), list({"A", "B", "C"}));
    worker->perform([&] { target.metaObject(); }, KVFlushMode::Queue);
    worker->performSelector("note:", &target, QStringLiteral("D"), {}, KVFlushMode::Queue);
    worker->flush();
    EXPECT_TRUE(waitUntil([&] { return target.calls().size() == 4; }));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadQueueTest, WaitsLongerThanASliceForAFlush)
{
    const auto worker = running();
    worker->performSelector("note", &target, {}, {}, KVFlushMode::Queue);
    QThread::msleep(1300);
    EXPECT_TRUE(target.calls().isEmpty());
    worker->flush();
    EXPECT_TRUE(waitUntil([&] { return target.calls().size() == 1; }));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadQueueTest, CancelDropsWhatIsQueued)
{
    const auto worker = running();
    auto argument = std::make_shared<int>(1);
    const std::weak_ptr<int> weak = argument;
    for (int request = 0; request < 3; ++request)
        worker->performSelector("note:", &target, QVariant::fromValue(argument), {}, KVFlushMode::Queue);
    argument.reset();
    EXPECT_FALSE(weak.expired());
    worker->cancel();
    EXPECT_TRUE(weak.expired());
    worker->flush();
    worker->performSelector("note", &target);
    worker->stop(true);
    EXPECT_EQ(target.calls(), list({"note"}));
}

TEST_P(KVBackgroundThreadQueueTest, CancelInsideARequestDropsTheRestOfTheQueue)
{
    const auto worker = running();
    std::atomic<bool> begun{false};
    std::atomic<bool> cancelled{false};
    std::mutex gate;
    std::unique_lock closed(gate);
    worker->perform([&] {
        begun = true;
        const std::lock_guard lock(gate);
        worker->cancel();
        cancelled = true;
    });
    ASSERT_TRUE(waitUntil([&] { return begun.load(); }));
    worker->performSelector("note:", &target, QStringLiteral("dropped"));
    worker->performSelector("note:", &target, QStringLiteral("dropped too"), {}, KVFlushMode::Queue);
    closed.unlock();
    ASSERT_TRUE(waitUntil([&] { return cancelled.load(); }));
    worker->performSelector("note:", &target, QStringLiteral("later"));
    worker->stop(true);
    EXPECT_EQ(target.calls(), list({"later"}));
}

TEST_P(KVBackgroundThreadQueueTest, CancelInsideARequestDropsWhatIsQueuedWithIt)
{
    const auto worker = running();
    std::atomic<bool> cancelled{false};
    worker->perform(
        [&] {
            worker->cancel();
            cancelled = true;
        },
        KVFlushMode::Queue);
    worker->performSelector("note:", &target, QStringLiteral("dropped"), {}, KVFlushMode::Queue);
    worker->flush();
    ASSERT_TRUE(waitUntil([&] { return cancelled.load(); }));
    worker->performSelector("note:", &target, QStringLiteral("later"));
    worker->stop(true);
    EXPECT_EQ(target.calls(), list({"later"}));
}

TEST_P(KVBackgroundThreadQueueTest, CancelDropsAQueuedStopToo)
{
    const auto worker = running();
    std::mutex gate;
    {
        const std::unique_lock closed(gate);
        std::atomic<bool> begun{false};
        worker->perform([&] {
            begun = true;
            const std::lock_guard lock(gate);
        });
        ASSERT_TRUE(waitUntil([&] { return begun.load(); }));
        worker->stop(false);
        worker->cancel();
    }
    worker->performSelector("note", &target);
    EXPECT_TRUE(waitUntil([&] { return target.calls().size() == 1; }));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadQueueTest, ACoalescedFlushComesWithThePassOfTheSubmittersLoop)
{
    const auto worker = running();
    for (int request = 0; request < 3; ++request)
        worker->performSelector("note:", &target, request, {}, KVFlushMode::Coalesced);
    QThread::msleep(30);
    EXPECT_TRUE(target.calls().isEmpty());
    EXPECT_TRUE(spinUntil([&] { return target.calls().size() == 3; }));
    EXPECT_EQ(target.calls(), list({"0", "1", "2"}));
    worker->stop(true);
}

TEST_P(KVBackgroundThreadQueueTest, ACoalescedFlushThatComesTooLateIsLogged)
{
    const Tests::CapturedLog log;
    const auto worker = running();
    worker->performSelector("note", &target, {}, {}, KVFlushMode::Coalesced);
    worker->stop(true);
    EXPECT_EQ(target.calls(), list({"note"})) << "the stop's wake-up drains the queue";
    spin(5ms);
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().endsWith(QStringLiteral("The thread has not been started")));
}

TEST_P(KVBackgroundThreadQueueTest, WhatComesDuringTheLastDrainStillRuns)
{
    const auto worker = running();
    std::atomic<bool> isStopping{false};
    std::atomic<bool> mayEnd{false};
    worker->perform([&] {
        worker->stop(false);
        isStopping = true;
        waitUntil([&] { return mayEnd.load(); });
    });
    ASSERT_TRUE(waitUntil([&] { return isStopping.load(); }));
    worker->performSelector("note", &target);
    mayEnd = true;
    EXPECT_TRUE(waitUntil([&] { return target.calls().size() == 1; }));
}

TEST_P(KVBackgroundThreadQueueTest, DropsWhatIsLeftWhenTheLoopEnds)
{
    const auto worker = running();
    auto argument = std::make_shared<int>(1);
    const std::weak_ptr<int> weak = argument;
    worker->stop(true);
    worker->start(true);
    worker->performSelector("note:", &target, QVariant::fromValue(argument), {}, KVFlushMode::Queue);
    argument.reset();
    worker->perform([&] { worker->stop(false); });
    EXPECT_TRUE(waitUntil([&] { return weak.expired(); }));
}

TEST_P(KVBackgroundThreadDirectTest, IgnoresFlushModesFlushAndCancel)
{
    const auto worker = running();
    std::mutex gate;
    std::unique_lock closed(gate);
    worker->perform([&] { const std::lock_guard lock(gate); });
    worker->performSelector("note:", &target, 1, {}, KVFlushMode::Queue);
    worker->performSelector("note:", &target, 2, {}, KVFlushMode::Coalesced);
    worker->cancel();
    worker->flush();
    closed.unlock();
    EXPECT_TRUE(waitUntil([&] { return target.calls().size() == 2; }));
    EXPECT_EQ(target.calls(), list({"1", "2"}));
    worker->stop(true);
}

/// Where an application object exists, what belongs to Qt works on the worker as well.
TEST(KVBackgroundThreadQtTest, QtObjectsOnTheWorkerGetTheirEvents)
{
    for (const LoopKind kind : {LoopKind::GLib, LoopKind::Plain}) {
        const Tests::LoopDriver<> driver(kind);
        const auto worker = KVBackgroundThread::backgroundThread();
        std::atomic<int> ticks{0};
        std::atomic<bool> rightThread{true};
        std::atomic<bool> queued{false};
        std::unique_ptr<QObject> owned;
        std::atomic<QObject *> resident{nullptr};
        worker->perform([&] {
            owned = std::make_unique<QObject>();
            auto *const timer = new QTimer(owned.get());
            const auto own = std::this_thread::get_id();
            QObject::connect(timer, &QTimer::timeout, [&, own] {
                rightThread = rightThread && std::this_thread::get_id() == own;
                ++ticks;
            });
            timer->start(1);
            resident = owned.get();
        });
        EXPECT_TRUE(waitUntil([&] { return ticks > 3 && resident != nullptr; }));
        QMetaObject::invokeMethod(
            resident.load(), [&] { queued = true; }, Qt::QueuedConnection);
        EXPECT_TRUE(waitUntil([&] { return queued.load(); }));
        worker->perform([&] { owned.reset(); });
        worker->stop(true);
        EXPECT_TRUE(rightThread.load());
    }
}

TEST(KVBackgroundThreadQtTest, AWorkerLivesThroughTheComingAndGoingOfApplicationObjects)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::atomic<int> count{0};
    int expected = 0;
    const auto check = [&] {
        ++expected;
        worker->perform([&] { ++count; });
        return waitUntil([&] { return count == expected; });
    };
    EXPECT_TRUE(check());
    for (const LoopKind kind : {LoopKind::GLib, LoopKind::Plain}) {
        {
            const Tests::LoopDriver<> driver(kind);
            EXPECT_TRUE(check());
            QThread::msleep(1100);
            EXPECT_TRUE(check());
        }
        EXPECT_TRUE(check());
    }
    worker->stop(true);
}

TEST(KVBackgroundThreadQtTest, ThePathIsChosenWhenTheObjectIsMade)
{
    // Without an application object there is no release that could perform on a thread.
    Target target;
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector("note", &target, {}, {}, KVFlushMode::Queue);
    const Tests::LoopDriver<> driver(LoopKind::GLib);
    worker->cancel();
    worker->stop(true);
    EXPECT_TRUE(target.calls().isEmpty());

    const auto direct = KVBackgroundThread::backgroundThread();
    direct->performSelector("note", &target, {}, {}, KVFlushMode::Queue);
    direct->cancel();
    direct->stop(true);
    EXPECT_EQ(target.calls(), list({"note"}));
}

TEST(KVBackgroundThreadDeathTest, AnyOtherExceptionEndsTheProcess)
{
    const auto die = [](LoopKind kind) {
        const Tests::LoopDriver<> driver(kind);
        const auto worker = KVBackgroundThread::backgroundThread();
        worker->perform([] { throw std::runtime_error("something else"); });
        worker->stop(true);
        std::this_thread::sleep_for(Tests::kNet);
    };
    for (const LoopKind kind : {LoopKind::NoApplication, LoopKind::GLib, LoopKind::Plain})
        EXPECT_DEATH(die(kind), "something else");
}

TEST(KVBackgroundThreadDeathTest, SoDoesTheFrameworksOwnException)
{
    EXPECT_DEATH(
        {
            const auto worker = KVBackgroundThread::backgroundThread();
            worker->perform([] { throw KVErrException(-36, "broken"); });
            worker->stop(true);
            std::this_thread::sleep_for(Tests::kNet);
        },
        "");
}

} // namespace
} // namespace KVBase

#include "KVBackgroundThreadTest.moc"
