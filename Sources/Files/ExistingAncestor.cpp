#include "Files/ExistingAncestor.h"

#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileManager.h"

#include <limits.h>

namespace KVBase
{

namespace
{

/// A path that the system refuses for its length alone is cut to the first component end below that length at
/// once: asking for each of its ancestors would take time that grows with the square of the length.
QString cutToPossibleLength(const QString &path)
{
    if (path.size() < PATH_MAX)
        return path;
    return NSPathUtilities::stringByDeletingLastPathComponent(path.first(PATH_MAX));
}

} // namespace

QString existingAncestor(const QString &path)
{
    QString current = cutToPossibleLength(path);
    while (!current.isEmpty() && !Service<FileManager>::current()->exists(current))
        current = NSPathUtilities::stringByDeletingLastPathComponent(current);
    return current;
}

} // namespace KVBase
