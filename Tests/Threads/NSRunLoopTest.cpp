#include <KVBase/Platform/NSRunLoop.h>

#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"
#include "Support/ManualClock.h"

#include <KVBase/KVUTimer.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSObject.h>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <atomic>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace KVBase
{
namespace
{

using namespace std::chrono_literals;
using Tests::LoopKind;
using Tests::spin;
using Tests::spinUntil;

const QStringList kDefaultOnly{NSDefaultRunLoopMode};

class Ticker : public QObject {
    Q_OBJECT

public:
    int ticks = 0;
    QVariant seen;

    Q_INVOKABLE void tick() { ++ticks; }
    Q_INVOKABLE void tickWith(const KVBase::Ref<KVBase::NSTimer> &timer)
    {
        ++ticks;
        seen = timer->userInfo();
    }
    Q_INVOKABLE void take(const QVariant &object)
    {
        ++ticks;
        seen = object;
    }
};

class NSRunLoopTest : public Tests::LoopTest {
protected:
    Ref<NSRunLoop> loop = NSRunLoop::currentRunLoop();
};

KV_FOR_EACH_LOOP(NSRunLoopTest);

/// The exact tests let time pass by hand.
class NSRunLoopClockTest : public NSRunLoopTest {
protected:
    Tests::ManualClock clock;
};

KV_FOR_EACH_LOOP(NSRunLoopClockTest);

TEST_P(NSRunLoopTest, IsTheSameForAThreadAndAnotherForTheNext)
{
    EXPECT_EQ(NSRunLoop::currentRunLoop(), loop);
    EXPECT_EQ(NSRunLoop::mainRunLoop(), loop);
    Ref<NSRunLoop> other;
    Ref<NSRunLoop> mainSeenThere;
    std::thread([&] {
        other = NSRunLoop::currentRunLoop();
        mainSeenThere = NSRunLoop::mainRunLoop();
    }).join();
    EXPECT_NE(other, loop);
    EXPECT_EQ(mainSeenThere, loop);
}

TEST_P(NSRunLoopTest, HasNoModeWhileItDoesNotRun)
{
    EXPECT_TRUE(loop->currentMode().isNull());
    QString inside;
    QString insideReply;
    loop->perform(
        nullptr, {}, [&] { inside = loop->currentMode(); }, 0, kDefaultOnly);
    spin(0ms);
    loop->perform(nullptr, {}, [&] { insideReply = loop->currentMode(); }, 0, {NSConnectionReplyMode});
    loop->runMode(NSConnectionReplyMode, QDateTime::currentDateTime());
    EXPECT_EQ(inside, NSDefaultRunLoopMode);
    EXPECT_EQ(insideReply, NSConnectionReplyMode);
    EXPECT_TRUE(loop->currentMode().isNull());
}

TEST_P(NSRunLoopTest, RunsUntilItsDateAndDoesWhatIsDueMeanwhile)
{
    int calls = 0;
    QObject owner; // takes along what is not due
    loop->perform(
        &owner, {}, [&] { ++calls; }, 0.02, kDefaultOnly);
    loop->perform(
        &owner, {}, [&] { calls += 10; }, 600, kDefaultOnly);
    const auto start = std::chrono::steady_clock::now();
    spin(80ms);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 78ms);
    EXPECT_EQ(calls, 1);
}

TEST_P(NSRunLoopTest, DoesWhatIsDueAlsoWhenTheDateHasPassed)
{
    int calls = 0;
    loop->perform(
        nullptr, {}, [&] { ++calls; }, 0, kDefaultOnly);
    loop->runUntilDate(QDateTime::currentDateTime().addSecs(-10));
    EXPECT_EQ(calls, 1);
}

TEST_P(NSRunLoopTest, CallsARequestNeverWithinTheCallThatMakesIt)
{
    Ticker ticker;
    loop->performSelector("take:", &ticker, 5, 0, kDefaultOnly);
    EXPECT_EQ(ticker.ticks, 0);
    spin(0ms);
    EXPECT_EQ(ticker.ticks, 1);
    EXPECT_EQ(ticker.seen.toInt(), 5);
    spin(5ms);
    EXPECT_EQ(ticker.ticks, 1);
}

TEST_P(NSRunLoopClockTest, TakesWhatIsDueInTheOrderOfTimeAndRequest)
{
    QList<int> order;
    const auto note = [&](int number, double delay) {
        loop->perform(
            nullptr, {}, [&order, number] { order.append(number); }, delay, kDefaultOnly);
    };
    note(4, 0.3);
    note(2, 0.1);
    note(3, 0.1);
    note(1, 0);
    clock.advance(1s);
    EXPECT_EQ(order, (QList<int>{1, 2, 3, 4}));
}

TEST_P(NSRunLoopClockTest, WaitsForTheDueTimeExactly)
{
    int calls = 0;
    loop->perform(
        nullptr, {}, [&] { ++calls; }, 0.25, kDefaultOnly);
    clock.advance(249'999'999ns);
    EXPECT_EQ(calls, 0);
    clock.advance(1ns);
    EXPECT_EQ(calls, 1);
}

TEST_P(NSRunLoopClockTest, LeavesWhatCallsAddToTheNextPass)
{
    QList<int> order;
    loop->perform(
        nullptr, {},
        [&] {
            order.append(1);
            loop->perform(
                nullptr, {}, [&] { order.append(3); }, 0, kDefaultOnly);
        },
        0, kDefaultOnly);
    loop->perform(
        nullptr, {}, [&] { order.append(2); }, 0, kDefaultOnly);
    clock.advance(0ns);
    EXPECT_EQ(order, (QList<int>{1, 2}));
    clock.advance(0ns);
    EXPECT_EQ(order, (QList<int>{1, 2, 3}));
}

TEST_P(NSRunLoopTest, ALoopInsideACallDoesTheRest)
{
    QList<int> order;
    loop->perform(
        nullptr, {},
        [&] {
            order.append(1);
            spin(1ms);
            order.append(3);
        },
        0, kDefaultOnly);
    loop->perform(
        nullptr, {}, [&] { order.append(2); }, 0, kDefaultOnly);
    spin(1ms);
    EXPECT_EQ(order, (QList<int>{1, 2, 3}));
}

TEST_P(NSRunLoopClockTest, CountsStrangeDelaysAsNothingAndNeverReachesInfinity)
{
    int calls = 0;
    const auto add = [&](double delay) {
        loop->perform(
            nullptr, {}, [&] { ++calls; }, delay, kDefaultOnly);
    };
    add(-5);
    add(std::numeric_limits<double>::quiet_NaN());
    add(-std::numeric_limits<double>::infinity());
    clock.advance(0ns);
    EXPECT_EQ(calls, 3);
    QObject owner;
    loop->perform(
        &owner, {}, [&] { ++calls; }, std::numeric_limits<double>::infinity(), kDefaultOnly);
    loop->perform(
        &owner, {}, [&] { ++calls; }, 1e300, kDefaultOnly);
    clock.advance(std::chrono::hours(24 * 365 * 100));
    EXPECT_EQ(calls, 3);
    loop->cancelPreviousPerformRequestsWithTarget(&owner);
}

TEST_P(NSRunLoopClockTest, CancelsByTargetSelectorAndEqualArgument)
{
    Ticker ticker;
    Ticker other;
    const auto ask = [&] {
        ticker.ticks = 0;
        other.ticks = 0;
        loop->performSelector("take:", &ticker, 1, 0, kDefaultOnly);
        loop->performSelector("take:", &ticker, 2, 0, kDefaultOnly);
        loop->performSelector("take:", &ticker, QVariant(), 0, kDefaultOnly);
        loop->performSelector("take:", &ticker, QStringLiteral(""), 0, kDefaultOnly);
        loop->performSelector("tick", &ticker, 1, 0, kDefaultOnly);
        loop->performSelector("take:", &other, 1, 0, kDefaultOnly);
    };
    const auto run = [&] { clock.advance(0ns); };

    ask();
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, "take:", 1);
    run();
    EXPECT_EQ(ticker.ticks, 4);
    EXPECT_EQ(other.ticks, 1);

    ask();
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, "take:", QVariant());
    run();
    EXPECT_EQ(ticker.ticks, 4) << "nil equals only nil";

    ask();
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, "take:", QString());
    run();
    EXPECT_EQ(ticker.ticks, 4) << "a null text is nil";

    ask();
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, "take:", 3);
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, "other:", 1);
    run();
    EXPECT_EQ(ticker.ticks, 5);

    ask();
    loop->cancelPreviousPerformRequestsWithTarget(&ticker);
    run();
    EXPECT_EQ(ticker.ticks, 0);
    EXPECT_EQ(other.ticks, 1);
}

