#include <KVBase/KVMainThread.h>
#include <KVBase/KVUTimer.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Platform/Services/ThreadCapabilities.h"
#include "Support/LoopDriver.h"
#include "Support/ManualClock.h"
#include "Support/ToolRunner.h"

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QMenu>

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

TEST(KVMainThreadContractTest, anUnmarkedProcessWithoutNativeQueriesHasNoMainThread)
{
    if (!qEnvironmentVariableIsSet("KV_UNMARKED")) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("KV_UNMARKED"), QStringLiteral("1"));
        const ToolResult result = runProgram(
            QStringLiteral("/proc/self/exe"),
            {QStringLiteral("--gtest_filter=KVMainThreadContractTest.anUnmarked*")}, {}, environment);
        EXPECT_EQ(result.exitCode, 0) << result.out.constData();
        return;
    }
    StubCapabilities none;
    const ScopedService<ThreadCapabilities> guard(&none);
    EXPECT_EQ(KVMainThread::mainThread(), nullptr);
    EXPECT_FALSE(KVMainThread::isMainThread());
    onAnotherThread([] {
        EXPECT_EQ(KVMainThread::mainThread(), nullptr);
        EXPECT_FALSE(KVMainThread::isMainThread());
    });
}

TEST(KVMainThreadContractTest, theMarkAnswersWhereTheSystemCannot)
{
    StubCapabilities none;
    const ScopedService<ThreadCapabilities> guard(&none);
    KVMainThread::markCurrentThreadAsMainThread();
    QThread *const mine = QThread::currentThread();
    EXPECT_EQ(KVMainThread::mainThread(), mine);
    EXPECT_TRUE(KVMainThread::isMainThread());
    onAnotherThread([mine] {
        EXPECT_EQ(KVMainThread::mainThread(), mine);
        EXPECT_FALSE(KVMainThread::isMainThread());
    });
}

TEST(KVMainThreadContractTest, markingAgainMovesTheMark)
{
    StubCapabilities none;
    const ScopedService<ThreadCapabilities> guard(&none);
    KVMainThread::markCurrentThreadAsMainThread();
    onAnotherThread([] {
        KVMainThread::markCurrentThreadAsMainThread();
        EXPECT_EQ(KVMainThread::mainThread(), QThread::currentThread());
        EXPECT_TRUE(KVMainThread::isMainThread());
    });
    EXPECT_FALSE(KVMainThread::isMainThread());
    KVMainThread::markCurrentThreadAsMainThread();
    EXPECT_TRUE(KVMainThread::isMainThread());
}

TEST(KVMainThreadContractTest, eachNativeQueryIsTestedForItself)
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

TEST(KVMainThreadContractTest, theCapabilityIsAskedAtEveryCall)
{
    StubCapabilities system;
    const ScopedService<ThreadCapabilities> guard(&system);
    for (int call = 1; call <= 3; ++call) {
        system.asked = 0;
        (void)KVMainThread::mainThread();
        EXPECT_GE(system.asked, 1);
        system.asked = 0;
        (void)KVMainThread::isMainThread();
        EXPECT_GE(system.asked, 1);
    }
}

TEST(KVMainThreadContractTest, aNativeMainThreadMayBeNil)
{
    StubCapabilities system;
    const ScopedService<ThreadCapabilities> guard(&system);
    KVMainThread::markCurrentThreadAsMainThread();
    system.hasMainThread = true;
    EXPECT_EQ(KVMainThread::mainThread(), nullptr);
}

TEST(KVMainThreadContractTest, theApplicationsThreadIsMainWhileThereIsAnApplication)
{
    onAnotherThread([] { KVMainThread::markCurrentThreadAsMainThread(); });
    LoopDriver<> driver(LoopKind::Plain);
    QThread *const mine = QThread::currentThread();
    EXPECT_EQ(KVMainThread::mainThread(), mine);
    EXPECT_TRUE(KVMainThread::isMainThread());
    onAnotherThread([mine] {
        EXPECT_EQ(KVMainThread::mainThread(), mine);
        EXPECT_FALSE(KVMainThread::isMainThread());
    });
    KVMainThread::markCurrentThreadAsMainThread();
}

