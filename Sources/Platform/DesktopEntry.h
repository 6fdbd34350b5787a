#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace KVBase
{

/// The group "Desktop Entry" of a file that describes an application to the desktop. An immutable value.
class KV_EXPORT DesktopEntry {
public:
    /// From the file's bytes, whatever they are: lines of another form are left out, and the first of two
    /// equal keys counts.
    explicit DesktopEntry(const QByteArray &data);

    /// The text of a key with its escapes resolved; nil when the key is missing.
    QString value(const QString &key) const;

    /// Whether the key has the text "true".
    bool isTrue(const QString &key) const;

    /// The program of "Exec" and its arguments, unquoted, without the field codes (as "%f"), which stand for
    /// files that are not given here; empty when the line is missing or wrongly quoted.
    QStringList command() const;

private:
    QMap<QString, QString> values;
};

} // namespace KVBase
