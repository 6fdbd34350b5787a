#include <KVBase/Platform/NSLog.h>

#include "Platform/Services/Clock.h"
#include "Platform/Services/ConsoleSink.h"

#include <cerrno>
#include <unistd.h>

namespace KVBase
{

namespace
{

/// "2024-03-01 09:05:07.042 name[12:34] "
QString consolePrefix()
{
    return Service<Clock>::current()->now().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz ")) +
           QStringLiteral("%1[%2:%3] ")
               .arg(QString::fromLocal8Bit(program_invocation_short_name))
               .arg(::getpid())
               .arg(::gettid());
}

} // namespace

void KVFormatDetail::writeConsoleLine(const KVFormatView &format, const KVFormatArgument *arguments,
                                      std::size_t count) noexcept
{
    try {
        const QString text = KVFormatDetail::format(format, arguments, count);
        Service<ConsoleSink>::current()->write(consolePrefix() + text);
    } catch (...) {
        // A line that cannot be made is lost; the caller has more important things to do.
    }
}

} // namespace KVBase
