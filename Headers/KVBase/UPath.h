#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/Files.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// The path services as static functions; what is not described here does as its namesake in `KVPathUtils`.
/// nil paths name nothing. Nothing here logs or throws. No state is kept: any thread may call, and blocks on
/// the file system only.
class KV_EXPORT UPath {
public:
    /// As `KVPathUtils::fileExists`.
    static bool FileExists(const QString &path);

    /// Both false for nil.
    static bool IsAbsolutePath(const QString &path);
    static bool IsRelativePath(const QString &path);

    /// As `KVPathUtils::absolutePathWithBasePath`.
    static QString GetAbsolutePath(const QString &base, const QString &relative);

    /// As `KVPathUtils::relativePathWithBasePath`: plain text arithmetic, nil when `absolute` does not begin
    /// with `base`.
    static QString GetRelativePath(const QString &base, const QString &absolute);

    /// The name with every "/", ":" and "\" replaced by "-", so that it is one path component on every file
    /// system; as long as before. nil for nil.
    static QString ReplaceIllegalCharactersInFilename(const QString &name);

    /// The same, for the callers of this name.
    static QString ReplacePathDelimitersInFileName(const QString &name);

    /// Makes the folder and those above it, one component after the other. False for nil and as soon as one
    /// of them can neither be found nor made; those made before stay.
    static bool CreateFolder(const QString &path);

    /// "Application Support/Kelvo/" and the name in the user's Library folder, made when missing. The path is
    /// answered even if it could not be made; nil when there is no Library folder or the name is nil.
    static QString GetApplicationSupportFolder(const QString &subFolder);

    /// The path of the installed application with that creator code; nil when there is none.
    static QString GetApplicationPath(OSType creator);

    /// nil when the reference is not one of this process or its item has gone.
    static QString FSRefToPath(const FSRef &ref);

    /// Makes a reference to an existing item; a final link is referred to itself. 0 or a status: -50 without
    /// a place for the reference or for a nil path, -43 nothing there, -120 its folder is missing, -5000 not
    /// permitted.
    static OSStatus PathToFSRef(const QString &path, FSRef *ref);

    /// As `KVPathUtils::getFSSpecFromAbsolutePath`, with the status as result; `*spec` is cleared first. -50
    /// without a place for the record.
    static OSStatus AbsolutePathToFSSpec(const QString &path, FSSpec *spec);

    /// The folder for temporary items of a volume; nil for numbers that no volume has.
    static QString GetTempFolder(std::int16_t volume);

    /// The folder for temporary items on the volume of the nearest existing ancestor of the path; nil on
    /// failure.
    static QString GetTempFolder(const QString &path);

    /// As `KVPathUtils::resolveLeafAlias`: nil on failure.
    static QString ResolveLeafAlias(const QString &path);

    /// As `KVPathUtils::resolvedPath`: the input on failure.
    static QString GetResolvedPath(const QString &path);

    /// Bytes, as `KVPathUtils::fileSizeAtPath`.
    static std::uint64_t GetFileSize(const QString &path);

    /// Bytes that the user may still use on the volume of an existing path; 0 on failure.
    static std::uint64_t GetFreeDiskBytesForFolder(const QString &path);

    /// A number of bytes with a localised unit, counted in 1024s. Unlike `KVPathUtils::sizeStringFromBytes`
    /// it shows bytes and kilobytes without a decimal: "512 Bytes", "3 KB", "1.5 MB".
    static QString GetSizeString(double bytes);

    /// `GetSizeString` of `GetFreeDiskBytesForFolder`.
    static QString GetFreeDiskStringForFolder(const QString &path);
};

} // namespace KVBase
