#include "Support/LoopDriver.h"
#include "Support/Together.h"

#include <KVBase/KVMainThread.h>
#include <KVBase/KVUTimer.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSNotification.h>

#include <gtest/gtest.h>

#include <atomic>

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;

/// A receiver of its thread's own requests.
class Receiver : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void take(int value) { sum += value; }
    Q_INVOKABLE void refresh(const KVBase::NSNotification &) { ++refreshed; }
    std::atomic<int> sum{0};
    std::atomic<int> refreshed{0};
};

class RunLoopPairsThreads : public LoopTest {};
KV_FOR_EACH_LOOP(RunLoopPairsThreads);

TEST_P(RunLoopPairsThreads, EveryThreadDebouncesForItself)
{
    const auto work = [](int) {
        Receiver receiver;
        for (int i = 0; i < 5; ++i) {
            PerformDeferred::performCoalescedSelector(&receiver, "take:", 1);
            PerformDeferred::performCoalescedSelector(&receiver, "take:", 2, 100.0);
        }
        EXPECT_TRUE(spinUntil([&] { return receiver.sum == 1; }));
        PerformDeferred::cancelAllDelayedSelectors(&receiver);
    };
    together({work, work, work, work}, 10);
}

TEST_P(RunLoopPairsThreads, EveryThreadPostsThroughItsOwnQueue)
{
    const auto work = [](int) {
        Receiver receiver;
        PerformDeferred::registerDeferredSelector(&receiver, "refresh:");
        for (int i = 0; i < 3; ++i) {
            PerformDeferred::performDeferredSelector(&receiver, "refresh:");
            PerformDeferred::performCoalescedDeferredSelector(&receiver, "refresh:");
        }
        PerformDeferred::cancelDeferredSelector(&receiver, "refresh:");
        PerformDeferred::performDeferredSelector(&receiver, "refresh:");
        EXPECT_TRUE(spinUntil([&] { return receiver.refreshed == 1; }));
        PerformDeferred::unregisterDeferredSelector(&receiver, "refresh:");
    };
    together({work, work, work, work}, 10);
}

TEST_P(RunLoopPairsThreads, ACancelOnAnotherThreadTakesNothingAway)
{
    Receiver receiver;
    std::atomic<bool> waiting{false};
    std::thread owner([&] {
        PerformDeferred::performDelayedSelector(&receiver, "take:", 1);
        PerformDeferred::performCoalescedSelector(&receiver, "take:", 2);
        waiting = true;
        EXPECT_TRUE(spinUntil([&] { return receiver.sum == 3; }));
    });
    EXPECT_TRUE(waitUntil([&] { return waiting.load(); }));
    const auto cancel = [&](int) {
        PerformDeferred::cancelAllDelayedSelectors(&receiver);
        PerformDeferred::cancelDelayedSelector(&receiver, "take:", 1);
    };
    together({cancel, cancel}, 50);
    owner.join();
}

TEST_P(RunLoopPairsThreads, EveryThreadCoalescesOnOneSharedReceiver)
{
    const auto receiver = std::make_shared<Receiver>();
    const auto work = [&](int) {
        PerformDeferred::performCoalescedSelector(receiver, "take:", 1);
        PerformDeferred::performCoalescedSelector(receiver, "take:", 1);
        spin(0ms);
    };
    together({work, work, work}, 20);
    EXPECT_EQ(receiver->sum, 60);
    EXPECT_EQ(receiver.use_count(), 1);
}

TEST_P(RunLoopPairsThreads, ASharedReceiverMayLoseItsLastOwnerOnAnyThread)
{
    std::atomic<int> living{0};
    struct Living : Receiver {
        explicit Living(std::atomic<int> &given) : count(&given) { ++*count; }
        ~Living() override { --*count; }
        std::atomic<int> *count;
    };
    for (int round = 0; round < 20; ++round) {
        auto receiver = std::make_shared<Living>(living);
        std::vector<std::function<void(int)>> works;
        for (int thread = 0; thread < 3; ++thread)
            works.emplace_back([held = receiver](int) mutable {
                PerformDeferred::performDelayedSelector(held, "take:", 1);
                held.reset();
                spin(0ms);
            });
        receiver.reset();
        together(works, 1);
        works.clear();
        EXPECT_EQ(living, 0);
    }
}

