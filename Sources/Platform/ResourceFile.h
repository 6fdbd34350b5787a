#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <limits>
#include <optional>

namespace KVBase
{

/// The content of a regular file or of a compiled-in resource; nil when it is missing, unreadable, of another
/// kind or larger than `limit` bytes.
KV_EXPORT std::optional<QByteArray> contentsOfFile(const QString &path,
                                                   qint64 limit = std::numeric_limits<qint64>::max());

} // namespace KVBase
