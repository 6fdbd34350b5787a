#pragma once

#include <KVBase/Platform/NSException.h>

#include <QtCore/QVariant>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace KVBase::Tests
{

inline QVariant number(qlonglong value) { return QVariant(value); }

/// The name of the `NSException` that `work` raises; empty without one.
inline QString raised(const std::function<void()> &work)
{
    try {
        work();
    } catch (const NSException &exception) {
        return exception.name();
    }
    return {};
}

/// Whether another thread can use the collection at once, so that its lock is free.
template <class Collection>
bool isUnlocked(const Collection &collection)
{
    std::atomic<bool> done{false};
    std::thread other([&] {
        static_cast<void>(collection.count());
        done = true;
    });
    other.join();
    return done;
}

/// Uses the collection from another thread, and then from this one, when the last copy is destroyed; that
/// deadlocks under the lock.
template <class Collection>
struct AsksWhenDestroyed {
    AsksWhenDestroyed(Collection *asked, std::function<void()> work, int *count)
        : collection(asked), change(std::move(work)), destroyed(count)
    {}
    ~AsksWhenDestroyed()
    {
        EXPECT_TRUE(isUnlocked(*collection));
        change();
        ++*destroyed;
    }
    Collection *collection;
    std::function<void()> change;
    int *destroyed;
};

inline constexpr int kThreads = 8;

/// Runs `work` on as many threads at once, each with its number, and waits for them.
inline void onThreads(const std::function<void(int)> &work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(work, i);
    for (std::thread &thread : threads)
        thread.join();
}

} // namespace KVBase::Tests
