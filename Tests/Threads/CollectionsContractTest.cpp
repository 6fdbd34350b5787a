#include <KVBase/KVMutableArray.h>
#include <KVBase/KVMutableDictionary.h>
#include <KVBase/KVObjectRegistry.h>
#include <KVBase/Platform/NSException.h>

#include <QtCore/QDateTime>
#include <QtCore/QUrl>
#include <QtCore/QUuid>

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>

namespace KVBase::Tests
{
namespace
{

QString s(const char *text) { return QString::fromUtf8(text); }

/// The name of the exception that `work` raises, or "none".
QString raised(const std::function<void()> &work)
{
    try {
        work();
    } catch (const NSException &exception) {
        return exception.name();
    }
    return s("none");
}

/// Whether another thread gets through to the collection, that is, whether nobody sits on its lock.
template <class Collection>
bool unlocked(Collection &collection)
{
    std::uint32_t count = 0xffffffffu;
    std::thread([&] { count = collection.count(); }).join();
    return count != 0xffffffffu;
}

Ref<KVMutableArray> arrayOf(const QVariantList &elements)
{
    auto array = KVMutableArray::array();
    for (const QVariant &element : elements)
        array->addObject(element);
    return array;
}

TEST(KVMutableArrayEdgesTest, StartsEmptyHoweverMade)
{
    EXPECT_EQ(KVMutableArray::array()->count(), 0u);
    EXPECT_EQ(KVMutableArray().count(), 0u);
    for (const std::uint32_t capacity : {0u, 1u, 1000u, 0x80000000u, 0xffffffffu}) {
        KVMutableArray array(capacity);
        EXPECT_EQ(array.count(), 0u);
        array.addObject(1);
        EXPECT_EQ(array.count(), 1u);
    }
    static_assert(!std::is_copy_constructible_v<KVMutableArray> &&
                  !std::is_copy_assignable_v<KVMutableArray>);
    static_assert(std::is_base_of_v<NSMutableArray, KVMutableArray>);
    EXPECT_NE(KVMutableArray::array(), KVMutableArray::array());
}

TEST(KVMutableArrayEdgesTest, AnIndexPastTheEndIsARangeException)
{
    for (const std::uint32_t count : {0u, 1u, 3u}) {
        KVMutableArray array;
        for (std::uint32_t i = 0; i < count; ++i)
            array.addObject(i);
        for (const std::uint32_t index :
             {count, count + 1, 0x7fffffffu, 0x80000000u, 0xfffffffeu, 0xffffffffu}) {
            EXPECT_EQ(raised([&] { (void)array.objectAtIndex(index); }), s("NSRangeException")) << index;
            EXPECT_EQ(raised([&] { array.removeObjectAtIndex(index); }), s("NSRangeException")) << index;
            EXPECT_EQ(raised([&] { array.replaceObjectAtIndex(index, 1); }), s("NSRangeException")) << index;
            if (index > count) {
                EXPECT_EQ(raised([&] { array.insertObject(1, index); }), s("NSRangeException")) << index;
            }
        }
        EXPECT_EQ(array.count(), count);
        EXPECT_TRUE(unlocked(array));
    }
    KVMutableArray empty;
    EXPECT_EQ(raised([&] { empty.removeLastObject(); }), s("NSRangeException"));
    EXPECT_TRUE(unlocked(empty));
}

TEST(KVMutableArrayEdgesTest, AnEnumeratorSurvivesChangesAndTheArraysEnd)
{
    auto array = arrayOf({1, 2, 3});
    NSEnumerator enumerator = array->objectEnumerator();
    EXPECT_EQ(enumerator.nextObject(), QVariant(1));
    array->removeAllObjects();
    array.reset();
    while (enumerator.nextObject().isValid()) {
    }
}

struct Noisy {
    std::function<void()> atEnd;
    ~Noisy() { atEnd(); }
};

TEST(KVMutableArrayEdgesTest, AnElementsEndMayCallBackAndFindsTheLockFree)
{
    KVMutableArray array;
    int ends = 0;
    const auto add = [&] {
        auto noisy = std::make_shared<Noisy>();
        noisy->atEnd = [&] {
            ++ends;
            EXPECT_TRUE(unlocked(array));
            array.addObject(s("from the end"));
        };
        array.insertObject(QVariant::fromValue(noisy), 0);
    };
    add();
    array.removeObjectAtIndex(0);
    EXPECT_EQ(ends, 1);
    add();
    array.replaceObjectAtIndex(0, s("new"));
    EXPECT_EQ(ends, 2);
    EXPECT_EQ(array.objectAtIndex(0), QVariant(s("new")));
    array.removeAllObjects();
    array.insertObject(s("x"), 0);
    while (array.count() > 0)
        array.removeLastObject();
    add();
    array.removeLastObject();
    EXPECT_EQ(ends, 3);
}

TEST(KVMutableDictionaryEdgesTest, StartsEmptyHoweverMade)
{
    EXPECT_EQ(KVMutableDictionary().count(), 0u);
    for (const std::uint32_t capacity : {0u, 1u, 0xffffffffu}) {
        KVMutableDictionary dictionary(capacity);
        dictionary.setObject(1, s("k"));
        EXPECT_EQ(dictionary.count(), 1u);
    }
    static_assert(!std::is_copy_constructible_v<KVMutableDictionary>);
    static_assert(std::is_base_of_v<NSMutableDictionary, KVMutableDictionary>);
}

TEST(KVMutableDictionaryEdgesTest, KeysOfEachKindAreKeptApart)
{
    const QDateTime date(QDate(2020, 2, 29), QTime(12, 0), Qt::UTC);
    const QVariantList keys = {
        s("1"), QByteArray("1"),       1,
        date,   QUrl(s("http://a/1")), QUuid(s("{67C8770B-44F1-410A-AB9A-F9B5446F13EE}")),
        s("")};
    KVMutableDictionary dictionary;
    int value = 0;
    for (const QVariant &key : keys)
        dictionary.setObject(++value, key);
    EXPECT_EQ(dictionary.count(), 7u);
    value = 0;
    for (const QVariant &key : keys)
        EXPECT_EQ(dictionary.objectForKey(key), QVariant(++value)) << value;
    for (const QVariant &key : keys)
        dictionary.removeObjectForKey(key);
    EXPECT_EQ(dictionary.count(), 0u);
}

TEST(KVMutableDictionaryEdgesTest, EqualNumbersAreOneKey)
{
    KVMutableDictionary dictionary;
    dictionary.setObject(s("int"), 5);
    dictionary.setObject(s("long"), qlonglong(5));
    dictionary.setObject(s("unsigned"), 5u);
    dictionary.setObject(s("double"), 5.0);
    EXPECT_EQ(dictionary.count(), 1u);
    EXPECT_EQ(dictionary.objectForKey(5), QVariant(s("double")));
    EXPECT_FALSE(dictionary.objectForKey(5.5).isValid());
    EXPECT_FALSE(dictionary.objectForKey(s("5")).isValid());
    dictionary.setObject(s("big"), qulonglong(0x8000000000000000ull));
    EXPECT_FALSE(dictionary.objectForKey(qlonglong(-0x7fffffffffffffffll - 1)).isValid());
    EXPECT_EQ(dictionary.objectForKey(qulonglong(0x8000000000000000ull)), QVariant(s("big")));
}

TEST(KVMutableDictionaryEdgesTest, AValuesEndMayCallBackAndFindsTheLockFree)
{
    KVMutableDictionary dictionary;
    int ends = 0;
    const auto put = [&] {
        auto noisy = std::make_shared<Noisy>();
        noisy->atEnd = [&] {
            ++ends;
            EXPECT_TRUE(unlocked(dictionary));
            dictionary.setObject(ends, s("ends"));
        };
        dictionary.setObject(QVariant::fromValue(noisy), s("k"));
    };
    put();
    dictionary.removeObjectForKey(s("k"));
    put();
    dictionary.setObject(s("plain"), s("k"));
    EXPECT_EQ(ends, 2);
    EXPECT_EQ(dictionary.objectForKey(s("ends")), QVariant(2));
    EXPECT_EQ(dictionary.objectForKey(s("k")), QVariant(s("plain")));
}

TEST(KVObjectRegistryEdgesTest, NilAndStrangersAreNeverRegistered)
{
    int stranger = 0;
    EXPECT_EQ(raised([] { KVObjectRegistry::registerObject(nullptr); }), s("NSInvalidArgumentException"));
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(nullptr));
    EXPECT_EQ(KVObjectRegistry::registeredObject(nullptr), nullptr);
    KVObjectRegistry::unregisterObject(nullptr);
    KVObjectRegistry::unregisterObject(&stranger);
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(&stranger));
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(reinterpret_cast<const void *>(std::uintptr_t(1))));
}

TEST(KVObjectRegistryEdgesTest, AnObjectsEndMayUseTheRegistry)
{
    auto other = std::make_shared<int>(1);
    auto noisy = std::make_shared<Noisy>();
    const void *const address = noisy.get();
    bool ended = false;
    noisy->atEnd = [&] {
        ended = true;
        EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(address));
        KVObjectRegistry::registerObject(other);
        std::thread([&] { EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(other.get())); }).join();
        KVObjectRegistry::unregisterObject(other.get());
    };
    KVObjectRegistry::registerObject(noisy);
    noisy.reset();
    KVObjectRegistry::unregisterObject(address);
    EXPECT_TRUE(ended);
}

} // namespace
} // namespace KVBase::Tests
