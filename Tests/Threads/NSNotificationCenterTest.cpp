#include <KVBase/Platform/NSNotificationCenter.h>

#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

class Observer : public QObject {
    Q_OBJECT

public:
    QStringList heard;
    QList<QVariantMap> information;
    QList<QObject *> senders;
    int plainCalls = 0;

    Q_INVOKABLE void hear(const KVBase::NSNotification &notification)
    {
        heard.append(notification.name());
        information.append(notification.userInfo());
        senders.append(notification.object());
    }
    Q_INVOKABLE void plain() { ++plainCalls; }
};

const QString kName = QStringLiteral("name");
const QString kOther = QStringLiteral("other");

TEST(NSNotificationCenterTest, HandsTheNotificationToTheObserver)
{
    NSNotificationCenter center;
    Observer observer;
    QObject sender;
    center.addObserver(&observer, "hear:", kName, &sender);
    center.postNotification(NSNotification(kName, &sender, {{QStringLiteral("key"), 1}}));
    ASSERT_EQ(observer.heard, QStringList(kName));
    EXPECT_EQ(observer.senders.first(), &sender);
    EXPECT_EQ(observer.information.first().value(QStringLiteral("key")).toInt(), 1);
}

TEST(NSNotificationCenterTest, MatchesNameAndObjectAndTakesNilForAny)
{
    struct Row {
        const char *what;
        bool anyName;
        bool anyObject;
        int calls;
    };
    const Row rows[] = {{"this name, this object", false, false, 1},
                        {"this name, any object", false, true, 3},
                        {"any name, this object", true, false, 2},
                        {"any name, any object", true, true, 5}};
    for (const Row &row : rows) {
        NSNotificationCenter center;
        Observer observer;
        QObject sender;
        QObject stranger;
        center.addObserver(&observer, "plain", row.anyName ? QString() : kName,
                           row.anyObject ? nullptr : &sender);
        center.postNotification(NSNotification(kName, &sender, {}));
        center.postNotification(NSNotification(kName, &stranger, {}));
        center.postNotification(NSNotification(kName, nullptr, {}));
        center.postNotification(NSNotification(kOther, &sender, {}));
        center.postNotification(NSNotification(kOther, nullptr, {}));
        EXPECT_EQ(observer.plainCalls, row.calls) << row.what;
    }
}

TEST(NSNotificationCenterTest, CallsInTheOrderOfRegistration)
{
    NSNotificationCenter center;
    QObject owner;
    QList<int> order;
    center.addObserver(&owner, kName, nullptr, [&](const NSNotification &) { order.append(1); });
    center.addObserver(&owner, QString(), nullptr, [&](const NSNotification &) { order.append(2); });
    center.addObserver(&owner, kName, nullptr, [&](const NSNotification &) { order.append(3); });
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(order, (QList<int>{1, 2, 3}));
}

TEST(NSNotificationCenterTest, CallsTwiceWhatWasRegisteredTwiceAndRemovesBoth)
{
    NSNotificationCenter center;
    Observer observer;
    center.addObserver(&observer, "hear:", kName, nullptr);
    center.addObserver(&observer, "hear:", kName, nullptr);
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(observer.heard.size(), 2);
    center.removeObserver(&observer, kName, nullptr);
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(observer.heard.size(), 2);
}

TEST(NSNotificationCenterTest, RemovesByNameAndObjectOrAltogether)
{
    NSNotificationCenter center;
    Observer observer;
    QObject sender;
    QObject stranger;
    const auto post = [&] {
        observer.plainCalls = 0;
        center.postNotification(NSNotification(kName, &sender, {}));
        center.postNotification(NSNotification(kName, &stranger, {}));
        center.postNotification(NSNotification(kOther, &sender, {}));
        return observer.plainCalls;
    };
    center.addObserver(&observer, "plain", kName, &sender);
    center.addObserver(&observer, "plain", kName, &stranger);
    center.addObserver(&observer, "plain", kOther, &sender);
    EXPECT_EQ(post(), 3);
    center.removeObserver(&observer, kName, &sender);
    EXPECT_EQ(post(), 2);
    center.removeObserver(&observer, QString(), &sender);
    EXPECT_EQ(post(), 1);
    center.removeObserver(&observer);
    EXPECT_EQ(post(), 0);
}

