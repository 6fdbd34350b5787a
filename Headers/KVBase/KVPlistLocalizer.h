#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSBundle.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace KVBase
{

/// Translates the strings of a property-list tree by a string table of a bundle. Containers are copied,
/// dictionary keys and leaves that are no strings stay as they are. A nil table is the default one
/// ("Localizable"); with a nil bundle nothing is translated. Trees may be any number of levels deep. No
/// state; any thread.
class KV_EXPORT KVPlistLocalizer {
public:
    KVPlistLocalizer() = delete;

    static QVariant localizePlist(const QVariant &plist, const QString &table, const Ref<NSBundle> &bundle);
    static QVariantList localizeArray(const QVariantList &array, const QString &table,
                                      const Ref<NSBundle> &bundle);
    static QVariantMap localizeDictionary(const QVariantMap &dictionary, const QString &table,
                                          const Ref<NSBundle> &bundle);

    /// The translation, or the string itself when the table has no entry.
    static QString localizeString(const QString &string, const QString &table, const Ref<NSBundle> &bundle);
};

} // namespace KVBase
