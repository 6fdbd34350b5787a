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

TEST(KVMutableArrayContractTest, startsEmptyHoweverMade)
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

TEST(KVMutableArrayContractTest, thePrimitivesDoWhatAnArrayDoes)
{
    auto array = arrayOf({s("a"), s("b"), s("c")});
    array->insertObject(s("first"), 0);
    array->insertObject(s("last"), 4);
    array->insertObject(s("mid"), 2);
    EXPECT_EQ(array->copy(), QVariantList({s("first"), s("a"), s("mid"), s("b"), s("c"), s("last")}));
    array->removeLastObject();
    array->removeObjectAtIndex(0);
    array->replaceObjectAtIndex(1, 17);
    EXPECT_EQ(array->copy(), QVariantList({s("a"), 17, s("b"), s("c")}));
    EXPECT_EQ(array->objectAtIndex(3), QVariant(s("c")));
    EXPECT_EQ(array->count(), 4u);
}

TEST(KVMutableArrayContractTest, anIndexPastTheEndIsARangeException)
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

TEST(KVMutableArrayContractTest, aNilElementIsAnInvalidArgument)
{
    auto array = arrayOf({1});
    EXPECT_EQ(raised([&] { array->addObject(QVariant()); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(raised([&] { array->insertObject(QVariant(), 0); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(raised([&] { array->replaceObjectAtIndex(0, QVariant()); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(array->copy(), QVariantList({1}));
    EXPECT_TRUE(unlocked(*array));
}

TEST(KVMutableArrayContractTest, enumeratorsWalkBothWaysAndEndInNil)
{
    auto array = arrayOf({1, 2, 3});
    NSEnumerator forward = array->objectEnumerator();
    NSEnumerator backward = array->reverseObjectEnumerator();
    EXPECT_EQ(forward.nextObject(), QVariant(1));
    EXPECT_EQ(forward.allObjects(), QVariantList({2, 3}));
    EXPECT_FALSE(forward.nextObject().isValid());
    for (const int expected : {3, 2, 1})
        EXPECT_EQ(backward.nextObject(), QVariant(expected));
    EXPECT_FALSE(backward.nextObject().isValid());
    EXPECT_FALSE(backward.nextObject().isValid());
    EXPECT_TRUE(backward.allObjects().isEmpty());
    EXPECT_FALSE(KVMutableArray().objectEnumerator().nextObject().isValid());
    EXPECT_FALSE(KVMutableArray().reverseObjectEnumerator().nextObject().isValid());
}

TEST(KVMutableArrayContractTest, anEnumeratorSurvivesChangesAndTheArraysEnd)
{
    auto array = arrayOf({1, 2, 3});
    NSEnumerator enumerator = array->objectEnumerator();
    EXPECT_EQ(enumerator.nextObject(), QVariant(1));
    array->removeAllObjects();
    array.reset();
    while (enumerator.nextObject().isValid()) {
    }
}

TEST(KVMutableArrayContractTest, theDerivedOperations)
{
    auto array = arrayOf({s("a"), 1, s("b"), 1});
    EXPECT_TRUE(array->containsObject(1));
    EXPECT_FALSE(array->containsObject(2));
    EXPECT_FALSE(array->containsObject(QVariant()));
    EXPECT_EQ(array->indexOfObject(1), 1u);
    EXPECT_EQ(array->indexOfObject(s("zz")), 0x7fffffffu);
    EXPECT_EQ(array->indexOfObject(QVariant()), 0x7fffffffu);
    EXPECT_TRUE(array->isEqualToArray({s("a"), 1, s("b"), 1}));
    EXPECT_FALSE(array->isEqualToArray({s("a"), 1, s("b")}));
    EXPECT_FALSE(array->isEqualToArray({s("a"), 1, s("b"), 2}));
    array->removeObject(1);
    EXPECT_EQ(array->copy(), QVariantList({s("a"), s("b")})) << "every element equal to it goes";
    array->removeObject(s("absent"));
    array->addObjectsFromArray({3, 4});
    EXPECT_EQ(array->copy(), QVariantList({s("a"), s("b"), 3, 4}));
    array->removeAllObjects();
    EXPECT_EQ(array->count(), 0u);
    EXPECT_TRUE(array->isEqualToArray({}));
}

struct Noisy {
    std::function<void()> atEnd;
    ~Noisy() { atEnd(); }
};

TEST(KVMutableArrayContractTest, anElementsEndMayCallBackAndFindsTheLockFree)
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

TEST(KVMutableArrayContractTest, aValueHandedOutOutlivesItsRemoval)
{
    auto object = std::make_shared<int>(5);
    const std::weak_ptr<int> watch = object;
    KVMutableArray array;
    array.addObject(QVariant::fromValue(object));
    object.reset();
    {
        const QVariant got = array.objectAtIndex(0);
        array.removeObjectAtIndex(0);
        EXPECT_FALSE(watch.expired());
        EXPECT_EQ(*got.value<std::shared_ptr<int>>(), 5);
    }
    EXPECT_TRUE(watch.expired());
}

TEST(KVMutableDictionaryContractTest, startsEmptyHoweverMade)
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

TEST(KVMutableDictionaryContractTest, keysOfEachKindAreKeptApart)
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

TEST(KVMutableDictionaryContractTest, equalNumbersAreOneKey)
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

TEST(KVMutableDictionaryContractTest, settingAgainReplacesAndRemovingTheAbsentDoesNothing)
{
    KVMutableDictionary dictionary;
    dictionary.setObject(1, s("k"));
    dictionary.setObject(2, s("k"));
    EXPECT_EQ(dictionary.objectForKey(s("k")), QVariant(2));
    EXPECT_EQ(dictionary.count(), 1u);
    dictionary.removeObjectForKey(s("absent"));
    EXPECT_EQ(dictionary.count(), 1u);
    EXPECT_FALSE(dictionary.objectForKey(s("absent")).isValid());
    EXPECT_FALSE(dictionary.objectForKey(s("K")).isValid());
}

TEST(KVMutableDictionaryContractTest, nilsAndKeysOfAnotherKindAreInvalidArguments)
{
    KVMutableDictionary dictionary;
    dictionary.setObject(1, s("k"));
    EXPECT_EQ(raised([&] { dictionary.setObject(QVariant(), s("k")); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(raised([&] { dictionary.setObject(1, QVariant()); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(raised([&] { dictionary.removeObjectForKey(QVariant()); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(raised([&] { dictionary.setObject(1, QVariantList({1})); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(raised([&] { dictionary.setObject(1, QVariantMap()); }), s("NSInvalidArgumentException"));
    EXPECT_EQ(raised([&] { (void)dictionary.objectForKey(QVariant()); }), s("none"));
    EXPECT_FALSE(dictionary.objectForKey(QVariant()).isValid());
    EXPECT_EQ(dictionary.objectForKey(s("k")), QVariant(1));
    EXPECT_TRUE(unlocked(dictionary));
}

TEST(KVMutableDictionaryContractTest, enumeratorsAndDerivedOperationsShowEveryPairOnce)
{
    KVMutableDictionary dictionary;
    QVariantMap expected;
    for (int i = 0; i < 20; ++i) {
        dictionary.setObject(i, QString::number(i));
        expected.insert(QString::number(i), i);
    }
    QVariantMap walked;
    NSEnumerator keys = dictionary.keyEnumerator();
    dictionary.setObject(99, s("later"));
    dictionary.removeObjectForKey(s("later"));
    for (QVariant key = keys.nextObject(); key.isValid(); key = keys.nextObject())
        walked.insert(key.toString(), dictionary.objectForKey(key));
    EXPECT_EQ(walked, expected);
    EXPECT_EQ(dictionary.allKeys().size(), 20);
    EXPECT_EQ(dictionary.allValues().size(), 20);
    QVariantMap copied;
    for (const auto &[key, value] : dictionary.copy())
        copied.insert(key.toString(), value);
    EXPECT_EQ(copied, expected);
    dictionary.removeAllObjects();
    EXPECT_EQ(dictionary.count(), 0u);
    EXPECT_TRUE(dictionary.allKeys().isEmpty() && dictionary.allValues().isEmpty() &&
                dictionary.copy().isEmpty());
}

TEST(KVMutableDictionaryContractTest, aValuesEndMayCallBackAndFindsTheLockFree)
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

TEST(KVObjectRegistryContractTest, theKeyIsTheAddress)
{
    int object = 0;
    EXPECT_EQ(KVObjectRegistry::keyForObject(&object), reinterpret_cast<std::uintptr_t>(&object));
    EXPECT_EQ(KVObjectRegistry::keyForObject(nullptr), 0u);
}

TEST(KVObjectRegistryContractTest, aRegisteredObjectIsFoundAndKeptAlive)
{
    auto object = std::make_shared<QString>(s("same"));
    const auto equal = std::make_shared<QString>(s("same"));
    const std::weak_ptr<QString> watch = object;
    const void *const address = object.get();
    KVObjectRegistry::registerObject(object);
    EXPECT_EQ(KVObjectRegistry::registeredObject(address).get(), address);
    EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(address));
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(equal.get())) << "equal, but not the same";
    object.reset();
    EXPECT_FALSE(watch.expired());
    KVObjectRegistry::unregisterObject(address);
    EXPECT_TRUE(watch.expired());
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(address));
    EXPECT_EQ(KVObjectRegistry::registeredObject(address), nullptr);
}

TEST(KVObjectRegistryContractTest, registeredTwiceAndUnregisteredOnceIsUnregistered)
{
    const auto object = std::make_shared<int>(1);
    KVObjectRegistry::registerObject(object);
    KVObjectRegistry::registerObject(object);
    EXPECT_EQ(object.use_count(), 2);
    KVObjectRegistry::unregisterObject(object.get());
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(object.get()));
    EXPECT_EQ(object.use_count(), 1);
    KVObjectRegistry::unregisterObject(object.get());
}

TEST(KVObjectRegistryContractTest, nilAndStrangersAreNeverRegistered)
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

TEST(KVObjectRegistryContractTest, anObjectFoundOutlivesItsUnregistration)
{
    auto object = std::make_shared<int>(7);
    const std::weak_ptr<int> watch = object;
    KVObjectRegistry::registerObject(object);
    auto found = std::static_pointer_cast<int>(KVObjectRegistry::registeredObject(object.get()));
    KVObjectRegistry::unregisterObject(object.get());
    object.reset();
    EXPECT_EQ(*found, 7);
    found.reset();
    EXPECT_TRUE(watch.expired());
}

TEST(KVObjectRegistryContractTest, anObjectsEndMayUseTheRegistry)
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

TEST(KVObjectRegistryContractTest, manyObjectsComeAndGo)
{
    std::vector<std::shared_ptr<int>> objects;
    for (int i = 0; i < 5000; ++i) {
        objects.push_back(std::make_shared<int>(i));
        KVObjectRegistry::registerObject(objects.back());
    }
    for (std::size_t i = 0; i < objects.size(); i += 2)
        KVObjectRegistry::unregisterObject(objects[i].get());
    for (std::size_t i = 0; i < objects.size(); ++i) {
        EXPECT_EQ(KVObjectRegistry::isObjectRegistered(objects[i].get()), i % 2 == 1);
        EXPECT_EQ(objects[i].use_count(), i % 2 == 1 ? 2 : 1);
    }
    for (const auto &object : objects)
        KVObjectRegistry::unregisterObject(object.get());
    for (const auto &object : objects)
        EXPECT_EQ(KVObjectRegistry::registeredObject(object.get()), nullptr);
}

} // namespace
} // namespace KVBase::Tests
