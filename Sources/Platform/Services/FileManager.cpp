#include "Platform/Services/FileManager.h"

#include "Platform/NSPathUtilities.h"

#include <string>

namespace KVBase
{

template class Service<FileManager>;

FileManager::~FileManager() = default;

bool FileManager::isFolder(const QString &path)
{
    std::optional<FileAttributes> found = attributes(path);
    if (found && found->isSymbolicLink())
        found = attributes(resolve(path));
    return found && found->isFolder();
}

QDateTime FileAttributes::modificationDate() const
{
    return QDateTime::fromMSecsSinceEpoch(modifiedSeconds * 1000 + modifiedNanoseconds / 1'000'000, Qt::UTC);
}

QString FolderEntry::relativePath() const
{
    std::string path(folder);
    if (!path.empty())
        path += '/';
    path += name;
    return NSPathUtilities::stringWithFileSystemRepresentation(path);
}

} // namespace KVBase
