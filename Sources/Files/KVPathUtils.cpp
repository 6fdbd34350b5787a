#include <KVBase/KVPathUtils.h>

#include "Files/ExistingAncestor.h"

#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/TypeIdentifiers.h"
#include "Platform/Services/Volumes.h"

#include <KVBase/UPath.h>

namespace KVBase
{

bool KVPathUtils::fileExists(const QString &path) { return Service<FileManager>::current()->exists(path); }

bool KVPathUtils::isAbsolutePath(const QString &path) { return NSPathUtilities::isAbsolutePath(path); }

bool KVPathUtils::isRelativePath(const QString &path) { return !path.isNull() && !isAbsolutePath(path); }

QString KVPathUtils::absolutePathWithBasePath(const QString &basePath, const QString &relativePath)
{
    const QString joined = NSPathUtilities::stringByAppendingPathComponent(basePath, relativePath);
    return NSPathUtilities::stringByStandardizingPath(joined);
}

QString KVPathUtils::relativePathWithBasePath(const QString &basePath, const QString &absolutePath)
{
    if (basePath.isNull() || absolutePath.isNull() || !absolutePath.startsWith(basePath))
        return {};
    // A path that equals its base has no character to cut after it: what remains is empty, not nil.
    const qsizetype start = basePath.size() + 1;
    return start < absolutePath.size() ? absolutePath.mid(start) : QStringLiteral("");
}

QString KVPathUtils::resolvedPath(const QString &path)
{
    const QString resolved = resolveLeafAlias(path);
    return resolved.isNull() ? path : resolved;
}

QString KVPathUtils::resolveLeafAlias(const QString &path)
{
    return Service<FileManager>::current()->resolve(path);
}

std::int16_t KVPathUtils::volumeForPath(const QString &path)
{
    return Service<Volumes>::current()->volumeOf(existingAncestor(path));
}

FSSpec KVPathUtils::getFSSpecFromAbsolutePath(const QString &path, NSError *error)
{
    FSSpec spec;
    const OSStatus status = UPath::AbsolutePathToFSSpec(path, &spec);
    if (error != nullptr)
        *error = status != 0 ? NSError(KVPathUtilsErrorDomain, status, {}) : NSError();
    return spec;
}

QString KVPathUtils::tempFolderForPath(const QString &path)
{
    return UPath::GetTempFolder(volumeForPath(path));
}

QString KVPathUtils::utiForPath(const QString &path)
{
    return Service<TypeIdentifiers>::current()->contentType(path);
}

QString KVPathUtils::utiForExtension(const QString &extension)
{
    return Service<TypeIdentifiers>::current()->preferredIdentifier(extension);
}

} // namespace KVBase
