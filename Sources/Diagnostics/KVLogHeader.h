#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KVBase
{

/// What opens a session in the log file at `path`: a rule, the file's name, the versions of application,
/// system and media framework, the date and the user, in UTF-8.
QByteArray logSessionHeader(const QString &path);

} // namespace KVBase
