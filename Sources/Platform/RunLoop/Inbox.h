#pragma once

#include <KVBase/Platform/KVTarget.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

class QObject;

namespace KVBase
{

/// Work for a run loop's thread, from any thread.
struct Handover {
    const void *receiver = nullptr;
    KVCallable work;
    /// Given by the loop when it takes the work in.
    std::uint64_t sequence = 0;
};

/// What other threads put into a run loop, and how they wake it. Whether there is something to look at is a
/// state under the lock, not an event: no loop inside a callback can swallow it for the loops around it. At
/// most one wake-up is under way. Thread-safe, but for what is said to be the loop's own.
class Inbox {
public:
    Inbox() = default;
    ~Inbox();
    Inbox(const Inbox &) = delete;
    Inbox &operator=(const Inbox &) = delete;

    /// Adds work and wakes the loop; drops it when the loop is closed.
    void put(Handover handover);

    /// Wakes the loop; `interrupts` when a run in one mode is to return.
    void wake(bool interrupts);

    /// Removes and answers what was put in for `receiver`.
    std::vector<Handover> remove(const void *receiver);

    /// Makes the wake-up seen, and answers whether one interrupted. The loop's own.
    bool acknowledge();

    /// Moves all work to the end of `received` and numbers it. The loop's own.
    void takeAll(std::deque<Handover> &received, std::uint64_t &nextSequence);

    bool isEmpty() const;

    /// Sleeps until it is woken or `patience` has passed. The loop's own.
    void sleep(std::chrono::nanoseconds patience);

    /// While there is a driver, wake-ups are posted to it as events. The loop's own.
    void setDriver(QObject *given);

    /// Answers what was never done; nothing is taken any more. The loop's own.
    std::deque<Handover> close();

private:
    enum class Ring { None, Bell, Driver };

    Ring ringLocked();
    void giveRing(Ring ring);
    void openBell();

    mutable std::mutex mutex;
    std::deque<Handover> handovers;
    bool isWoken = false;
    bool isInterrupted = false;
    bool isSleeping = false;
    bool isClosed = false;
    bool hasDriver = false;
    int bell = -1;

    /// Keeps the driver while an event is posted to it. Never taken together with the other.
    std::mutex driverMutex;
    QObject *driver = nullptr;
};

} // namespace KVBase
