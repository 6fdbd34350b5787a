#include <KVBase/KVUTimer.h>

#include <KVBase/Platform/NSRunLoop.h>

namespace KVBase
{

void KVUTimer::addTimerToAllCommonRunLoopModes(const Ref<NSTimer> &timer)
{
    const Ref<NSRunLoop> runLoop = NSRunLoop::currentRunLoop();
    runLoop->addTimer(timer, NSDefaultRunLoopMode);
    runLoop->addTimer(timer, NSConnectionReplyMode);
    runLoop->addTimer(timer, NSModalPanelRunLoopMode);
    runLoop->addTimer(timer, NSEventTrackingRunLoopMode);
}

} // namespace KVBase
