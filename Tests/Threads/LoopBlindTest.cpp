#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSNotification.h>
#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSNotificationQueue.h>
#include <KVBase/Platform/NSObject.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Support/CapturedLog.h"
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

QString s(const char *text) { return QString::fromUtf8(text); }

const QStringList kDefault{QStringLiteral("NSDefaultRunLoopMode")};

class Base : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE QString inherited() { return s("base"); }
    Q_INVOKABLE QString same(const QString &text) { return s("base ") + text; }
};

class Thing : public Base {
    Q_OBJECT
public:
    Q_INVOKABLE QString nothing() { return s("nothing"); }
    Q_INVOKABLE QString work() { return s("work0"); }
    Q_INVOKABLE QString work(int a) { return s("work1 %1").arg(a); }
    Q_INVOKABLE QString work(int a, const QString &b) { return s("work2 %1 %2").arg(a).arg(b); }
    Q_INVOKABLE QString same(const QString &text) { return s("derived ") + text; }
    Q_INVOKABLE QVariant echo(const QVariant &value) { return value; }
    Q_INVOKABLE QString text(const QString &value) { return value.isNull() ? s("(nil)") : value; }
    Q_INVOKABLE void raise() { throw NSException(s("N"), s("R")); }
    Q_INVOKABLE void tick() { ++ticks; }
    Q_INVOKABLE void heard(const KVBase::NSNotification &notification)
    {
        names.append(notification.name());
        info = notification.userInfo();
        sender = notification.object();
    }
    void plainMember() {}
    int ticks = 0;
    QStringList names;
    QVariantMap info;
    QObject *sender = nullptr;
public Q_SLOTS:
    QString slot() { return s("slot"); }
};

TEST(KVSelectorContractTest, keepsItsTextAndCountsItsColons)
{
    struct Row {
        const char *text;
        std::int32_t colons;
    };
    for (const Row &row : {Row{"refresh", 0}, Row{"refreshDisplay:", 1}, Row{"a:b:", 2}, Row{"a::", 2},
                           Row{"a:b:c:", 3}, Row{":", 1}}) {
        const KVSelector selector(s(row.text));
        EXPECT_EQ(selector.name(), s(row.text));
        EXPECT_EQ(selector.colonCount(), row.colons);
        EXPECT_FALSE(selector.isNil());
        EXPECT_TRUE(selector == KVSelector(s(row.text)));
    }
    EXPECT_TRUE(KVSelector().isNil());
    EXPECT_TRUE(KVSelector().name().isNull());
    EXPECT_EQ(KVSelector().colonCount(), 0);
    EXPECT_FALSE(KVSelector("a") == KVSelector("a:"));
    EXPECT_EQ(qHash(KVSelector("a:")), qHash(KVSelector(s("a:"))));
}

TEST(NSObjectContractTest, colonsChooseTheOverload)
{
    Thing thing;
    EXPECT_EQ(performSelector(&thing, "work").toString(), s("work0"));
    EXPECT_EQ(performSelector(&thing, "work:", 4).toString(), s("work1 4"));
    EXPECT_EQ(performSelector(&thing, "work:with:", 4, s("x")).toString(), s("work2 4 x"));
    EXPECT_EQ(performSelector(&thing, "work::", 4, s("x")).toString(), s("work2 4 x"));
    EXPECT_EQ(performSelector(&thing, "work", 4, s("surplus")).toString(), s("work0"));
    EXPECT_EQ(performSelector(&thing, "work:", 4, s("surplus")).toString(), s("work1 4"));
    EXPECT_EQ(performSelector(&thing, "work::", 4).toString(), s("work2 4 "));
    EXPECT_EQ(performSelector(&thing, "text:").toString(), s("(nil)"));
    EXPECT_FALSE(performSelector(&thing, "echo:").isValid());
}

TEST(NSObjectContractTest, theLastMethodDownwardsWins)
{
    Thing thing;
    EXPECT_EQ(performSelector(&thing, "same:", s("t")).toString(), s("derived t"));
    EXPECT_EQ(performSelector(&thing, "inherited").toString(), s("base"));
    EXPECT_EQ(performSelector(&thing, "slot").toString(), s("slot"));
    Base base;
    EXPECT_EQ(performSelector(&base, "same:", s("t")).toString(), s("base t"));
}

