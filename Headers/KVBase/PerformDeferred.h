#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVSelector.h>
#include <KVBase/Platform/KVTarget.h>

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

namespace KVBase::PerformDeferred
{

/// Calls that happen later on the calling thread's run loop, which must run. Nothing crosses threads.
///
/// - Delayed: a timed request, by default at the next turn of the loop.
/// - Coalesced: the same, after dropping an identical request that still waits, so that a burst of requests
/// leads
///   to one call, one delay after the last of them.
/// - Deferred: a notification at the end of the loop's current pass. The selector takes one
///   `const KVBase::NSNotification &` and must have been registered, or nobody is called.
///
/// The common modes are meant where no mode is given. A nil receiver does nothing. Delayed and coalesced
/// requests keep a shared receiver and the argument until they have run or are cancelled; those of a plain
/// receiver are dropped when it has gone.

/// Default, modal panel and event tracking, in this order.
KV_EXPORT const QStringList &commonRunLoopModes();

/// The name under which a deferred selector is posted: "[0x5a3c10 refreshDisplay:]"; nil for nil.
KV_EXPORT QString nameForSelector(const QObject *self, const KVSelector &selector);

/// Makes `self` receive its deferred `selector`; twice makes two calls of each. Ends with `self`.
KV_EXPORT void registerDeferredSelector(QObject *self, const KVSelector &selector);

/// Ends every registration of `selector`.
KV_EXPORT void unregisterDeferredSelector(QObject *self, const KVSelector &selector);

/// One call for each request.
KV_EXPORT void performDeferredSelector(QObject *self, const KVSelector &selector);
KV_EXPORT void performDeferredSelector(QObject *self, const KVSelector &selector, const QString &mode);

/// Drops every deferred request of this receiver and selector that waits, coalesced or not.
KV_EXPORT void cancelDeferredSelector(QObject *self, const KVSelector &selector);

/// One call for all requests that wait together.
KV_EXPORT void performCoalescedDeferredSelector(QObject *self, const KVSelector &selector);
KV_EXPORT void performCoalescedDeferredSelector(QObject *self, const KVSelector &selector,
                                                const QString &mode);

/// Drops every deferred request of this receiver and selector that waits.
KV_EXPORT void cancelCoalescedDeferredSelector(QObject *self, const KVSelector &selector);

/// Calls at the next turn of the run loop.
KV_EXPORT void performDelayedSelector(const KVTarget &self, const KVSelector &selector,
                                      const QVariant &object);

/// Drops the timed requests with an equal argument; nil equals only nil.
KV_EXPORT void cancelDelayedSelector(const KVTarget &self, const KVSelector &selector,
                                     const QVariant &object);

/// Drops every timed request of `self` on this thread, callables too.
KV_EXPORT void cancelAllDelayedSelectors(const KVTarget &self);

/// Coalesced with delay 0.
KV_EXPORT void performCoalescedSelector(const KVTarget &self, const KVSelector &selector,
                                        const QVariant &object);

/// Calls `delay` seconds after the last of the requests with equal arguments.
KV_EXPORT void performCoalescedSelector(const KVTarget &self, const KVSelector &selector,
                                        const QVariant &object, double delay);

/// The same for callables, which belong to `self` and end with it. No registration is needed; requests merge
/// when `self` and `key` are the same. A key never matches a selector.
KV_EXPORT void performDelayed(const KVTarget &self, KVCallable work);
KV_EXPORT void performCoalesced(const KVTarget &self, const QString &key, KVCallable work);
KV_EXPORT void performCoalesced(const KVTarget &self, const QString &key, KVCallable work, double delay);
KV_EXPORT void performDeferred(QObject *self, KVCallable work);
KV_EXPORT void performDeferred(QObject *self, KVCallable work, const QString &mode);
KV_EXPORT void performCoalescedDeferred(QObject *self, const QString &key, KVCallable work);
KV_EXPORT void performCoalescedDeferred(QObject *self, const QString &key, KVCallable work,
                                        const QString &mode);

/// Drops every callable of `self` under `key` that waits.
KV_EXPORT void cancelPerform(const KVTarget &self, const QString &key);

} // namespace KVBase::PerformDeferred