TEST_P(RunLoopPairsThreads, ReceiversThatGoDropWhatTheirThreadAskedFor)
{
    std::atomic<int> calls{0};
    const auto work = [&](int) {
        auto receiver = std::make_unique<Receiver>();
        PerformDeferred::performDelayed(receiver.get(), [&] { ++calls; });
        PerformDeferred::performDeferred(receiver.get(), [&] { ++calls; });
        PerformDeferred::performCoalescedDeferred(receiver.get(), QStringLiteral("k"), [&] { ++calls; });
        receiver.reset();
        spin(0ms);
    };
    together({work, work, work, work}, 25);
    EXPECT_EQ(calls, 0);
}

TEST_P(RunLoopPairsThreads, ManyThreadsHandOverWhileTheLoopRuns)
{
    const auto loop = NSRunLoop::currentRunLoop();
    std::atomic<int> calls{0};
    Receiver receiver;
    const auto post = [&](int) {
        loop->performOnThread([&] { ++calls; });
        loop->performOnThread("take:", &receiver, 1);
        loop->wakeUp();
    };
    std::thread posters([&] { together({post, post, post}, 50); });
    EXPECT_TRUE(spinUntil([&] { return calls == 150 && receiver.sum == 150; }));
    posters.join();
}

TEST_P(RunLoopPairsThreads, ALoopMayEndWhileOthersHandOver)
{
    for (int round = 0; round < 15; ++round) {
        std::atomic<NSRunLoop *> shared{nullptr};
        Ref<NSRunLoop> loop;
        std::atomic<int> calls{0};
        std::thread owner([&] {
            loop = NSRunLoop::currentRunLoop();
            shared = loop.get();
            spin(1ms);
        });
        const auto post = [&](int) {
            if (NSRunLoop *const target = shared)
                target->performOnThread([&] { ++calls; });
        };
        together({post, post}, 50);
        owner.join();
        EXPECT_LE(calls, 100);
    }
}

TEST_P(RunLoopPairsThreads, TimersOfManyThreadsFireOnTheirOwn)
{
    const auto work = [](int) {
        const auto id = std::this_thread::get_id();
        int fired = 0;
        const auto timer = NSTimer::timerWithTimeInterval(0.001, true, [&](NSTimer &mine) {
            EXPECT_EQ(std::this_thread::get_id(), id);
            if (++fired == 3)
                mine.invalidate();
        });
        KVUTimer::addTimerToAllCommonRunLoopModes(timer);
        EXPECT_TRUE(spinUntil([&] { return fired == 3; }));
        EXPECT_FALSE(timer->isValid());
    };
    together({work, work, work}, 3);
}

TEST_P(RunLoopPairsThreads, TheMainLoopIsTheSameForAll)
{
    const auto mine = NSRunLoop::mainRunLoop();
    const auto ask = [&](int) {
        EXPECT_EQ(NSRunLoop::mainRunLoop(), mine);
        EXPECT_NE(NSRunLoop::currentRunLoop(), mine);
        EXPECT_EQ(PerformDeferred::commonRunLoopModes().size(), 3);
    };
    together({ask, ask, ask, ask}, 50);
}

TEST_P(RunLoopPairsThreads, MarkingAndAskingForTheMainThread)
{
    const auto ask = [](int) {
        (void)KVMainThread::mainThread();
        (void)KVMainThread::isMainThread();
    };
    const auto mark = [](int) { KVMainThread::markCurrentThreadAsMainThread(); };
    together({ask, ask, mark, mark}, 100);
    KVMainThread::markCurrentThreadAsMainThread();
    EXPECT_TRUE(KVMainThread::isMainThread());
    EXPECT_EQ(KVMainThread::mainThread(), QThread::currentThread());
}

} // namespace
} // namespace KVBase::Tests

#include "LoopPairsTest.moc"
