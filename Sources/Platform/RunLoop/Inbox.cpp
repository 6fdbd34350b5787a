#include "Platform/RunLoop/Inbox.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>

#include <algorithm>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

/// The longest single sleep, which keeps the arithmetic of `timespec` in range.
constexpr std::chrono::nanoseconds kLongestSleep = std::chrono::hours(24);

timespec timespecOf(std::chrono::nanoseconds duration)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds.count());
    result.tv_nsec = static_cast<decltype(result.tv_nsec)>((duration - seconds).count());
    return result;
}

} // namespace

Inbox::~Inbox()
{
    if (bell >= 0)
        ::close(bell);
}

void Inbox::put(Handover handover)
{
    Ring ring = Ring::None;
    {
        const std::lock_guard lock(mutex);
        if (isClosed)
            return;
        handovers.push_back(std::move(handover));
        ring = ringLocked();
    }
    giveRing(ring);
}

void Inbox::wake(bool interrupts)
{
    Ring ring = Ring::None;
    {
        const std::lock_guard lock(mutex);
        isInterrupted = isInterrupted || interrupts;
        ring = ringLocked();
    }
    giveRing(ring);
}

/// Notes that the loop is to look, and answers what will make it.
Inbox::Ring Inbox::ringLocked()
{
    if (std::exchange(isWoken, true))
        return Ring::None;
    if (isSleeping)
        return Ring::Bell;
    return hasDriver ? Ring::Driver : Ring::None;
}

/// Without the lock, which the woken thread wants at once. A ring that comes late makes the loop look once
/// more than it must.
void Inbox::giveRing(Ring ring)
{
    if (ring == Ring::Bell) {
        const std::uint64_t one = 1;
        // The counter cannot overflow: there is one ring for each time the loop goes to sleep.
        [[maybe_unused]] const ssize_t written = ::write(bell, &one, sizeof one);
    } else if (ring == Ring::Driver) {
        const std::lock_guard lock(driverMutex);
        // Behind what is queued already, so that notifications go out when the current events are done.
        if (driver != nullptr)
            QCoreApplication::postEvent(driver, new QEvent(QEvent::User), Qt::LowEventPriority);
    }
}

std::vector<Handover> Inbox::remove(const void *receiver)
{
    std::vector<Handover> removed;
    const std::lock_guard lock(mutex);
    const auto kept =
        std::stable_partition(handovers.begin(), handovers.end(),
                              [receiver](const Handover &handover) { return handover.receiver != receiver; });
    std::move(kept, handovers.end(), std::back_inserter(removed));
    handovers.erase(kept, handovers.end());
    return removed;
}

bool Inbox::acknowledge()
{
    const std::lock_guard lock(mutex);
    isWoken = false;
    return std::exchange(isInterrupted, false);
}

void Inbox::takeAll(std::deque<Handover> &received, std::uint64_t &nextSequence)
{
    const std::lock_guard lock(mutex);
    for (Handover &handover : handovers) {
        handover.sequence = nextSequence++;
        received.push_back(std::move(handover));
    }
    handovers.clear();
}

bool Inbox::isEmpty() const
{
    const std::lock_guard lock(mutex);
    return handovers.empty();
}

void Inbox::openBell()
{
    if (bell < 0)
        bell = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

void Inbox::sleep(std::chrono::nanoseconds patience)
{
    {
        const std::lock_guard lock(mutex);
        if (isWoken)
            return;
        openBell();
        isSleeping = true;
    }
    pollfd readable{bell, POLLIN, 0};
    // Without a descriptor left to open, short sleeps stand in for the bell.
    const auto longest = bell < 0 ? std::chrono::nanoseconds(std::chrono::milliseconds(10)) : kLongestSleep;
    const timespec limit = timespecOf(std::clamp(patience, std::chrono::nanoseconds::zero(), longest));
    ::ppoll(&readable, 1, &limit, nullptr);

    const std::lock_guard lock(mutex);
    isSleeping = false;
    std::uint64_t rings = 0;
    [[maybe_unused]] const ssize_t count = ::read(bell, &rings, sizeof rings);
}

void Inbox::setDriver(QObject *given)
{
    {
        const std::lock_guard lock(driverMutex);
        driver = given;
    }
    Ring ring = Ring::None;
    {
        const std::lock_guard lock(mutex);
        hasDriver = given != nullptr;
        if (hasDriver && std::exchange(isWoken, false))
            ring = ringLocked();
    }
    giveRing(ring);
}

std::deque<Handover> Inbox::close()
{
    const std::lock_guard lock(mutex);
    isClosed = true;
    hasDriver = false;
    return std::exchange(handovers, {});
}

} // namespace KVBase
