#include <KVBase/PerformDeferred.h>

#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"
#include "Support/ManualClock.h"

#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSNotificationQueue.h>

#include <QtCore/QTimer>

#include <limits>

namespace KVBase
{
namespace
{

using namespace std::chrono_literals;
using Tests::LoopKind;
using Tests::spin;
using Tests::spinUntil;

class Receiver : public QObject {
    Q_OBJECT

public:
    QStringList calls;
    std::function<void()> then;

    Q_INVOKABLE void refreshDisplay(const QVariant &object)
    {
        calls.append(QStringLiteral("refresh ") + object.toString());
        if (then)
            then();
    }
    Q_INVOKABLE void deferred(const KVBase::NSNotification &notification)
    {
        calls.append(notification.object() == this ? QStringLiteral("deferred") : QStringLiteral("strange"));
        if (then)
            then();
    }
    Q_INVOKABLE void second(const KVBase::NSNotification &) { calls.append(QStringLiteral("second")); }
    Q_INVOKABLE void fail(const QVariant &)
    {
        calls.append(QStringLiteral("fail"));
        throw NSException(QStringLiteral("Broken"), QString());
    }
};

class PerformDeferredTest : public Tests::LoopTest {
protected:
    Tests::ManualClock clock;
    Receiver receiver;
    /// One pass of the loop, at the same time.
    void turn() { clock.advance(0ns); }
};

KV_FOR_EACH_LOOP(PerformDeferredTest);

const QString kOne = QStringLiteral("refresh 1");
const QString kDeferred = QStringLiteral("deferred");

TEST_P(PerformDeferredTest, CommonModesAreThreeInThisOrderAndAlwaysTheSame)
{
    EXPECT_EQ(PerformDeferred::commonRunLoopModes(),
              (QStringList{QStringLiteral("NSDefaultRunLoopMode"), QStringLiteral("NSModalPanelRunLoopMode"),
                           QStringLiteral("NSEventTrackingRunLoopMode")}));
    EXPECT_EQ(&PerformDeferred::commonRunLoopModes(), &PerformDeferred::commonRunLoopModes());
}

TEST_P(PerformDeferredTest, ANameHoldsTheAddressAndTheSelector)
{
    const QString expected =
        QStringLiteral("[0x%1 refreshDisplay:]").arg(reinterpret_cast<quintptr>(&receiver), 0, 16);
    EXPECT_EQ(PerformDeferred::nameForSelector(&receiver, "refreshDisplay:"), expected);
    Receiver other;
    EXPECT_NE(PerformDeferred::nameForSelector(&other, "refreshDisplay:"), expected);
    EXPECT_TRUE(PerformDeferred::nameForSelector(nullptr, "refreshDisplay:").isNull());
}

TEST_P(PerformDeferredTest, DelayedCallsComeAtTheNextTurnEachOnce)
{
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 2);
    EXPECT_TRUE(receiver.calls.isEmpty());
    turn();
    EXPECT_EQ(receiver.calls, (QStringList{kOne, kOne, QStringLiteral("refresh 2")}));
}

TEST_P(PerformDeferredTest, CancelsDelayedCallsWithAnEqualArgument)
{
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 2);
    PerformDeferred::cancelDelayedSelector(&receiver, "refreshDisplay:", 2);
    PerformDeferred::cancelDelayedSelector(&receiver, "refreshDisplay:", QVariant());
    turn();
    EXPECT_EQ(receiver.calls, QStringList(kOne));
}

TEST_P(PerformDeferredTest, CancelsEverythingOfAReceiver)
{
    Receiver other;
    int calls = 0;
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 2, 5);
    PerformDeferred::performDelayed(&receiver, [&] { ++calls; });
    PerformDeferred::performCoalesced(&receiver, QStringLiteral("key"), [&] { ++calls; });
    PerformDeferred::performDelayedSelector(&other, "refreshDisplay:", 1);
    PerformDeferred::cancelAllDelayedSelectors(&receiver);
    clock.advance(10s);
    EXPECT_TRUE(receiver.calls.isEmpty());
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(other.calls, QStringList(kOne));
}

