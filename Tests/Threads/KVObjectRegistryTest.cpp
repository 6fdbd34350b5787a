#include <KVBase/KVObjectRegistry.h>
#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

#include <QtCore/QObject>

#include <atomic>
#include <functional>
#include <malloc.h>
#include <memory>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kAllocatorIsReplaced = true;
#elif defined(__has_feature)
constexpr bool kAllocatorIsReplaced = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kAllocatorIsReplaced = false;
#endif

TEST(KVObjectRegistryTest, UsesTheAddressAsKey)
{
    EXPECT_EQ(KVObjectRegistry::keyForObject(nullptr), 0u);
    EXPECT_EQ(KVObjectRegistry::keyForObject(reinterpret_cast<void *>(std::uintptr_t{0x1234})), 0x1234u);
}

TEST(KVObjectRegistryTest, AnswersWhatIsRegistered)
{
    const auto object = std::make_shared<int>(1);
    const auto equal = std::make_shared<int>(1);
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(object.get()));
    EXPECT_EQ(KVObjectRegistry::registeredObject(object.get()), nullptr);
    KVObjectRegistry::registerObject(object);
    EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(object.get()));
    EXPECT_EQ(KVObjectRegistry::registeredObject(object.get()), object);
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(equal.get()));
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(nullptr));
    EXPECT_EQ(KVObjectRegistry::registeredObject(nullptr), nullptr);
    KVObjectRegistry::unregisterObject(object.get());
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(object.get()));
    EXPECT_EQ(KVObjectRegistry::registeredObject(object.get()), nullptr);
}

TEST(KVObjectRegistryTest, RemovesAnObjectThatWasRegisteredTwiceAtOnce)
{
    const auto object = std::make_shared<int>(1);
    KVObjectRegistry::registerObject(object);
    KVObjectRegistry::registerObject(object);
    EXPECT_EQ(object.use_count(), 2);
    KVObjectRegistry::unregisterObject(object.get());
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(object.get()));
    EXPECT_EQ(object.use_count(), 1);
}

TEST(KVObjectRegistryTest, KeepsObjectsAliveUntilTheyAreUnregistered)
{
    auto object = std::make_shared<QObject>();
    const std::weak_ptr<QObject> weak = object;
    void *const address = object.get();
    KVObjectRegistry::registerObject(object);
    object.reset();
    EXPECT_FALSE(weak.expired());
    EXPECT_EQ(KVObjectRegistry::registeredObject(address).get(), address);
    KVObjectRegistry::unregisterObject(address);
    EXPECT_TRUE(weak.expired());
    // The object has been freed; its address is still a fair question.
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(address));
    EXPECT_EQ(KVObjectRegistry::registeredObject(address), nullptr);
}

TEST(KVObjectRegistryTest, NeverFollowsABarePointer)
{
    const auto object = std::make_shared<int>(1);
    KVObjectRegistry::registerObject(object);
    for (const std::uintptr_t wild : {std::uintptr_t{1}, std::uintptr_t{0xdeadbeef}, UINTPTR_MAX}) {
        EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(reinterpret_cast<void *>(wild)));
        KVObjectRegistry::unregisterObject(reinterpret_cast<void *>(wild));
    }
    KVObjectRegistry::unregisterObject(nullptr);
    EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(object.get()));
    KVObjectRegistry::unregisterObject(object.get());
}

TEST(KVObjectRegistryTest, RaisesForNil)
{
    try {
        KVObjectRegistry::registerObject(nullptr);
        FAIL();
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    }
    const auto object = std::make_shared<int>(1);
    KVObjectRegistry::registerObject(object);
    KVObjectRegistry::unregisterObject(object.get());
}

TEST(KVObjectRegistryTest, ReplacesTheHolderOfAnAddress)
{
    // Two owners of one address, as when an object is handed over from one owner to another.
    int object = 0;
    std::vector<int> released;
    const auto owner = [&](int number) {
        return Ref<int>(&object, [&released, number](int *) { released.push_back(number); });
    };
    KVObjectRegistry::registerObject(owner(1));
    EXPECT_TRUE(released.empty());
    KVObjectRegistry::registerObject(owner(2));
    EXPECT_EQ(released, std::vector<int>{1});
    EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(&object));
    KVObjectRegistry::unregisterObject(&object);
    EXPECT_EQ(released, (std::vector<int>{1, 2}));
}

