#include "Diagnostics/KVLogTrimming.h"

#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileManager.h"

#include <QtCore/QByteArray>

#include <optional>

namespace KVBase
{

namespace
{

constexpr std::uint64_t kMaxLogSize = 0x100000;

FileManager *files() { return Service<FileManager>::current(); }

/// "/a/App~.log" for "/a/App.log", "/a/App~" for "/a/App".
QString sidePathOf(const QString &path)
{
    const QString extension = NSPathUtilities::pathExtension(path);
    if (extension.isEmpty())
        return path + u'~';
    return path.chopped(extension.size() + 1) + QStringLiteral("~.") + extension;
}

/// What the path stands for: the target of a link, else the path itself.
QString targetOf(const QString &path)
{
    const std::optional<FileAttributes> item = files()->attributes(path);
    if (!item.has_value() || !item->isSymbolicLink())
        return path;
    const QString target = files()->resolve(path);
    return target.isNull() ? path : target;
}

bool isRegularFile(const std::optional<FileAttributes> &item)
{
    return item.has_value() && item->isRegularFile();
}

/// Files and links make room at the side path, a folder does not.
bool clearSidePath(const QString &side)
{
    const std::optional<FileAttributes> item = files()->attributes(side);
    return !item.has_value() || (!item->isFolder() && files()->remove(side));
}

/// Puts the end of the side file, from `offset` on, at `path`.
bool writeTail(const QString &side, const QString &path, std::uint64_t offset)
{
    const std::optional<QByteArray> tail = files()->read(side, offset);
    FileWriteOptions options;
    options.newFileMode = kPrivateFileMode;
    return tail.has_value() && files()->write(path, *tail, options);
}

} // namespace

void trimLogFile(const QString &path)
{
    const QString log = targetOf(path);
    const QString side = sidePathOf(log);
    if (!files()->attributes(log).has_value() && isRegularFile(files()->attributes(side)))
        files()->move(side, log);

    const std::optional<FileAttributes> item = files()->attributes(log);
    if (!isRegularFile(item) || item->size <= kMaxLogSize)
        return;
    if (!clearSidePath(side) || !files()->move(log, side))
        return;
    if (writeTail(side, log, item->size - kMaxLogSize))
        files()->remove(side);
    else
        files()->move(side, log);
}

} // namespace KVBase
