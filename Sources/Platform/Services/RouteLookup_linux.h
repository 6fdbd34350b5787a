#pragma once

#include <QtCore/QString>

struct sockaddr;

namespace KVBase
{

/// What the routing table answers about an address.
enum class Route {
    None,
    /// A route leads there through an interface that is down or has no carrier.
    Down,
    Up,
};

/// Looks the route to `address` up without sending anything: connecting a datagram socket does no more. An
/// address that the system refuses (no route, unreachable, prohibited, a black hole) has none.
Route routeTo(const sockaddr *address, unsigned size);

} // namespace KVBase