TEST_P(NSRunLoopClockTest, CancelsCallablesByKeyAndNeverSelectors)
{
    Ticker ticker;
    int calls = 0;
    loop->perform(
        &ticker, QStringLiteral("tick"), [&] { ++calls; }, 0, kDefaultOnly);
    loop->perform(
        &ticker, {}, [&] { calls += 10; }, 0, kDefaultOnly);
    loop->performSelector("tick", &ticker, QVariant(), 0, kDefaultOnly);
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, QStringLiteral("tick"));
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, QStringLiteral(""));
    clock.advance(0ns);
    EXPECT_EQ(calls, 10);
    EXPECT_EQ(ticker.ticks, 1);
    loop->perform(
        &ticker, QStringLiteral("tick"), [&] { ++calls; }, 0, kDefaultOnly);
    loop->performSelector("tick", &ticker, QVariant(), 0, kDefaultOnly);
    loop->cancelPreviousPerformRequestsWithTarget(&ticker, KVSelector("tick"), QVariant());
    clock.advance(0ns);
    EXPECT_EQ(calls, 11);
    EXPECT_EQ(ticker.ticks, 1);
}

TEST_P(NSRunLoopClockTest, DropsTheRequestsOfAPlainTargetThatHasGone)
{
    int calls = 0;
    {
        Ticker ticker;
        loop->performSelector("tick", &ticker, QVariant(), 0, kDefaultOnly);
        loop->perform(
            &ticker, {}, [&] { ++calls; }, 0, kDefaultOnly);
    }
    clock.advance(1s);
    EXPECT_EQ(calls, 0);
}

