#pragma once

#include "Platform/RunLoop/RunLoopCore.h"

#include <KVBase/Platform/KVTarget.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

namespace KVBase
{

/// The requests of a worker, from any thread. That they are to be executed is a state, which lasts until the
/// queue was seen empty: a loop inside a request goes on with what the request's own loop has not reached.
class WorkerQueue final : public RunLoopSource {
public:
    using Executor = std::function<void(const KVCallable &)>;

    /// Has `execute` called with each request, on the worker.
    explicit WorkerQueue(Executor execute);

    /// Adds a request; with `flushes`, all that is queued is to be executed. True when the worker must be
    /// woken for it. False also when the queue is closed; then `wasTaken` is false.
    bool add(KVCallable &&request, bool flushes, bool &wasTaken);

    /// Has all that is queued executed. True when the worker must be woken for it.
    bool flush();

    /// Drops what has not begun.
    void cancel();

    void open();

    /// Has the worker take over what is queued once more and then no more, however fast others go on
    /// submitting. The worker's own.
    void endSoon() { batchesLeft = 1; }

    /// Refuses requests from now on, and drops those that are left, on the calling thread. The worker's own.
    void close();

    void perform() override;

private:
    KVCallable next();

    Executor executor;
    std::mutex mutex;
    std::deque<KVCallable> waiting;
    bool isFlushed = false;
    bool isOpen = false;
    /// Counts the calls of `cancel`, so that the worker sees one without taking the lock.
    std::atomic<std::uint64_t> cancellations{0};

    /// What the worker took over at once; the worker's own.
    std::deque<KVCallable> batch;
    std::uint64_t batchCancellations = 0;
    /// How often the worker still takes over; negative for without end.
    int batchesLeft = -1;
};

} // namespace KVBase
