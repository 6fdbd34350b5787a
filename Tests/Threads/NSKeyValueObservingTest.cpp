#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSKeyValueObserving.h>

#include "Support/CapturedLog.h"
#include "Threads/ObservationSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace KVBase
{
namespace
{

using NSKeyValueObserving::addObserver;
using NSKeyValueObserving::removeObserver;
using Tests::ObservedPerson;
using Tests::RecordingObserver;

constexpr std::uint32_t kBoth = NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld;

/// The name of the `NSException` that `work` raises; empty without one.
QString raised(const std::function<void()> &work)
{
    try {
        work();
    } catch (const NSException &exception) {
        return exception.name();
    }
    return {};
}

TEST(NSKeyValueObservingTest, TellsTheObserverOfAChange)
{
    ObservedPerson person;
    RecordingObserver observer;
    int context = 0;
    person.setAge(1);
    addObserver(&person, &observer, QStringLiteral("age"), kBoth, &context);
    EXPECT_TRUE(observer.calls.empty());
    person.setAge(2);
    ASSERT_EQ(observer.calls.size(), 1u);
    EXPECT_EQ(observer.calls[0].keyPath, QStringLiteral("age"));
    EXPECT_EQ(observer.calls[0].object, &person);
    EXPECT_EQ(observer.calls[0].context, &context);
    EXPECT_EQ(observer.calls[0].change, (QVariantMap{{"new", 2}, {"old", 1}}));
    removeObserver(&person, &observer, QStringLiteral("age"));
    person.setAge(3);
    EXPECT_EQ(observer.calls.size(), 1u);
}

TEST(NSKeyValueObservingTest, HoldsTheValuesThatTheOptionsAskFor)
{
    ObservedPerson person;
    RecordingObserver observer;
    for (const std::uint32_t options : {0u, NSKeyValueObservingOptionNew, NSKeyValueObservingOptionOld}) {
        addObserver(&person, &observer, QStringLiteral("age"), options, nullptr);
        person.setAge(person.age() + 1);
        removeObserver(&person, &observer, QStringLiteral("age"));
    }
    ASSERT_EQ(observer.calls.size(), 3u);
    EXPECT_EQ(observer.calls[0].change, QVariantMap());
    EXPECT_EQ(observer.calls[1].change, (QVariantMap{{"new", 2}}));
    EXPECT_EQ(observer.calls[2].change, (QVariantMap{{"old", 2}}));
}

TEST(NSKeyValueObservingTest, TellsTheInitialValueAtOnce)
{
    ObservedPerson person;
    RecordingObserver observer;
    person.setAge(7);
    addObserver(&person, &observer, QStringLiteral("age"), NSKeyValueObservingOptionInitial | kBoth, nullptr);
    ASSERT_EQ(observer.calls.size(), 1u);
    EXPECT_EQ(observer.calls[0].change, (QVariantMap{{"new", 7}}));
    removeObserver(&person, &observer, QStringLiteral("age"));
    addObserver(&person, &observer, QStringLiteral("age"), NSKeyValueObservingOptionInitial, nullptr);
    ASSERT_EQ(observer.calls.size(), 2u);
    EXPECT_EQ(observer.calls[1].change, QVariantMap());
    removeObserver(&person, &observer, QStringLiteral("age"));
}

TEST(NSKeyValueObservingTest, TellsBeforeAChangeThatIsAnnounced)
{
    ObservedPerson person;
    RecordingObserver prior;
    RecordingObserver plain;
    addObserver(&person, &prior, QStringLiteral("age"), kBoth | NSKeyValueObservingOptionPrior, nullptr);
    addObserver(&person, &plain, QStringLiteral("age"), kBoth, nullptr);
    NSKeyValueObserving::willChangeValueForKey(&person, QStringLiteral("name"));
    NSKeyValueObserving::willChangeValueForKey(&person, QStringLiteral("age"));
    person.setAge(5);
    ASSERT_EQ(prior.calls.size(), 2u);
    EXPECT_EQ(prior.calls[0].change, (QVariantMap{{"notificationIsPrior", true}, {"old", 0}}));
    EXPECT_EQ(prior.calls[1].change, (QVariantMap{{"new", 5}, {"old", 0}}));
    EXPECT_EQ(plain.calls.size(), 1u);
    removeObserver(&person, &prior, QStringLiteral("age"));
    removeObserver(&person, &plain, QStringLiteral("age"));
}

TEST(NSKeyValueObservingTest, WalksThroughObjects)
{
    ObservedPerson person;
    ObservedPerson first;
    ObservedPerson second;
    RecordingObserver observer;
    second.setAge(20);
    addObserver(&person, &observer, QStringLiteral("friend.age"), kBoth, nullptr);
    const auto lastChange = [&] {
        return observer.calls.empty() ? QVariantMap() : observer.calls.back().change;
    };

    person.setFriend(&first);
    EXPECT_EQ(lastChange(), (QVariantMap{{"new", 0}, {"old", QVariant()}}));
    first.setAge(10);
    EXPECT_EQ(lastChange(), (QVariantMap{{"new", 10}, {"old", 0}}));
    EXPECT_EQ(observer.calls.back().object, &person);
    EXPECT_EQ(observer.calls.back().keyPath, QStringLiteral("friend.age"));
    person.setFriend(&second);
    EXPECT_EQ(lastChange(), (QVariantMap{{"new", 20}, {"old", 10}}));
    EXPECT_EQ(observer.calls.size(), 3u);
    first.setAge(11);
    EXPECT_EQ(observer.calls.size(), 3u);
    person.setFriend(nullptr);
    EXPECT_EQ(lastChange(), (QVariantMap{{"new", QVariant()}, {"old", 20}}));
    second.setAge(21);
    EXPECT_EQ(observer.calls.size(), 4u);
    removeObserver(&person, &observer, QStringLiteral("friend.age"));
    person.setFriend(&first);
    EXPECT_EQ(observer.calls.size(), 4u);
}

TEST(NSKeyValueObservingTest, WalksThroughThreeObjects)
{
    ObservedPerson person;
    ObservedPerson middle;
    ObservedPerson last;
    RecordingObserver observer;
    person.setFriend(&middle);
    middle.setFriend(&last);
    addObserver(&person, &observer, QStringLiteral("friend.friend.name"), NSKeyValueObservingOptionNew,
                nullptr);
    last.setName(QStringLiteral("Ada"));
    ASSERT_EQ(observer.calls.size(), 1u);
    EXPECT_EQ(observer.calls[0].change, (QVariantMap{{"new", QStringLiteral("Ada")}}));
    middle.setFriend(nullptr);
    EXPECT_EQ(observer.calls.size(), 2u);
    removeObserver(&person, &observer, QStringLiteral("friend.friend.name"));
}

TEST(NSKeyValueObservingTest, CallsTwiceForTheSamePairAndRemovesOneAtATime)
{
    ObservedPerson person;
    RecordingObserver observer;
    int contexts[2] = {};
    addObserver(&person, &observer, QStringLiteral("age"), 0, &contexts[0]);
    addObserver(&person, &observer, QStringLiteral("age"), 0, &contexts[1]);
    person.setAge(1);
    EXPECT_EQ(observer.calls.size(), 2u);
    removeObserver(&person, &observer, QStringLiteral("age"));
    person.setAge(2);
    ASSERT_EQ(observer.calls.size(), 3u);
    // The latest went first.
    EXPECT_EQ(observer.calls[2].context, &contexts[0]);
    removeObserver(&person, &observer, QStringLiteral("age"));
    person.setAge(3);
    EXPECT_EQ(observer.calls.size(), 3u);
}

TEST(NSKeyValueObservingTest, IgnoresUnknownRemovals)
{
    ObservedPerson person;
    ObservedPerson other;
    RecordingObserver observer;
    addObserver(&person, &observer, QStringLiteral("age"), 0, nullptr);
    removeObserver(&other, &observer, QStringLiteral("age"));
    removeObserver(&person, &person, QStringLiteral("age"));
    removeObserver(&person, &observer, QStringLiteral("name"));
    removeObserver(nullptr, nullptr, QString());
    person.setAge(1);
    EXPECT_EQ(observer.calls.size(), 1u);
    removeObserver(&person, &observer, QStringLiteral("age"));
}

TEST(NSKeyValueObservingTest, DoesNothingForNil)
{
    ObservedPerson person;
    RecordingObserver observer;
    addObserver(nullptr, &observer, QStringLiteral("age"), NSKeyValueObservingOptionInitial, nullptr);
    addObserver(&person, nullptr, QStringLiteral("age"), NSKeyValueObservingOptionInitial, nullptr);
    addObserver(&person, &observer, QString(), NSKeyValueObservingOptionInitial, nullptr);
    EXPECT_TRUE(observer.calls.empty());
}

TEST(NSKeyValueObservingTest, RaisesForWhatCannotBeObserved)
{
    ObservedPerson person;
    ObservedPerson other;
    RecordingObserver observer;
    person.setFriend(&other);
    for (const char *path : {"shoeSize", "", ".age", "age.", "age.years", "friend.shoeSize", "silent"}) {
        EXPECT_EQ(raised([&] { addObserver(&person, &observer, QString::fromUtf8(path), 0, nullptr); }),
                  NSInvalidArgumentException)
            << path;
    }
    person.setAge(1);
    EXPECT_TRUE(observer.calls.empty());
    // A constant property never changes, and needs no signal.
    addObserver(&person, &observer, QStringLiteral("species"), NSKeyValueObservingOptionInitial, nullptr);
    EXPECT_EQ(observer.calls.size(), 1u);
    removeObserver(&person, &observer, QStringLiteral("species"));
}

TEST(NSKeyValueObservingTest, CallsACallable)
{
    ObservedPerson person;
    RecordingObserver observer;
    std::vector<QVariantMap> changes;
    addObserver(&person, &observer, QStringLiteral("age"), NSKeyValueObservingOptionNew,
                [&](const QVariantMap &change) { changes.push_back(change); });
    person.setAge(4);
    EXPECT_EQ(changes, (std::vector<QVariantMap>{{{"new", 4}}}));
    EXPECT_TRUE(observer.calls.empty());
    removeObserver(&person, &observer, QStringLiteral("age"));
    person.setAge(5);
    EXPECT_EQ(changes.size(), 1u);
}

TEST(NSKeyValueObservingTest, OutlivesTheObjectAndTheObserver)
{
    RecordingObserver observer;
    auto person = std::make_unique<ObservedPerson>();
    addObserver(person.get(), &observer, QStringLiteral("age"), 0, nullptr);
    ObservedPerson *const gone = person.get();
    person.reset();
    removeObserver(gone, &observer, QStringLiteral("age"));

    ObservedPerson stays;
    auto leaves = std::make_unique<RecordingObserver>();
    addObserver(&stays, leaves.get(), QStringLiteral("age"), 0, nullptr);
    bool called = false;
    addObserver(&stays, leaves.get(), QStringLiteral("age"), 0, [&](const QVariantMap &) { called = true; });
    leaves.reset();
    stays.setAge(1);
    EXPECT_FALSE(called);
}

TEST(NSKeyValueObservingTest, OutlivesAnObjectOnTheWay)
{
    ObservedPerson person;
    RecordingObserver observer;
    auto middle = std::make_unique<ObservedPerson>();
    person.setFriend(middle.get());
    addObserver(&person, &observer, QStringLiteral("friend.age"), kBoth, nullptr);
    person.setFriend(nullptr);
    middle.reset();
    ObservedPerson next;
    next.setAge(3);
    person.setFriend(&next);
    ASSERT_EQ(observer.calls.size(), 2u);
    EXPECT_EQ(observer.calls[1].change, (QVariantMap{{"new", 3}, {"old", QVariant()}}));
    removeObserver(&person, &observer, QStringLiteral("friend.age"));
}

TEST(NSKeyValueObservingTest, MayBeRemovedInsideTheCall)
{
    ObservedPerson person;
    RecordingObserver observer;
    int calls = 0;
    addObserver(&person, &observer, QStringLiteral("age"), 0, [&](const QVariantMap &) {
        ++calls;
        removeObserver(&person, &observer, QStringLiteral("age"));
    });
    person.setAge(1);
    person.setAge(2);
    EXPECT_EQ(calls, 1);
}

TEST(NSKeyValueObservingTest, SaysWhenTheObserverHasNoMethod)
{
    ObservedPerson person;
    QObject observer;
    const Tests::CapturedLog console;
    addObserver(&person, &observer, QStringLiteral("age"), 0, nullptr);
    person.setAge(1);
    removeObserver(&person, &observer, QStringLiteral("age"));
    const QStringList lines = console.lines();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_EQ(
        lines.first().toStdString(),
        "QObject has no method observeValueForKeyPath(QString, QObject *, QVariantMap, void *); a change of "
        "\"age\" was not delivered");
}

} // namespace
} // namespace KVBase