TEST_P(NSRunLoopClockTest, KeepsASharedTargetAndTheArgumentUntilTheCall)
{
    auto ticker = std::make_shared<Ticker>();
    auto argument = std::make_shared<int>(3);
    const std::weak_ptr<Ticker> weakTicker = ticker;
    const std::weak_ptr<int> weakArgument = argument;
    loop->performSelector("take:", ticker, QVariant::fromValue(argument), 1, kDefaultOnly);
    ticker.reset();
    argument.reset();
    EXPECT_FALSE(weakTicker.expired());
    EXPECT_FALSE(weakArgument.expired());
    clock.advance(1s);
    EXPECT_TRUE(weakTicker.expired());
    EXPECT_TRUE(weakArgument.expired());
}

TEST_P(NSRunLoopClockTest, AReceiverMayGoInsideItsOwnCall)
{
    auto owner = std::make_unique<QObject>();
    int calls = 0;
    const auto destroy = [&] {
        ++calls;
        owner.reset();
    };
    loop->perform(owner.get(), {}, destroy, 0, kDefaultOnly);
    loop->perform(owner.get(), {}, destroy, 0, kDefaultOnly);
    clock.advance(0ns);
    EXPECT_EQ(calls, 1);
}

TEST_P(NSRunLoopClockTest, ACallMayCancelAndScheduleWhatComesNext)
{
    QObject owner;
    QList<int> order;
    loop->perform(
        &owner, {},
        [&] {
            order.append(1);
            loop->cancelPreviousPerformRequestsWithTarget(&owner);
            loop->perform(
                &owner, {}, [&] { order.append(3); }, 0, kDefaultOnly);
        },
        0, kDefaultOnly);
    loop->perform(
        &owner, {}, [&] { order.append(2); }, 0, kDefaultOnly);
    clock.advance(0ns);
    clock.advance(0ns);
    EXPECT_EQ(order, (QList<int>{1, 3}));
}

