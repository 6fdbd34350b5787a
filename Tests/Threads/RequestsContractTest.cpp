#include <KVBase/KVBackgroundThread.h>
#include <KVBase/KVMainThread.h>
#include <KVBase/KVUTimer.h>
#include <KVBase/PerformDeferred.h>

#include "Platform/Services/ThreadCapabilities.h"
#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"
#include "Support/ManualClock.h"

#include <KVBase/Platform/NSNotification.h>

#include <thread>

namespace KVBase
{
namespace
{

using namespace std::chrono_literals;
using Tests::spinUntil;

class ContractReceiver : public QObject {
    Q_OBJECT

public:
    QStringList calls;
    std::function<void()> then;

    Q_INVOKABLE void refresh(const QVariant &object)
    {
        calls.append(object.isValid() ? object.toString() : QStringLiteral("nil"));
        if (const auto work = std::exchange(then, nullptr))
            work();
    }
    Q_INVOKABLE void deferred(const KVBase::NSNotification &notification)
    {
        calls.append(notification.name());
        if (const auto work = std::exchange(then, nullptr))
            work();
    }
};

/// Takes the exception as a slot, under the short name of its type; a subclass answers as well.
class ContractDelegate : public QObject {
    Q_OBJECT

public:
    QStringList names;
    QThread *calledOn = nullptr;

public Q_SLOTS:
    void handleBackgroundThreadException(const NSException &exception)
    {
        names.append(exception.name());
        calledOn = QThread::currentThread();
    }
};

class DerivedDelegate : public ContractDelegate {
    Q_OBJECT
};

class PerformDeferredContractTest : public Tests::LoopTest {
protected:
    void turn() { clock.advance(0ns); }
    void coalesce(double delay)
    {
        PerformDeferred::performCoalescedSelector(&receiver, "refresh:", 1, delay);
    }

    Tests::ManualClock clock;
    ContractReceiver receiver;
};

KV_FOR_EACH_LOOP(PerformDeferredContractTest);

TEST_P(PerformDeferredContractTest, TheLastDelayCounts)
{
    coalesce(0.5);
    coalesce(0.1);
    clock.advance(100ms);
    EXPECT_EQ(receiver.calls.size(), 1);
    clock.advance(1s);
    EXPECT_EQ(receiver.calls.size(), 1);
    coalesce(0.1);
    coalesce(0.5);
    clock.advance(499ms);
    EXPECT_EQ(receiver.calls.size(), 1);
    clock.advance(1ms);
    EXPECT_EQ(receiver.calls.size(), 2);
}

TEST_P(PerformDeferredContractTest, ACallThatAsksAgainIsCalledAgain)
{
    receiver.then = [&] { coalesce(0.2); };
    coalesce(0.2);
    clock.advance(200ms);
    EXPECT_EQ(receiver.calls.size(), 1);
    clock.advance(200ms);
    EXPECT_EQ(receiver.calls.size(), 2);
    clock.advance(200ms);
    EXPECT_EQ(receiver.calls.size(), 2);
}

TEST_P(PerformDeferredContractTest, ANilArgumentIsCancelledByNilOnly)
{
    PerformDeferred::performDelayedSelector(&receiver, "refresh:", QVariant());
    PerformDeferred::cancelDelayedSelector(&receiver, "refresh:", QStringLiteral(""));
    PerformDeferred::cancelDelayedSelector(&receiver, "refresh:", 0);
    turn();
    EXPECT_EQ(receiver.calls, QStringList(QStringLiteral("nil")));
    PerformDeferred::performDelayedSelector(&receiver, "refresh:", QVariant());
    PerformDeferred::cancelDelayedSelector(&receiver, "refresh:", QVariant());
    turn();
    EXPECT_EQ(receiver.calls.size(), 1);
}

TEST_P(PerformDeferredContractTest, DelayedAndDeferredRequestsAreCancelledApart)
{
    const QString name = PerformDeferred::nameForSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performCoalescedDeferredSelector(&receiver, "refresh:");
    PerformDeferred::cancelAllDelayedSelectors(&receiver);
    PerformDeferred::cancelDelayedSelector(&receiver, "deferred:", QVariant());
    turn();
    EXPECT_EQ(receiver.calls, QStringList(name));
    PerformDeferred::performDelayedSelector(&receiver, "refresh:", 1);
    PerformDeferred::cancelDeferredSelector(&receiver, "refresh:");
    PerformDeferred::cancelCoalescedDeferredSelector(&receiver, "refresh:");
    turn();
    EXPECT_EQ(receiver.calls, (QStringList{name, QStringLiteral("1")}));
}

TEST_P(PerformDeferredContractTest, APlainDeferredRequestIsNotMergedIntoACoalescedOne)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performCoalescedDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls.size(), 2);
}