TEST(NSObjectContractTest, argumentsAreConverted)
{
    Thing thing;
    EXPECT_EQ(performSelector(&thing, "work:", s("12")).toString(), s("work1 12"));
    EXPECT_EQ(performSelector(&thing, "text:", 12).toString(), s("12"));
    EXPECT_EQ(performSelector(&thing, "echo:", QVariantList({1, s("x")})),
              QVariant(QVariantList({1, s("x")})));
}

TEST(NSObjectContractTest, whatAnObjectAnswersTo)
{
    Thing thing;
    EXPECT_TRUE(respondsToSelector(&thing, "work"));
    EXPECT_TRUE(respondsToSelector(&thing, "work:"));
    EXPECT_TRUE(respondsToSelector(&thing, "work:with:"));
    EXPECT_TRUE(respondsToSelector(&thing, "inherited"));
    EXPECT_FALSE(respondsToSelector(&thing, "work:a:b:"));
    EXPECT_FALSE(respondsToSelector(&thing, "plainMember"));
    EXPECT_FALSE(respondsToSelector(&thing, "nothing:"));
    EXPECT_FALSE(respondsToSelector(&thing, "Work"));
    EXPECT_FALSE(respondsToSelector(&thing, KVSelector()));
    EXPECT_FALSE(respondsToSelector(nullptr, "work"));
}

TEST(NSObjectContractTest, aNilReceiverDoesNothingAndAnUnknownSelectorRaises)
{
    EXPECT_FALSE(performSelector(nullptr, "work").isValid());
    EXPECT_FALSE(performSelector(nullptr, "nonsense:", 1).isValid());
    Thing thing;
    for (const char *name : {"nonsense", "nonsense:", "work:a:b:", "nothing:"}) {
        try {
            (void)performSelector(&thing, KVSelector(s(name)), 1, 2);
            ADD_FAILURE() << name;
        } catch (const NSException &exception) {
            EXPECT_EQ(exception.name(), s("NSInvalidArgumentException"));
            EXPECT_TRUE(exception.reason().contains(s(name))) << exception.reason().toStdString();
            EXPECT_TRUE(exception.reason().contains(s("Thing"))) << exception.reason().toStdString();
        }
    }
    EXPECT_THROW((void)performSelector(&thing, "raise"), NSException);
}

class NSRunLoopContractTest : public LoopTest {};
KV_FOR_EACH_LOOP(NSRunLoopContractTest);

TEST_P(NSRunLoopContractTest, oneLoopPerThread)
{
    const auto mine = NSRunLoop::currentRunLoop();
    EXPECT_EQ(NSRunLoop::currentRunLoop(), mine);
    EXPECT_EQ(NSRunLoop::mainRunLoop(), mine);
    EXPECT_TRUE(mine->currentMode().isNull());
    std::thread([&] {
        EXPECT_NE(NSRunLoop::currentRunLoop(), mine);
        EXPECT_EQ(NSRunLoop::mainRunLoop(), mine);
    }).join();
}

TEST_P(NSRunLoopContractTest, theModeIsTheOneThatRuns)
{
    QObject target;
    QStringList modes;
    const auto loop = NSRunLoop::currentRunLoop();
    for (const QString &mode :
         {s("NSDefaultRunLoopMode"), s("NSConnectionReplyMode"), s("NSModalPanelRunLoopMode"), s("Own")}) {
        loop->perform(&target, QString(), [&] { modes.append(loop->currentMode()); }, 0, {mode});
        loop->runMode(mode, QDateTime::currentDateTime().addMSecs(20));
        EXPECT_TRUE(loop->currentMode().isNull());
    }
    EXPECT_EQ(modes, QStringList({s("NSDefaultRunLoopMode"), s("NSConnectionReplyMode"),
                                  s("NSModalPanelRunLoopMode"), s("Own")}));
    modes.clear();
    loop->perform(
        &target, QString(),
        [&] {
            loop->perform(&target, QString(), [&] { modes.append(loop->currentMode()); }, 0,
                          {s("NSConnectionReplyMode")});
            loop->runMode(s("NSConnectionReplyMode"), QDateTime::currentDateTime().addMSecs(20));
            modes.append(loop->currentMode());
        },
        0, kDefault);
    spin(40ms);
    EXPECT_EQ(modes, QStringList({s("NSConnectionReplyMode"), s("NSDefaultRunLoopMode")}));
}

