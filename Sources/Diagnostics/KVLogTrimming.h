#pragma once

#include <QtCore/QString>

namespace KVBase
{

/// Cuts a log file above 1,048,576 bytes to its last 1,048,576 bytes, through a side file "App~.log".
/// Whatever goes wrong leaves the whole log where it was, and a log that was left at the side path by an
/// earlier end of the process is taken back first. A final link stands for its target.
void trimLogFile(const QString &path);

} // namespace KVBase
