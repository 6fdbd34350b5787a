#pragma once

#include <QtCore/QLatin1StringView>

#include <span>

namespace KVBase
{

/// A well-known uniform type. `conformsTo` names one or, after a blank, a second type that it is a kind of;
/// the name of the MIME type and the usual extension are empty where there is none.
struct KnownType {
    QLatin1StringView identifier;
    QLatin1StringView conformsTo;
    QLatin1StringView mimeType;
    QLatin1StringView extension;
};

/// In an order in which the first type of a MIME type is the one to answer.
std::span<const KnownType> knownTypes();

/// Null when the identifier is not well known.
const KnownType *knownType(QStringView identifier);

} // namespace KVBase