TEST_P(NSRunLoopContractTest, aRequestOfOtherModesWaits)
{
    Thing thing;
    const auto loop = NSRunLoop::currentRunLoop();
    loop->performSelector("tick", &thing, {}, 0, {s("A"), s("B")});
    spin(20ms);
    EXPECT_EQ(thing.ticks, 0);
    loop->runMode(s("B"), QDateTime::currentDateTime().addMSecs(20));
    EXPECT_EQ(thing.ticks, 1);
    loop->runMode(s("A"), QDateTime::currentDateTime().addMSecs(20));
    EXPECT_EQ(thing.ticks, 1);
}

TEST_P(NSRunLoopContractTest, requestsComeInTheOrderOfTheirDueTimes)
{
    ManualClock clock;
    QObject target;
    std::string order;
    const auto loop = NSRunLoop::currentRunLoop();
    const auto add = [&](char letter, double delay) {
        loop->perform(
            &target, QString(), [&order, letter] { order += letter; }, delay, kDefault);
    };
    add('d', 0.3);
    add('b', 0.1);
    add('e', 0.3);
    add('a', 0.0);
    add('c', 0.2);
    clock.advance(1s);
    EXPECT_EQ(order, "abcde");
}

TEST_P(NSRunLoopContractTest, aPastLimitReturnsAtOnce)
{
    const auto loop = NSRunLoop::currentRunLoop();
    loop->runUntilDate(QDateTime::currentDateTime().addSecs(-3600));
    loop->runMode(s("NSDefaultRunLoopMode"), QDateTime::currentDateTime().addSecs(-3600));
    SUCCEED();
}

TEST_P(NSRunLoopContractTest, anotherThreadMayHandWorkOverInOrder)
{
    const auto loop = NSRunLoop::currentRunLoop();
    std::vector<int> seen;
    Thing thing;
    std::thread::id ran;
    std::thread poster([&] {
        for (int i = 0; i < 100; ++i)
            loop->performOnThread([&, i] {
                seen.push_back(i);
                ran = std::this_thread::get_id();
            });
        loop->performOnThread("tick", &thing, {});
    });
    EXPECT_TRUE(spinUntil([&] { return thing.ticks == 1; }));
    poster.join();
    ASSERT_EQ(seen.size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(ran, std::this_thread::get_id());
}

TEST_P(NSRunLoopContractTest, workHandedToALoopThatHasGoneIsDropped)
{
    Ref<NSRunLoop> loop;
    std::thread([&] { loop = NSRunLoop::currentRunLoop(); }).join();
    auto token = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = token;
    loop->performOnThread([kept = std::move(token)] { ADD_FAILURE() << *kept; });
    loop->wakeUp();
    EXPECT_TRUE(watch.expired());
}

TEST_P(NSRunLoopContractTest, cancellingGoesByTargetAndMore)
{
    Thing one;
    Thing two;
    const auto loop = NSRunLoop::currentRunLoop();
    const auto fill = [&] {
        one.ticks = two.ticks = 0;
        for (Thing *thing : {&one, &two}) {
            loop->performSelector("tick", thing, 1, 0, kDefault);
            loop->performSelector("tick", thing, 2, 0, kDefault);
            loop->perform(
                thing, s("key"), [thing] { thing->ticks += 10; }, 0, kDefault);
        }
    };
    fill();
    loop->cancelPreviousPerformRequestsWithTarget(&one, "tick", 1);
    spin(20ms);
    EXPECT_EQ(one.ticks, 11);
    EXPECT_EQ(two.ticks, 12);
    fill();
    loop->cancelPreviousPerformRequestsWithTarget(&one);
    spin(20ms);
    EXPECT_EQ(one.ticks, 0);
    EXPECT_EQ(two.ticks, 12);
}

TEST_P(NSRunLoopContractTest, timersFireRepeatAndEnd)
{
    ManualClock clock;
    Thing thing;
    const auto loop = NSRunLoop::currentRunLoop();
    const auto once = NSTimer::timerWithTimeInterval(1, &thing, "tick", s("info"), false);
    EXPECT_TRUE(once->isValid());
    EXPECT_EQ(once->userInfo(), QVariant(s("info")));
    loop->addTimer(once, s("NSDefaultRunLoopMode"));
    clock.advance(1s);
    EXPECT_EQ(thing.ticks, 1);
    EXPECT_FALSE(once->isValid());
    once->fire();
    EXPECT_EQ(thing.ticks, 1);
    const auto often = NSTimer::timerWithTimeInterval(1, &thing, "tick", {}, true);
    loop->addTimer(often, s("NSDefaultRunLoopMode"));
    for (int i = 0; i < 3; ++i)
        clock.advance(1s);
    EXPECT_EQ(thing.ticks, 4);
    often->fire();
    EXPECT_EQ(thing.ticks, 5);
    EXPECT_TRUE(often->isValid());
    often->invalidate();
    EXPECT_FALSE(often->isValid());
    clock.advance(5s);
    often->fire();
    EXPECT_EQ(thing.ticks, 5);
}

TEST_P(NSRunLoopContractTest, aTimerMayEndItselfAndAnotherWhileFiring)
{
    ManualClock clock;
    int calls = 0;
    Ref<NSTimer> second;
    const auto first = NSTimer::timerWithTimeInterval(1, true, [&](NSTimer &timer) {
        ++calls;
        timer.invalidate();
        second->invalidate();
    });
    second = NSTimer::timerWithTimeInterval(1, true, [&](NSTimer &) { ++calls; });
    const auto loop = NSRunLoop::currentRunLoop();
    loop->addTimer(first, s("NSDefaultRunLoopMode"));
    loop->addTimer(second, s("NSDefaultRunLoopMode"));
    clock.advance(1s);
    clock.advance(1s);
    EXPECT_EQ(calls, 1);
}

TEST_P(NSRunLoopContractTest, aTimerWhoseTargetHasGoneDoesNothing)
{
    ManualClock clock;
    CapturedLog log;
    auto thing = std::make_unique<Thing>();
    const auto timer = NSTimer::timerWithTimeInterval(1, thing.get(), "tick", {}, true);
    NSRunLoop::currentRunLoop()->addTimer(timer, s("NSDefaultRunLoopMode"));
    thing.reset();
    clock.advance(1s);
    clock.advance(1s);
    EXPECT_TRUE(log.lines().isEmpty());
    timer->invalidate();
}

TEST_P(NSRunLoopContractTest, aBusyTimerDoesNotStarveTheLimit)
{
    int calls = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0, true, [&](NSTimer &) { ++calls; });
    NSRunLoop::currentRunLoop()->addTimer(timer, s("NSDefaultRunLoopMode"));
    spin(30ms);
    EXPECT_GE(calls, 2);
    timer->invalidate();
}

