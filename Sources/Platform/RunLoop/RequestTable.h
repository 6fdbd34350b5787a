#pragma once

#include "Platform/RunLoop/Request.h"

#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

namespace KVBase
{

using RequestList = std::vector<std::unique_ptr<Request>>;

/// Requests in the order of their turns, found by key as well. Those whose turn came in another mode than the
/// current one are parked, out of the way until the mode changes. One thread at a time. What is removed is
/// handed out, so that the caller decides when arguments are released.
class RequestTable {
public:
    /// Adds a request and answers it; the table owns it.
    Request *insert(std::unique_ptr<Request> request);

    /// The one request with this key, and with an equal argument where `argument` is not null; null when
    /// there is none or more than one.
    Request *findOnly(const RequestKey &key, const QVariant *argument) const;

    /// Gives `request`, which must be in the table, another place.
    void move(Request *request, const RequestPlace &place);

    /// Removes `request`, which must be in the table.
    std::unique_ptr<Request> remove(Request *request);

    /// Removes those with this key, and with an equal argument where `argument` is not null.
    RequestList removeAlike(const RequestKey &key, const QVariant *argument);

    /// Removes all of `receiver`, timers excepted.
    RequestList removeAllOf(const void *receiver);

    /// Removes and answers the first request that is due at `now`, was made before `sequenceLimit` and for a
    /// pass up to `pass`, and wants `mode`; null when there is none. Parks what is due in another mode.
    std::unique_ptr<Request> takeDue(std::chrono::nanoseconds now, std::uint64_t sequenceLimit,
                                     std::uint64_t pass, const QString &mode);

    /// Has parked requests looked at again.
    void unpark();

    bool hasParked() const { return !parked.empty(); }

    /// When the first request that is not parked is due; `kNever` without one.
    std::chrono::nanoseconds firstDue() const;

    bool isEmpty() const { return waiting.empty() && parked.empty(); }

private:
    using Turns = std::map<RequestPlace, std::unique_ptr<Request>>;

    void link(Request *request);
    void unlink(Request *request);

    Turns waiting;
    Turns parked;
    std::unordered_map<RequestKey, Request *, RequestKeyHash> alike;
};

} // namespace KVBase
