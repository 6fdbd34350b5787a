#include <KVBase/Platform/NSRunLoop.h>

#include "Platform/RunLoop/RunLoopCore.h"
#include "Platform/RunLoop/RunLoopModes.h"
#include "Platform/Services/Clock.h"

#include <KVBase/Platform/NSObject.h>

namespace KVBase
{

namespace
{

/// The moment on the deadline clock at which the calendar will show `date`.
std::chrono::nanoseconds deadlineOf(const QDateTime &date)
{
    if (!date.isValid())
        return kNever;
    const auto now = RunLoopCore::monotonic();
    const double seconds = static_cast<double>(Service<Clock>::current()->now().msecsTo(date)) / 1000;
    const auto left = RunLoopCore::durationOf(seconds);
    return left > kNever - now ? kNever : now + left;
}

Request makeRequest(RequestKey::Kind kind, const KVTarget &target, const QString &name,
                    const QStringList &modes)
{
    Request request;
    request.key = {target.identity(), name, kind};
    request.target = target;
    request.modes = modes;
    return request;
}

} // namespace

NSRunLoop::NSRunLoop(std::shared_ptr<RunLoopCore> loopCore) : core(std::move(loopCore)) {}

NSRunLoop::~NSRunLoop() = default;

QString NSRunLoop::currentMode() const { return core->isOwnThread() ? core->mode() : QString(); }

void NSRunLoop::addTimer(const Ref<NSTimer> &timer, const QString &mode)
{
    if (timer != nullptr && core->isOwnThread())
        core->addTimer(timer, mode);
}

bool NSRunLoop::runMode(const QString &mode, const QDateTime &limitDate)
{
    if (mode.isNull() || !core->isOwnThread())
        return false;
    const auto self = core;
    const std::uint64_t before = self->inputCount();
    self->run(mode, deadlineOf(limitDate), [&] { return self->inputCount() != before; });
    return true;
}

void NSRunLoop::runUntilDate(const QDateTime &limitDate)
{
    const auto self = core;
    if (self->isOwnThread())
        self->run(RunLoopModes::defaultMode(), deadlineOf(limitDate), [] { return false; });
}

void NSRunLoop::performSelector(const KVSelector &selector, const KVTarget &target, const QVariant &object,
                                double delay, const QStringList &modes)
{
    if (target.identity() == nullptr || selector.isNil() || !core->isOwnThread())
        return;
    auto request = makeRequest(RequestKey::Kind::Selector, target, selector.name(), modes);
    request.argument = object;
    core->schedule(std::move(request), delay, false);
}

void NSRunLoop::perform(const KVTarget &target, const QString &key, KVCallable work, double delay,
                        const QStringList &modes)
{
    if (!work || !core->isOwnThread())
        return;
    const auto kind = key.isNull() ? RequestKey::Kind::Keyless : RequestKey::Kind::Callable;
    auto request = makeRequest(kind, target, key, modes);
    request.work = std::move(work);
    core->schedule(std::move(request), delay, false);
}

void NSRunLoop::cancelPreviousPerformRequestsWithTarget(const KVTarget &target)
{
    if (target.identity() != nullptr && core->isOwnThread())
        core->cancelAllOf(target.identity());
}

void NSRunLoop::cancelPreviousPerformRequestsWithTarget(const KVTarget &target, const KVSelector &selector,
                                                        const QVariant &object)
{
    if (core->isOwnThread())
        core->cancel({target.identity(), selector.name(), RequestKey::Kind::Selector}, &object);
}

void NSRunLoop::cancelPreviousPerformRequestsWithTarget(const KVTarget &target, const QString &key)
{
    if (!key.isNull() && core->isOwnThread())
        core->cancel({target.identity(), key, RequestKey::Kind::Callable}, nullptr);
}

void NSRunLoop::cancelPerformSelectorsWithTarget(const KVTarget &target)
{
    if (target.identity() != nullptr && core->isOwnThread())
        core->removeHandovers(target.identity());
}

void NSRunLoop::performOnThread(const KVSelector &selector, const KVTarget &target, const QVariant &object)
{
    if (target.identity() == nullptr)
        return;
    core->handOver(target.identity(), [target, selector, object] {
        if (QObject *receiver = target.object())
            KVBase::performSelector(receiver, selector, object);
    });
}

void NSRunLoop::performOnThread(KVCallable work)
{
    if (work)
        core->handOver(nullptr, std::move(work));
}

void NSRunLoop::wakeUp() { core->wake(true); }

} // namespace KVBase