TEST_P(NSRunLoopTest, LogsAnExceptionAndGoesOn)
{
    const Tests::CapturedLog log;
    Ticker ticker;
    loop->perform(
        nullptr, {}, [] { throw NSException(QStringLiteral("Broken"), QStringLiteral("It broke.")); }, 0,
        kDefaultOnly);
    loop->performSelector("unknown", &ticker, QVariant(), 0, kDefaultOnly);
    loop->performSelector("tick", &ticker, QVariant(), 0, kDefaultOnly);
    spin(0ms);
    EXPECT_EQ(ticker.ticks, 1);
    ASSERT_EQ(log.lines().size(), 2);
    EXPECT_EQ(log.lines().first(), QStringLiteral("*** NSRunLoop: uncaught exception Broken: It broke."));
}

TEST_P(NSRunLoopTest, RunsInOneModeOnlyAndLeavesTheRestToTheirModes)
{
    int replies = 0;
    int defaults = 0;
    loop->perform(
        nullptr, {}, [&] { ++defaults; }, 0, kDefaultOnly);
    loop->perform(nullptr, {}, [&] { ++replies; }, 0, {NSConnectionReplyMode});
    EXPECT_TRUE(loop->runMode(NSConnectionReplyMode, QDateTime::currentDateTime().addMSecs(30)));
    EXPECT_EQ(replies, 1);
    EXPECT_EQ(defaults, 0);
    spin(5ms);
    EXPECT_EQ(defaults, 1);
    EXPECT_EQ(replies, 1);
}

TEST_P(NSRunLoopTest, ComesBackToWhatWaitedWhenARunInAnotherModeEndsInsideACall)
{
    int defaults = 0;
    bool wasCalledInside = false;
    loop->perform(
        nullptr, {},
        [&] {
            loop->perform(
                nullptr, {}, [&] { ++defaults; }, 0, kDefaultOnly);
            loop->runMode(NSConnectionReplyMode, QDateTime::currentDateTime().addMSecs(20));
            wasCalledInside = defaults > 0;
        },
        0, kDefaultOnly);
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
    EXPECT_FALSE(wasCalledInside);
}