class KVUTimerContractTest : public LoopTest {};
KV_FOR_EACH_LOOP(KVUTimerContractTest);

TEST_P(KVUTimerContractTest, firesInEachOfTheFourModes)
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

TEST_P(KVUTimerContractTest, doesNotFireInAModeOfAnotherName)
{
    int calls = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0.001, false, [&](NSTimer &) { ++calls; });
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    NSRunLoop::currentRunLoop()->runMode(QStringLiteral("SomethingElse"),
                                         QDateTime::currentDateTime().addMSecs(60));
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(spinUntil([&] { return calls == 1; }));
}

TEST_P(KVUTimerContractTest, firesOncePerDueTimeThoughAddedForFourModes)
{
    ManualClock clock;
    int calls = 0;
    const auto timer = NSTimer::timerWithTimeInterval(1.0, true, [&](NSTimer &) { ++calls; });
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    clock.advance(999ms);
    EXPECT_EQ(calls, 0);
    clock.advance(1ms);
    EXPECT_EQ(calls, 1);
    clock.advance(0ms);
    EXPECT_EQ(calls, 1);
    clock.advance(1s);
    EXPECT_EQ(calls, 2);
    timer->invalidate();
    clock.advance(5s);
    EXPECT_EQ(calls, 2);
}

TEST_P(KVUTimerContractTest, theLoopKeepsTheTimerUntilItIsInvalid)
{
    ManualClock clock;
    int calls = 0;
    auto timer = NSTimer::timerWithTimeInterval(1.0, false, [&](NSTimer &) { ++calls; });
    const std::weak_ptr<NSTimer> watch = timer;
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    timer.reset();
    EXPECT_FALSE(watch.expired());
    clock.advance(1s);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(watch.expired()) << "retained beyond what the run loop retains";
}

TEST_P(KVUTimerContractTest, actsOnTheCallingThreadsLoop)
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

TEST_P(KVUTimerContractTest, aTimerOfAThreadThatDoesNotRunItsLoopNeverFires)
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

TEST_P(KVUTimerContractTest, anInvalidOrNilTimerIsIgnored)
{
    int calls = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0.0, true, [&](NSTimer &) { ++calls; });
    timer->invalidate();
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    KVUTimer::addTimerToAllCommonRunLoopModes(nullptr);
    spin(20ms);
    EXPECT_EQ(calls, 0);
}

TEST(KVUTimerPanelsContractTest, firesWhileAModalPanelRunsAndWhileAMenuTracks)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    for (const LoopKind kind : {LoopKind::GLib, LoopKind::Plain}) {
        LoopDriver<QApplication> driver(kind);
        QStringList modes;
        QDialog dialog;
        QMenu menu;
        menu.addAction(QStringLiteral("Item"));
        const auto timer = NSTimer::timerWithTimeInterval(0.01, true, [&](NSTimer &) {
            const QString mode = NSRunLoop::currentRunLoop()->currentMode();
            if (!modes.contains(mode))
                modes.append(mode);
            if (mode == NSModalPanelRunLoopMode)
                dialog.accept();
            if (mode == NSEventTrackingRunLoopMode)
                menu.close();
        });
        KVUTimer::addTimerToAllCommonRunLoopModes(timer);
        EXPECT_TRUE(spinUntil([&] { return modes.size() == 1; }));
        dialog.exec();
        menu.exec(QPoint(10, 10));
        timer->invalidate();
        EXPECT_EQ(modes, QStringList({QStringLiteral("NSDefaultRunLoopMode"),
                                      QStringLiteral("NSModalPanelRunLoopMode"),
                                      QStringLiteral("NSEventTrackingRunLoopMode")}));
    }
}

} // namespace
} // namespace KVBase::Tests
