#include "Platform/Services/TypeIdentifiers.h"

#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/TypeTable.h"

#include <QtCore/QMimeDatabase>
#include <QtGui/QImageReader>

#include <optional>
#include <sys/stat.h>

namespace KVBase
{

template class Service<TypeIdentifiers>;

TypeIdentifiers::~TypeIdentifiers() = default;

QString TypeIdentifiers::preferredExtension(const QString &) { return {}; }

QString TypeIdentifiers::mimeType(const QString &) { return {}; }

namespace
{

constexpr QLatin1StringView kDynamicPrefix{"dyn."};
constexpr QLatin1StringView kDynamicExtensionPrefix{"dyn.extension."};
constexpr QLatin1StringView kItem{"public.item"};
constexpr QLatin1StringView kData{"public.data"};
constexpr QLatin1StringView kFolder{"public.folder"};
constexpr QLatin1StringView kVolume{"public.volume"};
constexpr QLatin1StringView kApplication{"com.apple.application-bundle"};
constexpr QLatin1StringView kProgram{"public.unix-executable"};

std::optional<struct stat> statusOf(const QString &path)
{
    const std::optional<QByteArray> bytes = NSPathUtilities::fileSystemRepresentation(path);
    struct stat status;
    if (!bytes || ::stat(bytes->constData(), &status) != 0)
        return std::nullopt;
    return status;
}

const KnownType *typeOfMimeName(const QString &name)
{
    for (const KnownType &type : knownTypes()) {
        if (!type.mimeType.isEmpty() && name == type.mimeType)
            return &type;
    }
    return nullptr;
}

/// Data bases of different age give a type different names, of which the older ones become aliases.
QString identifierOfMimeType(const QMimeType &mime)
{
    if (const KnownType *type = typeOfMimeName(mime.name()))
        return type->identifier;
    for (const QString &alias : mime.aliases()) {
        if (const KnownType *type = typeOfMimeName(alias))
            return type->identifier;
    }
    return kDynamicPrefix + mime.name();
}

/// The best type that the data base has for a name alone; nothing when it has none.
std::optional<QMimeType> mimeTypeOfName(const QString &name)
{
    const QList<QMimeType> types = QMimeDatabase().mimeTypesForFileName(name);
    return types.isEmpty() ? std::nullopt : std::optional(types.first());
}

QMimeType mimeTypeOfIdentifier(const QString &identifier)
{
    if (const KnownType *type = knownType(identifier))
        return QMimeDatabase().mimeTypeForName(type->mimeType);
    if (identifier.startsWith(kDynamicPrefix) && !identifier.startsWith(kDynamicExtensionPrefix))
        return QMimeDatabase().mimeTypeForName(identifier.mid(kDynamicPrefix.size()));
    return {};
}

QString typeOfFolder(const QString &path)
{
    if (NSPathUtilities::lastPathComponent(path) == u"/")
        return kVolume;
    const bool application = NSPathUtilities::pathExtension(path).compare(u"app", Qt::CaseInsensitive) == 0;
    return application ? kApplication : kFolder;
}

QString typeOfRegularFile(const QString &path, bool executable)
{
    const QString name = NSPathUtilities::lastPathComponent(path);
    if (const auto mime = mimeTypeOfName(name))
        return identifierOfMimeType(*mime);
    const QString extension = NSPathUtilities::pathExtension(name);
    if (!extension.isEmpty())
        return kDynamicExtensionPrefix + extension.toLower();
    return executable ? kProgram : kData;
}

/// What a kind of content is by the first half of its MIME name, for the types that the table does not hold.
QLatin1StringView typeOfMimeFamily(const QString &mimeName)
{
    if (mimeName.startsWith(u"image/"))
        return QLatin1StringView("public.image");
    if (mimeName.startsWith(u"audio/"))
        return QLatin1StringView("public.audio");
    if (mimeName.startsWith(u"video/"))
        return QLatin1StringView("public.movie");
    if (mimeName.startsWith(u"text/"))
        return QLatin1StringView("public.text");
    return kData;
}

/// The types that `type` is directly a kind of.
QStringList parentsOf(const QString &type)
{
    if (const KnownType *known = knownType(type))
        return QString(known->conformsTo).split(u' ', Qt::SkipEmptyParts);
    if (!type.startsWith(kDynamicPrefix))
        return {};
    const QMimeType mime = mimeTypeOfIdentifier(type);
    if (!mime.isValid())
        return {kData};
    QStringList parents{typeOfMimeFamily(mime.name())};
    for (const QString &parent : mime.parentMimeTypes()) {
        const QMimeType parentType = QMimeDatabase().mimeTypeForName(parent);
        if (parentType.isValid() && !parentType.isDefault())
            parents.append(identifierOfMimeType(parentType));
    }
    return parents;
}

class LinuxTypeIdentifiers final : public TypeIdentifiers {
public:
    QString contentType(const QString &path) override
    {
        const auto status = statusOf(path);
        if (!status)
            return {};
        // A final link stands for its target, whose name counts.
        const QString resolved = Service<FileManager>::current()->resolve(path);
        const QString &named = resolved.isNull() ? path : resolved;
        if (S_ISDIR(status->st_mode))
            return typeOfFolder(named);
        if (!S_ISREG(status->st_mode))
            return kItem;
        return typeOfRegularFile(named, (status->st_mode & 0111) != 0);
    }

    QString preferredIdentifier(const QString &extension) override
    {
        if (extension.isEmpty())
            return {};
        for (const KnownType &type : knownTypes()) {
            if (extension.compare(type.extension, Qt::CaseInsensitive) == 0)
                return type.identifier;
        }
        const auto mime = mimeTypeOfName(QStringLiteral("x.") + extension);
        return mime ? identifierOfMimeType(*mime) : kDynamicExtensionPrefix + extension.toLower();
    }

    QString preferredExtension(const QString &type) override
    {
        if (const KnownType *known = knownType(type))
            return known->extension.isEmpty() ? QString() : QString(known->extension);
        if (type.startsWith(kDynamicExtensionPrefix))
            return type.mid(kDynamicExtensionPrefix.size());
        const QString suffix = mimeTypeOfIdentifier(type).preferredSuffix();
        return suffix.isEmpty() ? QString() : suffix;
    }

    QString mimeType(const QString &type) override
    {
        const QMimeType mime = mimeTypeOfIdentifier(type);
        return mime.isValid() ? mime.name() : QString();
    }

    bool conformsTo(const QString &type, const QString &other) override
    {
        if (type.isEmpty() || other.isEmpty())
            return false;
        QStringList pending{type};
        for (qsizetype i = 0; i < pending.size(); ++i) {
            if (pending.at(i).compare(other, Qt::CaseInsensitive) == 0)
                return true;
            for (const QString &parent : parentsOf(pending.at(i))) {
                if (!pending.contains(parent))
                    pending.append(parent);
            }
        }
        return false;
    }

    QStringList readableImageTypes() override
    {
        QStringList types;
        for (const QByteArray &name : QImageReader::supportedMimeTypes()) {
            const QMimeType mime = QMimeDatabase().mimeTypeForName(QString::fromLatin1(name));
            const QString type = mime.isValid() ? identifierOfMimeType(mime) : QString();
            if (!type.isEmpty() && !types.contains(type))
                types.append(type);
        }
        return types;
    }
};

} // namespace

TypeIdentifiers *TypeIdentifiers::makeDefault() { return new LinuxTypeIdentifiers; }

} // namespace KVBase
