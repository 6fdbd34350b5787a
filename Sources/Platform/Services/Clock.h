#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QDateTime>

#include <chrono>

namespace KVBase
{

/// Tells the time. Any thread.
struct KV_EXPORT Clock {
    virtual ~Clock();

    /// The calendar time, in the local zone. It may jump.
    virtual QDateTime now() = 0;

    /// Time since some fixed moment that never goes backwards; what deadlines are counted in.
    virtual std::chrono::nanoseconds monotonic() = 0;

    /// Whether time passes only when somebody says so; then a run loop waits for no deadline of its own
    /// accord.
    virtual bool standsStill() const { return false; }

    static Clock *makeDefault();
};

extern template class KV_EXPORT Service<Clock>;

} // namespace KVBase
