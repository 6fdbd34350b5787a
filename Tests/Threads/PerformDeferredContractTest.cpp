#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSNotification.h>
#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSNotificationQueue.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"

#include <gtest/gtest.h>

#include <cstdio>

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

class PerformDeferredRequestsTest : public LoopTest {
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
KV_FOR_EACH_LOOP(PerformDeferredRequestsTest);

TEST_P(PerformDeferredRequestsTest, ANameIsTheAddressAndTheSelector)
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

TEST_P(PerformDeferredRequestsTest, AnUnregisteredSelectorIsNeverCalled)
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

TEST_P(PerformDeferredRequestsTest, EachCommonModeDeliversADeferredCall)
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

TEST_P(PerformDeferredRequestsTest, CancellingRemovesEveryPendingEntryOfThatNameAndReceiver)
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

TEST_P(PerformDeferredRequestsTest, ACoalescedRequestBringsItsOwnModes)
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

TEST_P(PerformDeferredRequestsTest, AReceiverThatGoesTakesItsRequestsAlong)
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

TEST_P(PerformDeferredRequestsTest, ArgumentsAreComparedByValue)
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

TEST_P(PerformDeferredRequestsTest, CancelAllDropsTimedRequestsAndCallablesButNoDeferredOnes)
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

TEST_P(PerformDeferredRequestsTest, ACancelledRequestReleasesTargetAndArgument)
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

TEST_P(PerformDeferredRequestsTest, CoalescingWithTheOnlyOwnerInThePendingRequestIsSafe)
{
    auto target = std::make_shared<Receiver>(&order, "t.");
    Receiver *const raw = target.get();
    performCoalescedSelector(target, "take:", s("same"), 0.001);
    target.reset();
    performCoalescedSelector(raw, "take:", s("same"), 0.001);
    spin(30ms);
    EXPECT_LE(order.size(), 1);
}

TEST_P(PerformDeferredRequestsTest, CallablesMergeByTheirKey)
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

TEST_P(PerformDeferredRequestsTest, KeysAndSelectorsNeverMatch)
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

TEST_P(PerformDeferredRequestsTest, CancelPerformDropsEveryCallableOfItsKey)
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

TEST_P(PerformDeferredRequestsTest, DeferredCallablesFollowTheirModes)
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

TEST_P(PerformDeferredRequestsTest, ADeferredCallIsANotificationThatOthersMayObserve)
{
    QStringList names;
    NSNotificationCenter::defaultCenter().addObserver(
        &b, nameForSelector(&a, "refresh:"), &a,
        [&](const NSNotification &notification) { names.append(notification.name()); });
    performDeferredSelector(&a, "refresh:");
    settle();
    EXPECT_EQ(names, QStringList({nameForSelector(&a, "refresh:")}));
}

} // namespace
} // namespace KVBase::Tests

#include "PerformDeferredContractTest.moc"
