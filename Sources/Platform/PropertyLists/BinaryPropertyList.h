#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace KVBase::PropertyLists
{

/// The tree in a binary property list; nil, with a sentence in `errorText`, when it is unreadable.
QVariant readBinary(const QByteArray &data, QString *errorText);

/// A tree made by `propertyListValue` in the binary form. Equal texts are stored once.
QByteArray writeBinary(const QVariant &plist);

} // namespace KVBase::PropertyLists
