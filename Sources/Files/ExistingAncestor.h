#pragma once

#include <QtCore/QString>

namespace KVBase
{

/// The path itself if something exists there, else the nearest of the folders above it that exists; empty
/// when there is none, as for a relative path that begins nowhere, for the empty path and for nil.
QString existingAncestor(const QString &path);

} // namespace KVBase
