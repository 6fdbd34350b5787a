#include <KVBase/KVBackgroundThread.h>

#include "Platform/RunLoop/RunLoopModes.h"
#include "Threads/WorkerQueue.h"

#include <KVBase/KVLog.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSLog.h>
#include <KVBase/Platform/NSObject.h>
#include <KVBase/Platform/NSRunLoop.h>
#include <KVBase/Runtime.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>

#include <condition_variable>
#include <pthread.h>
#include <system_error>

namespace KVBase
{

namespace
{

/// How long the worker's run loop runs at a stretch.
constexpr std::chrono::seconds kSlice(1);

[[noreturn]] void raiseNotStarted()
{
    throw NSException(QStringLiteral("KVBackgroundThread"),
                      QStringLiteral("The thread has not been started"));
}

/// Makes the name visible to debuggers and process viewers, which show 15 bytes of it.
void nameCurrentThread(const QString &name)
{
    if (!name.isEmpty())
        ::pthread_setname_np(::pthread_self(), name.toUtf8().left(15).constData());
}

void tellDelegate(QObject *delegate, const NSException &exception)
{
    if (respondsToSelector(delegate, "handleBackgroundThreadException:"))
        KVBase::performSelector(delegate, "handleBackgroundThreadException:", QVariant::fromValue(exception));
}

} // namespace

/// Each start has a number, so that one who waits for a worker to end does not wait for the next one.
struct KVBackgroundThread::Private {
    explicit Private(KVBackgroundThread *object)
        : self(object), queue([this](const NSException &exception) { report(exception); })
    {}

    void requireRunning() const;
    void backgroundThread();
    void perform(KVCallable &&work, KVFlushMode flushMode);
    void submit(KVCallable &&request, KVFlushMode flushMode);
    void report(const NSException &exception);
    void joinEnded();

    KVBackgroundThread *self;
    bool runningOnLeopard = false;
    std::atomic<bool> exitRunLoop{false};
    WorkerQueue queue;

