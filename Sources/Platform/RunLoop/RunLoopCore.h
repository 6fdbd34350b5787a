#pragma once

#include "Platform/RunLoop/Inbox.h"
#include "Platform/RunLoop/RequestTable.h"
#include "Platform/RunLoop/UserActivity.h"

#include <KVBase/KVExport.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

class QEvent;

namespace KVBase
{

class DispatcherDriver;

/// Something beside timers and requests that has work for a run loop.
struct KV_EXPORT RunLoopSource {
    virtual ~RunLoopSource();

    /// Does the work that there is, and answers whether there was any. Called in every pass of the source's
    /// mode, in nested loops as well, so that what is not done yet must be seen again.
    virtual bool perform() = 0;
};

/// The heart of a thread's run loop. It is driven by the thread's Qt dispatcher while an application object
/// exists, and sleeps on its inbox otherwise. One per thread; that thread only, but for `handOver`, `wake`
/// and `removeHandovers`, which any thread may call.
class KV_EXPORT RunLoopCore : public std::enable_shared_from_this<RunLoopCore> {
public:
    RunLoopCore();
    ~RunLoopCore();
    RunLoopCore(const RunLoopCore &) = delete;
    RunLoopCore &operator=(const RunLoopCore &) = delete;

    /// The calling thread's; the reference lasts as long as the thread.
    static const std::shared_ptr<RunLoopCore> &current();

    /// Now, in the time that deadlines are counted in.
    static std::chrono::nanoseconds monotonic();

    /// `seconds` as a duration: nothing for negative ones and no number, `kNever` for more than 290 years.
    static std::chrono::nanoseconds durationOf(double seconds);

    bool isOwnThread() const { return owner.load() == std::this_thread::get_id(); }

    /// nil while the loop does not run.
    QString mode();

    /// Runs until `deadline` is reached or `isFinished` says so; what is due happens at least once.
    void run(const QString &runMode, std::chrono::nanoseconds deadline,
             const std::function<bool()> &isFinished);

    /// Does everything that is due in the current mode, once. What calls add waits for the next pass, and a
    /// loop inside a call does the rest.
    void pass();

    /// Schedules a request for `delay` seconds from now; the old ones with an equal key and argument go when
    /// `replaces`.
    void schedule(Request &&request, double delay, bool replaces);
    void cancel(const RequestKey &key, const QVariant *argument);
    void cancelAllOf(const void *receiver);

    /// Queues a notification or callable for the end of the current pass; the old ones with an equal key go
    /// when `replaces`.
    void enqueue(Request &&request, bool replaces);
    void dequeue(const RequestKey &key);

    void addTimer(const Ref<NSTimer> &timer, const QString &timerMode);
    void removeTimer(NSTimer &timer);

    void addSource(RunLoopSource *source, const QString &sourceMode);
    void removeSource(RunLoopSource *source);

    void handOver(const void *receiver, KVCallable work);
    void removeHandovers(const void *receiver);
    void wake(bool interrupts);

    /// How often something other than a timer or a request was done or the loop was interrupted.
    std::uint64_t inputCount() const { return inputs; }

    /// Lets the thread's dispatcher drive, if there is one.
    void attach();
    void driverGone();

    /// Whether there is something to do although no event says so. Asked before the dispatcher blocks.
    bool mustStayAwake();
    void noteUserEvent(QObject *receiver, const QEvent *event);

    /// Ends the loop with its thread: drops everything.
    void close();

    /// Takes over a loop that was made before its thread asked for it.
    void claim();

private:
    struct Frame {
        QString mode;
        int loopLevel;
        std::chrono::nanoseconds deadline;
        const std::function<bool()> *isFinished;
    };
    struct Source {
        RunLoopSource *source;
        QString mode;
    };
    class FrameScope;

    static void place(RequestTable &table, Request &request, const QVariant *argument, bool replaces);
    void announceWork();
    void announceDue(std::chrono::nanoseconds due, std::chrono::nanoseconds now);
    void arm();
    void deliver(std::size_t frame, bool mayBlock);
    QString passMode();
    bool isRunFrameOnTop() const;
    bool isDone(const Frame &frame) const;
    bool hasParked() const;
    void adoptMode(const QString &passMode);
    void performSources(const QString &passMode);
    void performHandovers(const QString &passMode, std::uint64_t sequenceLimit);
    void performTimed(const QString &passMode, std::chrono::nanoseconds now, std::uint64_t sequenceLimit);
    void postQueued(const QString &passMode, std::uint64_t passNumber);
    void performTimer(std::unique_ptr<Request> request);
    int loopLevel() const;

    Inbox inbox;
    std::deque<Handover> received;
    RequestTable timed;
    RequestTable queued;
    std::vector<Source> sources;
    std::vector<Frame> frames;
    UserActivity activity;
    DispatcherDriver *driver = nullptr;
    bool watchesUser = false;

    std::atomic<std::thread::id> owner{};
    QString parkedMode;
    std::uint64_t nextSequence = 0;
    std::uint64_t passes = 0;
    std::uint64_t inputs = 0;
    int passDepth = 0;
    bool isPosting = false;
    bool isAnnounced = false;
    bool isClosed = false;
};

} // namespace KVBase
