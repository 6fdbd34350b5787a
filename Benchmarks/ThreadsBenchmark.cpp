#include <KVBase/KVBackgroundThread.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSRunLoop.h>

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QThread>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

using namespace KVBase;

namespace
{

constexpr int kPosts = 1'000'000;

/// Workers are driven by Qt's dispatcher: GLib's, or the plain one with QT_NO_GLIB=1.
void makeApplication()
{
    static int argc = 1;
    static char name[] = "benchmark";
    static char *arguments[] = {name, nullptr};
    static const QCoreApplication application(argc, arguments);
}

/// What a poster waits for.
class Gate {
public:
    void open()
    {
        const std::lock_guard lock(mutex);
        isOpen = true;
        opened.notify_one();
    }

    void wait()
    {
        std::unique_lock lock(mutex);
        opened.wait(lock, [this] { return isOpen; });
        isOpen = false;
    }

private:
    std::mutex mutex;
    std::condition_variable opened;
    bool isOpen = false;
};

struct KVBaseWorker {
    explicit KVBaseWorker(bool) { makeApplication(); }
    ~KVBaseWorker() { worker->stop(true); }

    template <class Work>
    void post(Work &&work)
    {
        worker->perform(std::forward<Work>(work));
    }

    Ref<KVBackgroundThread> worker = (makeApplication(), KVBackgroundThread::backgroundThread());
};

struct QtWorker {
    explicit QtWorker(bool)
    {
        makeApplication();
        receiver.moveToThread(&thread);
        thread.start();
    }
    ~QtWorker()
    {
        thread.quit();
        thread.wait();
    }

    template <class Work>
    void post(Work &&work)
    {
        QMetaObject::invokeMethod(&receiver, std::forward<Work>(work), Qt::QueuedConnection);
    }

    QThread thread;
    QObject receiver;
};

/// The plainest worker there is.
struct DequeWorker {
    explicit DequeWorker(bool) : thread([this] { run(); }) {}
    ~DequeWorker()
    {
        post([this] { ends = true; });
        thread.join();
    }

    template <class Work>
    void post(Work &&work)
    {
        {
            const std::lock_guard lock(mutex);
            queue.emplace_back(std::forward<Work>(work));
        }
        changed.notify_one();
    }

    void run()
    {
        while (!ends) {
            std::unique_lock lock(mutex);
            changed.wait(lock, [this] { return !queue.empty(); });
            const std::function<void()> work = std::move(queue.front());
            queue.pop_front();
            lock.unlock();
            work();
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> queue;
    bool ends = false;
    std::thread thread;
};

template <class Worker>
void postFrom(benchmark::State &state)
{
    const auto posters = static_cast<int>(state.range(0));
    Worker worker(true);
    Gate done;
    for (auto _ : state) {
        int count = 0;
        const auto postShare = [&] {
            for (int post = 0; post < kPosts / posters; ++post)
                worker.post([&count, &done] {
                    if (++count == kPosts)
                        done.open();
                });
        };
        std::vector<std::thread> threads;
        for (int number = 1; number < posters; ++number)
            threads.emplace_back(postShare);
        postShare();
        for (std::thread &thread : threads)
            thread.join();
        done.wait();
    }
}

template <class Worker>
void roundTrip(benchmark::State &state)
{
    Worker worker(true);
    Gate answered;
    for (auto _ : state) {
        worker.post([&answered] { answered.open(); });
        answered.wait();
    }
}

void coalesceSelector(benchmark::State &state)
{
    makeApplication();
    QObject receiver;
    for (auto _ : state)
        PerformDeferred::performCoalescedSelector(&receiver, "deleteLater", QVariant());
    PerformDeferred::cancelAllDelayedSelectors(&receiver);
}

void coalesceLater(benchmark::State &state)
{
    makeApplication();
    QObject receiver;
    for (auto _ : state)
        PerformDeferred::performCoalescedSelector(&receiver, "deleteLater", QVariant(), 60);
    PerformDeferred::cancelAllDelayedSelectors(&receiver);
}

void coalesceDeferred(benchmark::State &state)
{
    makeApplication();
    QObject receiver;
    for (auto _ : state)
        PerformDeferred::performCoalescedDeferredSelector(&receiver, "deleteLater");
    PerformDeferred::cancelDeferredSelector(&receiver, "deleteLater");
}

BENCHMARK(postFrom<KVBaseWorker>)
    ->Name("Posts/KVBase")
    ->Arg(1)
    ->Arg(4)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(postFrom<QtWorker>)
    ->Name("Posts/QtQueued")
    ->Arg(1)
    ->Arg(4)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(postFrom<DequeWorker>)
    ->Name("Posts/Deque")
    ->Arg(1)
    ->Arg(4)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(roundTrip<KVBaseWorker>)->Name("RoundTrip/KVBase")->UseRealTime();
BENCHMARK(roundTrip<QtWorker>)->Name("RoundTrip/QtQueued")->UseRealTime();
BENCHMARK(roundTrip<DequeWorker>)->Name("RoundTrip/Deque")->UseRealTime();
BENCHMARK(coalesceSelector)->Name("Coalesce/KVBase");
BENCHMARK(coalesceLater)->Name("CoalesceLater/KVBase");
BENCHMARK(coalesceDeferred)->Name("CoalesceDeferred/KVBase");

} // namespace
