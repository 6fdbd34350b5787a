#include <KVBase/KVBackgroundThread.h>

#include "Support/LoopDriver.h"

#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

using Tests::LoopKind;

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr int kScale = 20;
#else
constexpr int kScale = 1;
#endif
#else
constexpr int kScale = 1;
#endif

constexpr int kSubmitters = 8;
constexpr int kRequestsEach = 125'000 / 10 / kScale;
constexpr int kWorkers = 1000 / kScale;

class KVBackgroundThreadStressThreads : public testing::TestWithParam<LoopKind> {
protected:
    Tests::LoopDriver<> driver{GetParam()};
};

KV_FOR_EACH_LOOP(KVBackgroundThreadStressThreads);

TEST_P(KVBackgroundThreadStressThreads, LosesNothingAndKeepsTheOrderOfEachSubmitter)
{
    const auto worker = KVBackgroundThread::backgroundThread();
    std::array<int, kSubmitters> next{};
    int disorder = 0;
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < kSubmitters; ++number) {
        threads.emplace_back([&, number] {
            for (int request = 0; request < kRequestsEach; ++request)
                worker->perform([&, number, request] {
                    if (next[number]++ != request)
                        ++disorder;
                });
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    worker->stop(true);
    EXPECT_EQ(disorder, 0);
    for (const int count : next)
        EXPECT_EQ(count, kRequestsEach);
}

TEST_P(KVBackgroundThreadStressThreads, StartsAndStopsManyWorkers)
{
    std::atomic<int> ran{0};
    for (int number = 0; number < kWorkers; ++number) {
        const auto worker = KVBackgroundThread::backgroundThread();
        worker->perform([&ran] { ++ran; });
        worker->stop(number % 2 == 0);
    }
    EXPECT_TRUE(Tests::waitUntil([&] { return ran == kWorkers; }));
}

TEST_P(KVBackgroundThreadStressThreads, MayBeCancelledFlushedAndStoppedFromAnywhere)
{
    const auto worker = KVBackgroundThread::create();
    std::atomic<bool> ends{false};
    std::atomic<bool> mayCancel{true};
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number) {
        threads.emplace_back([&] {
            while (!ends) {
                try {
                    worker->perform([] {}, KVFlushMode::Queue);
                    worker->flush();
                    if (mayCancel)
                        worker->cancel();
                    std::this_thread::yield();
                } catch (const NSException &) {
                    std::this_thread::yield();
                }
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        worker->start(true);
        worker->perform([] {});
        // A cancellation drops a queued stop, so nobody cancels from here on; one may still be under way.
        mayCancel = false;
        EXPECT_TRUE(Tests::waitUntil([&] {
            try {
                worker->stop(false);
                return false;
            } catch (const NSException &) {
                return true;
            }
        }));
        mayCancel = true;
    }
    ends = true;
    for (std::thread &thread : threads)
        thread.join();
}

} // namespace
} // namespace KVBase
