#pragma once

#include <KVBase/Platform/NSError.h>

#include <QtCore/QUrl>

#include <cstdint>

namespace KVBase
{

/// Codes of `NSURLErrorDomain`.
enum class TransportFailure : std::int32_t {
    Unknown = -1,
    BadURL = -1000,
    TimedOut = -1001,
    UnsupportedURL = -1002,
    CannotFindHost = -1003,
    CannotConnectToHost = -1004,
    ConnectionLost = -1005,
    TooManyRedirects = -1007,
    BadServerResponse = -1011,
    SecureConnectionFailed = -1200,
    CertificateUntrusted = -1202,
};

/// The error for `failure` on the way to `url`, with a description for the user and, unless it is nil,
/// `detail` as its reason.
NSError transportError(TransportFailure failure, const QUrl &url, const QString &detail);

} // namespace KVBase