TEST_P(NSRunLoopContractTest, raisedExceptionsAreWrittenAndSwallowedEverywhere)
{
    CapturedLog log;
    Thing thing;
    const auto loop = NSRunLoop::currentRunLoop();
    loop->performSelector("raise", &thing, {}, 0, kDefault);
    loop->performOnThread([] { throw NSException(s("N"), s("R")); });
    loop->addTimer(
        NSTimer::timerWithTimeInterval(0, false, [](NSTimer &) { throw NSException(s("N"), s("R")); }),
        s("NSDefaultRunLoopMode"));
    NSNotificationCenter::defaultCenter().addObserver(
        &thing, s("raises"), nullptr, [](const NSNotification &) { throw NSException(s("N"), s("R")); });
    NSNotificationQueue::defaultQueue().enqueueNotification(NSNotification(s("raises"), nullptr, {}),
                                                            NSPostASAP, NSNotificationNoCoalescing, kDefault);
    EXPECT_TRUE(spinUntil([&] { return log.lines().size() == 4; }));
    for (const QString &line : log.lines())
        EXPECT_TRUE(line.contains(s("R"))) << line.toStdString();
}

TEST_P(NSRunLoopContractTest, queuedNotificationsCarryWhatTheyWereGiven)
{
    Thing observer;
    Thing sender;
    NSNotificationCenter::defaultCenter().addObserver(&observer, "heard:", s("Queued"), &sender);
    NSNotificationQueue::defaultQueue().enqueueNotification(
        NSNotification(s("Queued"), &sender, {{s("k"), 1}}), NSPostASAP, NSNotificationNoCoalescing,
        kDefault);
    EXPECT_TRUE(observer.names.isEmpty());
    spin(20ms);
    EXPECT_EQ(observer.names, QStringList({s("Queued")}));
    EXPECT_EQ(observer.sender, &sender);
    EXPECT_EQ(observer.info, QVariantMap({{s("k"), 1}}));
}

