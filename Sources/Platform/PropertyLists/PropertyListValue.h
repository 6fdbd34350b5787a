#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace KVBase::PropertyLists
{

/// `value` with each part turned into the kind that a property list has for it; nil, with an English sentence
/// in `errorText`, when one has none or the tree is too deep. `errorText` may be null.
KV_EXPORT QVariant propertyListValue(const QVariant &value, QString *errorText);

} // namespace KVBase::PropertyLists
