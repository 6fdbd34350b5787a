#include <KVBase/CrashReport.h>

#include "Platform/Services/Clock.h"
#include "Platform/Services/CrashFolder.h"
#include "Platform/Services/FileManager.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSError.h>
#include <KVBase/Platform/NSUserDefaults.h>
#include <KVBase/Runtime.h>

#include <QtCore/QDateTime>
#include <QtCore/QStringDecoder>
#include <QtCore/QTimeZone>

#include <algorithm>
#include <functional>
#include <string_view>

namespace KVBase::CrashReport
{

namespace
{

/// Codes of the foundation's file errors.
constexpr std::int32_t kFileReadUnknownError = 256;
constexpr std::int32_t kFileReadInapplicableStringEncodingError = 261;

/// The first moment of the year 1, before every date that a file can have.
QDateTime distantPast() { return QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC); }

QDateTime now() { return Service<Clock>::current()->now().toUTC(); }

/// nil when there is none, or no date.
QDateTime storedDate()
{
    const QVariant stored = NSUserDefaults::standardUserDefaults().objectForKey(KVCrashReporterLastDateKey);
    return stored.typeId() == QMetaType::QDateTime ? stored.toDateTime() : QDateTime();
}

void storeDate(const QDateTime &date)
{
    NSUserDefaults::standardUserDefaults().setObject(date, KVCrashReporterLastDateKey);
}

/// Calls `visit` for each report of this application, in the file system's order.
void forEachReport(const QString &folder, const std::function<void(const FolderEntry &)> &visit)
{
    const QString executable = InfoDictionary::bundleExecutable();
    if (isNil(executable) || isNil(folder))
        return;
    const QByteArray prefix = executable.toUtf8();
    const std::string_view wanted(prefix.constData(), static_cast<std::size_t>(prefix.size()));
    Service<FileManager>::current()->forEachEntryBelow(folder, [&](const FolderEntry &entry) {
        if (entry.name.starts_with(wanted))
            visit(entry);
        return WalkStep::GoOn;
    });
}

/// The later of `latest` and the report's date; `latest` when the report vanished before it could be asked.
QDateTime laterDate(const QDateTime &latest, const FolderEntry &entry)
{
    return entry.attributes != nullptr ? std::max(latest, entry.attributes->modificationDate()) : latest;
}

QString pathBelow(const QString &folder, const FolderEntry &entry)
{
    return (folder.endsWith(u'/') ? folder : folder + u'/') + entry.relativePath();
}

QDateTime dateOfNewestReport()
{
    QDateTime latest = distantPast();
    forEachReport(Service<CrashFolder>::current()->path(),
                  [&latest](const FolderEntry &entry) { latest = laterDate(latest, entry); });
    return latest;
}

NSError readError(std::int32_t code, const QString &sentence)
{
    return NSError(NSCocoaErrorDomain, code, {{NSLocalizedDescriptionKey, sentence}});
}

/// nil and an error when the file cannot be read as UTF-8.
QString textOfFile(const QString &path, NSError *error)
{
    const std::optional<QByteArray> data = Service<FileManager>::current()->read(path);
    if (isNil(data)) {
        *error =
            readError(kFileReadUnknownError, QStringLiteral("The file \"%1\" could not be read.").arg(path));
        return {};
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(*data);
    if (decoder.hasError()) {
        *error = readError(kFileReadInapplicableStringEncodingError,
                           QStringLiteral("The file \"%1\" is not UTF-8 text.").arg(path));
        return {};
    }
    return isNil(text) ? QStringLiteral("") : text;
}

} // namespace

void setFirstCrashDateToToday()
{
    if (isNil(NSUserDefaults::standardUserDefaults().objectForKey(KVCrashReporterLastDateKey)))
        storeDate(now());
}

bool newCrashLogExists()
{
    if (!Runtime::runningOnLeopardOrHigher())
        return false;
    const QDateTime stored = storedDate();
    const QDateTime latest = dateOfNewestReport();
    const bool isNewer = latest > (isNil(stored) ? distantPast() : stored);
    storeDate(latest);
    NSUserDefaults::standardUserDefaults().synchronize();
    return isNewer;
}

QString pathOfLastCrashReport()
{
    const QDateTime stored = storedDate();
    const QString folder = Service<CrashFolder>::current()->path();
    QDateTime latest = distantPast();
    QString result;
    forEachReport(folder, [&](const FolderEntry &entry) {
        latest = laterDate(latest, entry);
        // Reports that cannot be asked leave nothing that the distant past could be the date of.
        if (latest == stored && latest > distantPast())
            result = pathBelow(folder, entry);
    });
    return result;
}

QString crashReportText()
{
    const QString path = pathOfLastCrashReport();
    if (path.isEmpty())
        return {};
    NSError error;
    const QString text = textOfFile(path, &error);
    if (!isNil(error))
        KVLog("%s %@", "-[NSApplication(CrashReport) crashReportText]", error);
    return text;
}

} // namespace KVBase::CrashReport
