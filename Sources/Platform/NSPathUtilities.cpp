#include "Platform/NSPathUtilities.h"

#include <QtCore/QStringConverter>
#include <QtCore/QStringList>

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace KVBase::NSPathUtilities
{

namespace
{

constexpr QChar kSeparator = u'/';

/// Length of the path without trailing separators; a path of separators alone keeps one.
qsizetype lengthWithoutTrailingSeparators(QStringView path)
{
    qsizetype length = path.size();
    while (length > 1 && path.at(length - 1) == kSeparator)
        --length;
    return length;
}

std::vector<char> passwordBuffer()
{
    const long wanted = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    return std::vector<char>(wanted > 0 ? static_cast<std::size_t>(wanted) : 16384);
}

QString homeOfUser(const QByteArray &name)
{
    std::vector<char> buffer = passwordBuffer();
    passwd entry{};
    passwd *found = nullptr;
    if (name.isEmpty())
        ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
    else
        ::getpwnam_r(name.constData(), &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr ? stringWithFileSystemRepresentation(found->pw_dir) : QString();
}

QString homeFolder(const QString &user)
{
    if (!user.isEmpty())
        return homeOfUser(user.toUtf8());
    const QByteArray home = qgetenv("HOME");
    return home.isEmpty() ? homeOfUser({}) : stringWithFileSystemRepresentation(home.constData());
}

} // namespace

bool isAbsolutePath(const QString &path) { return path.startsWith(kSeparator); }

QStringList pathComponents(const QString &path)
{
    QStringList components = path.split(kSeparator, Qt::SkipEmptyParts);
    if (isAbsolutePath(path))
        components.prepend(kSeparator);
    return components;
}

QString lastPathComponent(const QString &path)
{
    if (path.isEmpty())
        return path;
    const qsizetype length = lengthWithoutTrailingSeparators(path);
    if (length == 1)
        return path.first(1);
    const qsizetype separator = path.lastIndexOf(kSeparator, length - 1);
    return path.mid(separator + 1, length - separator - 1);
}

QString stringByDeletingLastPathComponent(const QString &path)
{
    if (path.isEmpty())
        return path;
    const qsizetype length = lengthWithoutTrailingSeparators(path);
    const qsizetype separator = path.lastIndexOf(kSeparator, length - 1);
    if (separator < 0)
        return QStringLiteral("");
    return path.first(lengthWithoutTrailingSeparators(QStringView(path).first(separator + 1)));
}

QString stringByAppendingPathComponent(const QString &path, const QString &component)
{
    if (path.isNull() || component.isNull())
        return {};
    const QString joined = path.isEmpty() ? component : path + kSeparator + component;
    QString result = joined.split(kSeparator, Qt::SkipEmptyParts).join(kSeparator);
    if (isAbsolutePath(joined))
        result.prepend(kSeparator);
    return result.isNull() ? QStringLiteral("") : result;
}

QString pathExtension(const QString &path)
{
    const QString name = lastPathComponent(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.mid(dot + 1) : path.isNull() ? QString() : QStringLiteral("");
}

QString stringByExpandingTildeInPath(const QString &path)
{
    if (!path.startsWith(u'~') || path.contains(QChar(u'\0')))
        return path;
    const qsizetype separator = path.indexOf(kSeparator);
    const qsizetype end = separator < 0 ? path.size() : separator;
    const QString home = homeFolder(path.mid(1, end - 1));
    return home.isEmpty() ? path : home + path.mid(end);
}

QString stringByStandardizingPath(const QString &path)
{
    const QString expanded = stringByExpandingTildeInPath(path);
    if (expanded.isEmpty())
        return expanded;
    const bool absolute = isAbsolutePath(expanded);
    QList<QStringView> kept;
    for (const QStringView component : QStringView(expanded).tokenize(kSeparator, Qt::SkipEmptyParts)) {
        if (component == u".")
            continue;
        if (!absolute || component != u"..")
            kept.append(component);
        else if (!kept.isEmpty())
            kept.removeLast();
    }
    QString result;
    result.reserve(expanded.size() + 1);
    for (const QStringView component : kept) {
        if (absolute || !result.isEmpty())
            result.append(kSeparator);
        result.append(component);
    }
    if (result.isEmpty())
        return absolute ? QStringLiteral("/") : QStringLiteral(".");
    return result;
}

std::optional<QByteArray> fileSystemRepresentation(const QString &path)
{
    if (path.isNull() || path.contains(QChar(u'\0')) || !path.isValidUtf16())
        return std::nullopt;
    return path.toUtf8();
}

QString stringWithFileSystemRepresentation(std::string_view bytes)
{
    const QByteArrayView raw(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom);
    const QString text = decoder(raw);
    if (text.toUtf8() != raw)
        return {};
    return text.isNull() ? QStringLiteral("") : text;
}

} // namespace KVBase::NSPathUtilities
