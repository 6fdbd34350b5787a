#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSNotification.h>
#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSNotificationQueue.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"
#include "Support/ManualClock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <thread>

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;
using namespace PerformDeferred;

QString s(const char *text) { return QString::fromUtf8(text); }

/// Remembers the calls it got, in order.
class Receiver : public QObject {
    Q_OBJECT
public:
    explicit Receiver(QStringList *list = nullptr, const char *label = "") : shared(list), prefix(s(label)) {}
    Q_INVOKABLE void refresh(const KVBase::NSNotification &notification)
    {
        last = notification;
        note(s("refresh"));
        if (onRefresh)
            onRefresh();
    }
    Q_INVOKABLE void layout(const KVBase::NSNotification &) { note(s("layout")); }
    Q_INVOKABLE void take(const QVariant &value)
    {
        note(s("take ") + (value.isValid() ? value.toString() : s("nil")));
    }
    Q_INVOKABLE void give(const QVariant &value)
    {
        note(s("give ") + (value.isValid() ? value.toString() : s("nil")));
    }
    Q_INVOKABLE void plain() { note(s("plain")); }
    Q_INVOKABLE void again(const QVariant &value)
    {
        note(s("again"));
        performDelayedSelector(this, "again:", value);
    }
    Q_INVOKABLE void raise() { throw NSException(s("Bad"), s("raised 100% on purpose")); }

    void note(const QString &call)
    {
        calls.append(call);
        if (shared)
            shared->append(prefix + call);
    }
    QStringList calls;
    QStringList *shared;
    QString prefix;
    NSNotification last;
    std::function<void()> onRefresh;
};

const QString kReply = QStringLiteral("NSConnectionReplyMode");

/// Runs the loop in one mode only, for a short time.
void spinIn(const QString &mode)
{
    NSRunLoop::currentRunLoop()->runMode(mode, QDateTime::currentDateTime().addMSecs(30));
}

class PerformDeferredContractTest : public LoopTest {
protected:
    /// Runs passes of the loop in the default mode until nothing more comes.
    static void settle()
    {
        for (int i = 0; i < 3; ++i)
            spin(5ms);
    }
    QStringList order;
    Receiver a{&order, "a."};
    Receiver b{&order, "b."};
};
KV_FOR_EACH_LOOP(PerformDeferredContractTest);

TEST_P(PerformDeferredContractTest, theCommonModesAreThreeInThatOrder)
{
    EXPECT_EQ(commonRunLoopModes(), QStringList({s("NSDefaultRunLoopMode"), s("NSModalPanelRunLoopMode"),
                                                 s("NSEventTrackingRunLoopMode")}));
    EXPECT_EQ(&commonRunLoopModes(), &commonRunLoopModes());
    EXPECT_EQ(NSPostASAP, 2u);
    EXPECT_EQ(NSNotificationNoCoalescing, 0u);
    EXPECT_EQ(NSNotificationCoalescingOnName, 1u);
}

TEST_P(PerformDeferredContractTest, aNameIsTheAddressAndTheSelector)
{
    char expected[100];
    std::snprintf(expected, sizeof expected, "[%p refreshDisplay:]", static_cast<void *>(&a));
    EXPECT_EQ(nameForSelector(&a, "refreshDisplay:"), s(expected));
    std::snprintf(expected, sizeof expected, "[%p a:b:]", static_cast<void *>(&a));
    EXPECT_EQ(nameForSelector(&a, "a:b:"), s(expected));
    std::snprintf(expected, sizeof expected, "[%p 50%%@:]", static_cast<void *>(&a));
    EXPECT_EQ(nameForSelector(&a, "50%@:"), s(expected));
    EXPECT_NE(nameForSelector(&a, "x"), nameForSelector(&b, "x"));
    EXPECT_NE(nameForSelector(&a, "x"), nameForSelector(&a, "x:"));
}

