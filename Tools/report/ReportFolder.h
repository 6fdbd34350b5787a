#pragma once

#include <QtCore/QString>
#include <QtCore/QVariantMap>

namespace report
{

/// A new folder for a report of `application` below the user's data folder; its name holds the time.
QString usualReportFolder(const QString &application);

/// Makes the folder, for its owner alone; false when that fails.
bool makeReportFolder(const QString &folder);

/// Writes each text as a file of that name into the folder, readable by its owner alone. Answers the names of
/// those that could not be written.
QStringList writeReport(const QString &folder, const QMap<QString, QString> &texts);

/// A form as text to read: one line for each short field, long ones below a heading.
QString readableForm(const QVariantMap &fields);

} // namespace report
