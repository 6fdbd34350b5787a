#include "Support/LoopDriver.h"
#include "Support/Together.h"
#include "Threads/WorkerSupport.h"

#include <KVBase/KVBackgroundThread.h>

#include <gtest/gtest.h>

#include <atomic>

namespace KVBase::Tests
{
namespace
{

class KVBackgroundThreadLifeThreads : public testing::TestWithParam<LoopKind> {
protected:
    LoopDriver<> driver{GetParam()};
    SilentConsole console;
    ScopedService<ConsoleSink> guard{&console};

    /// Does what a worker that has ended refuses; true when it was taken.
    static bool taken(const std::function<void()> &work)
    {
        try {
            work();
            return true;
        } catch (const NSException &exception) {
            EXPECT_EQ(exception.name(), QStringLiteral("KVBackgroundThread"));
            return false;
        }
    }
};
KV_FOR_EACH_LOOP(KVBackgroundThreadLifeThreads);

TEST_P(KVBackgroundThreadLifeThreads, SeveralMayStopAtOnce)
{
    for (int round = 0; round < 10; ++round) {
        const auto worker = KVBackgroundThread::backgroundThread();
        std::atomic<int> stops{0};
        const auto stop = [&](int) { stops += taken([&] { worker->stop(true); }) ? 1 : 0; };
        together({stop, stop, stop}, 1);
        EXPECT_GE(stops, 1);
        EXPECT_FALSE(taken([&] { worker->flush(); }));
    }
}

TEST_P(KVBackgroundThreadLifeThreads, SeveralMayStartAtOnceAndGetOneWorker)
{
    for (int round = 0; round < 10; ++round) {
        const auto worker = KVBackgroundThread::create();
        const auto start = [&](int) { worker->start(true); };
        together({start, start, start}, 1);
        std::atomic<int> ran{0};
        std::atomic<int> strangers{0};
        std::thread::id id;
        worker->perform([&] { id = std::this_thread::get_id(); });
        const auto submit = [&](int) {
            worker->perform([&] {
                ++ran;
                strangers += std::this_thread::get_id() == id ? 0 : 1;
            });
        };
        together({submit, submit}, 20);
        worker->stop(true);
        EXPECT_EQ(ran, 40);
        EXPECT_EQ(strangers, 0);
    }
}

TEST_P(KVBackgroundThreadLifeThreads, WhatIsTakenDuringAStopRunsAndTheRestIsRefused)
{
    for (int round = 0; round < 10; ++round) {
        const auto worker = KVBackgroundThread::backgroundThread();
        std::atomic<int> ran{0};
        std::atomic<int> accepted{0};
        std::atomic<bool> stopped{false};
        const auto submit = [&](int) {
            if (stopped)
                return;
            accepted += taken([&] { worker->perform([&] { ++ran; }); }) ? 1 : 0;
        };
        together({submit, submit,
                  [&](int turn) {
                      if (turn != 30)
                          return;
                      worker->stop(true);
                      stopped = true;
                  }},
                 60);
        EXPECT_LE(ran, accepted);
        EXPECT_FALSE(taken([&] { worker->flush(); }));
    }
}

TEST_P(KVBackgroundThreadLifeThreads, StopsAndRestartsUnderFireLoseTheirPlaceButNotTheirMind)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::atomic<int> ran{0};
    const auto submit = [&](int) { (void)taken([&] { worker->perform([&] { ++ran; }); }); };
    together({submit, submit,
              [&](int turn) {
                  if (turn % 10 != 0)
                      return;
                  worker->stop(true);
                  worker->start(true);
              }},
             50);
    worker->perform([&] { ran = -1; });
    worker->stop(true);
    EXPECT_EQ(ran, -1);
}

TEST_P(KVBackgroundThreadLifeThreads, SharedTargetsMayBeLetGoWhileTheirRequestsRun)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::atomic<int> ended{0};
    struct Ending : AddingTarget {
        explicit Ending(std::atomic<int> &count) : ended(&count) {}
        ~Ending() override { ++*ended; }
        std::atomic<int> *ended;
    };
    const auto submit = [&](int) {
        const auto target = std::make_shared<Ending>(ended);
        worker->performSelector("add:", target, 1);
        worker->performSelector("raise", target);
    };
    together({submit, submit}, 50);
    worker->stop(true);
    EXPECT_EQ(ended, 100);
}

TEST_P(KVBackgroundThreadLifeThreads, WorkersComeAndGoOnManyThreads)
{
    std::atomic<int> ran{0};
    const auto life = [&](int) {
        const auto worker = KVBackgroundThread::backgroundThread();
        worker->perform([&] { ++ran; });
        worker->stop(true);
    };
    together({life, life, life, life}, 10);
    EXPECT_EQ(ran, 40);
}

TEST_P(KVBackgroundThreadLifeThreads, WorkersFeedEachOther)
{
    const auto first = KVBackgroundThread::backgroundThread();
    const auto second = KVBackgroundThread::backgroundThread();
    std::atomic<int> ran{0};
    const auto ping = [&](int) { first->perform([&] { second->perform([&] { ++ran; }); }); };
    const auto pong = [&](int) { second->perform([&] { first->perform([&] { ++ran; }); }); };
    together({ping, pong}, 50);
    EXPECT_TRUE(waitUntil([&] { return ran == 100; }));
    first->stop(true);
    second->stop(true);
}

TEST_P(KVBackgroundThreadLifeThreads, DelegatesComeAndGoWhileRequestsRaise)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::atomic<bool> done{false};
    std::thread raiser([&] {
        for (int i = 0; i < 200; ++i)
            worker->perform([] { throw NSException(QStringLiteral("N"), QStringLiteral("R")); });
        done = true;
    });
    int told = 0;
    while (!done) {
        CountingDelegate delegate;
        worker->setDelegate(&delegate);
        spin(std::chrono::milliseconds(0));
        told += delegate.calls;
    }
    raiser.join();
    worker->stop(true);
    spin(std::chrono::milliseconds(0));
    EXPECT_EQ(worker->delegate(), nullptr);
    EXPECT_LE(told, 200);
}

TEST_P(KVBackgroundThreadLifeThreads, AWorkerFoundThroughAWeakPointerIsThereOrGone)
{
    for (int round = 0; round < 10; ++round) {
        auto worker = KVBackgroundThread::backgroundThread();
        const std::weak_ptr<KVBackgroundThread> weak = worker;
        std::atomic<int> ran{0};
        std::atomic<int> accepted{0};
        const auto submit = [&](int) {
            if (const auto found = weak.lock())
                accepted += taken([&] { found->perform([&] { ++ran; }); }) ? 1 : 0;
        };
        std::thread owner([&] {
            worker->stop(true);
            worker.reset();
        });
        together({submit, submit}, 20);
        owner.join();
        EXPECT_TRUE(waitUntil([&] { return weak.expired(); }));
        EXPECT_LE(ran, accepted);
    }
}

TEST_P(KVBackgroundThreadLifeThreads, CoalescedFlushesOfManyThreadsReachTheWorker)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::atomic<int> ran{0};
    const auto submit = [&](int) {
        for (int i = 0; i < 5; ++i)
            worker->perform([&] { ++ran; }, KVFlushMode::Coalesced);
        spin(std::chrono::milliseconds(0));
    };
    together({submit, submit, submit}, 10);
    worker->flush();
    worker->stop(true);
    EXPECT_EQ(ran, 150);
}

} // namespace
} // namespace KVBase::Tests
