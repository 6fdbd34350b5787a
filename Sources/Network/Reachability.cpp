#include <KVBase/Platform/KVNil.h>
#include <KVBase/Reachability.h>

#include "Platform/Services/NetworkState.h"

namespace KVBase
{

namespace
{

NetworkState *network() { return Service<NetworkState>::current(); }

} // namespace

bool Reachability::isHostReachable(const QUrl &url)
{
    const QString host = url.host();
    if (host.isEmpty())
        return url.isLocalFile();
    std::uint32_t flags = 0;
    if (!network()->flags(host, &flags))
        return false;
    constexpr std::uint32_t needsSomething = kSCNetworkFlagsConnectionRequired |
                                             kSCNetworkFlagsConnectionAutomatic |
                                             kSCNetworkFlagsInterventionRequired;
    return (flags & kSCNetworkFlagsReachable) != 0 && (flags & needsSomething) == 0;
}

bool Reachability::isNetworkConnectionUp(const QUrl &url)
{
    return !isNil(url) && network()->canDiagnose(url) &&
           network()->statusPassively(url) == kCFNetDiagnosticConnectionUp;
}

bool Reachability::checkNetwork(const QUrl &url) { return isNetworkConnectionUp(url); }

bool Reachability::showNetworkDiagnostics(const QUrl &url)
{
    if (isNil(url))
        return false;
    return !network()->canDiagnose(url) || network()->diagnoseInteractively(url) == kCFNetDiagnosticNoErr;
}

} // namespace KVBase
