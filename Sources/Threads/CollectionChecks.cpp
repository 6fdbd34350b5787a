#include "Threads/CollectionChecks.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

namespace KVBase
{

void requireObject(const QVariant &object, const char *method)
{
    if (isNil(object)) {
        throw NSException(NSInvalidArgumentException,
                          QStringLiteral("%1: the object is nil").arg(QLatin1StringView(method)));
    }
}

void requireIndex(std::uint32_t index, std::size_t bound, const char *method)
{
    if (index >= bound) {
        throw NSException(NSRangeException, QStringLiteral("%1: index %2 is beyond bounds, the count is %3")
                                                .arg(QLatin1StringView(method))
                                                .arg(index)
                                                .arg(bound));
    }
}

} // namespace KVBase
