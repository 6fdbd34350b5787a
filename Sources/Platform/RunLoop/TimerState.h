#pragma once

#include "Platform/RunLoop/RunLoopCore.h"

#include <KVBase/Platform/NSTimer.h>

namespace KVBase
{

/// What a timer and the run loop it belongs to know about it.
struct NSTimer::Private {
    std::chrono::nanoseconds interval{};
    std::chrono::nanoseconds due{};
    bool repeats = false;
    bool isValid = true;
    KVTarget target;
    KVSelector selector;
    std::function<void(NSTimer &)> work;
    QVariant userInfo;

    std::weak_ptr<RunLoopCore> loop;
    QStringList modes;
    /// Its place in the loop's table; null before it is added and while the loop calls it.
    Request *request = nullptr;
    bool isInCall = false;
};

} // namespace KVBase