TEST_P(PerformDeferredContractTest, fivePlainPostingsAreFiveCallsAndFiveCoalescedOnesOne)
{
    registerDeferredSelector(&a, "refresh:");
    for (int i = 0; i < 5; ++i)
        performDeferredSelector(&a, "refresh:");
    EXPECT_TRUE(a.calls.isEmpty());
    settle();
    EXPECT_EQ(a.calls.size(), 5);
    for (int i = 0; i < 5; ++i)
        performCoalescedDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(a.calls.size(), 6);
}

TEST_P(PerformDeferredContractTest, theSlotGetsANotificationOfThatNameAndTheReceiver)
{
    registerDeferredSelector(&a, "refresh:");
    performDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(a.last.name(), nameForSelector(&a, "refresh:"));
    EXPECT_EQ(a.last.object(), &a);
    EXPECT_TRUE(a.last.userInfo().isEmpty());
}

TEST_P(PerformDeferredContractTest, anUnregisteredSelectorIsNeverCalled)
{
    CapturedLog log;
    performDeferredSelector(&a, "refresh:");
    performCoalescedDeferredSelector(&a, "refresh:");
    performDeferredSelector(&a, "nothingOfThatName:");
    settle();
    registerDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_TRUE(a.calls.isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_P(PerformDeferredContractTest, theRegistrationIsLookedUpWhenPosting)
{
    performDeferredSelector(&a, "refresh:");
    registerDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(a.calls.size(), 1);
    performDeferredSelector(&a, "refresh:");
    unregisterDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(a.calls.size(), 1);
}

TEST_P(PerformDeferredContractTest, registeringTwiceCallsTwiceAndOneUnregisterRemovesBoth)
{
    registerDeferredSelector(&a, "refresh:");
    registerDeferredSelector(&a, "refresh:");
    performDeferredSelector(&a, "refresh:");
    performCoalescedDeferredSelector(&a, "layout:");
    settle();
    EXPECT_EQ(a.calls.size(), 2);
    unregisterDeferredSelector(&a, "refresh:");
    performDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(a.calls.size(), 2);
}

TEST_P(PerformDeferredContractTest, unregisteringLeavesOtherSelectorsAndReceivers)
{
    for (Receiver *each : {&a, &b}) {
        registerDeferredSelector(each, "refresh:");
        registerDeferredSelector(each, "layout:");
    }
    unregisterDeferredSelector(&a, "refresh:");
    for (Receiver *each : {&a, &b}) {
        performDeferredSelector(each, "refresh:");
        performDeferredSelector(each, "layout:");
    }
    settle();
    EXPECT_EQ(order, QStringList({s("a.layout"), s("b.refresh"), s("b.layout")}));
}

TEST_P(PerformDeferredContractTest, modesDecideWhenADeferredCallComes)
{
    registerDeferredSelector(&a, "refresh:");
    registerDeferredSelector(&a, "layout:");
    performDeferredSelector(&a, "refresh:");
    performDeferredSelector(&a, "layout:", kReply);
    spinIn(kReply);
    EXPECT_EQ(a.calls, QStringList({s("layout")}));
    settle();
    EXPECT_EQ(a.calls, QStringList({s("layout"), s("refresh")}));
    performCoalescedDeferredSelector(&a, "refresh:", kReply);
    performCoalescedDeferredSelector(&a, "refresh:", kReply);
    settle();
    EXPECT_EQ(a.calls.size(), 2);
    spinIn(kReply);
    EXPECT_EQ(a.calls.size(), 3);
}

TEST_P(PerformDeferredContractTest, eachCommonModeDeliversADeferredCall)
{
    registerDeferredSelector(&a, "refresh:");
    int expected = 0;
    for (const QString &mode :
         {s("NSDefaultRunLoopMode"), s("NSModalPanelRunLoopMode"), s("NSEventTrackingRunLoopMode")}) {
        performDeferredSelector(&a, "refresh:");
        performCoalescedDeferredSelector(&a, "refresh:");
        spinIn(mode);
        EXPECT_EQ(a.calls.size(), ++expected) << mode.toStdString();
    }
}

TEST_P(PerformDeferredContractTest, cancellingRemovesEveryPendingEntryOfThatNameAndReceiver)
{
    const std::function<void(QObject *, const KVSelector &)> forms[] = {
        [](QObject *self, const KVSelector &selector) { cancelDeferredSelector(self, selector); },
        [](QObject *self, const KVSelector &selector) { cancelCoalescedDeferredSelector(self, selector); }};
    for (const auto &cancel : forms) {
        order.clear();
        for (Receiver *each : {&a, &b}) {
            registerDeferredSelector(each, "refresh:");
            registerDeferredSelector(each, "layout:");
            performCoalescedDeferredSelector(each, "refresh:");
            performDeferredSelector(each, "refresh:");
            performDeferredSelector(each, "refresh:", kReply);
            performDeferredSelector(each, "layout:");
        }
        cancel(&a, "refresh:");
        settle();
        spinIn(kReply);
        EXPECT_EQ(order, QStringList(
                             {s("a.layout"), s("b.refresh"), s("b.refresh"), s("b.layout"), s("b.refresh")}));
        for (Receiver *each : {&a, &b}) {
            unregisterDeferredSelector(each, "refresh:");
            unregisterDeferredSelector(each, "layout:");
        }
    }
}

TEST_P(PerformDeferredContractTest, aCoalescedRequestTakesTheQueuedOnesPlaceAtTheEnd)
{
    registerDeferredSelector(&a, "refresh:");
    registerDeferredSelector(&b, "refresh:");
    performDeferredSelector(&a, "refresh:");
    performDeferredSelector(&a, "refresh:");
    performDeferredSelector(&b, "refresh:");
    performCoalescedDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(order, QStringList({s("b.refresh"), s("a.refresh")}));
    order.clear();
    performCoalescedDeferredSelector(&a, "refresh:");
    performDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(order.size(), 2) << "a plain request merges with nothing";
}

TEST_P(PerformDeferredContractTest, aCoalescedRequestBringsItsOwnModes)
{
    registerDeferredSelector(&a, "refresh:");
    performCoalescedDeferredSelector(&a, "refresh:", kReply);
    performCoalescedDeferredSelector(&a, "refresh:");
    spinIn(kReply);
    EXPECT_TRUE(a.calls.isEmpty());
    settle();
    EXPECT_EQ(a.calls.size(), 1);
    spinIn(kReply);
    EXPECT_EQ(a.calls.size(), 1);
}

TEST_P(PerformDeferredContractTest, twoReceiversNeverCoalesce)
{
    registerDeferredSelector(&a, "refresh:");
    registerDeferredSelector(&b, "refresh:");
    for (int i = 0; i < 3; ++i) {
        performCoalescedDeferredSelector(&a, "refresh:");
        performCoalescedDeferredSelector(&b, "refresh:");
    }
    settle();
    EXPECT_EQ(order, QStringList({s("a.refresh"), s("b.refresh")}));
}

TEST_P(PerformDeferredContractTest, aReceiverThatGoesTakesItsRequestsAlong)
{
    auto gone = std::make_unique<Receiver>(&order, "gone.");
    registerDeferredSelector(gone.get(), "refresh:");
    performDeferredSelector(gone.get(), "refresh:");
    performCoalescedDeferredSelector(gone.get(), "refresh:");
    performDelayedSelector(gone.get(), "take:", 1);
    performDelayed(gone.get(), [&] { order.append(s("callable")); });
    performDeferred(gone.get(), [&] { order.append(s("callable")); });
    performCoalescedDeferred(gone.get(), s("k"), [&] { order.append(s("callable")); });
    performCoalesced(gone.get(), s("k"), [&] { order.append(s("callable")); });
    gone.reset();
    settle();
    EXPECT_TRUE(order.isEmpty());
}

TEST_P(PerformDeferredContractTest, aReceiverMayGoInItsOwnCall)
{
    auto *gone = new Receiver(&order, "gone.");
    registerDeferredSelector(gone, "refresh:");
    performDeferredSelector(gone, "refresh:");
    performDeferredSelector(gone, "refresh:");
    performDelayedSelector(gone, "take:", 1);
    gone->onRefresh = [gone] { delete gone; };
    settle();
    EXPECT_EQ(order, QStringList({s("gone.refresh")}));
}

TEST_P(PerformDeferredContractTest, delayedCallsKeepTheirOrderAndArguments)
{
    performDelayedSelector(&a, "take:", 1);
    performDelayedSelector(&b, "take:", QVariant());
    performDelayedSelector(&a, "plain", s("surplus"));
    performDelayed(&b, [&] { order.append(s("callable")); });
    performDelayedSelector(&a, "take:", 1);
    EXPECT_TRUE(order.isEmpty());
    settle();
    EXPECT_EQ(order,
              QStringList({s("a.take 1"), s("b.take nil"), s("a.plain"), s("callable"), s("a.take 1")}));
}

TEST_P(PerformDeferredContractTest, cancelDelayedGoesByTargetSelectorAndArgument)
{
    performDelayedSelector(&a, "take:", 1);
    performDelayedSelector(&a, "take:", 1);
    performDelayedSelector(&a, "take:", 2);
    performDelayedSelector(&a, "take:", QVariant());
    performDelayedSelector(&a, "take:", 0);
    performDelayedSelector(&a, "take:", s(""));
    performDelayedSelector(&a, "give:", 1);
    performDelayedSelector(&b, "take:", 1);
    cancelDelayedSelector(&a, "take:", 1);
    cancelDelayedSelector(&a, "take:", QVariant());
    settle();
    EXPECT_EQ(order, QStringList({s("a.take 2"), s("a.take 0"), s("a.take "), s("a.give 1"), s("b.take 1")}));
}

TEST_P(PerformDeferredContractTest, argumentsAreComparedByValue)
{
    performDelayedSelector(&a, "take:", QVariantList({1, s("x")}));
    performDelayedSelector(&a, "take:", QVariantMap({{s("k"), 1}}));
    performDelayedSelector(&a, "take:", s("text"));
    performDelayedSelector(&a, "take:", QVariant::fromValue(5));
    cancelDelayedSelector(&a, "take:", QVariantList({1, s("x")}));
    cancelDelayedSelector(&a, "take:", QVariantMap({{s("k"), 1}}));
    cancelDelayedSelector(&a, "take:", s("text"));
    cancelDelayedSelector(&a, "take:", QVariant::fromValue(qlonglong(5)));
    settle();
    EXPECT_EQ(order, QStringList());
}

TEST_P(PerformDeferredContractTest, cancelAllDropsTimedRequestsAndCallablesButNoDeferredOnes)
{
    registerDeferredSelector(&a, "refresh:");
    performDelayedSelector(&a, "take:", 1);
    performCoalescedSelector(&a, "give:", 2, 0.01);
    performDelayed(&a, [&] { order.append(s("callable")); });
    performCoalesced(&a, s("key"), [&] { order.append(s("callable")); });
    performDeferredSelector(&a, "refresh:");
    performDelayedSelector(&b, "take:", 3);
    cancelAllDelayedSelectors(&a);
    spin(40ms);
    EXPECT_EQ(order.size(), 2);
    EXPECT_TRUE(order.contains(s("a.refresh")));
    EXPECT_TRUE(order.contains(s("b.take 3")));
}

TEST_P(PerformDeferredContractTest, cancelAllOfOneThreadLeavesAnothersRequests)
{
    std::thread other([this] {
        Receiver mine(&order, "other.");
        performDelayedSelector(&mine, "take:", 1);
        Receiver *const target = &mine;
        std::thread([target] { cancelAllDelayedSelectors(target); }).join();
        EXPECT_TRUE(spinUntil([&] { return mine.calls.size() == 1; }));
    });
    other.join();
}

TEST_P(PerformDeferredContractTest, aBurstIsOneCallOneDelayAfterTheLast)
{
    ManualClock clock;
    performCoalescedSelector(&a, "take:", 1, 0.2);
    clock.advance(100ms);
    performCoalescedSelector(&a, "take:", 1, 0.2);
    clock.advance(50ms);
    performCoalescedSelector(&a, "take:", 1, 0.2);
    clock.advance(199'999us);
    EXPECT_TRUE(a.calls.isEmpty());
    clock.advance(1us);
    EXPECT_EQ(a.calls, QStringList({s("take 1")}));
    clock.advance(10s);
    EXPECT_EQ(a.calls.size(), 1);
}

TEST_P(PerformDeferredContractTest, coalescingGoesByReceiverSelectorAndArgument)
{
    performCoalescedSelector(&a, "take:", 1);
    performCoalescedSelector(&a, "take:", 2);
    performCoalescedSelector(&b, "take:", 1);
    performCoalescedSelector(&a, "give:", 1);
    performCoalescedSelector(&a, "take:", QVariant());
    performCoalescedSelector(&a, "take:", 1);
    settle();
    EXPECT_EQ(order,
              QStringList({s("a.take 2"), s("b.take 1"), s("a.give 1"), s("a.take nil"), s("a.take 1")}));
}

TEST_P(PerformDeferredContractTest, aCoalescedRequestReplacesPlainDelayedOnesToo)
{
    performDelayedSelector(&a, "take:", 1);
    performDelayedSelector(&a, "take:", 1);
    performCoalescedSelector(&a, "take:", 1);
    settle();
    EXPECT_EQ(a.calls.size(), 1);
    performCoalescedSelector(&a, "take:", 1);
    performDelayedSelector(&a, "take:", 1);
    settle();
    EXPECT_EQ(a.calls.size(), 3);
}

TEST_P(PerformDeferredContractTest, aShorterDelayComesSoonerEvenIfAskedLater)
{
    ManualClock clock;
    performCoalescedSelector(&a, "take:", 1, 0.5);
    performCoalescedSelector(&a, "take:", 1, 0.1);
    clock.advance(100ms);
    EXPECT_EQ(a.calls.size(), 1);
    clock.advance(1s);
    EXPECT_EQ(a.calls.size(), 1);
}

TEST_P(PerformDeferredContractTest, oddDelays)
{
    ManualClock clock;
    performCoalescedSelector(&a, "take:", 1, -5.0);
    performCoalescedSelector(&a, "take:", 2, std::nan(""));
    performCoalescedSelector(&a, "take:", 3, std::numeric_limits<double>::infinity());
    performCoalescedSelector(&a, "take:", 4, -std::numeric_limits<double>::infinity());
    performCoalescedSelector(&a, "take:", 5, 1e300);
    clock.advance(0ms);
    EXPECT_EQ(a.calls, QStringList({s("take 1"), s("take 2"), s("take 4")}));
    clock.advance(std::chrono::hours(24 * 365));
    EXPECT_EQ(a.calls.size(), 3);
    cancelAllDelayedSelectors(&a);
}

TEST_P(PerformDeferredContractTest, whatACallAddsWaitsForTheNextPass)
{
    ManualClock clock;
    performDelayedSelector(&a, "again:", 1);
    for (int pass = 1; pass <= 3; ++pass) {
        clock.advance(0ms);
        EXPECT_EQ(a.calls.size(), pass);
    }
    cancelAllDelayedSelectors(&a);
    clock.advance(0ms);
    EXPECT_EQ(a.calls.size(), 3);
}

TEST_P(PerformDeferredContractTest, whatAPostingAddsWaitsForTheNextPass)
{
    ManualClock clock;
    registerDeferredSelector(&a, "refresh:");
    a.onRefresh = [this] { performDeferredSelector(&a, "refresh:"); };
    performDeferredSelector(&a, "refresh:");
    for (int pass = 1; pass <= 3; ++pass) {
        clock.advance(0ms);
        EXPECT_EQ(a.calls.size(), pass);
    }
    a.onRefresh = nullptr;
    unregisterDeferredSelector(&a, "refresh:");
}

TEST_P(PerformDeferredContractTest, deferredCallsEndThePassAndDelayedOnesTakeTheNext)
{
    registerDeferredSelector(&a, "refresh:");
    performDelayed(&b, [this] {
        performDelayedSelector(&b, "take:", 1);
        performDeferredSelector(&a, "refresh:");
    });
    performDelayedSelector(&b, "take:", 0);
    settle();
    EXPECT_EQ(order, QStringList({s("b.take 0"), s("a.refresh"), s("b.take 1")}));
}

TEST_P(PerformDeferredContractTest, delayedCallsWaitWhileTheLoopRunsForAReplyOnly)
{
    performDelayedSelector(&a, "take:", 1);
    performCoalescedSelector(&a, "take:", 2);
    spinIn(kReply);
    EXPECT_TRUE(a.calls.isEmpty());
    spinIn(s("NSModalPanelRunLoopMode"));
    EXPECT_EQ(a.calls, QStringList({s("take 1"), s("take 2")}));
    performDelayedSelector(&a, "take:", 3);
    spinIn(s("NSEventTrackingRunLoopMode"));
    EXPECT_EQ(a.calls.size(), 3);
}

TEST_P(PerformDeferredContractTest, targetsAndArgumentsAreKeptForTheCall)
{
    auto target = std::make_shared<Receiver>(&order, "t.");
    const std::weak_ptr<Receiver> watch = target;
    auto argument = std::make_shared<int>(5);
    const std::weak_ptr<int> argumentWatch = argument;
    performDelayedSelector(target, "take:", QVariant::fromValue(argument));
    target.reset();
    argument.reset();
    EXPECT_FALSE(watch.expired());
    EXPECT_FALSE(argumentWatch.expired());
    settle();
    EXPECT_EQ(order.size(), 1);
    EXPECT_TRUE(watch.expired());
    EXPECT_TRUE(argumentWatch.expired());
}

TEST_P(PerformDeferredContractTest, aCancelledRequestReleasesTargetAndArgument)
{
    auto target = std::make_shared<Receiver>(&order, "t.");
    const std::weak_ptr<Receiver> watch = target;
    performDelayedSelector(target, "take:", 1);
    performCoalescedSelector(target, "take:", 2, 100.0);
    Receiver *const raw = target.get();
    target.reset();
    cancelDelayedSelector(raw, "take:", 1);
    EXPECT_FALSE(watch.expired());
    cancelAllDelayedSelectors(raw);
    EXPECT_TRUE(watch.expired());
}

TEST_P(PerformDeferredContractTest, coalescingWithTheOnlyOwnerInThePendingRequestIsSafe)
{
    auto target = std::make_shared<Receiver>(&order, "t.");
    Receiver *const raw = target.get();
    performCoalescedSelector(target, "take:", s("same"), 0.001);
    target.reset();
    performCoalescedSelector(raw, "take:", s("same"), 0.001);
    spin(30ms);
    EXPECT_LE(order.size(), 1);
}

TEST_P(PerformDeferredContractTest, aCallThatRaisesIsWrittenAndTheLoopGoesOn)
{
    CapturedLog log;
    performDelayedSelector(&a, "raise", QVariant());
    performDelayedSelector(&a, "unknownToAll:", QVariant());
    performDelayedSelector(&a, "take:", 1);
    settle();
    EXPECT_EQ(a.calls, QStringList({s("take 1")}));
    ASSERT_EQ(log.lines().size(), 2);
    EXPECT_TRUE(log.lines()[0].contains(s("raised 100% on purpose")));
    EXPECT_TRUE(log.lines()[1].contains(s("unknownToAll:")));
    EXPECT_TRUE(log.lines()[1].contains(s("Receiver")));
}

TEST_P(PerformDeferredContractTest, callablesMergeByTheirKey)
{
    const auto add = [this](const char *text) { return [this, text] { order.append(s(text)); }; };
    performCoalesced(&a, s("x"), add("x1"));
    performCoalesced(&a, s("y"), add("y1"));
    performCoalesced(&a, s("x"), add("x2"));
    performCoalesced(&b, s("x"), add("bx"));
    settle();
    EXPECT_EQ(order, QStringList({s("y1"), s("x2"), s("bx")}));
    order.clear();
    performCoalescedDeferred(&a, s("x"), add("d1"));
    performDeferred(&a, add("plain"));
    performCoalescedDeferred(&a, s("x"), add("d2"));
    performCoalescedDeferred(&b, s("x"), add("bd"));
    settle();
    EXPECT_EQ(order, QStringList({s("plain"), s("d2"), s("bd")}));
}

TEST_P(PerformDeferredContractTest, keysAndSelectorsNeverMatch)
{
    performCoalescedSelector(&a, "take:", QVariant());
    performCoalesced(&a, s("take:"), [&] { order.append(s("callable")); });
    settle();
    EXPECT_EQ(order, QStringList({s("a.take nil"), s("callable")}));
    order.clear();
    registerDeferredSelector(&a, "refresh:");
    performCoalescedDeferredSelector(&a, "refresh:");
    performCoalescedDeferred(&a, s("refresh:"), [&] { order.append(s("callable")); });
    performCoalescedDeferred(&a, nameForSelector(&a, "refresh:"), [&] { order.append(s("named")); });
    settle();
    EXPECT_EQ(order, QStringList({s("a.refresh"), s("callable"), s("named")}));
}

TEST_P(PerformDeferredContractTest, cancelPerformDropsEveryCallableOfItsKey)
{
    performCoalesced(&a, s("x"), [&] { order.append(s("1")); });
    performCoalescedDeferred(&a, s("x"), [&] { order.append(s("2")); });
    performCoalesced(&a, s("y"), [&] { order.append(s("y")); });
    performCoalesced(&b, s("x"), [&] { order.append(s("b")); });
    performDelayed(&a, [&] { order.append(s("keyless")); });
    cancelPerform(&a, s("x"));
    settle();
    EXPECT_EQ(order, QStringList({s("y"), s("b"), s("keyless")}));
}

TEST_P(PerformDeferredContractTest, deferredCallablesFollowTheirModes)
{
    performDeferred(
        &a, [&] { order.append(s("reply")); }, kReply);
    performCoalescedDeferred(
        &a, s("k"), [&] { order.append(s("coalesced")); }, kReply);
    performDeferred(&a, [&] { order.append(s("common")); });
    settle();
    EXPECT_EQ(order, QStringList({s("common")}));
    spinIn(kReply);
    EXPECT_EQ(order, QStringList({s("common"), s("reply"), s("coalesced")}));
}

TEST_P(PerformDeferredContractTest, nilReceiversDoNothing)
{
    performDelayedSelector(nullptr, "take:", 1);
    performCoalescedSelector(nullptr, "take:", 1);
    cancelDelayedSelector(nullptr, "take:", 1);
    cancelAllDelayedSelectors(nullptr);
    registerDeferredSelector(nullptr, "take:");
    performDeferredSelector(nullptr, "take:");
    performCoalescedDeferredSelector(nullptr, "take:");
    cancelDeferredSelector(nullptr, "take:");
    cancelCoalescedDeferredSelector(nullptr, "take:");
    unregisterDeferredSelector(nullptr, "take:");
    performDelayed(nullptr, [&] { order.append(s("nil")); });
    settle();
    EXPECT_TRUE(nameForSelector(nullptr, "take:").isNull());
}

TEST_P(PerformDeferredContractTest, removingTheReceiverAsAnObserverEndsItsRegistrations)
{
    registerDeferredSelector(&a, "refresh:");
    NSNotificationCenter::defaultCenter().removeObserver(&a);
    performDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_TRUE(a.calls.isEmpty());
}

TEST_P(PerformDeferredContractTest, aDeferredCallIsANotificationThatOthersMayObserve)
{
    QStringList names;
    NSNotificationCenter::defaultCenter().addObserver(
        &b, nameForSelector(&a, "refresh:"), &a,
        [&](const NSNotification &notification) { names.append(notification.name()); });
    performDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(names, QStringList({nameForSelector(&a, "refresh:")}));
}

TEST(PerformDeferredDeathTest, anyOtherExceptionEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const LoopKind kind : {LoopKind::NoApplication, LoopKind::GLib, LoopKind::Plain}) {
        EXPECT_EXIT(
            {
                const LoopDriver<> driver(kind);
                QObject receiver;
                performDelayed(&receiver, [] { throw std::runtime_error("other"); });
                spin(1s);
                std::_Exit(0);
            },
            testing::KilledBySignal(SIGABRT), "other");
    }
}

} // namespace
} // namespace KVBase::Tests

#include "PerformBlindTest.moc"
