#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

namespace KVBase::PropertyLists
{

/// The tree in an XML property list; nil, with a sentence in `errorText`, when it is unreadable.
QVariant readXML(const QByteArray &data, QString *errorText);

/// A tree made by `propertyListValue` as XML; nil, with a sentence in `errorText`, when a text holds a
/// character that XML does not have.
std::optional<QByteArray> writeXML(const QVariant &plist, QString *errorText);

} // namespace KVBase::PropertyLists
