#include <KVBase/KVLog.h>

#include <KVBase/Platform/NSLog.h>

#include "Diagnostics/KVLogSession.h"
#include "Platform/KVFormatUtf8.h"
#include "Platform/NSPathUtilities.h"

#include <string_view>

namespace KVBase
{

namespace
{

constexpr QByteArrayView kConversionFailed = "* KVLog() conversion to C string failed *\n";

void writeConversionFailed(std::int32_t destination)
{
    if (destination >= 2)
        NSLog("* KVLog() conversion to C string failed *");
    KVLogSession::shared().write(kConversionFailed);
}

void writeLine(std::int32_t destination, KVFormatUtf8 &message)
{
    if (message.isBroken())
        return writeConversionFailed(destination);
    if (destination >= 2)
        NSLog("%s", message.cString());
    KVLogSession::shared().write(message.line());
}

void reportOpenTwice(const QString &path, const QString &openPath)
{
    NSLog("Tried to open a KVLogFile, but it was already open. Log file tried to open: %@. Log file which is "
          "open: %@",
          path, openPath);
    const QString line = stringWithFormat("Tried to open a KVLogFile, but it was already open. Path tried to "
                                          "open: %@. Log file which is open: %@\n",
                                          path, openPath);
    KVLogSession::shared().write(line.toUtf8());
}

/// What may run out of memory or break in a replaced service; a log never passes that on.
template <class Work>
void quietly(Work work) noexcept
{
    try {
        work();
    } catch (...) {
        // The line is lost; what the caller was doing goes on.
    }
}

} // namespace

void KVFormatDetail::writeLogLine(std::int32_t destination, const KVFormatView &format,
                                  const KVFormatArgument *arguments, std::size_t count) noexcept
{
    if (destination < 2 && !KVLogSession::shared().isOpen())
        return;
    quietly([&] {
        KVFormatUtf8 message;
        formatInto(message, format, arguments, count);
        writeLine(destination, message);
    });
}

void KVLogError(std::int32_t err, const char *context, const char *file, std::int32_t line)
{
    if (err == 0)
        return;
    quietly([=] {
        const QString fileName = NSPathUtilities::lastPathComponent(QString::fromUtf8(file));
        if (context != nullptr)
            KVLog("%s: Error %d in file %@, line %d", context, err, fileName, line);
        else
            KVLog("Error %d in file %@, line %d", err, fileName, line);
    });
}

QString KVLogPath() { return KVLogSession::shared().path(); }

bool KVLogOpen(const QString &path)
{
    KVLogSession &session = KVLogSession::shared();
    bool opened = false;
    quietly([&] {
        QString openPath;
        if (!session.isOpen()) {
            KVLogSetDefaultDestination();
            if (KVLogDestination() <= 0)
                return;
            opened = true;
        }
        if (!session.open(path, &openPath)) {
            opened = false;
            reportOpenTwice(path, openPath);
        }
    });
    return opened;
}

void KVLogClose()
{
    quietly([] { KVLogSession::shared().close(); });
}

} // namespace KVBase