TEST(NSNotificationCenterTest, LeavesOtherObserversAlone)
{
    NSNotificationCenter center;
    Observer observer;
    Observer other;
    center.addObserver(&observer, "plain", kName, nullptr);
    center.addObserver(&other, "plain", kName, nullptr);
    center.removeObserver(&observer);
    center.removeObserver(nullptr);
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(observer.plainCalls, 0);
    EXPECT_EQ(other.plainCalls, 1);
}

TEST(NSNotificationCenterTest, ForgetsObserversAndSendersThatHaveGone)
{
    NSNotificationCenter center;
    int calls = 0;
    auto observer = std::make_unique<QObject>();
    auto sender = std::make_unique<QObject>();
    QObject owner;
    center.addObserver(observer.get(), kName, nullptr, [&](const NSNotification &) { ++calls; });
    center.addObserver(&owner, kName, sender.get(), [&](const NSNotification &) { calls += 10; });
    center.postNotification(NSNotification(kName, sender.get(), {}));
    EXPECT_EQ(calls, 11);
    const NSNotification last(kName, sender.get(), {});
    observer.reset();
    sender.reset();
    center.postNotification(last);
    EXPECT_EQ(calls, 11);
    EXPECT_EQ(last.object(), nullptr);
}

TEST(NSNotificationCenterTest, ObserversMayComeAndGoWhileItPosts)
{
    NSNotificationCenter center;
    QObject first;
    Observer second;
    Observer late;
    center.addObserver(&first, kName, nullptr, [&](const NSNotification &) {
        center.removeObserver(&second);
        center.addObserver(&late, "plain", kName, nullptr);
    });
    center.addObserver(&second, "plain", kName, nullptr);
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(second.plainCalls, 0);
    EXPECT_EQ(late.plainCalls, 0);
    center.removeObserver(&first);
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(late.plainCalls, 1);
}

TEST(NSNotificationCenterTest, AnObserverMayDestroyTheNext)
{
    NSNotificationCenter center;
    QObject first;
    auto second = std::make_unique<Observer>();
    center.addObserver(&first, kName, nullptr, [&](const NSNotification &) { second.reset(); });
    center.addObserver(second.get(), "plain", kName, nullptr);
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(second, nullptr);
}

TEST(NSNotificationCenterTest, IgnoresANilObserver)
{
    NSNotificationCenter center;
    int calls = 0;
    center.addObserver(nullptr, "plain", kName, nullptr);
    center.addObserver(nullptr, kName, nullptr, [&](const NSNotification &) { ++calls; });
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(calls, 0);
}

TEST(NSNotificationCenterTest, PassesExceptionsToThePoster)
{
    NSNotificationCenter center;
    Observer observer;
    center.addObserver(&observer, "unknown:", kName, nullptr);
    EXPECT_THROW(center.postNotification(NSNotification(kName, nullptr, {})), NSException);
}

TEST(NSNotificationCenterTest, KeepsLiveRegistrationsWhenItSweepsOutDeadOnes)
{
    NSNotificationCenter center;
    Observer observer;
    center.addObserver(&observer, "plain", kName, nullptr);
    for (int round = 0; round < 1000; ++round) {
        QObject shortLived;
        center.addObserver(&shortLived, QStringLiteral("name %1").arg(round), nullptr,
                           [](const NSNotification &) {});
    }
    center.postNotification(NSNotification(kName, nullptr, {}));
    EXPECT_EQ(observer.plainCalls, 1);
}

TEST(NSNotificationCenterThreads, PostsOnTheCallersThreadWhileOthersRegister)
{
    NSNotificationCenter center;
    std::vector<std::thread> threads;
    std::atomic<int> calls{0};
    std::atomic<int> strange{0};
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&center, &calls, &strange, number] {
            QObject owner;
            const auto own = std::this_thread::get_id();
            const QString name = QString::number(number);
            for (int round = 0; round < 200; ++round) {
                center.addObserver(&owner, name, nullptr, [&calls, &strange, own](const NSNotification &) {
                    ++calls;
                    if (std::this_thread::get_id() != own)
                        ++strange;
                });
                center.postNotification(NSNotification(name, nullptr, {}));
                center.removeObserver(&owner);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(calls.load(), 800);
    EXPECT_EQ(strange.load(), 0);
}

} // namespace
} // namespace KVBase

#include "NSNotificationCenterTest.moc"
