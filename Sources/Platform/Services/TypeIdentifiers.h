#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace KVBase
{

/// Uniform type identifiers, by name: no file is opened. Well-known types have their usual identifiers; every
/// other one has a dynamic identifier, "dyn." and the name of its MIME type, or "dyn.extension." and the
/// file-name extension where no type is known. Any thread.
struct KV_EXPORT TypeIdentifiers {
    virtual ~TypeIdentifiers();
    static TypeIdentifiers *makeDefault();

    /// The type of an existing item, a final link followed; nil when nothing is there.
    virtual QString contentType(const QString &path) = 0;

    /// The type that a file-name extension (without its dot) stands for; nil for nil and empty.
    virtual QString preferredIdentifier(const QString &extension) = 0;

    /// The reverse: the extension that files of this type usually have; nil when none is known,
    /// and unless overridden.
    virtual QString preferredExtension(const QString &type);

    /// The name of the MIME type; nil when none is known, and unless overridden.
    virtual QString mimeType(const QString &type);

    /// Whether `type` is `other` or one of its kinds, through any number of levels.
    virtual bool conformsTo(const QString &type, const QString &other) = 0;

    /// The types of the image formats that can be read here, without duplicates.
    virtual QStringList readableImageTypes() = 0;
};

extern template class KV_EXPORT Service<TypeIdentifiers>;

} // namespace KVBase
