#include "Support/Together.h"

#include <KVBase/KVMutableArray.h>
#include <KVBase/KVMutableDictionary.h>
#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

#include <iterator>

namespace KVBase::Tests
{
namespace
{

constexpr int kRounds = 60;
constexpr int kValues = 16;

/// A value that is copied without a count of owners.
QVariant number(int value) { return QVariant(value % kValues); }

/// Whether a value is one of those that the operations store.
bool isStored(const QVariant &value)
{
    return value.typeId() == QMetaType::Int && value.toInt() >= 0 && value.toInt() < kValues;
}

/// Runs what may find the collection too short by now.
template <class Work>
void unlessTooShort(const Work &work)
{
    try {
        work();
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), NSRangeException);
    }
}

void walk(NSEnumerator enumerator)
{
    for (QVariant each = enumerator.nextObject(); each.isValid(); each = enumerator.nextObject())
        EXPECT_TRUE(isStored(each));
}

const SharedOperation<KVMutableArray> kArrayOperations[] = {
    {"Count", [](KVMutableArray &array, int) { EXPECT_LE(array.count(), 1000u); }},
    {"ObjectAtIndex",
     [](KVMutableArray &array, int round) {
         unlessTooShort([&] { EXPECT_TRUE(isStored(array.objectAtIndex(std::uint32_t(round % 5)))); });
     }},
    {"AddObject", [](KVMutableArray &array, int round) { array.addObject(number(round)); }},
    {"InsertObject",
     [](KVMutableArray &array, int round) {
         unlessTooShort([&] { array.insertObject(number(round), std::uint32_t(round % 3)); });
     }},
    {"RemoveLastObject",
     [](KVMutableArray &array, int) { unlessTooShort([&] { array.removeLastObject(); }); }},
    {"RemoveObjectAtIndex",
     [](KVMutableArray &array, int) { unlessTooShort([&] { array.removeObjectAtIndex(0); }); }},
    {"ReplaceObjectAtIndex",
     [](KVMutableArray &array, int round) {
         unlessTooShort([&] { array.replaceObjectAtIndex(std::uint32_t(round % 4), number(round)); });
     }},
    {"ObjectEnumerator", [](KVMutableArray &array, int) { walk(array.objectEnumerator()); }},
    {"ReverseObjectEnumerator", [](KVMutableArray &array, int) { walk(array.reverseObjectEnumerator()); }},
    {"ContainsObject", [](KVMutableArray &array, int round) { (void)array.containsObject(number(round)); }},
    {"IndexOfObject",
     [](KVMutableArray &array, int) { EXPECT_EQ(array.indexOfObject(kValues + 1), 0x7fffffffu); }},
    {"AddObjectsFromArray",
     [](KVMutableArray &array, int round) {
         array.addObjectsFromArray({number(round), number(round + 1)});
     }},
    {"RemoveObject", [](KVMutableArray &array, int round) { array.removeObject(number(round)); }},
    {"RemoveAllObjects", [](KVMutableArray &array, int) { array.removeAllObjects(); }},
    {"IsEqualToArray",
     [](KVMutableArray &array, int) {
         EXPECT_FALSE(array.isEqualToArray({kValues + 1, kValues + 2}));
     }},
    {"Copy",
     [](KVMutableArray &array, int) {
         for (const QVariant &each : array.copy())
             EXPECT_TRUE(isStored(each));
     }},
    {"WithLock",
     [](KVMutableArray &array, int round) {
         array.withLock([&] {
             const std::uint32_t before = array.count();
             array.addObject(number(round));
             EXPECT_EQ(array.count(), before + 1);
             array.removeLastObject();
         });
     }},
    {"FindOrInsert",
     [](KVMutableArray &array, int round) { EXPECT_LE(array.findOrInsert(number(round)), 1000u); }},
};

class KVMutableArrayPairsThreads : public testing::TestWithParam<SharedOperation<KVMutableArray>> {};

TEST_P(KVMutableArrayPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kArrayOperations, kRounds,
        [] {
            auto array = KVMutableArray::array();
            for (int i = 0; i < kValues; ++i)
                array->addObject(number(i));
            return array;
        },
        [](KVMutableArray &array) {
            EXPECT_EQ(array.copy().size(), qsizetype(array.count()));
            walk(array.objectEnumerator());
        });
}

INSTANTIATE_TEST_SUITE_P(Each, KVMutableArrayPairsThreads, testing::ValuesIn(kArrayOperations),
                         nameOfOperation<KVMutableArray>);

