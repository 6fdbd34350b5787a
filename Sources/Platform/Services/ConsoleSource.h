#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QStringList>

namespace KVBase
{

/// Where the recent messages of the system's console log come from.
class KV_EXPORT ConsoleSource {
public:
    virtual ~ConsoleSource();

    /// The program, by its path, and the arguments whose standard output is the console log, oldest line
    /// first.
    virtual QStringList command() = 0;

    static ConsoleSource *makeDefault();
};

extern template class KV_EXPORT Service<ConsoleSource>;

} // namespace KVBase
