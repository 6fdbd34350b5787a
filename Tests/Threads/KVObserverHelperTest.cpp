#include <KVBase/KVObserverHelper.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSNotificationCenter.h>

#include "Threads/ObservationSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace KVBase
{
namespace
{

using Tests::ObservedPerson;
using Tests::RecordingObserver;

const QString kAge = QStringLiteral("age");
const QString kName = QStringLiteral("name");

TEST(KVObserverHelperTest, ObservesWithContextAndOptions)
{
    ObservedPerson person;
    RecordingObserver observer;
    int context = 0;
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(kAge, &person, &context);
    helper.observeKeyPath(kName, &person, nullptr,
                          NSKeyValueObservingOptionNew | NSKeyValueObservingOptionInitial);
    person.setAge(3);
    person.setName(QStringLiteral("Ada"));
    ASSERT_EQ(observer.calls.size(), 3u);
    EXPECT_EQ(observer.calls[0].keyPath, kName);
    EXPECT_EQ(observer.calls[1].keyPath, kAge);
    EXPECT_EQ(observer.calls[1].context, &context);
    EXPECT_EQ(observer.calls[1].change, QVariantMap());
    EXPECT_EQ(observer.calls[2].change, (QVariantMap{{"new", QStringLiteral("Ada")}}));
}

TEST(KVObserverHelperTest, ObservesWithACallable)
{
    ObservedPerson person;
    RecordingObserver observer;
    QVariantList seen;
    KVObserverHelper helper(&observer);
    helper.observe(kAge, &person, [&](const QVariantMap &change) { seen.append(change.size()); });
    helper.observe(
        kAge, &person, [&](const QVariantMap &change) { seen.append(change.value("new")); },
        NSKeyValueObservingOptionNew);
    person.setAge(3);
    EXPECT_EQ(seen, (QVariantList{qsizetype(0), 3}));
    helper.cleanupKVO();
    person.setAge(4);
    EXPECT_EQ(seen.size(), 2);
}

TEST(KVObserverHelperTest, RemovesInReverseOrder)
{
    QStringList endings;
    ObservedPerson a(QStringLiteral("A"), &endings);
    ObservedPerson b(QStringLiteral("B"), &endings);
    RecordingObserver observer;
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(kAge, &a, nullptr);
    helper.observeKeyPath(kName, &b, nullptr);
    helper.observeKeyPath(QStringLiteral("friend"), &a, nullptr);
    EXPECT_TRUE(endings.isEmpty());
    helper.cleanupKVO();
    EXPECT_EQ(endings, (QStringList{QStringLiteral("A.friendChanged"), QStringLiteral("B.nameChanged"),
                                    QStringLiteral("A.ageChanged")}));
}

TEST(KVObserverHelperTest, RemovesBothOfTheSamePair)
{
    ObservedPerson person;
    RecordingObserver observer;
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(kAge, &person, nullptr);
    helper.observeKeyPath(kAge, &person, nullptr);
    person.setAge(1);
    EXPECT_EQ(observer.calls.size(), 2u);
    helper.cleanupKVO();
    person.setAge(2);
    EXPECT_EQ(observer.calls.size(), 2u);
}

TEST(KVObserverHelperTest, LeavesOthersObservationsAlone)
{
    ObservedPerson person;
    RecordingObserver observer;
    RecordingObserver other;
    NSKeyValueObserving::addObserver(&person, &other, kAge, 0, nullptr);
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(kAge, &person, nullptr);
    helper.cleanup();
    person.setAge(1);
    EXPECT_EQ(other.calls.size(), 1u);
    EXPECT_TRUE(observer.calls.empty());
    NSKeyValueObserving::removeObserver(&person, &other, kAge);
}

TEST(KVObserverHelperTest, CleansUpWithNothingToCleanAndTwice)
{
    ObservedPerson person;
    RecordingObserver observer;
    KVObserverHelper helper(&observer);
    helper.cleanupKVO();
    helper.cleanup();
    helper.observeKeyPath(kAge, &person, nullptr);
    helper.cleanupKVO();
    helper.cleanupKVO();
    person.setAge(1);
    EXPECT_TRUE(observer.calls.empty());
    helper.observeKeyPath(kAge, &person, nullptr);
    person.setAge(2);
    EXPECT_EQ(observer.calls.size(), 1u);
}

TEST(KVObserverHelperTest, CleansUpWhenDestroyed)
{
    ObservedPerson person;
    RecordingObserver observer;
    {
        KVObserverHelper helper(&observer);
        helper.observeKeyPath(kAge, &person, nullptr);
    }
    person.setAge(1);
    EXPECT_TRUE(observer.calls.empty());
}

/// An observer that owns its helper, as they do.
class OwningObserver : public RecordingObserver {
public:
    KVObserverHelper helper{this};
};

TEST(KVObserverHelperTest, CleansUpWithTheObserverThatOwnsIt)
{
    QStringList endings;
    ObservedPerson person(QStringLiteral("A"), &endings);
    auto observer = std::make_unique<OwningObserver>();
    observer->helper.observeKeyPath(kAge, &person, nullptr);
    observer.reset();
    EXPECT_EQ(endings, QStringList{QStringLiteral("A.ageChanged")});
    person.setAge(1);
}

TEST(KVObserverHelperTest, KeepsAnObjectGivenAsSharedPointerAlive)
{
    RecordingObserver observer;
    KVObserverHelper helper(&observer);
    auto person = std::make_shared<ObservedPerson>();
    const std::weak_ptr<ObservedPerson> weak = person;
    helper.observeKeyPath(kAge, person, nullptr);
    person.reset();
    ASSERT_FALSE(weak.expired());
    weak.lock()->setAge(1);
    EXPECT_EQ(observer.calls.size(), 1u);
    helper.cleanupKVO();
    EXPECT_TRUE(weak.expired());
}

TEST(KVObserverHelperTest, OutlivesAnObjectGivenAsPlainPointer)
{
    RecordingObserver observer;
    ObservedPerson stays;
    KVObserverHelper helper(&observer);
    auto person = std::make_unique<ObservedPerson>();
    helper.observeKeyPath(kAge, &stays, nullptr);
    helper.observeKeyPath(kAge, person.get(), nullptr);
    person.reset();
    helper.cleanup();
    stays.setAge(1);
    EXPECT_TRUE(observer.calls.empty());
}

TEST(KVObserverHelperTest, RecordsAndSkipsNil)
{
    ObservedPerson person;
    RecordingObserver observer;
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(kAge, nullptr, nullptr);
    helper.observeKeyPath(QString(), &person, nullptr);
    helper.observeKeyPath(kAge, &person, nullptr);
    person.setAge(1);
    EXPECT_EQ(observer.calls.size(), 1u);
    helper.cleanupKVO();
    person.setAge(2);
    EXPECT_EQ(observer.calls.size(), 1u);
}

TEST(KVObserverHelperTest, CleansUpAfterAnObservationThatWasRefused)
{
    ObservedPerson person;
    RecordingObserver observer;
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(kAge, &person, nullptr);
    EXPECT_THROW(helper.observeKeyPath(QStringLiteral("shoeSize"), &person, nullptr), NSException);
    helper.cleanupKVO();
    person.setAge(1);
    EXPECT_TRUE(observer.calls.empty());
}

TEST(KVObserverHelperTest, EndsEveryRegistrationWithTheDefaultCenter)
{
    NSNotificationCenter &center = NSNotificationCenter::defaultCenter();
    RecordingObserver observer;
    int heard = 0;
    const QString name = QStringLiteral("KVObserverHelperTestNotification");
    center.addObserver(&observer, name, nullptr, [&](const NSNotification &) { ++heard; });
    KVObserverHelper helper(&observer);
    helper.cleanupKVO();
    center.postNotification(NSNotification(name, nullptr, {}));
    EXPECT_EQ(heard, 1);
    helper.cleanup();
    center.postNotification(NSNotification(name, nullptr, {}));
    EXPECT_EQ(heard, 1);
}

} // namespace
} // namespace KVBase
