#include "Platform/RunLoop/RunLoopCore.h"

#include <KVBase/Platform/NSRunLoop.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QThread>

#include <mutex>
#include <unistd.h>
#include <unordered_map>

namespace KVBase
{

namespace
{

bool isInitialThread() { return ::gettid() == ::getpid(); }

struct Loop {
    std::shared_ptr<RunLoopCore> core;
    Ref<NSRunLoop> face;
};

Loop makeLoop()
{
    auto core = std::make_shared<RunLoopCore>();
    return {core, std::make_shared<NSRunLoop>(core)};
}

/// Finds the loops of threads, above all of the main one. A loop may be made by another thread before its own
/// asks for it; it waits here until then. The thread that the process began with goes by the null pointer as
/// well.
class RunLoopRegistry {
public:
    static RunLoopRegistry &shared();

    /// The loop for the calling thread, which must not have one yet.
    Loop claimForCurrentThread();
    void forget(const Loop &loop);

    /// The loop of `thread`, made when there is none yet; `isNew` tells which.
    Loop loopOf(QThread *thread, bool &isNew);

private:
    RunLoopRegistry();

    std::mutex mutex;
    std::unordered_map<QThread *, Loop> claimed;
    std::unordered_map<QThread *, Loop> unclaimed;
};

/// The calling thread's loop, which ends with the thread.
struct ThreadStorage {
    Loop loop;

    ~ThreadStorage();
};

thread_local bool isTornDown = false;

ThreadStorage &threadStorage()
{
    static thread_local ThreadStorage storage;
    return storage;
}

ThreadStorage::~ThreadStorage()
{
    isTornDown = true;
    if (loop.core == nullptr)
        return;
    RunLoopRegistry::shared().forget(loop);
    loop.core->close();
}

/// What a thread gets whose own loop has gone already: one that is closed.
const Loop &deadLoop()
{
    static const auto *const dead = [] {
        auto *const loop = new Loop(makeLoop());
        loop->core->close();
        return loop;
    }();
    return *dead;
}

const Loop &currentLoop()
{
    if (isTornDown)
        return deadLoop();
    ThreadStorage &storage = threadStorage();
    if (storage.loop.core == nullptr)
        storage.loop = RunLoopRegistry::shared().claimForCurrentThread();
    return storage.loop;
}

/// Runs when an application object is made, and lets its event loop drive what was asked for before.
void attachApplicationThread()
{
    const QCoreApplication *const application = QCoreApplication::instance();
    if (application != nullptr && application->thread() == QThread::currentThread())
        currentLoop().core->attach();
}

RunLoopRegistry::RunLoopRegistry() = default;

RunLoopRegistry &RunLoopRegistry::shared()
{
    static auto *const registry = new RunLoopRegistry;
    return *registry;
}

/// Once per process; outside the registry's construction, because the routine may be called at once.
void watchForApplication()
{
    static const bool watches = [] {
        qAddPreRoutine([] { attachApplicationThread(); });
        return true;
    }();
    static_cast<void>(watches);
}

Loop RunLoopRegistry::claimForCurrentThread()
{
    QThread *const thread = QThread::currentThread();
    const std::lock_guard lock(mutex);
    Loop loop;
    for (QThread *const name : {thread, static_cast<QThread *>(nullptr)}) {
        if (name == nullptr && !isInitialThread())
            continue;
        const auto waiting = unclaimed.find(name);
        if (waiting == unclaimed.end())
            continue;
        loop = waiting->second;
        unclaimed.erase(waiting);
        break;
    }
    if (loop.core == nullptr)
        loop = makeLoop();
    loop.core->claim();
    claimed[thread] = loop;
    if (isInitialThread())
        claimed[nullptr] = loop;
    return loop;
}

void RunLoopRegistry::forget(const Loop &loop)
{
    const std::lock_guard lock(mutex);
    std::erase_if(claimed, [&](const auto &entry) { return entry.second.core == loop.core; });
}

Loop RunLoopRegistry::loopOf(QThread *thread, bool &isNew)
{
    const std::lock_guard lock(mutex);
    isNew = false;
    for (const auto *loops : {&claimed, &unclaimed})
        if (const auto found = loops->find(thread); found != loops->end())
            return found->second;
    isNew = true;
    return unclaimed[thread] = makeLoop();
}

} // namespace

const std::shared_ptr<RunLoopCore> &RunLoopCore::current()
{
    watchForApplication();
    return currentLoop().core;
}

Ref<NSRunLoop> NSRunLoop::currentRunLoop()
{
    watchForApplication();
    return currentLoop().face;
}

Ref<NSRunLoop> NSRunLoop::mainRunLoop()
{
    watchForApplication();
    QCoreApplication *const application = QCoreApplication::instance();
    const bool isHere =
        application != nullptr ? application->thread() == QThread::currentThread() : isInitialThread();
    if (isHere)
        return currentLoop().face;
    bool isNew = false;
    const Loop loop =
        RunLoopRegistry::shared().loopOf(application != nullptr ? application->thread() : nullptr, isNew);
    // Nobody on that thread knows of the loop yet: have it take the loop over.
    if (isNew && application != nullptr)
        QMetaObject::invokeMethod(
            application, [] { attachApplicationThread(); }, Qt::QueuedConnection);
    return loop.face;
}

} // namespace KVBase