TEST(KVObjectRegistryTest, ReleasesObjectsOutsideItsLock)
{
    int first = 0;
    const auto second = std::make_shared<int>(2);
    KVObjectRegistry::registerObject(
        Ref<int>(&first, [&](int *) { KVObjectRegistry::registerObject(second); }));
    KVObjectRegistry::unregisterObject(&first);
    EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(second.get()));
    KVObjectRegistry::unregisterObject(second.get());
}

TEST(KVObjectRegistryTest, HoldsManyObjectsThroughGrowthAndRemoval)
{
    std::vector<std::shared_ptr<int>> objects;
    for (int i = 0; i < 2000; ++i) {
        objects.push_back(std::make_shared<int>(i));
        KVObjectRegistry::registerObject(objects.back());
        if (i % 3 == 0)
            KVObjectRegistry::unregisterObject(objects[static_cast<std::size_t>(i / 2)].get());
    }
    for (int i = 0; i < 2000; ++i) {
        const bool removed = i < 1000 && (i * 2 % 3 == 0 || (i * 2 + 1) % 3 == 0);
        EXPECT_EQ(KVObjectRegistry::isObjectRegistered(objects[static_cast<std::size_t>(i)].get()), !removed)
            << i;
    }
    for (const auto &object : objects)
        KVObjectRegistry::unregisterObject(object.get());
    for (const auto &object : objects) {
        EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(object.get()));
        EXPECT_EQ(object.use_count(), 1);
    }
}

TEST(KVObjectRegistryTest, FreesItsStorageWithTheLastObject)
{
    if (kAllocatorIsReplaced)
        GTEST_SKIP() << "the sanitizer's allocator does not tell how much is in use";
    std::vector<std::shared_ptr<int>> objects;
    for (int i = 0; i < 50000; ++i)
        objects.push_back(std::make_shared<int>(i));
    const auto inUse = [] {
        const struct mallinfo2 information = mallinfo2();
        return information.uordblks + information.hblkhd;
    };
    const std::size_t before = inUse();
    for (const auto &object : objects)
        KVObjectRegistry::registerObject(object);
    EXPECT_GT(inUse(), before + 1000000);
    for (const auto &object : objects)
        KVObjectRegistry::unregisterObject(object.get());
    EXPECT_LT(inUse(), before + 10000);
}

constexpr int kThreads = 8;

void onThreads(const std::function<void(int)> &work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(work, i);
    for (std::thread &thread : threads)
        thread.join();
}

TEST(KVObjectRegistryThreads, LooksUpWhileOthersRegisterAndUnregister)
{
    // A registered object is alive, so that its value can be read; the addresses are used again and again.
    std::vector<std::atomic<void *>> shared(4);
    std::atomic<int> writersLeft{4};
    onThreads([&](int thread) {
        if (thread >= 4) {
            while (writersLeft > 0) {
                for (const auto &address : shared) {
                    const Ref<void> found = KVObjectRegistry::registeredObject(address.load());
                    if (found != nullptr) {
                        EXPECT_EQ(*static_cast<int *>(found.get()), 4711);
                    }
                }
            }
            return;
        }
        for (int i = 0; i < 400; ++i) {
            const auto object = std::make_shared<int>(4711);
            KVObjectRegistry::registerObject(object);
            shared[static_cast<std::size_t>(thread)] = object.get();
            EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(object.get()));
            KVObjectRegistry::unregisterObject(object.get());
            EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(object.get()));
        }
        --writersLeft;
    });
}

TEST(KVObjectRegistryThreads, AlwaysFindsWhatStaysRegistered)
{
    const auto stays = std::make_shared<int>(4711);
    KVObjectRegistry::registerObject(stays);
    std::atomic<int> writersLeft{4};
    onThreads([&](int thread) {
        if (thread >= 4) {
            while (writersLeft > 0)
                EXPECT_EQ(KVObjectRegistry::registeredObject(stays.get()), stays);
            return;
        }
        for (int i = 0; i < 20; ++i) {
            std::vector<std::shared_ptr<int>> objects;
            for (int j = 0; j < 20; ++j) {
                objects.push_back(std::make_shared<int>(j));
                KVObjectRegistry::registerObject(objects.back());
                KVObjectRegistry::registerObject(stays);
            }
            for (const auto &object : objects)
                KVObjectRegistry::unregisterObject(object.get());
        }
        --writersLeft;
    });
    KVObjectRegistry::unregisterObject(stays.get());
    EXPECT_EQ(stays.use_count(), 1);
}

} // namespace
} // namespace KVBase
