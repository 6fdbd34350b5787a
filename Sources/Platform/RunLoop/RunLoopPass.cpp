#include "Platform/RunLoop/RunLoopCore.h"

#include "Platform/RunLoop/RunLoopModes.h"
#include "Platform/RunLoop/TimerState.h"

#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSLog.h>

#include <exception>

namespace KVBase
{

namespace
{

/// Runs a callback. An exception that is not the platform's ends the process here, while it is still current,
/// instead of travelling through Qt.
template <class Work>
void callOut(Work &&work) noexcept
{
    try {
        work();
    } catch (const NSException &exception) {
        NSLog("*** NSRunLoop: uncaught exception %@: %@", exception.name(), exception.description());
    } catch (...) {
        std::terminate();
    }
}

/// How often a pass goes on with what other threads handed over meanwhile before the rest has its turn.
constexpr int kMostRefills = 64;

/// The first due time after `now` of a timer that was due at `due`; what was missed is left out.
std::chrono::nanoseconds nextDue(std::chrono::nanoseconds due, std::chrono::nanoseconds interval,
                                 std::chrono::nanoseconds now)
{
    const std::int64_t missed = now < due ? 0 : (now - due) / interval;
    const auto turns = static_cast<double>(missed + 1) * static_cast<double>(interval.count());
    return turns > 9e18 ? kNever : due + interval * (missed + 1);
}

} // namespace

void RunLoopCore::pass()
{
    if (isClosed)
        return;
    const auto self = shared_from_this();
    isAnnounced = false;
    if (inbox.acknowledge())
        ++inputs;
    ++passDepth;
    const bool outerIsPosting = std::exchange(isPosting, false);

    const QString mode = passMode();
    const std::uint64_t number = ++passes;
    const auto now = monotonic();
    if (RunLoopModes::common().contains(mode))
        inbox.takeAll(received, nextSequence);
    const std::uint64_t sequenceLimit = nextSequence;
    postQueued(mode, number);
    performSources(mode);
    performHandovers(mode, sequenceLimit);
    performTimed(mode, now, sequenceLimit);
    postQueued(mode, number);

    isPosting = outerIsPosting;
    --passDepth;
    arm();
}

/// After a change of mode, also one by a loop inside a callback, what was parked is looked at again.
void RunLoopCore::adoptMode(const QString &passMode)
{
    if (passMode == parkedMode)
        return;
    parkedMode = passMode;
    timed.unpark();
    queued.unpark();
}

void RunLoopCore::postQueued(const QString &passMode, std::uint64_t passNumber)
{
    isPosting = true;
    for (;;) {
        adoptMode(passMode);
        const auto request =
            queued.takeDue(std::chrono::nanoseconds::zero(), nextSequence, passNumber, passMode);
        if (request == nullptr)
            break;
        callOut([&] { request->perform(); });
    }
    isPosting = false;
}

void RunLoopCore::performSources(const QString &passMode)
{
    for (std::size_t index = 0; index < sources.size(); ++index)
        if (sources[index].mode == passMode)
            callOut([&, source = sources[index].source] { inputs += source->perform() ? 1 : 0; });
}

void RunLoopCore::performHandovers(const QString &passMode, std::uint64_t sequenceLimit)
{
    if (!RunLoopModes::common().contains(passMode))
        return;
    for (int refill = 0; refill <= kMostRefills; ++refill) {
        while (!received.empty() && received.front().sequence < sequenceLimit) {
            const Handover handover = std::move(received.front());
            received.pop_front();
            ++inputs;
            callOut([&] { handover.work(); });
        }
        if (!received.empty())
            return;
        inbox.takeAll(received, nextSequence);
        sequenceLimit = nextSequence;
    }
}

void RunLoopCore::performTimed(const QString &passMode, std::chrono::nanoseconds now,
                               std::uint64_t sequenceLimit)
{
    for (;;) {
        adoptMode(passMode);
        auto request = timed.takeDue(now, sequenceLimit, passes, passMode);
        if (request == nullptr)
            return;
        if (request->key.kind == RequestKey::Kind::Timer)
            performTimer(std::move(request));
        else
            callOut([&] { request->perform(); });
    }
}

void RunLoopCore::performTimer(std::unique_ptr<Request> request)
{
    NSTimer::Private &state = *request->timer->d;
    state.request = nullptr;
    state.isInCall = true;
    callOut([&] { request->perform(); });
    state.isInCall = false;
    if (!state.isValid || isClosed)
        return;
    state.due = nextDue(state.due, state.interval, monotonic());
    request->place = {state.due, nextSequence++};
    request->modes = state.modes;
    state.request = timed.insert(std::move(request));
}

/// Puts a request with its place into a table. A single old one that it replaces is used again, so that a
/// burst of requests costs no memory; `request` then keeps what was replaced, for the caller to release.
void RunLoopCore::place(RequestTable &table, Request &request, const QVariant *argument, bool replaces)
{
    RequestList replaced;
    if (replaces) {
        if (Request *const old = table.findOnly(request.key, argument)) {
            old->firstPass = request.firstPass;
            table.move(old, request.place);
            old->swapContent(request);
            return;
        }
        replaced = table.removeAlike(request.key, argument);
    }
    table.insert(std::make_unique<Request>(std::move(request)));
}

void RunLoopCore::schedule(Request &&request, double delay, bool replaces)
{
    if (isClosed)
        return;
    const auto now = monotonic();
    const auto duration = durationOf(delay);
    const auto due = duration > kNever - now ? kNever : now + duration;
    request.place = {due, nextSequence++};
    place(timed, request, &request.argument, replaces);
    announceDue(due, now);
}

void RunLoopCore::cancel(const RequestKey &key, const QVariant *argument)
{
    const RequestList cancelled = timed.removeAlike(key, argument);
}

void RunLoopCore::cancelAllOf(const void *receiver)
{
    const RequestList cancelled = timed.removeAllOf(receiver);
}

void RunLoopCore::enqueue(Request &&request, bool replaces)
{
    if (isClosed)
        return;
    request.place = {std::chrono::nanoseconds::zero(), nextSequence++};
    request.firstPass = isPosting ? passes + 1 : 0;
    place(queued, request, nullptr, replaces);
    announceWork();
}

void RunLoopCore::dequeue(const RequestKey &key)
{
    const RequestList removed = queued.removeAlike(key, nullptr);
}

void RunLoopCore::addTimer(const Ref<NSTimer> &timer, const QString &timerMode)
{
    NSTimer::Private &state = *timer->d;
    const auto loop = state.loop.lock();
    const bool isForeign = loop != nullptr && loop.get() != this;
    if (isClosed || !state.isValid || isForeign || timerMode.isNull() || state.modes.contains(timerMode))
        return;
    state.loop = weak_from_this();
    state.modes.append(timerMode);
    if (state.isInCall)
        return;
    std::unique_ptr<Request> request;
    if (state.request != nullptr) {
        request = timed.remove(state.request);
    } else {
        request = std::make_unique<Request>();
        request->timer = timer;
        request->key.receiver = timer.get();
        request->place = {state.due, nextSequence++};
    }
    request->modes = state.modes;
    state.request = timed.insert(std::move(request));
    announceDue(state.due, monotonic());
}

void RunLoopCore::removeTimer(NSTimer &timer)
{
    if (isClosed || timer.d->request == nullptr)
        return;
    const std::unique_ptr<Request> removed = timed.remove(std::exchange(timer.d->request, nullptr));
}

void RunLoopCore::addSource(RunLoopSource *source, const QString &sourceMode)
{
    sources.push_back({source, sourceMode});
    announceWork();
}

void RunLoopCore::removeSource(RunLoopSource *source)
{
    std::erase_if(sources, [source](const Source &known) { return known.source == source; });
}

void RunLoopCore::handOver(const void *receiver, KVCallable work)
{
    inbox.put({receiver, std::move(work), 0});
}

void RunLoopCore::removeHandovers(const void *receiver)
{
    const std::vector<Handover> removed = inbox.remove(receiver);
    std::vector<Handover> removedHere;
    std::erase_if(received, [&](Handover &handover) {
        if (handover.receiver != receiver)
            return false;
        removedHere.push_back(std::move(handover));
        return true;
    });
}

} // namespace KVBase
