#include "Platform/RunLoop/RunLoopCore.h"

#include "Platform/CheckedCast.h"
#include "Platform/RunLoop/DispatcherDriver.h"
#include "Platform/RunLoop/RunLoopModes.h"
#include "Platform/Services/Clock.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QThread>

#include <algorithm>

namespace KVBase
{

RunLoopSource::~RunLoopSource() = default;

/// One run of the loop, for as long as it lasts.
class RunLoopCore::FrameScope {
public:
    FrameScope(RunLoopCore &loop, Frame frame) : core(loop) { core.frames.push_back(std::move(frame)); }

    ~FrameScope()
    {
        core.frames.pop_back();
        // What had to wait for another mode than that of this run may have its turn now.
        if (core.hasParked())
            core.announceWork();
    }

    FrameScope(const FrameScope &) = delete;
    FrameScope &operator=(const FrameScope &) = delete;

private:
    RunLoopCore &core;
};

RunLoopCore::RunLoopCore() = default;

RunLoopCore::~RunLoopCore() = default;

std::chrono::nanoseconds RunLoopCore::monotonic() { return Service<Clock>::current()->monotonic(); }

std::chrono::nanoseconds RunLoopCore::durationOf(double seconds)
{
    if (!(seconds > 0))
        return std::chrono::nanoseconds::zero();
    return std::chrono::nanoseconds(checkedCast<std::int64_t>(seconds * 1e9));
}

void RunLoopCore::claim() { owner = std::this_thread::get_id(); }

int RunLoopCore::loopLevel() const
{
    return QThread::currentThread()->loopLevel() + static_cast<int>(frames.size());
}

/// Whether the innermost loop is a run of ours and not one of Qt's inside it.
bool RunLoopCore::isRunFrameOnTop() const
{
    return !frames.empty() && frames.back().loopLevel == QThread::currentThread()->loopLevel();
}

QString RunLoopCore::passMode()
{
    if (isRunFrameOnTop() && frames.back().mode != RunLoopModes::defaultMode())
        return frames.back().mode;
    if (watchesUser && driver != nullptr) {
        if (activity.isTracking())
            return RunLoopModes::eventTracking();
        if (activity.isModal(loopLevel()))
            return RunLoopModes::modalPanel();
    }
    return RunLoopModes::defaultMode();
}

QString RunLoopCore::mode()
{
    const bool runs = passDepth > 0 || !frames.empty() || QThread::currentThread()->loopLevel() > 0;
    return runs ? passMode() : QString();
}

void RunLoopCore::run(const QString &runMode, std::chrono::nanoseconds deadline,
                      const std::function<bool()> &isFinished)
{
    const FrameScope scope(*this, {runMode, QThread::currentThread()->loopLevel(), deadline, &isFinished});
    const std::size_t frame = frames.size() - 1;
    bool mayBlock = false;
    do {
        attach();
        const std::uint64_t passesBefore = passes;
        deliver(frame, mayBlock);
        // Where the driver ran a pass meanwhile, what came since has been announced to it.
        if (!mayBlock || driver == nullptr || passes == passesBefore)
            pass();
        mayBlock = true;
    } while (!isDone(frames[frame]));
}

bool RunLoopCore::isDone(const Frame &frame) const
{
    return isClosed || (*frame.isFinished)() || frame.deadline <= monotonic();
}

/// Lets Qt deliver its events or sleeps, until there may be something to do.
void RunLoopCore::deliver(std::size_t frame, bool mayBlock)
{
    if (driver != nullptr && QCoreApplication::instance() != nullptr) {
        arm();
        driver->processEvents(mayBlock && !isDone(frames[frame]));
        return;
    }
    if (!mayBlock)
        return;
    const auto now = monotonic();
    const auto due = std::min(frames[frame].deadline, timed.firstDue());
    const bool standsStill = Service<Clock>::current()->standsStill();
    if (due > now)
        inbox.sleep(due == kNever || standsStill ? kNever : due - now);
}

bool RunLoopCore::mustStayAwake()
{
    if (isRunFrameOnTop() && isDone(frames.back()))
        return true;
    if (hasParked() && passMode() != parkedMode)
        announceWork();
    return false;
}

void RunLoopCore::noteUserEvent(QObject *receiver, const QEvent *event)
{
    if (activity.noteEvent(receiver, event, loopLevel()) && hasParked())
        announceWork();
}

bool RunLoopCore::hasParked() const
{
    return timed.hasParked() || queued.hasParked() || !received.empty() || !sources.empty() ||
           !inbox.isEmpty();
}

void RunLoopCore::announceWork()
{
    if (std::exchange(isAnnounced, true))
        return;
    attach();
    inbox.wake(false);
}

void RunLoopCore::announceDue(std::chrono::nanoseconds due, std::chrono::nanoseconds now)
{
    if (due <= now) {
        announceWork();
        return;
    }
    attach();
    if (driver != nullptr && due != kNever && !Service<Clock>::current()->standsStill())
        driver->arm(due);
}

/// Has the dispatcher wake up for the next thing that is due, runs that end included.
void RunLoopCore::arm()
{
    if (driver == nullptr || Service<Clock>::current()->standsStill())
        return;
    auto due = timed.firstDue();
    const auto now = monotonic();
    for (const Frame &frame : frames)
        if (frame.deadline > now)
            due = std::min(due, frame.deadline);
    if (due != kNever)
        driver->arm(due);
}

void RunLoopCore::attach()
{
    const QCoreApplication *const application = QCoreApplication::instance();
    if (driver != nullptr || isClosed || application == nullptr)
        return;
    // A thread that is not Qt's gets its dispatcher with its first event loop.
    if (QAbstractEventDispatcher::instance() == nullptr)
        QEventLoop();
    QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
    if (dispatcher == nullptr)
        return;
    driver = new DispatcherDriver(dispatcher, shared_from_this());
    watchesUser = application->thread() == QThread::currentThread();
    inbox.setDriver(driver);
    arm();
    isAnnounced = false;
    if (!timed.isEmpty() || !queued.isEmpty() || hasParked())
        announceWork();
}

void RunLoopCore::driverGone()
{
    driver = nullptr;
    isAnnounced = false;
    inbox.setDriver(nullptr);
}

void RunLoopCore::wake(bool interrupts) { inbox.wake(interrupts); }

void RunLoopCore::close()
{
    const RequestTable droppedRequests = std::exchange(timed, {});
    const RequestTable droppedNotifications = std::exchange(queued, {});
    const std::deque<Handover> droppedReceived = std::exchange(received, {});
    const std::deque<Handover> droppedHandovers = inbox.close();
    isClosed = true;
}

} // namespace KVBase
