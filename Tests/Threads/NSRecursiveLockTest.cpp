#include <KVBase/Platform/NSRecursiveLock.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

bool isFreeForOthers(NSRecursiveLock &lock)
{
    bool wasTaken = false;
    std::thread([&] {
        wasTaken = lock.try_lock();
        if (wasTaken)
            lock.unlock();
    }).join();
    return wasTaken;
}

TEST(NSRecursiveLockTest, IsFreeOnceItWasReleasedAsOftenAsItWasTaken)
{
    NSRecursiveLock lock;
    EXPECT_TRUE(isFreeForOthers(lock));
    lock.lock();
    lock.lock();
    EXPECT_TRUE(lock.try_lock());
    EXPECT_FALSE(isFreeForOthers(lock));
    lock.unlock();
    lock.unlock();
    EXPECT_FALSE(isFreeForOthers(lock));
    lock.unlock();
    EXPECT_TRUE(isFreeForOthers(lock));
    EXPECT_TRUE(lock.try_lock());
    lock.unlock();
}

TEST(NSRecursiveLockTest, AWaitingThreadGetsItWhenItIsFree)
{
    NSRecursiveLock lock;
    std::atomic<bool> waits{false};
    bool isReleased = false;
    bool sawRelease = false;
    lock.lock();
    std::thread waiting([&] {
        waits = true;
        const std::lock_guard guard(lock);
        sawRelease = isReleased;
    });
    while (!waits)
        std::this_thread::yield();
    isReleased = true;
    lock.unlock();
    waiting.join();
    EXPECT_TRUE(sawRelease);
}

TEST(NSRecursiveLockThreads, LetsOneThreadInAtATime)
{
    constexpr int kThreads = 8;
    constexpr int kTurns = 20'000;
    NSRecursiveLock lock;
    int count = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < kTurns; ++turn) {
                const std::lock_guard outer(lock);
                ++count;
                const std::lock_guard inner(lock);
                ++count;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(count, 2 * kThreads * kTurns);
}

} // namespace
} // namespace KVBase
