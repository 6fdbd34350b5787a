#include "Support/LoopDriver.h"
#include "Support/Together.h"

#include <KVBase/KVMainThread.h>
#include <KVBase/KVObserverHelper.h>
#include <KVBase/KVUTimer.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSNotificationQueue.h>
#include <KVBase/Platform/NSObject.h>

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
    Q_PROPERTY(int x MEMBER xValue NOTIFY xChanged)
public:
    Q_INVOKABLE void take(int value) { sum += value; }
    Q_INVOKABLE void refresh(const KVBase::NSNotification &) { ++refreshed; }
    Q_INVOKABLE void observeValueForKeyPath(const QString &, QObject *, const QVariantMap &, void *)
    {
        ++changes;
    }
    std::atomic<int> sum{0};
    std::atomic<int> refreshed{0};
    int changes = 0;
Q_SIGNALS:
    void xChanged();

private:
    int xValue = 0;
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

/// The center with observers that stay, whatever the others do.
struct Center {
    NSNotificationCenter &center = NSNotificationCenter::defaultCenter();
    QObject observer;
    QObject sender;
    std::atomic<int> heard{0};
    Center()
    {
        center.addObserver(&observer, QStringLiteral("Pair"), nullptr,
                           [this](const NSNotification &) { ++heard; });
    }
    ~Center() { center.removeObserver(&observer); }
    Center(const Center &) = delete;
    Center &operator=(const Center &) = delete;
};

const SharedOperation<Center> kCenterOperations[] = {
    {"Post",
     [](Center &shared, int) {
         const int before = shared.heard;
         shared.center.postNotification(NSNotification(QStringLiteral("Pair"), nullptr, {}));
         EXPECT_GT(shared.heard, before);
     }},
    {"PostWithSender",
     [](Center &shared, int) {
         shared.center.postNotification(NSNotification(QStringLiteral("Pair"), &shared.sender, {}));
     }},
    {"PostUnheard",
     [](Center &shared, int) {
         shared.center.postNotification(NSNotification(QStringLiteral("Nobody"), nullptr, {}));
     }},
    {"AddAndRemove",
     [](Center &shared, int) {
         QObject observer;
         shared.center.addObserver(&observer, QStringLiteral("Elsewhere"), nullptr,
                                   [](const NSNotification &) {});
         shared.center.removeObserver(&observer);
     }},
    {"AddAndRemoveByName",
     [](Center &shared, int) {
         QObject observer;
         shared.center.addObserver(&observer, QStringLiteral("Elsewhere"), &observer,
                                   [](const NSNotification &) {});
         shared.center.removeObserver(&observer, QStringLiteral("Elsewhere"), &observer);
     }},
    {"AddAndGo",
     [](Center &shared, int) {
         QObject observer;
         shared.center.addObserver(&observer, "deleteLater", QStringLiteral("Elsewhere"), nullptr);
     }},
    {"ObserveThroughAHelper",
     [](Center &, int) {
         Receiver model;
         Receiver observer;
         KVObserverHelper helper(&observer);
         helper.observeKeyPath(QStringLiteral("x"), &model, nullptr, 3);
         helper.observeKeyPath(QStringLiteral("x"), &model, nullptr);
         model.setProperty("x", 5);
         EXPECT_EQ(observer.changes, 2);
         helper.cleanup();
         model.setProperty("x", 6);
         EXPECT_EQ(observer.changes, 2);
     }},
    {"PerformBySelector",
     [](Center &, int) {
         Receiver receiver;
         EXPECT_TRUE(respondsToSelector(&receiver, "take:"));
         performSelector(&receiver, "take:", 3);
         EXPECT_EQ(receiver.sum, 3);
     }},
    {"PostThroughTheQueue",
     [](Center &shared, int) {
         const int before = shared.heard;
         NSNotificationQueue::defaultQueue().enqueueNotification(
             NSNotification(QStringLiteral("Pair"), nullptr, {}), NSPostASAP, NSNotificationCoalescingOnName,
             PerformDeferred::commonRunLoopModes());
         spin(0ms);
         EXPECT_GT(shared.heard, before);
     }},
};

class NSNotificationCenterPairsThreads : public testing::TestWithParam<SharedOperation<Center>> {};

TEST_P(NSNotificationCenterPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kCenterOperations, 60, [] { return std::make_unique<Center>(); },
        [](Center &shared) {
            shared.heard = 0;
            shared.center.postNotification(NSNotification(QStringLiteral("Pair"), nullptr, {}));
            EXPECT_EQ(shared.heard, 1);
        });
}

INSTANTIATE_TEST_SUITE_P(Each, NSNotificationCenterPairsThreads, testing::ValuesIn(kCenterOperations),
                         nameOfOperation<Center>);

} // namespace
} // namespace KVBase::Tests

#include "LoopPairsTest.moc"