TEST_P(NSRunLoopTest, ARunInOneModeReturnsWhenWorkCameFromAnotherThread)
{
    std::atomic<int> calls{0};
    std::thread other([&] { loop->performOnThread([&] { ++calls; }); });
    EXPECT_TRUE(loop->runMode(NSDefaultRunLoopMode, QDateTime::currentDateTime().addSecs(60)));
    EXPECT_EQ(calls.load(), 1);
    other.join();
    std::thread waker([&] { loop->wakeUp(); });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(loop->runMode(NSConnectionReplyMode, QDateTime::currentDateTime().addSecs(60)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 50s);
    waker.join();
}

TEST_P(NSRunLoopTest, RefusesToRunWithoutAModeOrOnAnotherThread)
{
    EXPECT_FALSE(loop->runMode(QString(), QDateTime::currentDateTime()));
    bool ran = true;
    std::thread([&] { ran = loop->runMode(NSDefaultRunLoopMode, QDateTime::currentDateTime()); }).join();
    EXPECT_FALSE(ran);
}

TEST_P(NSRunLoopTest, WorkFromOtherThreadsWaitsForACommonMode)
{
    int calls = 0;
    loop->performOnThread([&] { ++calls; });
    loop->runMode(NSConnectionReplyMode, QDateTime::currentDateTime().addMSecs(20));
    EXPECT_EQ(calls, 0);
    spin(0ms);
    EXPECT_EQ(calls, 1);
}

TEST_P(NSRunLoopTest, PerformsSelectorsFromOtherThreadsInOrderAndDropsThemOnRequest)
{
    Ticker ticker;
    std::thread([&] {
        for (int number = 0; number < 5; ++number)
            loop->performOnThread("take:", &ticker, number);
    }).join();
    spin(0ms);
    EXPECT_EQ(ticker.ticks, 5);
    EXPECT_EQ(ticker.seen.toInt(), 4);
    loop->performOnThread("take:", &ticker, 9);
    loop->cancelPerformSelectorsWithTarget(&ticker);
    spin(5ms);
    EXPECT_EQ(ticker.ticks, 5);
}

TEST_P(NSRunLoopTest, ALoopInsideWorkFromAnotherThreadMissesNoWakeUp)
{
    std::atomic<int> inner{0};
    bool innerRan = false;
    bool outerDone = false;
    std::thread other([&] {
        loop->performOnThread([&] {
            innerRan = spinUntil([&] { return inner.load() == 3; });
            outerDone = true;
        });
        loop->performOnThread([&] { ++inner; });
        QThread::msleep(5);
        loop->performOnThread([&] { ++inner; });
        QThread::msleep(5);
        loop->performOnThread([&] { ++inner; });
    });
    EXPECT_TRUE(spinUntil([&] { return outerDone; }));
    EXPECT_TRUE(innerRan);
    other.join();
}

TEST_P(NSRunLoopTest, ALoopInsideACallDoesNotSwallowTheDeadlineOfTheOuterOne)
{
    bool inner = false;
    loop->perform(
        nullptr, {},
        [&] {
            spin(60ms); // longer than the outer run is to last
            inner = true;
        },
        0, kDefaultOnly);
    const auto start = std::chrono::steady_clock::now();
    spin(20ms);
    EXPECT_TRUE(inner);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
}

TEST_P(NSRunLoopTest, NeverRunsWhatItsThreadLeftBehind)
{
    std::atomic<bool> called{false};
    auto kept = std::make_shared<int>(1);
    const std::weak_ptr<int> weak = kept;
    Ref<NSRunLoop> orphan;
    std::thread([&, kept = std::move(kept)]() mutable {
        orphan = NSRunLoop::currentRunLoop();
        orphan->perform(
            nullptr, {}, [&called, kept] { called = true; }, 0, kDefaultOnly);
        orphan->performOnThread([&called, kept] { called = true; });
        kept.reset();
    }).join();
    EXPECT_TRUE(weak.expired());
    orphan->performOnThread([&] { called = true; });
    orphan->wakeUp();
    orphan->performOnThread("tick", nullptr, QVariant());
    EXPECT_FALSE(called.load());
}

TEST_P(NSRunLoopTest, AThreadsLoopWorksInAThreadThatIsNotQts)
{
    std::atomic<int> calls{0};
    std::thread([&] {
        NSRunLoop::currentRunLoop()->perform(
            nullptr, {}, [&] { ++calls; }, 0.01, kDefaultOnly);
        spin(100ms);
    }).join();
    EXPECT_EQ(calls.load(), 1);
}

TEST_P(NSRunLoopClockTest, FiresATimerOnceForEachDueTimeHoweverManyModesItHas)
{
    int ticks = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0.5, true, [&](NSTimer &) { ++ticks; });
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    clock.advance(499ms);
    EXPECT_EQ(ticks, 0);
    clock.advance(1ms);
    EXPECT_EQ(ticks, 1);
    clock.advance(0ms);
    EXPECT_EQ(ticks, 1);
    clock.advance(500ms);
    EXPECT_EQ(ticks, 2);
    timer->invalidate();
    clock.advance(10s);
    EXPECT_EQ(ticks, 2);
}

TEST_P(NSRunLoopClockTest, LeavesOutTheDueTimesThatWereMissed)
{
    int ticks = 0;
    const auto timer = NSTimer::timerWithTimeInterval(1, true, [&](NSTimer &) { ++ticks; });
    loop->addTimer(timer, NSDefaultRunLoopMode);
    clock.advance(3500ms);
    EXPECT_EQ(ticks, 1);
    clock.advance(499ms);
    EXPECT_EQ(ticks, 1);
    clock.advance(1ms);
    EXPECT_EQ(ticks, 2);
    timer->invalidate();
}

TEST_P(NSRunLoopClockTest, ATimerThatDoesNotRepeatIsInvalidAfterwards)
{
    Ticker ticker;
    const auto timer = NSTimer::timerWithTimeInterval(1, &ticker, "tickWith:", QStringLiteral("info"), false);
    EXPECT_EQ(timer->userInfo().toString(), QStringLiteral("info"));
    loop->addTimer(timer, NSDefaultRunLoopMode);
    EXPECT_TRUE(timer->isValid());
    clock.advance(1s);
    EXPECT_EQ(ticker.ticks, 1);
    EXPECT_EQ(ticker.seen.toString(), QStringLiteral("info"));
    EXPECT_FALSE(timer->isValid());
    loop->addTimer(timer, NSDefaultRunLoopMode);
    clock.advance(5s);
    EXPECT_EQ(ticker.ticks, 1);
}

