#include <KVBase/UPath.h>

#include "Files/ExistingAncestor.h"

#include "Platform/NSPathUtilities.h"
#include "Platform/Services/Applications.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/Folders.h"
#include "Platform/Services/Volumes.h"

#include <KVBase/KVPathUtils.h>

namespace KVBase
{

namespace
{

constexpr OSStatus kNoError = 0;
constexpr OSStatus kParameterError = -50;

/// An empty file where nothing was, for as long as the object lives. What was there already is never touched.
class StandInFile {
public:
    explicit StandInFile(const QString &at)
        : path(at), made(!Service<FileManager>::current()->exists(at) &&
                         Service<FileManager>::current()->createFile(at))
    {}

    ~StandInFile()
    {
        if (made)
            Service<FileManager>::current()->remove(path);
    }

    StandInFile(const StandInFile &) = delete;
    StandInFile &operator=(const StandInFile &) = delete;

private:
    const QString path;
    const bool made;
};

OSStatus specOfItem(const QString &path, FSSpec *spec)
{
    FileManager *const files = Service<FileManager>::current();
    FSRef ref;
    const OSStatus status = files->makeRef(path, &ref, false);
    return status == kNoError ? files->refSpec(ref, spec) : status;
}

bool makeFolder(const QString &path)
{
    FileManager *const files = Service<FileManager>::current();
    if (files->isFolder(path) || files->createDirectory(path, false))
        return true;
    // Somebody else may have made it in the meantime.
    return files->isFolder(path);
}

} // namespace

bool UPath::FileExists(const QString &path) { return KVPathUtils::fileExists(path); }

bool UPath::IsAbsolutePath(const QString &path) { return KVPathUtils::isAbsolutePath(path); }

bool UPath::IsRelativePath(const QString &path) { return KVPathUtils::isRelativePath(path); }

QString UPath::GetAbsolutePath(const QString &base, const QString &relative)
{
    return KVPathUtils::absolutePathWithBasePath(base, relative);
}

QString UPath::GetRelativePath(const QString &base, const QString &absolute)
{
    return KVPathUtils::relativePathWithBasePath(base, absolute);
}

QString UPath::ReplaceIllegalCharactersInFilename(const QString &name)
{
    QString cleaned = name;
    return cleaned.replace(u'/', u'-').replace(u':', u'-').replace(u'\\', u'-');
}

QString UPath::ReplacePathDelimitersInFileName(const QString &name)
{
    return ReplaceIllegalCharactersInFilename(name);
}

bool UPath::CreateFolder(const QString &path)
{
    if (path.isNull())
        return false;
    QString prefix = QStringLiteral("");
    for (const QString &component : NSPathUtilities::pathComponents(path)) {
        prefix = NSPathUtilities::stringByAppendingPathComponent(prefix, component);
        if (!makeFolder(prefix))
            return false;
    }
    return true;
}

QString UPath::GetApplicationSupportFolder(const QString &subFolder)
{
    const QStringList libraries = Service<Folders>::current()->libraryFolders(NSUserDomainMask);
    if (libraries.isEmpty() || subFolder.isNull())
        return {};
    QString path = libraries.first();
    for (const QString &component :
         {QStringLiteral("Application Support"), QStringLiteral("Kelvo"), subFolder})
        path = NSPathUtilities::stringByAppendingPathComponent(path, component);
    if (!FileExists(path))
        Service<FileManager>::current()->createDirectory(path, true);
    return path;
}

QString UPath::GetApplicationPath(OSType creator)
{
    return Service<Applications>::current()->applicationForCreator(creator);
}

QString UPath::FSRefToPath(const FSRef &ref) { return Service<FileManager>::current()->refPath(ref); }

OSStatus UPath::PathToFSRef(const QString &path, FSRef *ref)
{
    return ref != nullptr ? Service<FileManager>::current()->makeRef(path, ref, false) : kParameterError;
}

OSStatus UPath::AbsolutePathToFSSpec(const QString &path, FSSpec *spec)
{
    if (spec == nullptr)
        return kParameterError;
    *spec = {};
    const StandInFile standIn(path);
    FSSpec found;
    const OSStatus status = specOfItem(path, &found);
    if (status == kNoError)
        *spec = found;
    return status;
}

QString UPath::GetTempFolder(std::int16_t volume)
{
    return Service<Volumes>::current()->temporaryFolder(volume);
}

QString UPath::GetTempFolder(const QString &path)
{
    // A name that is too long for the record fails, too, but the volume is known then.
    FSSpec spec;
    specOfItem(existingAncestor(path), &spec);
    return GetTempFolder(spec.vRefNum);
}

QString UPath::ResolveLeafAlias(const QString &path) { return KVPathUtils::resolveLeafAlias(path); }

QString UPath::GetResolvedPath(const QString &path) { return KVPathUtils::resolvedPath(path); }

} // namespace KVBase
