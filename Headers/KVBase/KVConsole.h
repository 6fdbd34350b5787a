#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// Reads the end of the system's console log. Any thread; blocks until the log has been read to its end, for
/// ever when the tool that prints it never ends: call it from a worker where the user waits.
class KV_EXPORT KVConsole {
public:
    /// The last `lineCount` lines (a negative count is 0), bytes outside ASCII as U+FFFD. When there is
    /// nothing to read or no tool to read it with, the text "No data provided for console". Never nil.
    static QString consoleLogTail(std::int32_t lineCount);

    /// The last 100 lines.
    static QString consoleLog();
};

} // namespace KVBase
