#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>

namespace KVBase
{

/// Where crash reports are written and looked for.
class KV_EXPORT CrashFolder {
public:
    virtual ~CrashFolder();

    /// The path of the folder, whether it exists or not; nil when there is no Library folder.
    virtual QString path() = 0;

    static CrashFolder *makeDefault();
};

extern template class KV_EXPORT Service<CrashFolder>;

} // namespace KVBase
