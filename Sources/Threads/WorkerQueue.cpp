#include "Threads/WorkerQueue.h"

#include <utility>

namespace KVBase
{

WorkerQueue::WorkerQueue(Executor execute) : executor(std::move(execute)) {}

bool WorkerQueue::add(KVCallable &&request, bool flushes, bool &wasTaken)
{
    const std::lock_guard lock(mutex);
    wasTaken = isOpen;
    if (!isOpen)
        return false;
    waiting.push_back(std::move(request));
    return flushes && !std::exchange(isFlushed, true);
}

bool WorkerQueue::flush()
{
    const std::lock_guard lock(mutex);
    return isOpen && !waiting.empty() && !std::exchange(isFlushed, true);
}

void WorkerQueue::cancel()
{
    std::deque<KVCallable> dropped;
    const std::lock_guard lock(mutex);
    dropped.swap(waiting);
    cancellations.fetch_add(1, std::memory_order_release);
}

void WorkerQueue::open()
{
    const std::lock_guard lock(mutex);
    isOpen = true;
    batchesLeft = -1;
}

void WorkerQueue::close()
{
    std::deque<KVCallable> dropped = std::exchange(batch, {});
    std::deque<KVCallable> droppedToo;
    const std::lock_guard lock(mutex);
    isOpen = false;
    isFlushed = false;
    droppedToo.swap(waiting);
}

/// The request whose turn it is; an empty one when there is none left.
KVCallable WorkerQueue::next()
{
    if (batch.empty() || batchCancellations != cancellations.load(std::memory_order_acquire)) {
        const std::deque<KVCallable> cancelled = std::exchange(batch, {});
        const std::lock_guard lock(mutex);
        batchCancellations = cancellations.load(std::memory_order_relaxed);
        if (batchesLeft == 0)
            return nullptr;
        if (batchesLeft > 0)
            --batchesLeft;
        batch.swap(waiting);
        isFlushed = isFlushed && !batch.empty();
        if (batch.empty())
            return nullptr;
    }
    KVCallable request = std::move(batch.front());
    batch.pop_front();
    return request;
}

void WorkerQueue::perform()
{
    {
        const std::lock_guard lock(mutex);
        if (!isFlushed)
            return;
    }
    while (const KVCallable request = next())
        executor(request);
}

} // namespace KVBase
