#include <KVBase/KVConsole.h>

#include "Platform/AsciiText.h"
#include "Platform/Services/ConsoleSource.h"
#include "Platform/Services/Processes.h"

#include <KVBase/Platform/KVFormat.h>

#include <algorithm>

namespace KVBase
{

QString KVConsole::consoleLogTail(std::int32_t lineCount)
{
    // Flag and number are one argument; the tool reads a negative number there as an unknown flag.
    const QStringList tail = {QStringLiteral("/usr/bin/tail"),
                              stringWithFormat("-n %i", std::max(lineCount, 0))};
    QByteArray data;
    Service<Processes>::current()->readOutput({Service<ConsoleSource>::current()->command(), tail}, &data);
    return data.isEmpty() ? QStringLiteral("No data provided for console") : textFromAscii(data);
}

QString KVConsole::consoleLog()
{
    constexpr std::int32_t kUsualLineCount = 100;
    return consoleLogTail(kUsualLineCount);
}

} // namespace KVBase