TEST_P(NSRunLoopClockTest, ATimerMayInvalidateItselfAndFireByHand)
{
    int ticks = 0;
    const auto timer = NSTimer::timerWithTimeInterval(1, true, [&](NSTimer &fired) {
        if (++ticks == 3)
            fired.invalidate();
    });
    loop->addTimer(timer, NSDefaultRunLoopMode);
    timer->fire();
    EXPECT_EQ(ticks, 1);
    clock.advance(1s);
    clock.advance(1s);
    EXPECT_EQ(ticks, 3);
    EXPECT_FALSE(timer->isValid());
    clock.advance(5s);
    timer->fire();
    EXPECT_EQ(ticks, 3);
}

TEST_P(NSRunLoopClockTest, ATimerEndsWithItsPlainTargetAndKeepsASharedOne)
{
    auto plain = std::make_unique<Ticker>();
    auto shared = std::make_shared<Ticker>();
    const std::weak_ptr<Ticker> weak = shared;
    const auto ofPlain = NSTimer::timerWithTimeInterval(1, plain.get(), "tick", QVariant(), true);
    const auto ofShared = NSTimer::timerWithTimeInterval(1, shared, "tick", QVariant(), true);
    loop->addTimer(ofPlain, NSDefaultRunLoopMode);
    loop->addTimer(ofShared, NSDefaultRunLoopMode);
    plain.reset();
    shared.reset();
    clock.advance(1s);
    EXPECT_FALSE(ofPlain->isValid());
    ASSERT_FALSE(weak.expired());
    EXPECT_EQ(weak.lock()->ticks, 1);
    ofShared->invalidate();
    EXPECT_TRUE(weak.expired());
}

TEST_P(NSRunLoopClockTest, TheLoopKeepsATimerUntilItIsInvalid)
{
    std::weak_ptr<NSTimer> weak;
    {
        const auto timer = NSTimer::timerWithTimeInterval(1, false, [](NSTimer &) {});
        weak = timer;
        loop->addTimer(timer, NSDefaultRunLoopMode);
    }
    EXPECT_FALSE(weak.expired());
    clock.advance(1s);
    EXPECT_TRUE(weak.expired());
}

TEST_P(NSRunLoopClockTest, AnEndlessOrOverlyShortIntervalIsHarmless)
{
    int ticks = 0;
    const auto never = NSTimer::timerWithTimeInterval(std::numeric_limits<double>::infinity(), true,
                                                      [&](NSTimer &) { ++ticks; });
    loop->addTimer(never, NSDefaultRunLoopMode);
    clock.advance(std::chrono::hours(1000));
    EXPECT_EQ(ticks, 0);
    never->invalidate();
    const auto shortest = NSTimer::timerWithTimeInterval(-1, true, [&](NSTimer &) { ++ticks; });
    loop->addTimer(shortest, NSDefaultRunLoopMode);
    clock.advance(99'999ns);
    EXPECT_EQ(ticks, 0);
    clock.advance(1ns);
    EXPECT_EQ(ticks, 1);
    shortest->invalidate();
    loop->addTimer(nullptr, NSDefaultRunLoopMode);
    KVUTimer::addTimerToAllCommonRunLoopModes(nullptr);
}

TEST_P(NSRunLoopClockTest, ATimerThatThrowsGoesOnFiring)
{
    const Tests::CapturedLog log;
    int ticks = 0;
    const auto timer = NSTimer::timerWithTimeInterval(1, true, [&](NSTimer &) {
        ++ticks;
        throw NSException(QStringLiteral("Broken"), QString());
    });
    loop->addTimer(timer, NSDefaultRunLoopMode);
    clock.advance(1s);
    clock.advance(1s);
    EXPECT_EQ(ticks, 2);
    EXPECT_EQ(log.lines().size(), 2);
    timer->invalidate();
}

TEST_P(NSRunLoopTest, RunsTimersInEveryModeTheyWereAddedFor)
{
    int ticks = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0.01, true, [&](NSTimer &) { ++ticks; });
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    const QLatin1StringView modes[] = {NSDefaultRunLoopMode, NSConnectionReplyMode, NSModalPanelRunLoopMode,
                                       NSEventTrackingRunLoopMode};
    for (const QLatin1StringView mode : modes) {
        const int before = ticks;
        for (int turn = 0; turn < 1000 && ticks == before; ++turn)
            loop->runMode(mode, QDateTime::currentDateTime().addMSecs(20));
        EXPECT_GT(ticks, before) << mode.data();
    }
    const int before = ticks;
    loop->runMode(QStringLiteral("a mode of our own"), QDateTime::currentDateTime().addMSecs(50));
    EXPECT_EQ(ticks, before);
    timer->invalidate();
}

