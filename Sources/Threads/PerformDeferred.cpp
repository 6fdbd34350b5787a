#include <KVBase/PerformDeferred.h>

#include "Platform/RunLoop/RunLoopCore.h"
#include "Platform/RunLoop/RunLoopModes.h"

#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSNotificationQueue.h>
#include <KVBase/Platform/NSRunLoop.h>

#include <QtCore/QStringBuilder>

#include <array>
#include <charconv>
#include <cstdint>

namespace KVBase::PerformDeferred
{

namespace
{

NSNotification notificationFor(QObject *self, const KVSelector &selector)
{
    return NSNotification(nameForSelector(self, selector), self, {});
}

void enqueueSelector(QObject *self, const KVSelector &selector, std::uint32_t coalesceMask,
                     const QStringList &modes)
{
    if (self != nullptr && !selector.isNil())
        NSNotificationQueue::defaultQueue().enqueueNotification(notificationFor(self, selector), NSPostASAP,
                                                                coalesceMask, modes);
}

void dequeueSelector(QObject *self, const KVSelector &selector, std::uint32_t coalesceMask)
{
    if (self == nullptr)
        return;
    NSNotificationQueue::defaultQueue().dequeueNotificationsMatching(notificationFor(self, selector),
                                                                     coalesceMask);
}

Request callableRequest(const KVTarget &self, const QString &key, KVCallable work, const QStringList &modes)
{
    Request request;
    request.key = {self.identity(), key,
                   key.isNull() ? RequestKey::Kind::Keyless : RequestKey::Kind::Callable};
    request.target = self;
    request.work = std::move(work);
    request.modes = modes;
    return request;
}

void enqueueCallable(QObject *self, const QString &key, KVCallable work, const QStringList &modes)
{
    if (self != nullptr && work)
        RunLoopCore::current()->enqueue(callableRequest(self, key, std::move(work), modes), !key.isNull());
}

} // namespace

const QStringList &commonRunLoopModes() { return RunLoopModes::common(); }

QString nameForSelector(const QObject *self, const KVSelector &selector)
{
    if (self == nullptr)
        return QString();
    // "[%p %@]", made by hand because every request needs it.
    std::array<char, 2 * sizeof(std::uintptr_t)> digits;
    const auto end =
        std::to_chars(digits.begin(), digits.end(), reinterpret_cast<std::uintptr_t>(self), 16).ptr;
    const QLatin1StringView address(digits.begin(), end);
    const QString text = selector.isNil() ? QStringLiteral("(null)") : selector.name();
    return QLatin1StringView("[0x") % address % QLatin1Char(' ') % text % QLatin1Char(']');
}

void registerDeferredSelector(QObject *self, const KVSelector &selector)
{
    NSNotificationCenter::defaultCenter().addObserver(self, selector, nameForSelector(self, selector), self);
}

void unregisterDeferredSelector(QObject *self, const KVSelector &selector)
{
    if (self != nullptr)
        NSNotificationCenter::defaultCenter().removeObserver(self, nameForSelector(self, selector), self);
}

void performDeferredSelector(QObject *self, const KVSelector &selector)
{
    enqueueSelector(self, selector, NSNotificationNoCoalescing, commonRunLoopModes());
}

void performDeferredSelector(QObject *self, const KVSelector &selector, const QString &mode)
{
    enqueueSelector(self, selector, NSNotificationNoCoalescing, {mode});
}

void cancelDeferredSelector(QObject *self, const KVSelector &selector)
{
    dequeueSelector(self, selector, NSNotificationNoCoalescing);
}

void performCoalescedDeferredSelector(QObject *self, const KVSelector &selector)
{
    enqueueSelector(self, selector, NSNotificationCoalescingOnName, commonRunLoopModes());
}

void performCoalescedDeferredSelector(QObject *self, const KVSelector &selector, const QString &mode)
{
    enqueueSelector(self, selector, NSNotificationCoalescingOnName, {mode});
}

void cancelCoalescedDeferredSelector(QObject *self, const KVSelector &selector)
{
    dequeueSelector(self, selector, NSNotificationCoalescingOnName);
}

void performDelayedSelector(const KVTarget &self, const KVSelector &selector, const QVariant &object)
{
    NSRunLoop::currentRunLoop()->performSelector(selector, self, object, 0.0, commonRunLoopModes());
}

void cancelDelayedSelector(const KVTarget &self, const KVSelector &selector, const QVariant &object)
{
    NSRunLoop::currentRunLoop()->cancelPreviousPerformRequestsWithTarget(self, selector, object);
}

void cancelAllDelayedSelectors(const KVTarget &self)
{
    NSRunLoop::currentRunLoop()->cancelPreviousPerformRequestsWithTarget(self);
    NSRunLoop::currentRunLoop()->cancelPerformSelectorsWithTarget(self);
}

void performCoalescedSelector(const KVTarget &self, const KVSelector &selector, const QVariant &object)
{
    performCoalescedSelector(self, selector, object, 0.0);
}

void performCoalescedSelector(const KVTarget &self, const KVSelector &selector, const QVariant &object,
                              double delay)
{
    if (self.identity() == nullptr || selector.isNil())
        return;
    // The new request holds the receiver and the argument before the old one lets them go.
    Request request;
    request.key = {self.identity(), selector.name(), RequestKey::Kind::Selector};
    request.target = self;
    request.argument = object;
    request.modes = commonRunLoopModes();
    RunLoopCore::current()->schedule(std::move(request), delay, true);
}

void performDelayed(const KVTarget &self, KVCallable work)
{
    if (self.identity() != nullptr)
        NSRunLoop::currentRunLoop()->perform(self, QString(), std::move(work), 0.0, commonRunLoopModes());
}

void performCoalesced(const KVTarget &self, const QString &key, KVCallable work)
{
    performCoalesced(self, key, std::move(work), 0.0);
}

void performCoalesced(const KVTarget &self, const QString &key, KVCallable work, double delay)
{
    if (self.identity() != nullptr && work)
        RunLoopCore::current()->schedule(callableRequest(self, key, std::move(work), commonRunLoopModes()),
                                         delay, !key.isNull());
}

void performDeferred(QObject *self, KVCallable work)
{
    enqueueCallable(self, QString(), std::move(work), commonRunLoopModes());
}

void performDeferred(QObject *self, KVCallable work, const QString &mode)
{
    enqueueCallable(self, QString(), std::move(work), {mode});
}

void performCoalescedDeferred(QObject *self, const QString &key, KVCallable work)
{
    enqueueCallable(self, key, std::move(work), commonRunLoopModes());
}

void performCoalescedDeferred(QObject *self, const QString &key, KVCallable work, const QString &mode)
{
    enqueueCallable(self, key, std::move(work), {mode});
}

void cancelPerform(const KVTarget &self, const QString &key)
{
    if (key.isNull())
        return;
    const auto core = RunLoopCore::current();
    const RequestKey requestKey{self.identity(), key, RequestKey::Kind::Callable};
    core->cancel(requestKey, nullptr);
    core->dequeue(requestKey);
}

} // namespace KVBase::PerformDeferred