TEST_P(PerformDeferredTest, ABurstOfCoalescedCallsLeadsToOneAfterTheLast)
{
    const auto ask = [&] { PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 1, 0.2); };
    ask();
    clock.advance(100ms);
    ask();
    clock.advance(50ms);
    ask();
    clock.advance(199'999'999ns);
    EXPECT_TRUE(receiver.calls.isEmpty());
    clock.advance(1ns); // 0.35 s after the first
    EXPECT_EQ(receiver.calls, QStringList(kOne));
    clock.advance(10s);
    EXPECT_EQ(receiver.calls, QStringList(kOne));
}

TEST_P(PerformDeferredTest, CoalescesOnReceiverSelectorAndArgument)
{
    Receiver other;
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 2);
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", QVariant());
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", QStringLiteral(""));
    PerformDeferred::performCoalescedSelector(&other, "refreshDisplay:", 1);
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 1);
    turn();
    EXPECT_EQ(receiver.calls.size(), 4);
    EXPECT_EQ(receiver.calls.last(), kOne) << "the last request has its turn last";
    EXPECT_EQ(other.calls, QStringList(kOne));
}

TEST_P(PerformDeferredTest, ACoalescedRequestAlsoReplacesAPlainDelayedOne)
{
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 1);
    turn();
    EXPECT_EQ(receiver.calls, QStringList(kOne));
}

TEST_P(PerformDeferredTest, ReceiverAndArgumentOutliveTheReplacedRequestThatHeldThem)
{
    auto shared = std::make_shared<Receiver>();
    auto argument = std::make_shared<int>(1);
    Receiver *const plain = shared.get();
    const std::weak_ptr<Receiver> weak = shared;
    const QVariant object = QVariant::fromValue(argument);
    argument.reset();
    PerformDeferred::performCoalescedSelector(shared, "refreshDisplay:", object);
    PerformDeferred::performCoalescedSelector(KVTarget(std::exchange(shared, nullptr)),
                                              "refreshDisplay:", object);
    ASSERT_FALSE(weak.expired());
    EXPECT_TRUE(plain->calls.isEmpty());
    plain->then = [&] { EXPECT_FALSE(weak.expired()); };
    turn();
    EXPECT_TRUE(weak.expired());
}

TEST_P(PerformDeferredTest, DelayedCallsAreSafeToDestroyScheduleAndThrowIn)
{
    const Tests::CapturedLog log;
    auto doomed = std::make_unique<Receiver>();
    int destroyed = 0;
    doomed->then = [&] {
        ++destroyed;
        doomed.reset();
    };
    PerformDeferred::performDelayedSelector(doomed.get(), "refreshDisplay:", 1);
    PerformDeferred::performDelayedSelector(doomed.get(), "refreshDisplay:", 2);
    PerformDeferred::performDelayedSelector(&receiver, "fail:", QVariant());
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    receiver.then = [&] {
        receiver.then = nullptr;
        PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 3);
    };
    turn();
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(receiver.calls, (QStringList{QStringLiteral("fail"), kOne}));
    turn();
    EXPECT_EQ(receiver.calls.size(), 3);
    EXPECT_EQ(log.lines().size(), 1);
}

TEST_P(PerformDeferredTest, StrangeDelaysCountAsNothingAndInfinityNeverPasses)
{
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 1, -3);
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 2,
                                              std::numeric_limits<double>::quiet_NaN());
    PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 3,
                                              std::numeric_limits<double>::infinity());
    clock.advance(1s);
    EXPECT_EQ(receiver.calls, (QStringList{kOne, QStringLiteral("refresh 2")}));
    PerformDeferred::cancelAllDelayedSelectors(&receiver);
}

TEST_P(PerformDeferredTest, DeferredCallsComeOnlyToThoseWhoRegistered)
{
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_TRUE(receiver.calls.isEmpty());
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    EXPECT_TRUE(receiver.calls.isEmpty());
    turn();
    EXPECT_EQ(receiver.calls, QStringList(kDeferred));
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    PerformDeferred::unregisterDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls, QStringList(kDeferred));
}

TEST_P(PerformDeferredTest, RegistrationIsLookedUpWhenItIsPosted)
{
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls.size(), 2) << "twice registered is twice called";
    PerformDeferred::unregisterDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls.size(), 2);
}

TEST_P(PerformDeferredTest, PlainRequestsAreNotMergedAndCoalescedOnesAre)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    for (int request = 0; request < 5; ++request)
        PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls.size(), 5);
    receiver.calls.clear();
    for (int request = 0; request < 5; ++request)
        PerformDeferred::performCoalescedDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls.size(), 1);
}

