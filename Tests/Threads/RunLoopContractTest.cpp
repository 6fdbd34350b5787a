#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSNotification.h>
#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSNotificationQueue.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Support/CapturedLog.h"
#include "Support/LoopDriver.h"
#include "Support/ManualClock.h"

#include <gtest/gtest.h>

#include <thread>
#include <unordered_map>

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;

QString s(const char *text) { return QString::fromUtf8(text); }

const QStringList kDefault{QStringLiteral("NSDefaultRunLoopMode")};

/// Observes, ticks and raises.
class Thing : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void raise() { throw NSException(s("N"), s("R")); }
    Q_INVOKABLE void tick() { ++ticks; }
    Q_INVOKABLE void heard(const KVBase::NSNotification &notification) { names.append(notification.name()); }
    int ticks = 0;
    QStringList names;
};

TEST(KVSelectorTest, KeepsItsTextAndCountsItsColons)
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
    const std::unordered_map<KVSelector, int> numbers{{"a", 1}, {"a:", 2}, {KVSelector(), 3}};
    EXPECT_EQ(numbers.at(KVSelector(s("a"))), 1);
    EXPECT_EQ(numbers.at(KVSelector(s("a:"))), 2);
    EXPECT_EQ(numbers.at(KVSelector()), 3);
}

class NSRunLoopRequestsTest : public LoopTest {};
KV_FOR_EACH_LOOP(NSRunLoopRequestsTest);

TEST_P(NSRunLoopRequestsTest, TheModeIsTheOneThatRuns)
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

TEST_P(NSRunLoopRequestsTest, AnotherThreadMayHandWorkOverInOrder)
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

TEST_P(NSRunLoopRequestsTest, WorkHandedToALoopThatHasGoneIsDropped)
{
    Ref<NSRunLoop> loop;
    std::thread([&] { loop = NSRunLoop::currentRunLoop(); }).join();
    auto token = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = token;
    loop->performOnThread([kept = std::move(token)] { ADD_FAILURE() << *kept; });
    loop->wakeUp();
    EXPECT_TRUE(watch.expired());
}

TEST_P(NSRunLoopRequestsTest, ATimerMayEndItselfAndAnotherWhileFiring)
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

TEST_P(NSRunLoopRequestsTest, RaisedExceptionsAreWrittenAndSwallowedEverywhere)
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

TEST_P(NSRunLoopRequestsTest, DequeuingGoesByNameAndObject)
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

TEST(NSNotificationCenterRegistrationsTest, ObserversChooseByNameAndSender)
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

TEST(NSNotificationCenterRegistrationsTest, AnObserverRemovedWhilePostingIsNotCalled)
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

TEST(NSNotificationCenterRegistrationsTest, ASenderThatHasGoneReadsAsNil)
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

#include "RunLoopContractTest.moc"
