#pragma once

#include "Platform/RunLoop/RunLoopCore.h"
#include "Platform/Services/Clock.h"

#include <atomic>

namespace KVBase::Tests
{

/// A clock that stands still until it is told to go on; in place while it lives. Deadlines of run loops are
/// met exactly when it is advanced, and never by themselves.
class ManualClock final : public Clock {
public:
    ManualClock() : guard(this) {}

    QDateTime now() override
    {
        return QDateTime(QDate(2020, 1, 1), QTime(0, 0)).addMSecs(elapsed.load() / 1'000'000);
    }

    std::chrono::nanoseconds monotonic() override { return std::chrono::nanoseconds(elapsed.load()); }
    bool standsStill() const override { return true; }

    /// Lets time pass and runs one pass of the calling thread's run loop.
    void advance(std::chrono::nanoseconds duration)
    {
        elapsed += duration.count();
        RunLoopCore::current()->pass();
    }

private:
    std::atomic<std::int64_t> elapsed{1'000'000'000};
    ScopedService<Clock> guard;
};

} // namespace KVBase::Tests
