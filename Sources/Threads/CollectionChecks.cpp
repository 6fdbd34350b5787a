#include "Threads/CollectionChecks.h"

#include <KVBase/Platform/NSException.h>

namespace KVBase
{

void raiseNilObject(const char *method)
{
    throw NSException(NSInvalidArgumentException,
                      QStringLiteral("%1: the object is nil").arg(QLatin1StringView(method)));
}

void raiseBeyondBounds(std::uint32_t index, std::size_t bound, const char *method)
{
    throw NSException(NSRangeException, QStringLiteral("%1: index %2 is beyond bounds, the count is %3")
                                            .arg(QLatin1StringView(method))
                                            .arg(index)
                                            .arg(bound));
}

} // namespace KVBase
