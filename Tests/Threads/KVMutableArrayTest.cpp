#include "Threads/LockedCollectionSupport.h"

#include <KVBase/KVMutableArray.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

namespace KVBase
{
namespace
{

using namespace Tests;

QVariantList numbers(std::initializer_list<qlonglong> values)
{
    QVariantList list;
    for (const qlonglong value : values)
        list.append(number(value));
    return list;
}

void fill(KVMutableArray &array, std::initializer_list<qlonglong> values)
{
    for (const qlonglong value : values)
        array.addObject(number(value));
}

TEST(KVMutableArrayTest, IsEmptyHoweverItIsMade)
{
    EXPECT_EQ(KVMutableArray().count(), 0u);
    EXPECT_EQ(KVMutableArray(10).count(), 0u);
    EXPECT_EQ(KVMutableArray(4294967295u).count(), 0u);
    EXPECT_EQ(KVMutableArray::array()->count(), 0u);
    EXPECT_NE(KVMutableArray::array(), KVMutableArray::array());
    EXPECT_TRUE((std::is_base_of_v<NSMutableArray, KVMutableArray>));
    EXPECT_FALSE(std::is_copy_constructible_v<KVMutableArray>);
}

TEST(KVMutableArrayTest, DoesThePrimitives)
{
    KVMutableArray array;
    fill(array, {1, 2, 3});
    EXPECT_EQ(array.count(), 3u);
    EXPECT_EQ(array.objectAtIndex(0), number(1));
    EXPECT_EQ(array.objectAtIndex(2), number(3));
    array.insertObject(number(10), 0);
    array.insertObject(number(20), 2);
    array.insertObject(number(30), 5);
    EXPECT_EQ(array.copy(), numbers({10, 1, 20, 2, 3, 30}));
    array.removeLastObject();
    array.removeObjectAtIndex(1);
    EXPECT_EQ(array.copy(), numbers({10, 20, 2, 3}));
    array.replaceObjectAtIndex(3, number(4));
    EXPECT_EQ(array.copy(), numbers({10, 20, 2, 4}));
}

TEST(KVMutableArrayTest, RaisesForAnIndexOutOfRange)
{
    KVMutableArray array;
    const auto expectRange = [&](const std::function<void()> &work) {
        EXPECT_EQ(raised(work), NSRangeException);
        EXPECT_TRUE(isUnlocked(array));
    };
    expectRange([&] { array.removeLastObject(); });
    expectRange([&] { static_cast<void>(array.objectAtIndex(0)); });
    fill(array, {1, 2});
    for (const std::uint32_t index : {2u, 4294967295u}) {
        expectRange([&] { static_cast<void>(array.objectAtIndex(index)); });
        expectRange([&] { array.removeObjectAtIndex(index); });
        expectRange([&] { array.replaceObjectAtIndex(index, number(9)); });
    }
    expectRange([&] { array.insertObject(number(9), 3); });
    expectRange([&] { array.insertObject(number(9), 4294967295u); });
    EXPECT_EQ(array.copy(), numbers({1, 2}));
}

TEST(KVMutableArrayTest, RaisesForNil)
{
    KVMutableArray array;
    fill(array, {1});
    for (const QVariant &nil : {QVariant(), QVariant(QString())}) {
        EXPECT_EQ(raised([&] { array.addObject(nil); }), NSInvalidArgumentException);
        EXPECT_EQ(raised([&] { array.insertObject(nil, 0); }), NSInvalidArgumentException);
        EXPECT_EQ(raised([&] { array.replaceObjectAtIndex(0, nil); }), NSInvalidArgumentException);
        EXPECT_EQ(raised([&] { array.findOrInsert(nil); }), NSInvalidArgumentException);
        EXPECT_EQ(raised([&] { array.addObjectsFromArray({nil}); }), NSInvalidArgumentException);
    }
    EXPECT_TRUE(isUnlocked(array));
    EXPECT_EQ(array.copy(), numbers({1}));
    array.addObject(QStringLiteral(""));
    EXPECT_EQ(array.count(), 2u);
}

TEST(KVMutableArrayTest, NamesTheMethodAndTheIndexInTheReason)
{
    KVMutableArray array;
    try {
        static_cast<void>(array.objectAtIndex(7));
        FAIL();
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.reason().toStdString(),
                  "objectAtIndex:: index 7 is beyond bounds, the count is 0");
    }
}

TEST(KVMutableArrayTest, EnumeratesASnapshotBothWays)
{
    KVMutableArray array;
    fill(array, {1, 2, 3});
    NSEnumerator forward = array.objectEnumerator();
    NSEnumerator backward = array.reverseObjectEnumerator();
    EXPECT_EQ(forward.nextObject(), number(1));
    array.removeAllObjects();
    EXPECT_EQ(forward.nextObject(), number(2));
    EXPECT_EQ(forward.allObjects(), numbers({3}));
    EXPECT_FALSE(forward.nextObject().isValid());
    EXPECT_FALSE(forward.nextObject().isValid());
    EXPECT_EQ(backward.allObjects(), numbers({3, 2, 1}));
    EXPECT_TRUE(backward.allObjects().isEmpty());
    EXPECT_FALSE(NSEnumerator().nextObject().isValid());
}

TEST(KVMutableArrayTest, DoesTheDerivedOperations)
{
    KVMutableArray array;
    array.addObjectsFromArray(numbers({1, 2, 1, 3, 1}));
    EXPECT_TRUE(array.containsObject(number(2)));
    EXPECT_FALSE(array.containsObject(number(9)));
    EXPECT_FALSE(array.containsObject(QVariant()));
    EXPECT_EQ(array.indexOfObject(number(1)), 0u);
    EXPECT_EQ(array.indexOfObject(number(3)), 3u);
    EXPECT_EQ(array.indexOfObject(number(9)), NSNotFound);
    EXPECT_TRUE(array.isEqualToArray(numbers({1, 2, 1, 3, 1})));
    EXPECT_FALSE(array.isEqualToArray(numbers({1, 2, 1, 3})));
    EXPECT_FALSE(array.isEqualToArray(numbers({1, 2, 1, 1, 3})));
    array.removeObject(number(1));
    EXPECT_EQ(array.copy(), numbers({2, 3}));
    array.removeObject(number(9));
    EXPECT_EQ(array.count(), 2u);
    array.removeAllObjects();
    EXPECT_EQ(array.count(), 0u);
    array.removeAllObjects();
    EXPECT_TRUE(array.isEqualToArray({}));
}

TEST(KVMutableArrayTest, DoesNotTakeNilForTheEmptyText)
{
    KVMutableArray array;
    array.addObject(QStringLiteral(""));
    EXPECT_FALSE(array.containsObject(QVariant(QString())));
    EXPECT_FALSE(array.isEqualToArray({QVariant(QString())}));
    EXPECT_TRUE(array.containsObject(QStringLiteral("")));
}

TEST(KVMutableArrayTest, HandsOutWhatARemovalCannotTakeAway)
{
    KVMutableArray array;
    auto object = std::make_shared<int>(7);
    const std::weak_ptr<int> weak = object;
    array.addObject(QVariant::fromValue(object));
    object.reset();
    QVariant handedOut = array.objectAtIndex(0);
    array.removeLastObject();
    EXPECT_FALSE(weak.expired());
    handedOut = QVariant();
    EXPECT_TRUE(weak.expired());
}

TEST(KVMutableArrayTest, ReleasesRemovedElementsAfterUnlocking)
{
    KVMutableArray array;
    int destroyed = 0;
    const auto addOne = [&] {
        array.insertObject(QVariant::fromValue(std::make_shared<AsksWhenDestroyed<KVMutableArray>>(
                               &array, [&] { array.addObject(number(99)); }, &destroyed)),
                           0);
    };
    addOne();
    array.removeLastObject();
    EXPECT_EQ(destroyed, 1);
    addOne();
    array.removeObjectAtIndex(0);
    EXPECT_EQ(destroyed, 2);
    addOne();
    array.replaceObjectAtIndex(0, number(5));
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(array.copy(), numbers({5, 99, 99, 99}));
}

TEST(KVMutableArrayTest, HoldsTheRecursiveLockForCompoundWork)
{
    KVMutableArray array;
    std::atomic<bool> added{false};
    std::thread other;
    const std::uint32_t count = array.withLock([&] {
        other = std::thread([&] {
            array.addObject(number(2));
            added = true;
        });
        array.addObject(number(1));
        return array.withLock([&] { return array.count(); });
    });
    EXPECT_EQ(count, 1u);
    other.join();
    EXPECT_TRUE(added);
    EXPECT_EQ(array.copy(), numbers({1, 2}));
}

TEST(KVMutableArrayTest, ReleasesTheLockWhenCompoundWorkThrows)
{
    KVMutableArray array;
    EXPECT_THROW(array.withLock([&] { throw 5; }), int);
    EXPECT_EQ(raised([&] { array.withLock([&] { array.removeLastObject(); }); }), NSRangeException);
    EXPECT_TRUE(isUnlocked(array));
}

TEST(KVMutableArrayTest, FindsOrInserts)
{
    KVMutableArray array;
    fill(array, {4, 5, 5});
    EXPECT_EQ(array.findOrInsert(number(5)), 1u);
    EXPECT_EQ(array.findOrInsert(number(6)), 3u);
    EXPECT_EQ(array.findOrInsert(number(6)), 3u);
    EXPECT_EQ(array.count(), 4u);
}

/// An array that another thread shortens behind every count.
class ShrinkingArray : public NSMutableArray {
public:
    std::uint32_t count() const override
    {
        const std::uint32_t before = inner.count();
        if (before > 0)
            const_cast<KVMutableArray &>(inner).removeLastObject();
        return before;
    }
    QVariant objectAtIndex(std::uint32_t index) const override { return inner.objectAtIndex(index); }
    void addObject(const QVariant &object) override { inner.addObject(object); }
    void insertObject(const QVariant &object, std::uint32_t index) override
    {
        inner.insertObject(object, index);
    }
    void removeLastObject() override { inner.removeLastObject(); }
    void removeObjectAtIndex(std::uint32_t index) override { inner.removeObjectAtIndex(index); }
    void replaceObjectAtIndex(std::uint32_t index, const QVariant &object) override
    {
        inner.replaceObjectAtIndex(index, object);
    }
    NSEnumerator objectEnumerator() const override { return inner.objectEnumerator(); }
    NSEnumerator reverseObjectEnumerator() const override { return inner.reverseObjectEnumerator(); }

private:
    KVMutableArray inner;
};

TEST(KVMutableArrayTest, DerivedRemovalsOutliveAConcurrentOne)
{
    ShrinkingArray array;
    array.addObjectsFromArray(numbers({1, 2, 1, 2}));
    array.removeObject(number(1));
    EXPECT_EQ(array.copy(), numbers({2}));
    array.addObjectsFromArray(numbers({3, 4}));
    array.removeAllObjects();
    EXPECT_TRUE(array.copy().isEmpty());
}

TEST(KVMutableArrayThreads, KeepsWhatEachThreadAddsInItsOrder)
{
    constexpr qlonglong kEach = 1000;
    KVMutableArray array;
    onThreads([&](int thread) {
        for (qlonglong i = 0; i < kEach; ++i)
            array.addObject(number(thread * kEach + i));
    });
    ASSERT_EQ(array.count(), static_cast<std::uint32_t>(kThreads * kEach));
    std::vector<qlonglong> next(kThreads, 0);
    for (const QVariant &element : array.copy()) {
        const auto thread = static_cast<std::size_t>(element.toLongLong() / kEach);
        EXPECT_EQ(element.toLongLong() % kEach, next[thread]++);
    }
}

TEST(KVMutableArrayThreads, ReadsWhileOthersAddAndRemove)
{
    KVMutableArray array;
    std::atomic<qlonglong> added{0};
    std::atomic<qlonglong> removed{0};
    onThreads([&](int thread) {
        for (int i = 0; i < 500; ++i) {
            if (thread % 2 == 0) {
                array.addObject(number(i));
                ++added;
                array.insertObject(number(i), 0);
                ++added;
            } else {
                try {
                    array.removeObjectAtIndex(array.count() / 2);
                    ++removed;
                } catch (const NSException &exception) {
                    EXPECT_EQ(exception.name(), NSRangeException);
                }
            }
            try {
                const qlonglong seen = array.objectAtIndex(array.count() / 2).toLongLong();
                EXPECT_TRUE(seen >= 0 && seen < 500);
            } catch (const NSException &) {
                // The array was shortened between the two calls.
            }
        }
    });
    EXPECT_EQ(array.count(), static_cast<std::uint32_t>(added - removed));
}

TEST(KVMutableArrayThreads, EnumeratesWhileOthersChange)
{
    KVMutableArray array;
    onThreads([&](int thread) {
        for (int i = 0; i < 200; ++i) {
            array.addObject(number(thread));
            NSEnumerator enumerator = i % 2 == 0 ? array.objectEnumerator() : array.reverseObjectEnumerator();
            for (QVariant each = enumerator.nextObject(); each.isValid(); each = enumerator.nextObject())
                EXPECT_LT(each.toLongLong(), kThreads);
            if (i % 10 == 9)
                array.removeAllObjects();
            array.removeObject(number(thread));
        }
    });
    EXPECT_LE(array.count(), static_cast<std::uint32_t>(kThreads * 200));
}

TEST(KVMutableArrayThreads, MakesCompoundWorkOneStep)
{
    KVMutableArray array;
    array.addObject(number(0));
    onThreads([&](int) {
        for (int i = 0; i < 500; ++i) {
            array.withLock([&] {
                const qlonglong value = array.objectAtIndex(0).toLongLong();
                array.replaceObjectAtIndex(0, number(value + 1));
            });
        }
    });
    EXPECT_EQ(array.objectAtIndex(0).toLongLong(), kThreads * 500);
}

TEST(KVMutableArrayThreads, InsertsOncePerElement)
{
    KVMutableArray array;
    onThreads([&](int) {
        for (qlonglong i = 0; i < 50; ++i) {
            const std::uint32_t index = array.findOrInsert(number(i));
            EXPECT_EQ(array.objectAtIndex(index).toLongLong(), i);
        }
    });
    EXPECT_EQ(array.count(), 50u);
}

} // namespace
} // namespace KVBase
