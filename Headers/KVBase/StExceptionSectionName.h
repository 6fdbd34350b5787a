#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <cstddef>

namespace KVBase
{

/// Names the section of `UException` while it lives and restores the previous name, nil included, also when
/// an exception leaves the block. Guards nest.
class KV_EXPORT StExceptionSectionName {
public:
    StExceptionSectionName(const QString &name);
    /// UTF-8; null stands for no name.
    StExceptionSectionName(const char *name);
    StExceptionSectionName(std::nullptr_t);
    ~StExceptionSectionName();
    StExceptionSectionName(const StExceptionSectionName &) = delete;
    StExceptionSectionName &operator=(const StExceptionSectionName &) = delete;

private:
    const QString saved;
};

} // namespace KVBase