/// With an application object: Qt's own loops drive, too.
class NSRunLoopQtTest : public NSRunLoopTest {};

INSTANTIATE_TEST_SUITE_P(Loops, NSRunLoopQtTest, testing::Values(LoopKind::GLib, LoopKind::Plain),
                         Tests::nameOfLoop);

TEST_P(NSRunLoopQtTest, WorksInTheApplicationsLoop)
{
    QString mode;
    int ticks = 0;
    loop->perform(
        nullptr, {}, [&] { mode = loop->currentMode(); }, 0.01, kDefaultOnly);
    const auto timer = NSTimer::timerWithTimeInterval(0.01, true, [&](NSTimer &) {
        if (++ticks == 3)
            QCoreApplication::exit(5);
    });
    loop->addTimer(timer, NSDefaultRunLoopMode);
    QTimer::singleShot(Tests::kNet, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 5);
    EXPECT_EQ(mode, NSDefaultRunLoopMode);
    EXPECT_EQ(ticks, 3);
    timer->invalidate();
}

TEST_P(NSRunLoopQtTest, WorkFromOtherThreadsWakesTheApplicationsLoop)
{
    std::thread other([&] {
        QThread::msleep(20);
        loop->performOnThread([] { QCoreApplication::exit(6); });
    });
    QTimer::singleShot(Tests::kNet, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 6);
    other.join();
}

TEST_P(NSRunLoopQtTest, DeliversQtsEventsWhileItRuns)
{
    bool fired = false;
    auto *const doomed = new QObject;
    const QPointer<QObject> watched(doomed);
    QTimer::singleShot(10ms, [&] {
        fired = true;
        doomed->deleteLater();
    });
    EXPECT_TRUE(spinUntil([&] { return fired && watched.isNull(); }));
}

TEST_P(NSRunLoopQtTest, QtsLoopInsideAnEventDoesNotSwallowTheDeadline)
{
    bool inner = false;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [&] {
            QEventLoop nested;
            QTimer::singleShot(60ms, &nested, &QEventLoop::quit);
            nested.exec();
            inner = true;
        },
        Qt::QueuedConnection);
    const auto start = std::chrono::steady_clock::now();
    spin(20ms);
    EXPECT_TRUE(inner);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
}

TEST_P(NSRunLoopQtTest, ALoopOfQtsInsideACallDoesTheRest)
{
    QList<int> order;
    loop->perform(
        nullptr, {},
        [&] {
            order.append(1);
            QEventLoop nested;
            loop->perform(
                nullptr, {}, [&] { nested.quit(); }, 0.01, kDefaultOnly);
            QTimer::singleShot(Tests::kNet, &nested, &QEventLoop::quit);
            nested.exec();
            order.append(3);
        },
        0, kDefaultOnly);
    loop->perform(
        nullptr, {}, [&] { order.append(2); }, 0, kDefaultOnly);
    EXPECT_TRUE(spinUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (QList<int>{1, 2, 3}));
}

