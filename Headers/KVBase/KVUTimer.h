#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/NSTimer.h>

namespace KVBase
{

/// Timers that fire whatever the application is doing.
class KV_EXPORT KVUTimer {
public:
    /// Adds `timer` to the calling thread's run loop for the default, connection-reply, modal-panel and
    /// event-tracking mode, in this order. It still fires once at a time. Nothing but the run loop retains
    /// it. A nil timer is ignored.
    static void addTimerToAllCommonRunLoopModes(const Ref<NSTimer> &timer);
};

} // namespace KVBase
