#include <KVBase/KVLog.h>
#include <KVBase/Platform/NSLog.h>

namespace KVBase
{

void KVFormatDetail::writeLogLine(std::int32_t destination, const KVFormatView &format,
                                  const KVFormatArgument *arguments, std::size_t count) noexcept
{
    if (destination >= 2)
        writeConsoleLine(format, arguments, count);
}

} // namespace KVBase
