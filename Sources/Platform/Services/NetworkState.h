#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

#include <cstdint>

namespace KVBase
{

/// Flags of a host.
inline constexpr std::uint32_t kSCNetworkFlagsReachable = 2;
inline constexpr std::uint32_t kSCNetworkFlagsConnectionRequired = 4;
inline constexpr std::uint32_t kSCNetworkFlagsConnectionAutomatic = 8;
inline constexpr std::uint32_t kSCNetworkFlagsInterventionRequired = 16;

/// Statuses of a connection and of a diagnosis.
inline constexpr std::int32_t kCFNetDiagnosticNoErr = 0;
inline constexpr std::int32_t kCFNetDiagnosticErr = -66560;
inline constexpr std::int32_t kCFNetDiagnosticConnectionUp = -66559;
inline constexpr std::int32_t kCFNetDiagnosticConnectionIndeterminate = -66558;
inline constexpr std::int32_t kCFNetDiagnosticConnectionDown = -66557;

/// What the system knows about its network.
struct KV_EXPORT NetworkState {
    virtual ~NetworkState();

    /// Puts the flags of `host` into `*flags`; false when they cannot be found out. May block on name
    /// resolution.
    virtual bool flags(const QString &host, std::uint32_t *flags) = 0;

    /// Whether there is something to diagnose about `url`.
    virtual bool canDiagnose(const QUrl &url) = 0;

    /// The status of the connection that `url` would use. Starts no traffic.
    virtual std::int32_t statusPassively(const QUrl &url) = 0;

    /// Opens the desktop's network settings; `kCFNetDiagnosticNoErr` also when the desktop has none.
    virtual std::int32_t diagnoseInteractively(const QUrl &url) = 0;

    static NetworkState *makeDefault();
};

extern template class KV_EXPORT Service<NetworkState>;

} // namespace KVBase