TEST_P(NSRunLoopQtTest, WakesUpInTheMainLoopOfAThreadThatNeverAskedForIt)
{
    // The main thread's loop may be asked for from another thread before the main thread does.
    std::atomic<bool> called{false};
    std::thread([&] { NSRunLoop::mainRunLoop()->performOnThread([&] { called = true; }); }).join();
    QTimer::singleShot(Tests::kNet, [] { QCoreApplication::exit(1); });
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (called)
            QCoreApplication::exit(4);
    });
    poll.start(5);
    EXPECT_EQ(QCoreApplication::exec(), 4);
}

TEST(NSRunLoopLifeTest, WhatWasAskedForBeforeTheApplicationObjectIsDoneByItsLoop)
{
    int calls = 0;
    NSRunLoop::currentRunLoop()->perform(
        nullptr, {}, [&] { ++calls; }, 0, kDefaultOnly);
    const auto work = [&] {
        ++calls;
        QCoreApplication::exit(8);
    };
    NSRunLoop::currentRunLoop()->perform(nullptr, {}, work, 0.02, kDefaultOnly);
    const Tests::LoopDriver<> driver(LoopKind::GLib);
    QTimer::singleShot(Tests::kNet, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 8);
    EXPECT_EQ(calls, 2);
}

TEST(NSRunLoopLifeTest, WorksOnAfterTheApplicationObjectHasGone)
{
    int calls = 0;
    {
        const Tests::LoopDriver<> driver(LoopKind::Plain);
        NSRunLoop::currentRunLoop()->perform(
            nullptr, {}, [&] { ++calls; }, 0, kDefaultOnly);
        NSRunLoop::currentRunLoop()->perform(
            nullptr, {}, [&] { ++calls; }, 0.05, kDefaultOnly);
    }
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(spinUntil([&] { return calls == 2; }));
    const Tests::LoopDriver<> second(LoopKind::GLib);
    NSRunLoop::currentRunLoop()->perform(
        nullptr, {}, [&] { ++calls; }, 0, kDefaultOnly);
    EXPECT_TRUE(spinUntil([&] { return calls == 3; }));
}

TEST(NSRunLoopDeathTest, AnyOtherExceptionEndsTheProcess)
{
    const auto die = [](LoopKind kind) {
        const Tests::LoopDriver<> driver(kind);
        NSRunLoop::currentRunLoop()->perform(
            nullptr, {}, [] { throw std::runtime_error("something else"); }, 0, kDefaultOnly);
        spin(100ms);
    };
    for (const LoopKind kind : {LoopKind::NoApplication, LoopKind::GLib, LoopKind::Plain})
        EXPECT_DEATH(die(kind), "something else");
}

TEST(NSRunLoopThreads, TakesWorkFromManyThreads)
{
    constexpr int kThreads = 4;
    constexpr int kEach = 500;
    const auto loop = NSRunLoop::currentRunLoop();
    std::atomic<int> disorder{0};
    int next[kThreads] = {};
    int total = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&, number] {
            for (int round = 0; round < kEach; ++round) {
                loop->performOnThread([&, number, round] {
                    if (next[number]++ != round)
                        ++disorder;
                    ++total;
                });
            }
        });
    }
    EXPECT_TRUE(spinUntil([&] { return total == kThreads * kEach; }));
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(disorder.load(), 0);
}

TEST(NSRunLoopThreads, MayBeWokenWhileItsThreadEnds)
{
    for (int round = 0; round < 50; ++round) {
        Ref<NSRunLoop> loop;
        std::mutex mutex;
        std::condition_variable ready;
        std::thread owner([&] {
            {
                const std::lock_guard lock(mutex);
                loop = NSRunLoop::currentRunLoop();
            }
            ready.notify_one();
            NSRunLoop::currentRunLoop()->runMode(NSDefaultRunLoopMode,
                                                 QDateTime::currentDateTime().addMSecs(1));
        });
        Ref<NSRunLoop> seen;
        {
            std::unique_lock lock(mutex);
            ready.wait(lock, [&] { return loop != nullptr; });
            seen = loop;
        }
        for (int turn = 0; turn < 100; ++turn) {
            seen->performOnThread([] {});
            seen->wakeUp();
        }
        owner.join();
    }
}

} // namespace
} // namespace KVBase

#include "NSRunLoopTest.moc"
