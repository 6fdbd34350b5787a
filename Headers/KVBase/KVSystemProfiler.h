#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariantList>

#include <optional>

namespace KVBase
{

/// Describes the user's machine in seven sections: hardware, software, displays, serial ATA, PCI, FireWire
/// and USB, in this order and each always there. Serial numbers and the names of the user and the machine are
/// left out.
///
/// Keeps no state; any thread. Blocks until the description is complete, usually below 50 ms. When it cannot
/// be collected at all, the first three throw `NSException`.
class KV_EXPORT KVSystemProfiler {
public:
    /// The description as an XML property list or as plain text, UTF-8. nil when there is none.
    static std::optional<QByteArray> createSystemProfileDataAsXML(bool xml);

    /// The same decoded as ASCII, every other byte as U+FFFD; "No data provided by system profiler." when
    /// there is none.
    static QString generateSystemProfileAsXML(bool xml);

    /// The property list: for each section a dictionary with its name under "_dataType" and an array of
    /// dictionaries under "_items". nil, after a log line, when it cannot be read back.
    static std::optional<QVariantList> generateSystemProfileArray();

    /// The media framework's version, such as "7.6.4", or "QuickTime not found.".
    static QString quickTimeVersionString();
};

} // namespace KVBase
