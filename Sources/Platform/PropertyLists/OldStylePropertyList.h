#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringView>
#include <QtCore/QVariant>

namespace KVBase::PropertyLists
{

/// The tree in the form of braces and equal signs, or the pairs of a string table without braces; nil, with a
/// sentence in `errorText`, when it is unreadable. A lone word is no property list.
QVariant readOldStyle(const QString &text, QString *errorText);

/// The pairs of a string table, `"key" = "value";`, up to the first damage. A key alone stands for itself,
/// values that are no texts are left out, a later pair wins.
QHash<QString, QString> readStringPairs(const QString &text);

} // namespace KVBase::PropertyLists