TEST_P(PerformDeferredTest, ACoalescedRequestTakesThePlaceOfAllThatWaitAtTheEnd)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "second:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "second:");
    PerformDeferred::performCoalescedDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls, (QStringList{QStringLiteral("second"), kDeferred}));
}

TEST_P(PerformDeferredTest, DifferentReceiversNeverCoalesce)
{
    Receiver other;
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&other, "deferred:");
    for (int request = 0; request < 2; ++request) {
        PerformDeferred::performCoalescedDeferredSelector(&receiver, "deferred:");
        PerformDeferred::performCoalescedDeferredSelector(&other, "deferred:");
    }
    turn();
    EXPECT_EQ(receiver.calls, QStringList(kDeferred));
    EXPECT_EQ(other.calls, QStringList(kDeferred));
}

TEST_P(PerformDeferredTest, BothCancelsDropEveryRequestOfThatName)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "second:");
    const auto ask = [&] {
        receiver.calls.clear();
        PerformDeferred::performDeferredSelector(&receiver, "deferred:");
        PerformDeferred::performDeferredSelector(&receiver, "deferred:");
        PerformDeferred::performCoalescedDeferredSelector(&receiver, "second:");
    };
    ask();
    PerformDeferred::cancelDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls, QStringList(QStringLiteral("second")));
    ask();
    PerformDeferred::cancelCoalescedDeferredSelector(&receiver, "deferred:");
    PerformDeferred::cancelCoalescedDeferredSelector(&receiver, "second:");
    turn();
    EXPECT_TRUE(receiver.calls.isEmpty());
}

TEST_P(PerformDeferredTest, WaitsForItsMode)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "second:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:", NSConnectionReplyMode);
    PerformDeferred::performCoalescedDeferredSelector(&receiver, "second:", NSConnectionReplyMode);
    turn();
    EXPECT_TRUE(receiver.calls.isEmpty());
    NSRunLoop::currentRunLoop()->runMode(NSConnectionReplyMode, clock.now());
    EXPECT_EQ(receiver.calls, (QStringList{kDeferred, QStringLiteral("second")}));
}

TEST_P(PerformDeferredTest, DelayedAndDeferredCallsWaitWhileTheLoopRunsInConnectionReplyModeOnly)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    NSRunLoop::currentRunLoop()->runMode(NSConnectionReplyMode, clock.now());
    EXPECT_TRUE(receiver.calls.isEmpty());
    turn();
    EXPECT_EQ(receiver.calls.size(), 2);
}

TEST_P(PerformDeferredTest, DeferredCallsEndThePassAndDelayedOnesStartTheNext)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDelayed(&receiver, [&] {
        PerformDeferred::performDelayedSelector(&receiver, "refreshDisplay:", 1);
        PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    });
    turn();
    EXPECT_EQ(receiver.calls, QStringList(kDeferred));
    turn();
    EXPECT_EQ(receiver.calls, (QStringList{kDeferred, kOne}));
}

TEST_P(PerformDeferredTest, WhatAPostingPostsGoesToTheNextPass)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    receiver.then = [&] { PerformDeferred::performDeferredSelector(&receiver, "deferred:"); };
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    turn();
    EXPECT_EQ(receiver.calls.size(), 1);
    turn();
    EXPECT_EQ(receiver.calls.size(), 2);
    receiver.then = nullptr;
    turn();
    EXPECT_EQ(receiver.calls.size(), 3);
}

TEST_P(PerformDeferredTest, DeferredRequestsEndWithTheirReceiver)
{
    auto doomed = std::make_unique<Receiver>();
    int calls = 0;
    PerformDeferred::registerDeferredSelector(doomed.get(), "deferred:");
    PerformDeferred::performDeferredSelector(doomed.get(), "deferred:");
    PerformDeferred::performDeferred(doomed.get(), [&] { ++calls; });
    doomed.reset();
    turn();
    EXPECT_EQ(calls, 0);
}

TEST_P(PerformDeferredTest, AnExceptionOfADeferredCallIsLogged)
{
    const Tests::CapturedLog log;
    PerformDeferred::registerDeferredSelector(&receiver, "fail:");
    PerformDeferred::performDeferredSelector(&receiver, "fail:");
    PerformDeferred::performDeferredSelector(&receiver, "fail:");
    turn();
    EXPECT_EQ(receiver.calls.size(), 2);
    EXPECT_EQ(log.lines().size(), 2);
}

