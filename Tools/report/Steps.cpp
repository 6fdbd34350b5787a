#include "report/Steps.h"

#include <KVBase/CrashReport.h>
#include <KVBase/Email.h>
#include <KVBase/InfoDictionary.h>
#include <KVBase/KVAppVersionUtils.h>
#include <KVBase/KVConsole.h>
#include <KVBase/KVHTTPPost.h>
#include <KVBase/KVSystemProfiler.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>
#include <KVBase/Reachability.h>

namespace report
{

using namespace KVBase;

namespace
{

QStringList changesSinceLastStart()
{
    QStringList changes;
    if (KVAppVersionUtils::firstStartOfAppVersion())
        changes.append(QStringLiteral("first start of this version of the application"));
    if (KVAppVersionUtils::firstStartWithSystemVersion())
        changes.append(QStringLiteral("first start with this release of the system"));
    if (KVAppVersionUtils::firstStartWithSystemBuild())
        changes.append(QStringLiteral("first start with this build of the system"));
    if (KVAppVersionUtils::firstStartWithQuickTimeVersion())
        changes.append(QStringLiteral("first start with this version of the media framework"));
    return changes;
}

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

void storeCrashDate(const QVariant &date)
{
    defaults().setObject(date, KVCrashReporterLastDateKey);
    defaults().synchronize();
}

} // namespace

QVariantMap describeApplication()
{
    QString name = InfoDictionary::bundleName();
    if (isNil(name))
        name = InfoDictionary::bundleExecutable();
    return {{QStringLiteral("application"), name},
            {QStringLiteral("identifier"), InfoDictionary::bundleIdentifier()},
            {QStringLiteral("version"), InfoDictionary::versionString()},
            {QStringLiteral("firstStart"), changesSinceLastStart()}};
}

QVariantMap findCrash(bool seenToo)
{
    const QVariant previous = defaults().objectForKey(KVCrashReporterLastDateKey);
    const bool isNew = CrashReport::newCrashLogExists();
    QVariantMap found{{QStringLiteral("isNew"), isNew}};
    const QString path = isNew || seenToo ? CrashReport::pathOfLastCrashReport() : QString();
    if (!isNil(path)) {
        found.insert(QStringLiteral("path"), path);
        found.insert(QStringLiteral("date"), defaults().objectForKey(KVCrashReporterLastDateKey));
        const QString text = CrashReport::crashReportText();
        if (!isNil(text))
            found.insert(QStringLiteral("text"), text);
    }
    storeCrashDate(previous);
    return found;
}

void markCrashAsSeen(const QVariant &date) { storeCrashDate(date); }

QVariantMap readConsole(std::int32_t lines)
{
    return {{QStringLiteral("text"), KVConsole::consoleLogTail(lines)}};
}

QVariantMap describeMachine()
{
    return {{QStringLiteral("text"), KVSystemProfiler::generateSystemProfileAsXML(false)}};
}

QVariantMap checkAddress(const QString &address)
{
    NSError error;
    if (Email::isValidEmailAddress(address, &error))
        return {{QStringLiteral("isValid"), true}};
    return {{QStringLiteral("isValid"), false},
            {QStringLiteral("code"), error.code()},
            {QStringLiteral("title"), error.localizedDescription()},
            {QStringLiteral("reason"), error.localizedFailureReason()}};
}

QVariantMap testReachability(const QUrl &url)
{
    return {{QStringLiteral("isReachable"), Reachability::isHostReachable(url)}};
}

QVariantMap postForm(const QVariantMap &fields, const QUrl &url)
{
    KVHTTPPost post;
    post.setParameterDict(fields);
    post.setURL(url);
    const std::optional<QByteArray> answer = post.submitForm();
    QVariantMap result;
    if (!isNil(answer))
        result.insert(QStringLiteral("answer"), QString::fromUtf8(*answer));
    if (!isNil(post.error()))
        result.insert(QStringLiteral("error"), post.error().localizedDescription());
    return result;
}

} // namespace report