TEST_P(PerformDeferredContractTest, ADeferredRequestForThePanelWaitsForThePanel)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:", NSModalPanelRunLoopMode);
    turn();
    NSRunLoop::currentRunLoop()->runMode(NSEventTrackingRunLoopMode, clock.now());
    EXPECT_TRUE(receiver.calls.isEmpty());
    NSRunLoop::currentRunLoop()->runMode(NSModalPanelRunLoopMode, clock.now());
    EXPECT_EQ(receiver.calls.size(), 1);
}

TEST_P(PerformDeferredContractTest, ARequestIsCancelledOnItsOwnThreadOnly)
{
    PerformDeferred::performDelayedSelector(&receiver, "refresh:", 1);
    std::thread([&] {
        PerformDeferred::cancelDelayedSelector(&receiver, "refresh:", 1);
        PerformDeferred::cancelAllDelayedSelectors(&receiver);
    }).join();
    turn();
    EXPECT_EQ(receiver.calls.size(), 1);
}

TEST_P(PerformDeferredContractTest, ATimerInAllCommonModesIsRetainedByTheRunLoopOnly)
{
    int fired = 0;
    auto timer = NSTimer::timerWithTimeInterval(1, false, [&](NSTimer &) { ++fired; });
    const std::weak_ptr<NSTimer> weak = timer;
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    timer.reset();
    EXPECT_FALSE(weak.expired());
    clock.advance(1s);
    EXPECT_EQ(fired, 1);
    EXPECT_TRUE(weak.expired());
}

class KVBackgroundThreadContractTest : public Tests::LoopTest {};

KV_FOR_EACH_LOOP(KVBackgroundThreadContractTest);

TEST_P(KVBackgroundThreadContractTest, ADelegateIsToldOnTheMainThreadOnceForEachExceptionAfterTheLogLine)
{
    const Tests::CapturedLog log;
    DerivedDelegate delegate;
    const auto worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("50%% done"));
    worker->setDelegate(&delegate);
    worker->perform([] { throw NSException(QStringLiteral("First"), QStringLiteral("100%% broken")); });
    worker->perform([] { throw NSException(QStringLiteral("Second"), QStringLiteral("again")); });
    worker->stop(true);
    EXPECT_TRUE(delegate.names.isEmpty());
    EXPECT_EQ(log.lines(),
              (QStringList{QStringLiteral("KVBackgroundThread 50% done caught exception: 100% broken"),
                           QStringLiteral("KVBackgroundThread 50% done caught exception: again")}));
    EXPECT_TRUE(spinUntil([&] { return delegate.names.size() == 2; }));
    EXPECT_EQ(delegate.names, (QStringList{QStringLiteral("First"), QStringLiteral("Second")}));
    EXPECT_EQ(delegate.calledOn, QThread::currentThread());
}

TEST_P(KVBackgroundThreadContractTest, ANilTargetOrSelectorEndsNeitherTheCallNorTheWorker)
{
    const Tests::CapturedLog log;
    ContractReceiver receiver;
    const auto worker = KVBackgroundThread::backgroundThread();
    worker->performSelector(KVSelector(), nullptr);
    worker->performSelector("refresh:", nullptr, 1, 2);
    worker->performSelector(KVSelector(), &receiver);
    worker->perform([&] { worker->performSelector("refresh:", nullptr, 1); });
    worker->performSelector("refresh:", &receiver, 1);
    worker->stop(true);
    EXPECT_EQ(receiver.calls, QStringList(QStringLiteral("1")));
    EXPECT_EQ(log.lines().size(), 1) << "the selector that nobody has";
}

/// A platform that can answer one of the two questions only.
struct HalfCapable final : ThreadCapabilities {
    bool respondsToMainThread() override { return knowsThread; }
    bool respondsToIsMainThread() override { return !knowsThread; }
    QThread *mainThread() override { return nullptr; }
    bool isMainThread() override { return false; }

    bool knowsThread = true;
};

TEST(KVMainThreadContractTest, ThePlatformsAnswerCountsEvenWhereItIsNoneAndForItsOwnQuestionOnly)
{
    HalfCapable platform;
    const ScopedService<ThreadCapabilities> guard(&platform);
    KVMainThread::markCurrentThreadAsMainThread();
    EXPECT_EQ(KVMainThread::mainThread(), nullptr);
    EXPECT_TRUE(KVMainThread::isMainThread());
    platform.knowsThread = false;
    EXPECT_EQ(KVMainThread::mainThread(), QThread::currentThread());
    EXPECT_FALSE(KVMainThread::isMainThread());
}

} // namespace
} // namespace KVBase

#include "RequestsContractTest.moc"
