#include <KVBase/KVMainThread.h>

#include "Platform/Services/ThreadCapabilities.h"

#include <QtCore/QThread>

#include <atomic>
#include <mutex>

namespace KVBase
{

namespace
{

std::atomic<QThread *> sMainThread{nullptr};

} // namespace

QThread *KVMainThread::mainThread()
{
    ThreadCapabilities *const platform = Service<ThreadCapabilities>::current();
    return platform->respondsToMainThread() ? platform->mainThread() : sMainThread.load();
}

bool KVMainThread::isMainThread()
{
    ThreadCapabilities *const platform = Service<ThreadCapabilities>::current();
    if (platform->respondsToIsMainThread())
        return platform->isMainThread();
    return QThread::currentThread() == sMainThread.load();
}

void KVMainThread::markCurrentThreadAsMainThread()
{
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    sMainThread.store(QThread::currentThread());
}

} // namespace KVBase
