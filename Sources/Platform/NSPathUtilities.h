#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>
#include <string_view>

namespace KVBase
{

/// The platform's path methods of strings: plain arithmetic on the text, no look at the disk. nil in, nil
/// out.
namespace NSPathUtilities
{

/// Whether it starts with "/"; false for nil. "~" is relative until it is expanded.
KV_EXPORT bool isAbsolutePath(const QString &path);

/// "/a/b" gives "/", "a", "b"; doubled and trailing separators give nothing.
KV_EXPORT QStringList pathComponents(const QString &path);

/// "b" for "/a/b" and "a/b/", "/" for "/", empty for empty.
KV_EXPORT QString lastPathComponent(const QString &path);

/// "/a" for "/a/b", "/" for "/a" and "/", empty for "a".
KV_EXPORT QString stringByDeletingLastPathComponent(const QString &path);

/// Joins with exactly one separator, doubled ones merged and a trailing one dropped.
KV_EXPORT QString stringByAppendingPathComponent(const QString &path, const QString &component);

/// What follows the last dot of the last component, if a name stands before it; else empty.
KV_EXPORT QString pathExtension(const QString &path);

/// "~" and "~user" at the very start become the home folder; an unknown user leaves the path as it is.
KV_EXPORT QString stringByExpandingTildeInPath(const QString &path);

/// Tilde expanded, "." and doubled and trailing separators dropped; in an absolute path ".." takes the
/// component before it away, at the root nothing.
KV_EXPORT QString stringByStandardizingPath(const QString &path);

/// The bytes under which the file system knows the path; nothing for nil and for a text that no path can hold
/// (a NUL, a lone surrogate).
KV_EXPORT std::optional<QByteArray> fileSystemRepresentation(const QString &path);

/// The reverse; nil for bytes that are no UTF-8, so that they are never taken for another file's name.
KV_EXPORT QString stringWithFileSystemRepresentation(std::string_view bytes);

} // namespace NSPathUtilities

} // namespace KVBase
