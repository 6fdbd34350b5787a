#include "Threads/WorkerQueue.h"

#include <QtCore/QThread>

#include <utility>

namespace KVBase
{

namespace
{

/// How often the worker takes over at a stretch before the rest of its loop has its turn.
constexpr int kMostRefills = 64;

/// As many requests at once are a burst, which is likely to go on.
constexpr int kBurst = 16;

/// Lets about a microsecond pass.
void pause()
{
    for (int turn = 0; turn < 40; ++turn) {
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#endif
    }
}

} // namespace

WorkerQueue::WorkerQueue(Reporter report) : reporter(std::move(report)) {}

bool WorkerQueue::add(KVCallable &&request, bool flushes)
{
    std::shared_ptr<RunLoopCore> woken;
    {
        const std::lock_guard lock(mutex);
        if (loop == nullptr)
            return false;
        waiting.add(std::move(request));
        if (flushes && !std::exchange(isFlushed, true))
            woken = loop;
    }
    if (woken != nullptr)
        wake(woken);
    return true;
}

bool WorkerQueue::flush()
{
    std::shared_ptr<RunLoopCore> woken;
    {
        const std::lock_guard lock(mutex);
        if (loop == nullptr)
            return false;
        if (!waiting.isEmpty() && !std::exchange(isFlushed, true))
            woken = loop;
    }
    if (woken != nullptr)
        wake(woken);
    return true;
}

/// Without the lock, which the woken worker wants at once.
void WorkerQueue::wake(const std::shared_ptr<RunLoopCore> &woken)
{
    if (path == Path::Queue) {
        woken->wake(false);
        return;
    }
    woken->handOver(nullptr, [this] {
        isTurn = true;
        perform();
    });
}

void WorkerQueue::cancel()
{
    CallableChain dropped;
    const std::lock_guard lock(mutex);
    dropped.swapContents(waiting);
    cancellations.fetch_add(1, std::memory_order_release);
}

bool WorkerQueue::isOpen() const
{
    const std::lock_guard lock(mutex);
    return loop != nullptr;
}

void WorkerQueue::open(const std::shared_ptr<RunLoopCore> &workersLoop)
{
    worker = std::this_thread::get_id();
    mayPause = QThread::idealThreadCount() > 1;
    batchesLeft = -1;
    isTurn = false;
    const std::lock_guard lock(mutex);
    loop = workersLoop;
}

void WorkerQueue::close()
{
    {
        CallableChain dropped;
        CallableChain droppedToo;
        dropped.swapContents(batch);
        const std::lock_guard lock(mutex);
        loop = nullptr;
        isFlushed = false;
        droppedToo.swapContents(waiting);
    }
    worker = std::thread::id();
}

/// Takes over what waits, in place of a batch that is used up or cancelled. False when nothing waits.
bool WorkerQueue::refill()
{
    CallableChain cancelled;
    cancelled.swapContents(batch);
    const std::lock_guard lock(mutex);
    batchCancellations = cancellations.load(std::memory_order_relaxed);
    if (batchesLeft == 0)
        return false;
    if (batchesLeft > 0)
        --batchesLeft;
    batch.swapContents(waiting);
    waiting.takeUnused(batch);
    if (!batch.isEmpty()) {
        wasUsed = true;
        return true;
    }
    isFlushed = false;
    isTurn = false;
    return false;
}

void WorkerQueue::trim()
{
    if (std::exchange(wasUsed, false))
        return;
    batch.shrink();
    CallableChain freed;
    const std::lock_guard lock(mutex);
    freed.takeUnused(waiting);
}

bool WorkerQueue::mayExecute()
{
    if (path == Path::Direct)
        return isTurn;
    const std::lock_guard lock(mutex);
    return isFlushed;
}

bool WorkerQueue::perform()
{
    if (!mayExecute())
        return false;
    int taken = 0;
    for (int refills = 0;;) {
        if (batch.isEmpty() || batchCancellations != cancellations.load(std::memory_order_acquire)) {
            if (batchesLeft < 0 && ++refills > kMostRefills) {
                RunLoopCore::current()->wake(false);
                return true;
            }
            if (taken >= kBurst && mayPause)
                pause();
            taken = 0;
            if (!refill())
                return true;
        }
        ++taken;
        executeNext();
    }
}

void WorkerQueue::executeNext()
{
    const KVCallable request = batch.takeFirst();
    try {
        request();
    } catch (const NSException &exception) {
        reporter(exception);
    }
}

} // namespace KVBase
