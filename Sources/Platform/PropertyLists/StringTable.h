#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>

namespace KVBase::PropertyLists
{

/// A string table: texts of one language by their keys.
using StringTable = QHash<QString, QString>;

/// The table in the content of a ".strings" file, in its own form or as a property list. What is unreadable
/// has no entries; a damaged file keeps those before the damage.
KV_EXPORT StringTable stringTableFromData(const QByteArray &data);

} // namespace KVBase::PropertyLists
