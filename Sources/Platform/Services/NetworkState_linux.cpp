#include "Platform/Services/NetworkState.h"

#include "Platform/Services/Processes.h"
#include "Platform/Services/RouteLookup_linux.h"

#include <QtCore/QStandardPaths>

#include <memory>

#include <netdb.h>
#include <sys/socket.h>

namespace KVBase
{

namespace
{

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

/// The addresses of a host; none when it has none. `flags` are those of `getaddrinfo`.
AddressList addressesOf(const QByteArray &host, int flags)
{
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo *found = nullptr;
    // The port has to be some number but is used for nothing.
    if (getaddrinfo(host.constData(), "9", &hints, &found) != 0)
        found = nullptr;
    return {found, &freeaddrinfo};
}

/// The best route to one of the addresses.
Route bestRoute(const AddressList &addresses)
{
    Route best = Route::None;
    for (const addrinfo *address = addresses.get(); address != nullptr; address = address->ai_next)
        best = std::max(best, routeTo(address->ai_addr, address->ai_addrlen));
    return best;
}

bool isLocalName(const QString &host)
{
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 ||
           host.endsWith(QLatin1String(".localhost"), Qt::CaseInsensitive);
}

/// Addresses that stand for `host` where its name must not be looked up: itself if it is one, the loopback,
/// else addresses reserved for documentation, which lie behind the default route.
AddressList standInsFor(const QString &host)
{
    if (isLocalName(host))
        return addressesOf("127.0.0.1", AI_NUMERICHOST);
    AddressList addresses = addressesOf(host.toUtf8(), AI_NUMERICHOST);
    return addresses != nullptr ? std::move(addresses) : addressesOf("192.0.2.1", AI_NUMERICHOST);
}

Route passiveRoute(const QString &host)
{
    const Route route = bestRoute(standInsFor(host));
    const bool isAddress = addressesOf(host.toUtf8(), AI_NUMERICHOST) != nullptr;
    if (isAddress || isLocalName(host) || route == Route::Up)
        return route;
    return std::max(route, bestRoute(addressesOf("2001:db8::1", AI_NUMERICHOST)));
}

/// The settings of the desktops, each with the argument that shows its network page.
QStringList settingsCommand()
{
    const QStringList candidates[] = {
        {QStringLiteral("gnome-control-center"), QStringLiteral("network")},
        {QStringLiteral("systemsettings"), QStringLiteral("kcm_networkmanagement")},
        {QStringLiteral("cinnamon-settings"), QStringLiteral("network")},
        {QStringLiteral("nm-connection-editor")},
        {QStringLiteral("connman-gtk")},
    };
    for (const QStringList &candidate : candidates) {
        if (const QString program = QStandardPaths::findExecutable(candidate.first()); !program.isEmpty())
            return QStringList(program) + candidate.mid(1);
    }
    return {};
}

bool hasDisplay()
{
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

class LinuxNetworkState final : public NetworkState {
public:
    bool flags(const QString &host, std::uint32_t *flags) override
    {
        const QByteArray name = QUrl::toAce(host);
        const AddressList addresses = addressesOf(name.isEmpty() ? host.toUtf8() : name, 0);
        *flags = bestRoute(addresses) == Route::Up ? kSCNetworkFlagsReachable : 0;
        return true;
    }

    bool canDiagnose(const QUrl &url) override { return !url.isEmpty(); }

    std::int32_t statusPassively(const QUrl &url) override
    {
        if (url.host().isEmpty())
            return kCFNetDiagnosticConnectionIndeterminate;
        return passiveRoute(url.host()) == Route::Up ? kCFNetDiagnosticConnectionUp
                                                     : kCFNetDiagnosticConnectionDown;
    }

    std::int32_t diagnoseInteractively(const QUrl &) override
    {
        const QStringList command = settingsCommand();
        if (command.isEmpty() || !hasDisplay())
            return kCFNetDiagnosticNoErr;
        return Service<Processes>::current()->launchDetached(command, {}) ? kCFNetDiagnosticNoErr
                                                                          : kCFNetDiagnosticErr;
    }
};

} // namespace

NetworkState::~NetworkState() = default;

NetworkState *NetworkState::makeDefault() { return new LinuxNetworkState; }

template class Service<NetworkState>;

} // namespace KVBase
