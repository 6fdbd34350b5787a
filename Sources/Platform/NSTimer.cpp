#include <KVBase/Platform/NSTimer.h>

#include "Platform/RunLoop/TimerState.h"

#include <KVBase/Platform/NSObject.h>

#include <utility>

namespace KVBase
{

namespace
{

constexpr double kShortestInterval = 0.0001;

/// Makes a timer that does not repeat invalid once it has been called, whatever the call throws.
class AfterCall {
public:
    AfterCall(NSTimer &fired, bool repeats) : timer(fired), invalidates(!repeats) {}
    ~AfterCall()
    {
        if (invalidates)
            timer.invalidate();
    }
    AfterCall(const AfterCall &) = delete;
    AfterCall &operator=(const AfterCall &) = delete;

private:
    NSTimer &timer;
    bool invalidates;
};

} // namespace

NSTimer::NSTimer(std::unique_ptr<Private> given) : d(std::move(given)) {}

NSTimer::~NSTimer() = default;

Ref<NSTimer> NSTimer::timerWithTimeInterval(double seconds, const KVTarget &target,
                                            const KVSelector &selector, const QVariant &userInfo,
                                            bool repeats)
{
    const Ref<NSTimer> timer = timerWithTimeInterval(seconds, repeats, nullptr);
    timer->d->target = target;
    timer->d->selector = selector;
    timer->d->userInfo = userInfo;
    return timer;
}

Ref<NSTimer> NSTimer::timerWithTimeInterval(double seconds, bool repeats, std::function<void(NSTimer &)> work)
{
    auto state = std::make_unique<Private>();
    const auto now = RunLoopCore::monotonic();
    state->interval = RunLoopCore::durationOf(seconds > kShortestInterval ? seconds : kShortestInterval);
    state->due = state->interval > kNever - now ? kNever : now + state->interval;
    state->repeats = repeats;
    state->work = std::move(work);
    return Ref<NSTimer>(new NSTimer(std::move(state)));
}

void NSTimer::fire()
{
    if (!d->isValid)
        return;
    const Ref<NSTimer> self = shared_from_this();
    // Copies, because the call may make the timer invalid.
    const std::function<void(NSTimer &)> work = d->work;
    const KVTarget target = d->target;
    const KVSelector selector = d->selector;
    const bool targetGone = target.identity() != nullptr && target.object() == nullptr;
    const AfterCall afterCall(*this, d->repeats && !targetGone);
    if (work)
        work(*this);
    else
        performSelector(target.object(), selector, QVariant::fromValue(self));
}

void NSTimer::invalidate()
{
    if (!std::exchange(d->isValid, false))
        return;
    const Ref<NSTimer> self = shared_from_this();
    const KVTarget released = std::exchange(d->target, nullptr);
    const std::function<void(NSTimer &)> releasedWork = std::exchange(d->work, nullptr);
    if (const auto loop = d->loop.lock())
        loop->removeTimer(*this);
}

bool NSTimer::isValid() const { return d->isValid; }

QVariant NSTimer::userInfo() const { return d->userInfo; }

} // namespace KVBase
