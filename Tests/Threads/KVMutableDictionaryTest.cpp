#include "Threads/LockedCollectionSupport.h"

#include <KVBase/KVMutableDictionary.h>

#include <gtest/gtest.h>

#include <QtCore/QDateTime>
#include <QtCore/QPoint>
#include <QtCore/QTimeZone>
#include <QtCore/QUrl>
#include <QtCore/QUuid>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

namespace KVBase
{
namespace
{

using namespace Tests;

TEST(KVMutableDictionaryTest, IsEmptyHoweverItIsMade)
{
    EXPECT_EQ(KVMutableDictionary().count(), 0u);
    EXPECT_EQ(KVMutableDictionary(10).count(), 0u);
    EXPECT_EQ(KVMutableDictionary(4294967295u).count(), 0u);
    EXPECT_TRUE((std::is_base_of_v<NSMutableDictionary, KVMutableDictionary>));
    EXPECT_FALSE(std::is_copy_constructible_v<KVMutableDictionary>);
}

template <class T>
concept HasFactory = requires
{
    T::dictionary();
};

TEST(KVMutableDictionaryTest, HasNoConvenienceFactory) { EXPECT_FALSE(HasFactory<KVMutableDictionary>); }

TEST(KVMutableDictionaryTest, DoesThePrimitives)
{
    KVMutableDictionary dictionary;
    dictionary.setObject(number(1), QStringLiteral("a"));
    dictionary.setObject(number(2), QStringLiteral("b"));
    EXPECT_EQ(dictionary.count(), 2u);
    EXPECT_EQ(dictionary.objectForKey(QStringLiteral("a")), number(1));
    EXPECT_FALSE(dictionary.objectForKey(QStringLiteral("c")).isValid());
    dictionary.setObject(number(3), QStringLiteral("a"));
    EXPECT_EQ(dictionary.objectForKey(QStringLiteral("a")), number(3));
    EXPECT_EQ(dictionary.count(), 2u);
    dictionary.removeObjectForKey(QStringLiteral("a"));
    dictionary.removeObjectForKey(QStringLiteral("never there"));
    EXPECT_EQ(dictionary.count(), 1u);
    EXPECT_FALSE(dictionary.objectForKey(QStringLiteral("a")).isValid());
}

TEST(KVMutableDictionaryTest, TakesValuesOfEveryKindAsKeys)
{
    const QDateTime date(QDate(2026, 1, 31), QTime(12, 0), Qt::UTC);
    const QVariantList keys{
        QStringLiteral("1"),
        QStringLiteral(""),
        QByteArray("1"),
        number(1),
        number(-1),
        1.5,
        18446744073709551615ull,
        1e300,
        std::numeric_limits<double>::infinity(),
        std::nan(""),
        date,
        QUrl(QStringLiteral("http://example.org/")),
        QUuid(QStringLiteral("{6ba7b810-9dad-11d1-80b4-00c04fd430c8}")),
    };
    KVMutableDictionary dictionary;
    for (qsizetype i = 0; i < keys.size(); ++i)
        dictionary.setObject(number(i), keys.at(i));
    EXPECT_EQ(dictionary.count(), static_cast<std::uint32_t>(keys.size()));
    for (qsizetype i = 0; i < keys.size(); ++i)
        EXPECT_EQ(dictionary.objectForKey(keys.at(i)), number(i)) << i;
}

TEST(KVMutableDictionaryTest, TakesEqualKeysForOne)
{
    KVMutableDictionary dictionary;
    dictionary.setObject(number(5), number(1));
    for (const QVariant &one :
         {QVariant(1), QVariant(1u), QVariant(1ull), QVariant(1.0), QVariant(1.0f), QVariant(true),
          QVariant::fromValue<short>(1), QVariant::fromValue<signed char>(1)})
        EXPECT_EQ(dictionary.objectForKey(one), number(5)) << one.typeName();
    const QDateTime utc(QDate(2026, 1, 31), QTime(12, 0), Qt::UTC);
    dictionary.setObject(number(6), utc);
    EXPECT_EQ(dictionary.objectForKey(utc.toOffsetFromUtc(3600)), number(6));
    dictionary.setObject(number(7), 9223372036854775808.0);
    EXPECT_EQ(dictionary.objectForKey(9223372036854775808ull), number(7));
    dictionary.setObject(number(8), -0.0);
    EXPECT_EQ(dictionary.objectForKey(0), number(8));
}

TEST(KVMutableDictionaryTest, KeepsTheFirstOfEqualKeys)
{
    KVMutableDictionary dictionary;
    dictionary.setObject(number(1), number(1));
    dictionary.setObject(number(2), 1.0);
    ASSERT_EQ(dictionary.allKeys().size(), 1);
    EXPECT_EQ(dictionary.allKeys().first().typeId(), static_cast<int>(QMetaType::LongLong));
}

TEST(KVMutableDictionaryTest, CopiesItsKeys)
{
    KVMutableDictionary dictionary;
    QByteArray key("key");
    dictionary.setObject(number(1), key);
    key[0] = 'K';
    EXPECT_EQ(dictionary.objectForKey(QByteArray("key")), number(1));
    EXPECT_FALSE(dictionary.objectForKey(key).isValid());
}

TEST(KVMutableDictionaryTest, RaisesForNilAndForOtherKindsOfKeys)
{
    KVMutableDictionary dictionary;
    dictionary.setObject(number(1), number(1));
    const auto expectInvalid = [&](const std::function<void()> &work) {
        EXPECT_EQ(raised(work), NSInvalidArgumentException);
        EXPECT_TRUE(isUnlocked(dictionary));
    };
    for (const QVariant &nil : {QVariant(), QVariant(QString())}) {
        expectInvalid([&] { dictionary.setObject(nil, number(1)); });
        expectInvalid([&] { dictionary.setObject(number(1), nil); });
        expectInvalid([&] { dictionary.removeObjectForKey(nil); });
        expectInvalid([&] { dictionary.findOrInsert(nil, [] { return number(1); }); });
        EXPECT_FALSE(dictionary.objectForKey(nil).isValid());
    }
    for (const QVariant &other : {QVariant(QVariantList()), QVariant(QVariantMap()), QVariant(QPoint())}) {
        expectInvalid([&] { dictionary.setObject(number(1), other); });
        expectInvalid([&] { dictionary.removeObjectForKey(other); });
        expectInvalid([&] { static_cast<void>(dictionary.objectForKey(other)); });
    }
    EXPECT_EQ(dictionary.count(), 1u);
}

TEST(KVMutableDictionaryTest, EnumeratesASnapshotOfItsKeys)
{
    KVMutableDictionary dictionary;
    for (qlonglong i = 0; i < 5; ++i)
        dictionary.setObject(number(i * 10), number(i));
    NSEnumerator enumerator = dictionary.keyEnumerator();
    dictionary.removeAllObjects();
    std::vector<qlonglong> keys;
    for (QVariant key = enumerator.nextObject(); key.isValid(); key = enumerator.nextObject())
        keys.push_back(key.toLongLong());
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keys, (std::vector<qlonglong>{0, 1, 2, 3, 4}));
    EXPECT_EQ(dictionary.count(), 0u);
}

TEST(KVMutableDictionaryTest, DoesTheDerivedOperations)
{
    KVMutableDictionary dictionary;
    for (qlonglong i = 0; i < 5; ++i)
        dictionary.setObject(number(i * 10), number(i));
    const QVariantList keys = dictionary.allKeys();
    const QVariantList values = dictionary.allValues();
    const auto pairs = dictionary.copy();
    ASSERT_EQ(keys.size(), 5);
    ASSERT_EQ(values.size(), 5);
    ASSERT_EQ(pairs.size(), 5);
    for (qsizetype i = 0; i < 5; ++i) {
        EXPECT_EQ(values.at(i).toLongLong(), keys.at(i).toLongLong() * 10);
        EXPECT_EQ(pairs.at(i).first, keys.at(i));
        EXPECT_EQ(pairs.at(i).second, values.at(i));
    }
    dictionary.removeAllObjects();
    EXPECT_EQ(dictionary.count(), 0u);
    EXPECT_TRUE(dictionary.copy().isEmpty());
}

TEST(KVMutableDictionaryTest, ReleasesRemovedValuesAfterUnlocking)
{
    KVMutableDictionary dictionary;
    int destroyed = 0;
    const auto setOne = [&] {
        dictionary.setObject(
            QVariant::fromValue(std::make_shared<AsksWhenDestroyed<KVMutableDictionary>>(
                &dictionary, [&] { dictionary.setObject(number(1), number(99)); }, &destroyed)),
            number(1));
    };
    setOne();
    dictionary.removeObjectForKey(number(1));
    EXPECT_EQ(destroyed, 1);
    setOne();
    dictionary.setObject(number(2), number(1));
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(dictionary.objectForKey(number(99)), number(1));
}

TEST(KVMutableDictionaryTest, HandsOutWhatARemovalCannotTakeAway)
{
    KVMutableDictionary dictionary;
    auto object = std::make_shared<int>(7);
    const std::weak_ptr<int> weak = object;
    dictionary.setObject(QVariant::fromValue(object), number(1));
    object.reset();
    QVariant handedOut = dictionary.objectForKey(number(1));
    dictionary.removeObjectForKey(number(1));
    EXPECT_FALSE(weak.expired());
    handedOut = QVariant();
    EXPECT_TRUE(weak.expired());
}

TEST(KVMutableDictionaryTest, FindsOrInserts)
{
    KVMutableDictionary dictionary;
    int made = 0;
    const auto make = [&] {
        ++made;
        return number(made);
    };
    EXPECT_EQ(dictionary.findOrInsert(number(1), make), number(1));
    EXPECT_EQ(dictionary.findOrInsert(number(1), make), number(1));
    EXPECT_EQ(dictionary.findOrInsert(number(2), make), number(2));
    EXPECT_EQ(made, 2);
    EXPECT_EQ(raised([&] { dictionary.findOrInsert(number(3), [] { return QVariant(); }); }),
              NSInvalidArgumentException);
    EXPECT_THROW(dictionary.findOrInsert(number(3), []() -> QVariant { throw 5; }), int);
    EXPECT_EQ(dictionary.count(), 2u);
    EXPECT_TRUE(isUnlocked(dictionary));
}

TEST(KVMutableDictionaryTest, KeepsWhatTheMakerStoredItself)
{
    KVMutableDictionary dictionary;
    const QVariant found = dictionary.findOrInsert(number(1), [&] {
        for (qlonglong i = 1; i < 100; ++i)
            dictionary.setObject(number(5), number(i));
        return number(6);
    });
    EXPECT_EQ(found, number(5));
    EXPECT_EQ(dictionary.objectForKey(number(1)), number(5));
}

TEST(KVMutableDictionaryTest, ReleasesTheLockWhenCompoundWorkThrows)
{
    KVMutableDictionary dictionary;
    EXPECT_EQ(dictionary.withLock([&] { return dictionary.count() + 1; }), 1u);
    EXPECT_THROW(dictionary.withLock([] { throw 5; }), int);
    EXPECT_TRUE(isUnlocked(dictionary));
}

TEST(KVMutableDictionaryThreads, AgreesWithASequentialModel)
{
    // Each thread has keys of its own, so that its own model tells what must be there.
    KVMutableDictionary dictionary;
    std::vector<std::map<qlonglong, qlonglong>> models(kThreads);
    onThreads([&](int thread) {
        std::map<qlonglong, qlonglong> &model = models[static_cast<std::size_t>(thread)];
        std::uint32_t random = static_cast<std::uint32_t>(thread) + 1;
        for (int i = 0; i < 1000; ++i) {
            random = random * 1664525u + 1013904223u;
            const qlonglong key = qlonglong{thread} * 1000 + qlonglong{(random >> 24) % 20};
            if ((random >> 16) % 3 == 0) {
                dictionary.removeObjectForKey(number(key));
                model.erase(key);
            } else {
                dictionary.setObject(number(i), number(key));
                model[key] = i;
            }
            const QVariant found = dictionary.objectForKey(number(key));
            EXPECT_EQ(found.isValid(), model.count(key) == 1);
            if (found.isValid()) {
                EXPECT_EQ(found.toLongLong(), model[key]);
            }
        }
    });
    std::size_t expected = 0;
    for (const auto &model : models) {
        expected += model.size();
        for (const auto &[key, value] : model)
            EXPECT_EQ(dictionary.objectForKey(number(key)).toLongLong(), value);
    }
    EXPECT_EQ(dictionary.count(), expected);
}

TEST(KVMutableDictionaryThreads, EnumeratesWhileOthersChange)
{
    KVMutableDictionary dictionary;
    onThreads([&](int thread) {
        for (qlonglong i = 0; i < 200; ++i) {
            dictionary.setObject(number(i), number(thread * 10 + i % 10));
            for (const QVariant &value : dictionary.allValues())
                EXPECT_LT(value.toLongLong(), 200);
            if (i % 20 == 19)
                dictionary.removeAllObjects();
        }
    });
    EXPECT_LE(dictionary.count(), static_cast<std::uint32_t>(kThreads * 10));
}

TEST(KVMutableDictionaryThreads, MakesAMissingValueOnce)
{
    KVMutableDictionary dictionary;
    std::atomic<int> made{0};
    onThreads([&](int) {
        for (qlonglong i = 0; i < 100; ++i) {
            const QVariant value = dictionary.findOrInsert(number(i), [&] {
                ++made;
                return number(i * 2);
            });
            EXPECT_EQ(value.toLongLong(), i * 2);
        }
    });
    EXPECT_EQ(made, 100);
}

} // namespace
} // namespace KVBase
