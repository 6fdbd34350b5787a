#include "Support/Together.h"

#include <KVBase/KVObjectRegistry.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>

namespace KVBase::Tests
{
namespace
{

constexpr int kRounds = 200;

/// An object that knows whether it still lives, and how many of its kind do.
struct Counted {
    explicit Counted(std::atomic<int> &count) : living(&count) { ++*living; }
    ~Counted()
    {
        mark = 0;
        --*living;
    }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;
    int mark = 42;
    std::atomic<int> *living;
};

/// Some objects that threads register and ask about.
struct Objects {
    std::atomic<int> living{0};
    std::array<std::shared_ptr<Counted>, 4> held;
    Objects()
    {
        for (auto &each : held)
            each = std::make_shared<Counted>(living);
    }
    ~Objects()
    {
        for (const auto &each : held)
            KVObjectRegistry::unregisterObject(each.get());
    }
    Objects(const Objects &) = delete;
    Objects &operator=(const Objects &) = delete;
    const std::shared_ptr<Counted> &at(int round) const { return held[std::size_t(round) % held.size()]; }
};

const SharedOperation<Objects> kOperations[] = {
    {"Register", [](Objects &objects, int round) { KVObjectRegistry::registerObject(objects.at(round)); }},
    {"Unregister",
     [](Objects &objects, int round) { KVObjectRegistry::unregisterObject(objects.at(round).get()); }},
    {"Find",
     [](Objects &objects, int round) {
         const auto found = KVObjectRegistry::registeredObject(objects.at(round).get());
         EXPECT_TRUE(found == nullptr || found.get() == objects.at(round).get());
     }},
    {"Ask",
     [](Objects &objects, int round) {
         (void)KVObjectRegistry::isObjectRegistered(objects.at(round).get());
         EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(&objects));
     }},
    {"ComeAndGo",
     [](Objects &objects, int) {
         const auto own = std::make_shared<Counted>(objects.living);
         KVObjectRegistry::registerObject(own);
         EXPECT_EQ(KVObjectRegistry::registeredObject(own.get()).get(), own.get());
         KVObjectRegistry::unregisterObject(own.get());
         EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(own.get()));
     }},
    {"GoThroughNothing",
     [](Objects &objects, int) {
         for (const auto &each : objects.held)
             KVObjectRegistry::unregisterObject(each.get());
     }},
    {"GrowTheTable",
     [](Objects &objects, int round) {
         if (round % 50 != 0)
             return;
         std::array<std::shared_ptr<Counted>, 300> many;
         for (auto &each : many) {
             each = std::make_shared<Counted>(objects.living);
             KVObjectRegistry::registerObject(each);
         }
         for (const auto &each : many)
             EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(each.get()));
         for (const auto &each : many)
             KVObjectRegistry::unregisterObject(each.get());
     }},
};

class KVObjectRegistryPairsThreads : public testing::TestWithParam<SharedOperation<Objects>> {};

TEST_P(KVObjectRegistryPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kOperations, kRounds, [] { return std::make_unique<Objects>(); },
        [](Objects &objects) {
            for (const auto &each : objects.held)
                KVObjectRegistry::unregisterObject(each.get());
            EXPECT_EQ(objects.living, 4);
            for (const auto &each : objects.held)
                EXPECT_EQ(each.use_count(), 1);
        });
}

INSTANTIATE_TEST_SUITE_P(Each, KVObjectRegistryPairsThreads, testing::ValuesIn(kOperations),
                         nameOfOperation<Objects>);

TEST(KVObjectRegistryLifeThreads, WhatALookUpFindsIsAliveWhileItIsHeld)
{
    std::atomic<int> living{0};
    std::atomic<const void *> address{nullptr};
    std::atomic<int> found{0};
    const auto look = [&](int) {
        const auto object = std::static_pointer_cast<Counted>(KVObjectRegistry::registeredObject(address));
        if (object == nullptr)
            return;
        ++found;
        EXPECT_EQ(object->mark, 42);
    };
    together({[&](int) {
                  auto object = std::make_shared<Counted>(living);
                  const void *const now = object.get();
                  KVObjectRegistry::registerObject(std::move(object));
                  address = now;
                  std::this_thread::yield();
                  KVObjectRegistry::unregisterObject(now);
              },
              look, look},
             500);
    EXPECT_EQ(living, 0);
    EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(address));
}

TEST(KVObjectRegistryLifeThreads, TheLastReleaseHappensOnceWhoeverUnregisters)
{
    for (int round = 0; round < 100; ++round) {
        std::atomic<int> living{0};
        auto object = std::make_shared<Counted>(living);
        const void *const address = object.get();
        KVObjectRegistry::registerObject(std::move(object));
        const auto drop = [&](int) { KVObjectRegistry::unregisterObject(address); };
        together({drop, drop, drop}, 1);
        EXPECT_EQ(living, 0);
    }
}

TEST(KVObjectRegistryLifeThreads, AnEndThatUsesTheRegistryMeetsOtherThreads)
{
    struct Ender {
        ~Ender()
        {
            EXPECT_FALSE(KVObjectRegistry::isObjectRegistered(this));
            const auto other = std::make_shared<int>(1);
            KVObjectRegistry::registerObject(other);
            KVObjectRegistry::unregisterObject(other.get());
        }
    };
    const auto work = [](int) {
        auto ender = std::make_shared<Ender>();
        const void *const address = ender.get();
        KVObjectRegistry::registerObject(std::move(ender));
        KVObjectRegistry::unregisterObject(address);
    };
    together({work, work, work, work}, 200);
    EXPECT_EQ(KVObjectRegistry::registeredObject(nullptr), nullptr);
}

TEST(KVObjectRegistryLifeThreads, ReRegisteringAnAddressNeverShowsAGap)
{
    const auto object = std::make_shared<int>(5);
    KVObjectRegistry::registerObject(object);
    const auto again = [&](int) { KVObjectRegistry::registerObject(object); };
    const auto ask = [&](int) { EXPECT_TRUE(KVObjectRegistry::isObjectRegistered(object.get())); };
    together({again, again, ask, ask}, 300);
    KVObjectRegistry::unregisterObject(object.get());
    EXPECT_EQ(object.use_count(), 1);
}

} // namespace
} // namespace KVBase::Tests
