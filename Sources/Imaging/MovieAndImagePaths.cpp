#include <KVBase/MovieAndImagePaths.h>

#include <KVBase/KVImageUtils.h>
#include <KVBase/KVLog.h>
#include <KVBase/Platform/NSClass.h>
#include <KVBase/Platform/NSObject.h>

#include <QtCore/QUrl>

namespace KVBase
{

namespace
{

/// The class object that tells movies; null, after a line in the log, when there is none that can.
QObject *movieClass(const char *method)
{
    QObject *found = NSClassFromString(QStringLiteral("KVUQuickTimeMovie"));
    if (respondsToSelector(found, "isMovieFile:"))
        return found;
    KVLog("%s: Link against KVQuicktime.framework to use this method", method);
    return nullptr;
}

bool isMovieFile(QObject *movies, const QString &path)
{
    return performSelector(movies, "isMovieFile:", path).toBool();
}

/// The path of an element; nil, after a line in the log, when it is no file.
QString pathOf(const QVariant &element, const char *method)
{
    if (element.metaType() == QMetaType::fromType<QString>())
        return element.toString();
    if (element.metaType() == QMetaType::fromType<QUrl>())
        return element.toUrl().path();
    KVLog("%s: Not a filepath or url - %@", method, element);
    return {};
}

template <class Test>
std::optional<QVariantList> filter(const QVariantList &paths, const char *method, Test test)
{
    QVariantList kept;
    for (const QVariant &element : paths) {
        const QString path = pathOf(element, method);
        if (!path.isNull() && test(path))
            kept.append(element);
    }
    return kept.isEmpty() ? std::nullopt : std::optional(kept);
}

} // namespace

std::optional<QVariantList> MovieAndImagePaths::imageFilePaths(const QVariantList &paths)
{
    return filter(paths, "-[NSArray(MovieAndImagePaths) imageFilePaths]", KVImageUtils::isImageFile);
}

std::optional<QVariantList> MovieAndImagePaths::movieFilePaths(const QVariantList &paths)
{
    constexpr char kMethod[] = "-[NSArray(MovieAndImagePaths) movieFilePaths]";
    QObject *movies = movieClass(kMethod);
    if (movies == nullptr)
        return std::nullopt;
    return filter(paths, kMethod, [movies](const QString &path) { return isMovieFile(movies, path); });
}

std::optional<QVariantList> MovieAndImagePaths::movieAndImageFilePaths(const QVariantList &paths)
{
    constexpr char kMethod[] = "-[NSArray(MovieAndImagePaths) movieAndImageFilePaths]";
    QObject *movies = movieClass(kMethod);
    if (movies == nullptr)
        return std::nullopt;
    return filter(paths, kMethod, [movies](const QString &path) {
        return KVImageUtils::isImageFile(path) || isMovieFile(movies, path);
    });
}

} // namespace KVBase