const SharedOperation<KVMutableDictionary> kDictionaryOperations[] = {
    {"Count",
     [](KVMutableDictionary &dictionary, int) { EXPECT_LE(dictionary.count(), std::uint32_t(kValues)); }},
    {"ObjectForKey",
     [](KVMutableDictionary &dictionary, int round) {
         const QVariant value = dictionary.objectForKey(number(round));
         EXPECT_TRUE(!value.isValid() || isStored(value));
     }},
    {"KeyEnumerator", [](KVMutableDictionary &dictionary, int) { walk(dictionary.keyEnumerator()); }},
    {"RemoveObjectForKey",
     [](KVMutableDictionary &dictionary, int round) { dictionary.removeObjectForKey(number(round)); }},
    {"SetObject", [](KVMutableDictionary &dictionary,
                     int round) { dictionary.setObject(number(round + 1), number(round)); }},
    {"AllKeys", [](KVMutableDictionary &dictionary,
                   int) { EXPECT_LE(dictionary.allKeys().size(), qsizetype(kValues)); }},
    {"AllValues",
     [](KVMutableDictionary &dictionary, int) {
         for (const QVariant &value : dictionary.allValues())
             EXPECT_TRUE(isStored(value));
     }},
    {"RemoveAllObjects", [](KVMutableDictionary &dictionary, int) { dictionary.removeAllObjects(); }},
    {"Copy",
     [](KVMutableDictionary &dictionary, int) {
         for (const auto &[key, value] : dictionary.copy())
             EXPECT_TRUE(isStored(key) && isStored(value));
     }},
    {"WithLock",
     [](KVMutableDictionary &dictionary, int round) {
         dictionary.withLock([&] {
             dictionary.setObject(number(round), number(round));
             EXPECT_EQ(dictionary.objectForKey(number(round)), number(round));
         });
     }},
    {"FindOrInsert",
     [](KVMutableDictionary &dictionary, int round) {
         EXPECT_TRUE(isStored(dictionary.findOrInsert(number(round), [round] { return number(round); })));
     }},
};

class KVMutableDictionaryPairsThreads : public testing::TestWithParam<SharedOperation<KVMutableDictionary>> {
};

TEST_P(KVMutableDictionaryPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kDictionaryOperations, kRounds,
        [] {
            auto dictionary = std::make_unique<KVMutableDictionary>();
            for (int i = 0; i < kValues; i += 2)
                dictionary->setObject(number(i), number(i));
            return dictionary;
        },
        [](KVMutableDictionary &dictionary) {
            EXPECT_EQ(dictionary.allKeys().size(), qsizetype(dictionary.count()));
            for (const QVariant &key : dictionary.allKeys())
                EXPECT_TRUE(isStored(dictionary.objectForKey(key)));
        });
}

INSTANTIATE_TEST_SUITE_P(Each, KVMutableDictionaryPairsThreads, testing::ValuesIn(kDictionaryOperations),
                         nameOfOperation<KVMutableDictionary>);

TEST(KVMutableCollectionsThreads, AnElementsEndMayUseItsCollectionWhileOthersDo)
{
    struct Ender {
        explicit Ender(KVMutableArray *given) : array(given) {}
        KVMutableArray *array;
        ~Ender() { array->addObject(1); }
    };
    KVMutableArray array;
    together({[&](int) { array.insertObject(QVariant::fromValue(std::make_shared<Ender>(&array)), 0); },
              [&](int) { unlessTooShort([&] { array.removeObjectAtIndex(0); }); },
              [&](int) { EXPECT_LE(array.count(), 1000u); }},
             100);
    while (array.count() > 0 && array.objectAtIndex(0).typeId() != QMetaType::Int)
        array.removeObjectAtIndex(0);
    EXPECT_GE(array.count(), 1u);
    for (int guard = 0; guard < 10 && array.count() > 0; ++guard)
        array.removeAllObjects();
}

TEST(KVMutableCollectionsThreads, ExceptionsOfOneThreadLeaveTheLockToTheOthers)
{
    KVMutableArray array;
    KVMutableDictionary dictionary;
    std::atomic<int> raised{0};
    const auto count = [&](const std::function<void()> &work) {
        try {
            work();
        } catch (const NSException &) {
            ++raised;
        }
    };
    together({[&](int) { count([&] { (void)array.objectAtIndex(0xffffffffu); }); },
              [&](int) { count([&] { array.addObject(QVariant()); }); },
              [&](int) { count([&] { dictionary.setObject(1, QVariant()); }); },
              [&](int round) {
                  array.addObject(number(round));
                  dictionary.setObject(number(round), number(round));
              }},
             100);
    EXPECT_EQ(raised, 300);
    EXPECT_EQ(array.count(), 100u);
    EXPECT_EQ(dictionary.count(), std::uint32_t(kValues));
}

} // namespace
} // namespace KVBase::Tests