TEST_P(PerformDeferredTest, CallablesGoTheSameWay)
{
    QStringList calls;
    const auto note = [&](const char *text) {
        return [&calls, text] { calls.append(QString::fromUtf8(text)); };
    };
    const QString key = QStringLiteral("key");
    PerformDeferred::performDelayed(&receiver, note("delayed"));
    PerformDeferred::performCoalesced(&receiver, key, note("replaced"));
    PerformDeferred::performCoalesced(&receiver, key, note("coalesced"));
    PerformDeferred::performCoalesced(&receiver, key + key, note("later"), 0.5);
    PerformDeferred::performDeferred(&receiver, note("deferred"));
    PerformDeferred::performDeferred(&receiver, note("reply"), NSConnectionReplyMode);
    PerformDeferred::performCoalescedDeferred(&receiver, key, note("replaced too"));
    PerformDeferred::performCoalescedDeferred(&receiver, key, note("coalesced deferred"));
    PerformDeferred::performCoalescedDeferred(&receiver, key + key, note("coalesced reply"),
                                              NSConnectionReplyMode);
    turn();
    EXPECT_EQ(calls, (QStringList{QStringLiteral("deferred"), QStringLiteral("coalesced deferred"),
                                  QStringLiteral("delayed"), QStringLiteral("coalesced")}));
    calls.clear();
    NSRunLoop::currentRunLoop()->runMode(NSConnectionReplyMode, clock.now());
    EXPECT_EQ(calls, (QStringList{QStringLiteral("reply"), QStringLiteral("coalesced reply")}));
    calls.clear();
    clock.advance(500ms);
    EXPECT_EQ(calls, QStringList(QStringLiteral("later")));
}

TEST_P(PerformDeferredTest, CancelsCallablesByKey)
{
    int calls = 0;
    const QString key = QStringLiteral("key");
    PerformDeferred::performCoalesced(&receiver, key, [&] { ++calls; });
    PerformDeferred::performCoalescedDeferred(&receiver, key, [&] { ++calls; });
    PerformDeferred::performCoalesced(&receiver, QStringLiteral("other"), [&] { calls += 10; });
    PerformDeferred::performCoalescedSelector(&receiver, "key", QVariant());
    PerformDeferred::performDelayed(&receiver, [&] { calls += 100; });
    PerformDeferred::cancelPerform(&receiver, key);
    PerformDeferred::cancelPerform(&receiver, QString());
    PerformDeferred::cancelDelayedSelector(&receiver, "key", QVariant());
    turn();
    EXPECT_EQ(calls, 110);
}

TEST_P(PerformDeferredTest, ANilReceiverDoesNothing)
{
    int calls = 0;
    PerformDeferred::registerDeferredSelector(nullptr, "deferred:");
    PerformDeferred::performDeferredSelector(nullptr, "deferred:");
    PerformDeferred::performCoalescedDeferredSelector(nullptr, "deferred:");
    PerformDeferred::cancelDeferredSelector(nullptr, "deferred:");
    PerformDeferred::unregisterDeferredSelector(nullptr, "deferred:");
    PerformDeferred::performDelayedSelector(nullptr, "refreshDisplay:", 1);
    PerformDeferred::performCoalescedSelector(nullptr, "refreshDisplay:", 1);
    PerformDeferred::cancelAllDelayedSelectors(nullptr);
    PerformDeferred::performDelayed(nullptr, [&] { ++calls; });
    PerformDeferred::performCoalesced(nullptr, QStringLiteral("key"), [&] { ++calls; });
    PerformDeferred::performDeferred(nullptr, [&] { ++calls; });
    turn();
    EXPECT_EQ(calls, 0);
}

TEST_P(PerformDeferredTest, AMillionRequestsWaitAsOne)
{
    for (int request = 0; request < 100'000; ++request)
        PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 1, 0.1);
    clock.advance(100ms);
    EXPECT_EQ(receiver.calls.size(), 1);
}

TEST_P(PerformDeferredTest, UnregisteringTakesAnObserversOwnRegistrationsOfThatNameOnly)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "second:");
    PerformDeferred::unregisterDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "deferred:");
    PerformDeferred::performDeferredSelector(&receiver, "second:");
    turn();
    EXPECT_EQ(receiver.calls, QStringList(QStringLiteral("second")));
}

