#pragma once

#include "Platform/Services/Service.h"

class QThread;

namespace KVBase
{

/// What the platform itself knows about the main thread. Any thread.
struct KV_EXPORT ThreadCapabilities {
    virtual ~ThreadCapabilities();

    /// Whether `mainThread` has an answer.
    virtual bool respondsToMainThread() = 0;

    /// Whether `isMainThread` has an answer.
    virtual bool respondsToIsMainThread() = 0;

    virtual QThread *mainThread() = 0;
    virtual bool isMainThread() = 0;

    static ThreadCapabilities *makeDefault();
};

extern template class KV_EXPORT Service<ThreadCapabilities>;

} // namespace KVBase
