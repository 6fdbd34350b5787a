#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>

namespace KVBase
{

/// The system console: where `NSLog` and `CFShow` go.
struct KV_EXPORT ConsoleSink {
    virtual ~ConsoleSink();

    /// Writes `line` and a line feed with one write; a console that is closed loses it. Any thread.
    virtual void write(const QString &line) = 0;

    static ConsoleSink *makeDefault();
};

extern template class KV_EXPORT Service<ConsoleSink>;

} // namespace KVBase
