#include "Platform/Services/TransportError.h"

namespace KVBase
{

namespace
{

QString description(TransportFailure failure)
{
    switch (failure) {
    case TransportFailure::BadURL:
        return QStringLiteral("The address is not valid.");
    case TransportFailure::TimedOut:
        return QStringLiteral("The request timed out.");
    case TransportFailure::UnsupportedURL:
        return QStringLiteral("The address is of a kind that cannot be used here.");
    case TransportFailure::CannotFindHost:
        return QStringLiteral("A server with the specified host name could not be found.");
    case TransportFailure::CannotConnectToHost:
        return QStringLiteral("A connection to the server could not be made.");
    case TransportFailure::ConnectionLost:
        return QStringLiteral("The connection to the server was lost.");
    case TransportFailure::TooManyRedirects:
        return QStringLiteral("The server redirected the request too many times.");
    case TransportFailure::BadServerResponse:
        return QStringLiteral("The server's answer could not be understood.");
    case TransportFailure::SecureConnectionFailed:
        return QStringLiteral("A secure connection to the server could not be made.");
    case TransportFailure::CertificateUntrusted:
        return QStringLiteral("The server's certificate is not trusted.");
    case TransportFailure::Unknown:
        break;
    }
    return QStringLiteral("The request failed.");
}

} // namespace

NSError transportError(TransportFailure failure, const QUrl &url, const QString &detail)
{
    QVariantMap information{{QString(NSLocalizedDescriptionKey), description(failure)}};
    if (!detail.isEmpty())
        information.insert(QString(NSLocalizedFailureReasonErrorKey), detail);
    information.insert(QStringLiteral("NSErrorFailingURLKey"), url);
    return {QString(NSURLErrorDomain), static_cast<std::int32_t>(failure), information};
}

} // namespace KVBase
