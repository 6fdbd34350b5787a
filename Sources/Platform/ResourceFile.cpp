#include "Platform/ResourceFile.h"

#include "Platform/Services/FileManager.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace KVBase
{

namespace
{

std::optional<QByteArray> contentsOfResource(const QString &path)
{
    QFile resource(path);
    if (!QFileInfo(path).isFile() || !resource.open(QIODevice::ReadOnly))
        return std::nullopt;
    return resource.readAll();
}

} // namespace

std::optional<QByteArray> contentsOfFile(const QString &path, qint64 limit)
{
    if (path.startsWith(QLatin1StringView(":/")))
        return contentsOfResource(path);
    if (QFileInfo(path).size() > limit)
        return std::nullopt;
    return Service<FileManager>::current()->read(path);
}

} // namespace KVBase
