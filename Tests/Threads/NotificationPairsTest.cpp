#include "Support/LoopDriver.h"
#include "Support/Together.h"

#include <KVBase/KVObserverHelper.h>
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

/// A thread's own object, which observes another of its kind.
class Receiver : public QObject {
    Q_OBJECT
    Q_PROPERTY(int x MEMBER xValue NOTIFY xChanged)
public:
    Q_INVOKABLE void take(int value) { sum += value; }
    Q_INVOKABLE void observeValueForKeyPath(const QString &, QObject *, const QVariantMap &, void *)
    {
        ++changes;
    }
    int sum = 0;
    int changes = 0;
Q_SIGNALS:
    void xChanged();

private:
    int xValue = 0;
};

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
         spin(std::chrono::milliseconds(0));
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

#include "NotificationPairsTest.moc"
