#pragma once

#include "Platform/RunLoop/RunLoopCore.h"
#include "Threads/CallableChain.h"

#include <KVBase/Platform/KVTarget.h>
#include <KVBase/Platform/NSException.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace KVBase
{

/// The requests of a worker, from any thread. That they are to be executed is a state, which lasts until the
/// queue was seen empty: a loop inside a request goes on with what the request's own loop has not reached.
/// The worker is woken when that state begins, and takes over all that waits at once.
class WorkerQueue final : public RunLoopSource {
public:
    /// How the worker gets to execute: as a source of its run loop that is woken, or in its turn among what
    /// is handed over to the run loop.
    enum class Path { Queue, Direct };

    using Reporter = std::function<void(const NSException &)>;

    /// Has `report` called with each exception that leaves a request, on the worker.
    explicit WorkerQueue(Reporter report);

    /// Which way the worker is woken. To be set before the first `open`.
    void setPath(Path given) { path = given; }

    /// Adds a request; with `flushes`, all that is queued is to be executed. False when the queue is closed.
    bool add(KVCallable &&request, bool flushes);

    /// Has all that is queued executed. False when the queue is closed.
    bool flush();

    /// Drops what has not begun.
    void cancel();

    bool isOpen() const;

    /// Whether the caller is the worker.
    bool isOwnThread() const { return worker.load(std::memory_order_relaxed) == std::this_thread::get_id(); }

    /// Takes requests from now on, and executes them on the calling thread, whose loop is `workersLoop`.
    void open(const std::shared_ptr<RunLoopCore> &workersLoop);

    /// Has the worker take over what is queued once more and then no more, however fast others go on
    /// submitting. The worker's own.
    void endSoon() { batchesLeft = 1; }

    /// Refuses requests from now on, and drops those that are left, on the calling thread. The worker's own.
    void close();

    /// Frees memory that was kept for requests, when none came since the last call. The worker's own.
    void trim();

    bool perform() override;

private:
    bool mayExecute();
    bool refill();
    void executeNext();
    void wake(const std::shared_ptr<RunLoopCore> &woken);

    Reporter reporter;
    Path path = Path::Queue;
    std::atomic<std::thread::id> worker{};

    mutable std::mutex mutex;
    CallableChain waiting;
    /// Set from the wake-up until the queue was seen empty.
    bool isFlushed = false;
    /// The worker's; null while the queue is closed.
    std::shared_ptr<RunLoopCore> loop;
    /// Counts the calls of `cancel`, so that the worker sees one without taking the lock.
    std::atomic<std::uint64_t> cancellations{0};

    /// What the worker took over at once; the worker's own.
    CallableChain batch;
    std::uint64_t batchCancellations = 0;
    /// On the direct path, whether the turn has come.
    bool isTurn = false;
    /// How often the worker still takes over; negative for without end.
    int batchesLeft = -1;
    /// Whether there were requests since the last `trim`.
    bool wasUsed = false;
    /// Whether submitters get on while the worker does nothing.
    bool mayPause = false;
};

} // namespace KVBase
