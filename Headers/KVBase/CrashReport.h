#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

namespace KVBase
{

/// The user-defaults key of the modification date of the newest crash report seen so far.
inline constexpr QLatin1StringView KVCrashReporterLastDateKey{"CrashReporter.lastCrashDate"};

/// The crash reports of this application: what lies at any depth below "Logs/CrashReporter/" in the user's
/// Library folder and has a name that begins with the main bundle's executable name, whatever kind of item it
/// is. Another application's reports count too when its name begins like that; without an executable name
/// nothing counts.
///
/// Main thread. Blocks on the disk.
namespace CrashReport
{

/// Call at the very first start, so that only reports written from now on count as new: stores the current
/// date unless there is one already.
KV_EXPORT void setFirstCrashDateToToday();

/// Whether a report is newer than the stored date; then the newest report's date is stored, so that the next
/// call answers false until there is another crash. Without any report a date in the distant past is stored.
/// On a system older than 10.5 false, and nothing is stored.
KV_EXPORT bool newCrashLogExists();

/// The report whose date is the stored one, in the file system's order the last that qualifies; meant to be
/// called after `newCrashLogExists`. nil when there is none.
KV_EXPORT QString pathOfLastCrashReport();

/// The text of that report; nil when there is none, and when it is not a readable file of UTF-8 text, which
/// is logged.
KV_EXPORT QString crashReportText();

} // namespace CrashReport

} // namespace KVBase
