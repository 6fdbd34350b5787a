#include <KVBase/KVMainThread.h>
#include <KVBase/KVUTimer.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Platform/Services/ThreadCapabilities.h"
#include "Support/LoopDriver.h"
#include "Support/ManualClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;

/// A system that has those of the two native questions that the test wants.
struct StubCapabilities final : ThreadCapabilities {
    bool hasMainThread = false;
    bool hasIsMainThread = false;
    QThread *native = nullptr;
    bool answer = false;
    int asked = 0;

    bool respondsToMainThread() override
    {
        ++asked;
        return hasMainThread;
    }
    bool respondsToIsMainThread() override
    {
        ++asked;
        return hasIsMainThread;
    }
    QThread *mainThread() override { return native; }
    bool isMainThread() override { return answer; }
};

/// Runs `work` on a thread of its own and waits for its end.
void onAnotherThread(const std::function<void()> &work)
{
    std::thread thread(work);
    thread.join();
}

TEST(KVMainThreadQueriesTest, EachNativeQueryIsTestedForItself)
{
    StubCapabilities system;
    const ScopedService<ThreadCapabilities> guard(&system);
    KVMainThread::markCurrentThreadAsMainThread();
    QThread other;
    system.native = &other;
    system.hasMainThread = true;
    EXPECT_EQ(KVMainThread::mainThread(), &other);
    EXPECT_TRUE(KVMainThread::isMainThread()) << "the mark answers, not the native main thread";

    system.hasMainThread = false;
    system.hasIsMainThread = true;
    system.answer = false;
    EXPECT_EQ(KVMainThread::mainThread(), QThread::currentThread());
    EXPECT_FALSE(KVMainThread::isMainThread());
    system.answer = true;
    onAnotherThread([] { EXPECT_TRUE(KVMainThread::isMainThread()); });
}

class KVUTimerContractTest : public LoopTest {};
KV_FOR_EACH_LOOP(KVUTimerContractTest);

TEST_P(KVUTimerContractTest, FiresInEachOfTheFourModes)
{
    const QString modes[] = {QStringLiteral("NSDefaultRunLoopMode"), QStringLiteral("NSConnectionReplyMode"),
                             QStringLiteral("NSModalPanelRunLoopMode"),
                             QStringLiteral("NSEventTrackingRunLoopMode")};
    for (const QString &mode : modes) {
        int calls = 0;
        QString modeSeen;
        const auto timer = NSTimer::timerWithTimeInterval(0.001, false, [&](NSTimer &) {
            ++calls;
            modeSeen = NSRunLoop::currentRunLoop()->currentMode();
        });
        KVUTimer::addTimerToAllCommonRunLoopModes(timer);
        const auto end = std::chrono::steady_clock::now() + kNet;
        while (calls == 0 && std::chrono::steady_clock::now() < end)
            NSRunLoop::currentRunLoop()->runMode(mode, QDateTime::currentDateTime().addMSecs(20));
        EXPECT_EQ(calls, 1) << mode.toStdString();
        EXPECT_EQ(modeSeen, mode);
        EXPECT_FALSE(timer->isValid());
    }
}

TEST_P(KVUTimerContractTest, DoesNotFireInAModeOfAnotherName)
{
    int calls = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0.001, false, [&](NSTimer &) { ++calls; });
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    NSRunLoop::currentRunLoop()->runMode(QStringLiteral("SomethingElse"),
                                         QDateTime::currentDateTime().addMSecs(60));
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(spinUntil([&] { return calls == 1; }));
}

TEST_P(KVUTimerContractTest, ActsOnTheCallingThreadsLoop)
{
    std::atomic<int> calls{0};
    std::atomic<bool> wrongThread{false};
    onAnotherThread([&] {
        const auto id = std::this_thread::get_id();
        KVUTimer::addTimerToAllCommonRunLoopModes(
            NSTimer::timerWithTimeInterval(0.001, false, [&, id](NSTimer &) {
                ++calls;
                wrongThread = std::this_thread::get_id() != id;
            }));
        EXPECT_TRUE(spinUntil([&] { return calls == 1; }));
    });
    EXPECT_FALSE(wrongThread);
}

TEST_P(KVUTimerContractTest, ATimerOfAThreadThatDoesNotRunItsLoopNeverFires)
{
    int calls = 0;
    onAnotherThread([&] {
        KVUTimer::addTimerToAllCommonRunLoopModes(
            NSTimer::timerWithTimeInterval(0.0, false, [&](NSTimer &) { ++calls; }));
        QThread::msleep(20);
    });
    spin(20ms);
    EXPECT_EQ(calls, 0);
}

TEST_P(KVUTimerContractTest, AnInvalidOrNilTimerIsIgnored)
{
    int calls = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0.0, true, [&](NSTimer &) { ++calls; });
    timer->invalidate();
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    KVUTimer::addTimerToAllCommonRunLoopModes(nullptr);
    spin(20ms);
    EXPECT_EQ(calls, 0);
}

} // namespace
} // namespace KVBase::Tests