TEST_P(PerformDeferredTest, TheQueueTakesNotificationsOfAnySenderAndNone)
{
    QObject owner;
    int calls = 0;
    const QString name = QStringLiteral("a name");
    NSNotificationCenter::defaultCenter().addObserver(&owner, name, nullptr,
                                                      [&](const NSNotification &) { ++calls; });
    auto &queue = NSNotificationQueue::defaultQueue();
    queue.enqueueNotification(NSNotification(name, nullptr, {}), NSPostASAP, NSNotificationNoCoalescing, {});
    queue.enqueueNotification(NSNotification(name, &owner, {}), NSPostASAP, NSNotificationCoalescingOnName,
                              {});
    turn();
    EXPECT_EQ(calls, 2);
    {
        QObject sender;
        queue.enqueueNotification(NSNotification(name, &sender, {}), NSPostASAP, NSNotificationNoCoalescing,
                                  {});
    }
    turn();
    EXPECT_EQ(calls, 2) << "an entry dies with the object that it is about";
    queue.enqueueNotification(NSNotification(name, &owner, {}), NSPostASAP, NSNotificationNoCoalescing, {});
    queue.dequeueNotificationsMatching(NSNotification(name, nullptr, {}), NSNotificationNoCoalescing);
    turn();
    EXPECT_EQ(calls, 3);
}

/// The same with time that passes by itself.
class PerformDeferredRealTimeTest : public Tests::LoopTest {
protected:
    Receiver receiver;
};

KV_FOR_EACH_LOOP(PerformDeferredRealTimeTest);

TEST_P(PerformDeferredRealTimeTest, DebouncesToTheLastRequest)
{
    const auto ask = [&] { PerformDeferred::performCoalescedSelector(&receiver, "refreshDisplay:", 1, 0.2); };
    std::chrono::steady_clock::time_point called;
    receiver.then = [&] { called = std::chrono::steady_clock::now(); };
    ask();
    spin(40ms);
    ask();
    spin(40ms);
    const auto last = std::chrono::steady_clock::now();
    ask();
    EXPECT_TRUE(spinUntil([&] { return !receiver.calls.isEmpty(); }));
    EXPECT_GE(called - last, 200ms);
    spin(250ms);
    EXPECT_EQ(receiver.calls, QStringList(kOne));
}

TEST_P(PerformDeferredRealTimeTest, FiveRequestsOfOneCallMakeOneOrFiveCalls)
{
    PerformDeferred::registerDeferredSelector(&receiver, "deferred:");
    PerformDeferred::registerDeferredSelector(&receiver, "second:");
    PerformDeferred::performDelayed(&receiver, [&] {
        for (int request = 0; request < 5; ++request) {
            PerformDeferred::performCoalescedDeferredSelector(&receiver, "deferred:");
            PerformDeferred::performDeferredSelector(&receiver, "second:");
        }
    });
    EXPECT_TRUE(spinUntil([&] { return receiver.calls.size() == 6; }));
    spin(20ms);
    EXPECT_EQ(receiver.calls.count(kDeferred), 1);
    EXPECT_EQ(receiver.calls.count(QStringLiteral("second")), 5);
}

TEST(PerformDeferredEventTest, DeferredCallsComeAfterTheQueuedEventsAndBeforeDelayedCalls)
{
    for (const LoopKind kind : {LoopKind::GLib, LoopKind::Plain}) {
        const Tests::LoopDriver<> driver(kind);
        Receiver receiver;
        QStringList order;
        PerformDeferred::performDeferred(&receiver, [&] { order.append(QStringLiteral("deferred")); });
        PerformDeferred::performDelayed(&receiver, [&] { order.append(QStringLiteral("delayed")); });
        QMetaObject::invokeMethod(
            &receiver, [&] { order.append(QStringLiteral("event")); }, Qt::QueuedConnection);
        QTimer::singleShot(50ms, [] { QCoreApplication::exit(0); });
        QCoreApplication::exec();
        EXPECT_EQ(order, (QStringList{QStringLiteral("event"), QStringLiteral("deferred"),
                                      QStringLiteral("delayed")}));
    }
}

} // namespace
} // namespace KVBase

#include "PerformDeferredTest.moc"
