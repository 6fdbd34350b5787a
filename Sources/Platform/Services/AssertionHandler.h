#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// Receives the assertions of methods that failed (`NSAssertionHandler`). Any thread.
struct KV_EXPORT AssertionHandler {
    virtual ~AssertionHandler();

    /// `object` is the receiver, for identification only. May throw; when it returns, the method goes on.
    virtual void handleFailureInMethod(const QString &method, const void *object, const QString &file,
                                       std::int32_t line, const QString &description) = 0;

    /// Raises `NSInternalInconsistencyException` with the description. Where assertions are blocked, as in
    /// release builds, it writes the failure to the console and returns.
    static AssertionHandler *makeDefault();
};

extern template class KV_EXPORT Service<AssertionHandler>;

} // namespace KVBase