TEST_P(NSRunLoopContractTest, dequeuingGoesByNameAndObject)
{
    Thing observer;
    Thing one;
    Thing two;
    NSNotificationCenter::defaultCenter().addObserver(&observer, "heard:", QString(), nullptr);
    auto &queue = NSNotificationQueue::defaultQueue();
    for (const std::uint32_t mask : {0u, 1u}) {
        observer.names.clear();
        for (Thing *sender : {&one, &two})
            for (const char *name : {"A", "B"})
                queue.enqueueNotification(NSNotification(s(name), sender, {}), NSPostASAP,
                                          NSNotificationNoCoalescing, kDefault);
        queue.dequeueNotificationsMatching(NSNotification(s("A"), &one, {}), mask);
        spin(20ms);
        EXPECT_EQ(observer.names, QStringList({s("B"), s("A"), s("B")})) << mask;
    }
}

void post(const char *name, QObject *object = nullptr)
{
    NSNotificationCenter::defaultCenter().postNotification(NSNotification(s(name), object, {}));
}

TEST(NSNotificationCenterContractTest, observersChooseByNameAndSender)
{
    struct Row {
        QString name;
        bool bySender;
        QStringList heard;
    };
    Thing sender;
    Thing other;
    auto &center = NSNotificationCenter::defaultCenter();
    for (const Row &row :
         {Row{s("A"), true, {s("A")}}, Row{s("A"), false, {s("A"), s("A"), s("A")}},
          Row{QString(), true, {s("A"), s("B")}},
          Row{QString(), false, {s("A"), s("A"), s("A"), s("B"), s("B"), s("B")}}, Row{s("a"), false, {}}}) {
        Thing observer;
        center.addObserver(&observer, "heard:", row.name, row.bySender ? &sender : nullptr);
        for (const char *name : {"A", "B"}) {
            post(name, &sender);
            post(name, &other);
            post(name);
        }
        EXPECT_EQ(observer.names, row.heard);
    }
}

TEST(NSNotificationCenterContractTest, twiceRegisteredIsTwiceCalledAndRemovedAtOnce)
{
    Thing observer;
    auto &center = NSNotificationCenter::defaultCenter();
    center.addObserver(&observer, "heard:", s("A"), nullptr);
    center.addObserver(&observer, "heard:", s("A"), nullptr);
    center.addObserver(&observer, "heard:", s("B"), nullptr);
    post("A");
    EXPECT_EQ(observer.names.size(), 2);
    center.removeObserver(&observer, s("A"), nullptr);
    post("A");
    post("B");
    EXPECT_EQ(observer.names.size(), 3);
    center.removeObserver(&observer);
    post("B");
    EXPECT_EQ(observer.names.size(), 3);
}

TEST(NSNotificationCenterContractTest, observersAreCalledInTheOrderOfRegistration)
{
    QObject observer;
    std::string order;
    auto &center = NSNotificationCenter::defaultCenter();
    for (const char letter : {'a', 'b', 'c', 'd'})
        center.addObserver(&observer, letter % 2 ? s("A") : QString(), nullptr,
                           [&order, letter](const NSNotification &) { order += letter; });
    post("A");
    EXPECT_EQ(order, "abcd");
}

TEST(NSNotificationCenterContractTest, anObserverRemovedWhilePostingIsNotCalled)
{
    QObject first;
    auto second = std::make_unique<Thing>();
    auto &center = NSNotificationCenter::defaultCenter();
    int calls = 0;
    center.addObserver(&first, s("A"), nullptr, [&](const NSNotification &) {
        ++calls;
        second.reset();
        center.removeObserver(&first);
    });
    center.addObserver(second.get(), "heard:", s("A"), nullptr);
    center.addObserver(&first, s("A"), nullptr, [&](const NSNotification &) { ++calls; });
    post("A");
    post("A");
    EXPECT_EQ(calls, 1);
}

TEST(NSNotificationCenterContractTest, anotherThreadsPostRunsOnThatThread)
{
    QObject observer;
    std::thread::id ran;
    NSNotificationCenter::defaultCenter().addObserver(
        &observer, s("A"), nullptr, [&](const NSNotification &) { ran = std::this_thread::get_id(); });
    std::thread::id poster;
    std::thread([&] {
        poster = std::this_thread::get_id();
        post("A");
    }).join();
    EXPECT_EQ(ran, poster);
}

TEST(NSNotificationCenterContractTest, aSenderThatHasGoneReadsAsNil)
{
    auto sender = std::make_unique<QObject>();
    const NSNotification notification(s("A"), sender.get(), {});
    EXPECT_EQ(notification.object(), sender.get());
    sender.reset();
    EXPECT_EQ(notification.object(), nullptr);
    EXPECT_TRUE(NSNotification().name().isNull());
}

} // namespace
} // namespace KVBase::Tests

#include "LoopBlindTest.moc"
