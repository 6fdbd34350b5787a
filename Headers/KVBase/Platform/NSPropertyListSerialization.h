#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>
#include <optional>

namespace KVBase
{

/// How a property list is written down: as braces and equal signs, as XML, or in the binary form.
enum class NSPropertyListFormat : std::uint32_t { OpenStep = 1, XML = 100, Binary = 200 };

/// Reads and writes property lists: trees of `QVariantMap`, `QVariantList`, `QString`, `bool`, `qlonglong`
/// (`qulonglong` above its range), `double`, `QByteArray` and `QDateTime` (UTC).
///
/// What is read is treated as hostile: more than 64 MiB, 512 levels or 16 million values, a cycle, a value
/// that does not follow its kind's form, or anything behind the end make the whole list unreadable. No state;
/// any thread. The two file functions block on the disk alone: a FIFO or a device counts as unreadable.
class KV_EXPORT NSPropertyListSerialization {
public:
    /// The tree that `data` holds, nil when it is unreadable. `format` gets the form that was found and is
    /// left alone on failure; `errorText` gets nil, or an English sentence on failure. Both may be null.
    static QVariant propertyListFromData(const QByteArray &data, NSPropertyListFormat *format,
                                         QString *errorText);

    /// `plist` in the XML or the binary form. nil, with a sentence in `errorText`, when it holds a value that
    /// the form cannot hold (nil, an address, a control character in XML) or is too deep, and for `OpenStep`,
    /// which is only read. Other widths of numbers, string lists and hashes count as their nearest kind.
    static std::optional<QByteArray> dataFromPropertyList(const QVariant &plist, NSPropertyListFormat format,
                                                          QString *errorText);

    /// The dictionary in the file at `path`, compiled-in resources included; nil when there is none, also
    /// when the top level is something else.
    static std::optional<QVariantMap> dictionaryWithContentsOfFile(const QString &path);

    /// Writes `plist` as XML, whole or not at all; a failure leaves the old file. Permissions of an existing
    /// file and a symbolic link are kept.
    static bool writeToFile(const QVariant &plist, const QString &path);
};

} // namespace KVBase
