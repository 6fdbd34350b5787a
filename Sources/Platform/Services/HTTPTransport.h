#pragma once

#include "Platform/Services/Service.h"

#include <KVBase/Platform/NSError.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QUrl>

#include <chrono>
#include <optional>
#include <utility>

namespace KVBase
{

/// One request of the HTTP transport.
struct HTTPRequest {
    QUrl url;
    QByteArray method;
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;

    /// The request ends when no byte has moved for so long, and when a connection takes longer.
    std::chrono::milliseconds idleTimeout{60000};
};

/// Sends requests over HTTP. Any thread.
struct KV_EXPORT HTTPTransport {
    virtual ~HTTPTransport();

    /// Sends `request`, follows redirections and answers the body that arrived, whatever the status of the
    /// answer; empty for an empty answer, nil when none came. `*error`, never null, is nil or of
    /// `NSURLErrorDomain`; a body that broke off comes with an error. Blocks; no event loop runs meanwhile.
    virtual std::optional<QByteArray> send(const HTTPRequest &request, NSError *error) = 0;

    static HTTPTransport *makeDefault();
};

extern template class KV_EXPORT Service<HTTPTransport>;

} // namespace KVBase