    std::mutex mutex;
    std::condition_variable changed;
    std::thread thread;
    bool isStarting = false;
    bool isRunning = false;
    std::uint64_t starts = 0;
    std::uint64_t ends = 0;
    QPointer<QObject> delegate;
    QString name;
};

void KVBackgroundThread::Private::requireRunning() const
{
    if (!queue.isOpen())
        raiseNotStarted();
}

void KVBackgroundThread::Private::backgroundThread()
{
    const auto core = RunLoopCore::current();
    for (const QString &mode :
         runningOnLeopard ? RunLoopModes::common() : QStringList(RunLoopModes::defaultMode()))
        core->addSource(&queue, mode);
    exitRunLoop = false;
    queue.open(core);
    {
        const std::lock_guard lock(mutex);
        isRunning = true;
        isStarting = false;
        ++starts;
        nameCurrentThread(name);
        changed.notify_all();
    }
    const std::function<bool()> isFinished = [this] { return exitRunLoop.load(); };
    while (!exitRunLoop) {
        core->run(RunLoopModes::defaultMode(), RunLoopCore::monotonic() + kSlice, isFinished);
        queue.trim();
    }

    queue.close();
    core->removeSource(&queue);
    const std::lock_guard lock(mutex);
    isRunning = false;
    ++ends;
    changed.notify_all();
}

void KVBackgroundThread::Private::perform(KVCallable &&work, KVFlushMode flushMode)
{
    if (!work)
        requireRunning();
    else if (queue.isOwnThread())
        work();
    else
        submit(std::move(work), flushMode);
}

void KVBackgroundThread::Private::submit(KVCallable &&request, KVFlushMode flushMode)
{
    if (!queue.add(std::move(request), runningOnLeopard || flushMode == KVFlushMode::Flush))
        raiseNotStarted();
    if (flushMode == KVFlushMode::Coalesced && !runningOnLeopard)
        PerformDeferred::performCoalescedSelector(KVTarget(self->shared_from_this()), "flush", QVariant());
}

void KVBackgroundThread::Private::report(const NSException &exception)
{
    const QString text =
        stringWithFormat("KVBackgroundThread %@ caught exception: %@", self->name(), exception.description());
    KVLog(KVFormatString<>(text));
    const std::lock_guard lock(mutex);
    if (!delegate.isNull())
        NSRunLoop::mainRunLoop()->performOnThread(
            [weak = delegate, exception] { tellDelegate(weak.data(), exception); });
}

/// Waits for the last instructions of a thread whose worker has ended.
void KVBackgroundThread::Private::joinEnded()
{
    std::thread ended;
    {
        const std::lock_guard lock(mutex);
        if (starts == ends && !isStarting)
            ended.swap(thread);
    }
    if (!ended.joinable())
        return;
    if (ended.get_id() == std::this_thread::get_id())
        ended.detach();
    else
        ended.join();
}

KVBackgroundThread::KVBackgroundThread(const QString &name) : d(std::make_unique<Private>(this))
{
    d->runningOnLeopard = QCoreApplication::instance() != nullptr && Runtime::runningOnLeopardOrHigher();
    d->queue.setPath(d->runningOnLeopard ? WorkerQueue::Path::Direct : WorkerQueue::Path::Queue);
    setName(name);
}

/// No worker runs here, because it would hold a reference.
KVBackgroundThread::~KVBackgroundThread()
{
    d->joinEnded();
    PerformDeferred::cancelAllDelayedSelectors(this);
}

Ref<KVBackgroundThread> KVBackgroundThread::backgroundThread() { return backgroundThreadWithName(QString()); }

Ref<KVBackgroundThread> KVBackgroundThread::backgroundThreadWithName(const QString &name)
{
    const Ref<KVBackgroundThread> worker = create(name);
    worker->start(true);
    return worker;
}

Ref<KVBackgroundThread> KVBackgroundThread::create() { return create(QString()); }

Ref<KVBackgroundThread> KVBackgroundThread::create(const QString &name)
{
    return Ref<KVBackgroundThread>(new KVBackgroundThread(name));
}

void KVBackgroundThread::start(bool wait)
{
    d->joinEnded();
    std::unique_lock lock(d->mutex);
    if (d->isStarting || d->isRunning) {
        NSLog("KVBackgroundThread %@ is running already", d->name);
        return;
    }
    const std::uint64_t before = d->starts;
    d->isStarting = true;
    try {
        d->thread = std::thread([self = shared_from_this()]() mutable {
            self->d->backgroundThread();
            self = nullptr;
        });
    } catch (const std::system_error &error) {
        d->isStarting = false;
        throw NSException(NSGenericException, QString::fromUtf8(error.what()));
    }
    if (wait)
        d->changed.wait(lock, [&] { return d->starts > before; });
}

void KVBackgroundThread::stop(bool wait)
{
    const Ref<KVBackgroundThread> self = shared_from_this();
    std::uint64_t current = 0;
    {
        const std::lock_guard lock(d->mutex);
        current = d->starts;
    }
    performSelector("terminateThread:", self);
    if (!wait)
        return;
    {
        std::unique_lock lock(d->mutex);
        d->changed.wait(lock, [&] { return d->ends >= current; });
    }
    d->joinEnded();
}

void KVBackgroundThread::performSelector(const KVSelector &selector, const KVTarget &target)
{
    performSelector(selector, target, {}, {}, KVFlushMode::Flush);
}

void KVBackgroundThread::performSelector(const KVSelector &selector, const KVTarget &target,
                                         const QVariant &object1)
{
    performSelector(selector, target, object1, {}, KVFlushMode::Flush);
}

void KVBackgroundThread::performSelector(const KVSelector &selector, const KVTarget &target,
                                         const QVariant &object1, const QVariant &object2)
{
    performSelector(selector, target, object1, object2, KVFlushMode::Flush);
}

void KVBackgroundThread::performSelector(const KVSelector &selector, const KVTarget &target,
                                         const QVariant &object1, const QVariant &object2,
                                         KVFlushMode flushMode)
{
    if (d->queue.isOwnThread()) {
        KVBase::performSelector(target.object(), selector, object1, object2);
        return;
    }
    // Without a first object the record has no second one either.
    const QVariant second = isNil(object1) ? QVariant() : object2;
    d->submit([selector, target, object1,
               second] { KVBase::performSelector(target.object(), selector, object1, second); },
              flushMode);
}

void KVBackgroundThread::perform(KVCallable work) { d->perform(std::move(work), KVFlushMode::Flush); }

void KVBackgroundThread::perform(KVCallable work, KVFlushMode flushMode)
{
    d->perform(std::move(work), flushMode);
}

void KVBackgroundThread::flush()
{
    d->requireRunning();
    if (!d->runningOnLeopard)
        d->queue.flush();
}

void KVBackgroundThread::cancel()
{
    if (!d->runningOnLeopard)
        d->queue.cancel();
}

void KVBackgroundThread::setDelegate(QObject *delegate)
{
    const std::lock_guard lock(d->mutex);
    d->delegate = delegate;
}

QObject *KVBackgroundThread::delegate() const
{
    const std::lock_guard lock(d->mutex);
    return d->delegate.data();
}

void KVBackgroundThread::setName(const QString &name)
{
    const std::lock_guard lock(d->mutex);
    d->name = name;
}

QString KVBackgroundThread::name() const
{
    const std::lock_guard lock(d->mutex);
    return d->name;
}

void KVBackgroundThread::terminateThread(const QVariant &)
{
    d->exitRunLoop = true;
    d->queue.endSoon();
}

} // namespace KVBase
