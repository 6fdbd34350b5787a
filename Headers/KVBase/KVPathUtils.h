#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/Files.h>
#include <KVBase/Platform/NSError.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>

namespace KVBase
{

/// Domain of the errors below: 2 nothing exists at the path, 1 the path is not writable, 28 not enough free
/// space, any other code a status of the file system.
inline constexpr QLatin1StringView KVPathUtilsErrorDomain{"com.kelvo.KVBase.PathUtilsError"};

/// Paths, files and disk space for callers that use objects. `UPath` offers most of it as plain functions.
///
/// Paths are POSIX paths; nil, an empty path and one that no file can have (with a NUL, say) name nothing.
/// Nothing here logs, and nothing throws but `getFreeSpaceString`. No state is kept: any thread may call, and
/// blocks on the file system only, never on a FIFO or a device.
class KV_EXPORT KVPathUtils {
public:
    /// Whether something is at the path. A dangling link does not count; false for nil.
    static bool fileExists(const QString &path);

    /// Whether the path begins with "/". nil is neither absolute nor relative.
    static bool isAbsolutePath(const QString &path);
    static bool isRelativePath(const QString &path);

    /// The base with the relative path appended, standardised: "." and ".." and doubled separators resolved
    /// by the text alone, "~" and "~user" at the start expanded. nil when one of them is nil.
    static QString absolutePathWithBasePath(const QString &basePath, const QString &relativePath);

    /// The absolute path less the base and the one character after it; nil when the absolute path does not
    /// begin with the base or one of them is nil. Plain text arithmetic: no component is looked at, so "/a/b"
    /// against "/a/bc/d" gives "/d". Give the base without a separator at its end. A path equal to its base
    /// gives the empty string.
    static QString relativePathWithBasePath(const QString &basePath, const QString &absolutePath);

    /// The path with its links resolved, chains included, as the file system spells it; the input itself when
    /// that fails.
    static QString resolvedPath(const QString &path);

    /// The same; nil when it fails: nothing there, a loop, a dangling link.
    static QString resolveLeafAlias(const QString &path);

    /// The number of the volume that holds the nearest existing ancestor of the path (the path itself if it
    /// exists); the same for the same device until the process ends. 0 on failure.
    static std::int16_t volumeForPath(const QString &path);

    /// Volume, folder and name of the path. A file that does not exist is made for the question and removed
    /// again. On failure `*error` carries the status in `KVPathUtilsErrorDomain` and no user information; on
    /// success it is nil. -37: the name has more than 63 bytes, -43: nothing there, -120: its folder is
    /// missing.
    static FSSpec getFSSpecFromAbsolutePath(const QString &path, NSError *error = nullptr);

    /// A folder for temporary items on the volume of the path, private to the user and made when missing; nil
    /// on failure.
    static QString tempFolderForPath(const QString &path);

    /// The uniform type identifier of the item, told by its kind and name; nil for nil and when nothing is
    /// there.
    static QString utiForPath(const QString &path);

    /// The uniform type identifier that a file-name extension (without a dot) stands for; a dynamic one,
    /// beginning with "dyn.", for an extension that nobody knows; nil for nil and for the empty extension.
    static QString utiForExtension(const QString &extension);

    /// Bytes of a file, an unsigned 64-bit number; of a folder the sum over everything below it, sub-folders'
    /// own entries counted, links counted as themselves and not followed. 0 when nothing is there. Walks the
    /// whole tree.
    static QVariant fileSizeAtPath(const QString &path);

    /// Bytes that the user may still use on the volume of an existing path, an unsigned 64-bit number; the
    /// number 0 on failure.
    static QVariant freeDiskBytesForFolder(const QString &path);

    /// The same for the standardised path; the number -1024 on failure, which `getFreeSpaceString` shows as
    /// "n/a".
    static QVariant getFreeSpaceForPath(const QString &path);

    /// A number of bytes with at most two decimals, cut, and a localised unit, counted in thousands: "1.5
    /// GB". "n/a" for a negative number; nil counts as 0. Throws `NSRangeException` for more than 1000 TB.
    static QString getFreeSpaceString(const QVariant &bytes);

    /// A number of bytes with a localised unit, counted in 1024s, with one decimal and the separator of the
    /// current locale: "1.5 MB", "1024.0 Bytes", "0 Bytes".
    static QString sizeStringFromBytes(double bytes);

    /// Whether the path begins with that of the network's Library folder, as plain text: "/Networks/x" does.
    static bool testPathForNetwork(const QString &path);

    /// Whether something exists at the path, is writable for the user, and has at least `freeSpace` bytes
    /// free; a nil number asks for none. `*error` is nil on success; on failure it has code 2, 1 or 28 (in
    /// the order of the tests) and a localised text with the display name of the path.
    static bool canWriteToPath(const QString &path, const QVariant &freeSpace, NSError *error = nullptr);
};

} // namespace KVBase
