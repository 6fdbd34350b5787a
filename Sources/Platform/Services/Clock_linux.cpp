#include "Platform/Services/Clock.h"

namespace KVBase
{

template class Service<Clock>;

Clock::~Clock() = default;

namespace
{

class SystemClock : public Clock {
public:
    QDateTime now() override { return QDateTime::currentDateTime(); }

    std::chrono::nanoseconds monotonic() override
    {
        return std::chrono::steady_clock::now().time_since_epoch();
    }
};

} // namespace

Clock *Clock::makeDefault() { return new SystemClock; }

} // namespace KVBase
