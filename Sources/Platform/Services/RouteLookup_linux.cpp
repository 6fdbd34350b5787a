#include "Platform/Services/RouteLookup_linux.h"

#include "Platform/FileDescriptor.h"

#include <QtCore/QFile>

#include <cstring>
#include <memory>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

/// Whether both are the same address, whatever their ports.
bool isSameAddress(const sockaddr *one, const sockaddr *other)
{
    if (one == nullptr || one->sa_family != other->sa_family)
        return false;
    if (one->sa_family == AF_INET)
        return reinterpret_cast<const sockaddr_in *>(one)->sin_addr.s_addr ==
               reinterpret_cast<const sockaddr_in *>(other)->sin_addr.s_addr;
    return std::memcmp(&reinterpret_cast<const sockaddr_in6 *>(one)->sin6_addr,
                       &reinterpret_cast<const sockaddr_in6 *>(other)->sin6_addr, sizeof(in6_addr)) == 0;
}

/// The name of the interface that has the address `local`; nil when none has.
QString interfaceWithAddress(const sockaddr *local)
{
    ifaddrs *first = nullptr;
    if (getifaddrs(&first) != 0)
        return {};
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> all(first, &freeifaddrs);
    for (const ifaddrs *entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (isSameAddress(entry->ifa_addr, local))
            return QString::fromUtf8(entry->ifa_name);
    }
    return {};
}

/// The loopback and other virtual interfaces know no operational state, which counts as up.
bool isUp(const QString &interface)
{
    QFile file(QStringLiteral("/sys/class/net/%1/operstate").arg(interface));
    if (!file.open(QIODevice::ReadOnly))
        return true;
    const QByteArray state = file.readAll().trimmed();
    return state == "up" || state == "unknown";
}

} // namespace

Route routeTo(const sockaddr *address, unsigned size)
{
    const FileDescriptor socket(::socket(address->sa_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket.get() < 0 || connect(socket.get(), address, size) != 0)
        return Route::None;
    sockaddr_storage local{};
    socklen_t length = sizeof local;
    if (getsockname(socket.get(), reinterpret_cast<sockaddr *>(&local), &length) != 0)
        return Route::None;
    return isUp(interfaceWithAddress(reinterpret_cast<const sockaddr *>(&local))) ? Route::Up : Route::Down;
}

} // namespace KVBase
