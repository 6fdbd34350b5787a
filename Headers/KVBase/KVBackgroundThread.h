#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVSelector.h>
#include <KVBase/Platform/KVTarget.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSException.h>

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>
#include <memory>

namespace KVBase
{

/// What a submission does beyond queueing the request.
enum class KVFlushMode : std::int32_t {
    Queue = 0,     ///< nothing: the request waits for a later flush
    Flush = 1,     ///< wakes the worker at once
    Coalesced = 2, ///< wakes it once for all submissions of one pass of the submitter's run loop
};

/// A worker thread that executes requests in the order in which they were submitted.
///
///   created --start--> running --stop--> stopping --> ended (and may be started again)
///
/// Submitting or flushing while no worker runs throws an `NSException` named "KVBackgroundThread". An
/// `NSException` that leaves a request is written to the log and handed to the delegate on the main thread,
/// and the worker goes on; any other exception ends the process, `KVException` included. What the worker
/// itself submits runs at once, and what it throws reaches the submitting request.
///
/// There are two paths, chosen when the object is made: on systems that can perform on a given thread, and in
/// an application, a request is handed to the worker's run loop directly; otherwise it goes through a queue
/// and a wake-up. Flush modes, `flush` and `cancel` act on the queue only.
///
/// A running worker keeps the object alive. While an application object exists, Qt objects that live on the
/// worker's thread get their events. Thread-safe.
class KV_EXPORT KVBackgroundThread : public QObject, public std::enable_shared_from_this<KVBackgroundThread> {
    Q_OBJECT

public:
    /// A running worker without a name.
    static Ref<KVBackgroundThread> backgroundThread();

    /// A running worker; the name is used in log lines.
    static Ref<KVBackgroundThread> backgroundThreadWithName(const QString &name);

    /// A worker that was not started.
    static Ref<KVBackgroundThread> create();
    static Ref<KVBackgroundThread> create(const QString &name);

    /// Stops the worker and waits, should it run; then drops a coalesced flush that waits on this thread.
    ~KVBackgroundThread() override;

    /// Starts the worker; when `wait`, returns once it runs. While it runs already, one line goes to the
    /// console and nothing happens.
    void start(bool wait);

    /// Has the worker end after the requests that were submitted before; when `wait`, returns once it has
    /// ended, which on the worker itself is never. Throws when no worker runs.
    void stop(bool wait);

    /// Has the worker call `selector` on `target`, with up to two objects; a nil `object1` drops `object2`,
    /// and a nil target does nothing. The target is kept as `KVTarget` says. Does not wait. Throws when no
    /// worker runs.
    void performSelector(const KVSelector &selector, const KVTarget &target);
    void performSelector(const KVSelector &selector, const KVTarget &target, const QVariant &object1);
    void performSelector(const KVSelector &selector, const KVTarget &target, const QVariant &object1,
                         const QVariant &object2);
    void performSelector(const KVSelector &selector, const KVTarget &target, const QVariant &object1,
                         const QVariant &object2, KVFlushMode flushMode);

    /// The same for `work`, which is released on the worker.
    void perform(KVCallable work);
    void perform(KVCallable work, KVFlushMode flushMode);

    /// Wakes the worker, which then executes all that is queued. Throws when no worker runs.
    Q_INVOKABLE void flush();

    /// Drops what is queued and has not begun, a queued stop included.
    void cancel();

    /// Told of exceptions through the optional method
    /// `Q_INVOKABLE void handleBackgroundThreadException(const KVBase::NSException &exception)`, on the main
    /// thread. Not retained; nil once destroyed.
    void setDelegate(QObject *delegate);
    QObject *delegate() const;

    void setName(const QString &name);
    QString name() const;

private:
    struct Private;
    explicit KVBackgroundThread(const QString &name);
    Q_INVOKABLE void terminateThread(const QVariant &sender);

    std::unique_ptr<Private> d;
};

} // namespace KVBase

Q_DECLARE_METATYPE(KVBase::NSException)
