#include <KVBase/KVAppVersionUtils.h>

#include "Files/FirstStartQuestion.h"
#include "Platform/Services/SystemVersions.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/KVBuildStyle.h>
#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>

namespace KVBase
{

namespace
{

constexpr QLatin1StringView kLastVersion{"LastVersionRun"};
constexpr QLatin1StringView kLastSystemVersion{"LastSystemVersionRun"};
constexpr QLatin1StringView kLastSystemBuild{"LastSystemBuildVersionRun"};
constexpr QLatin1StringView kLastQuickTimeVersion{"LastQuickTimeVersionRun"};

constinit FirstStartQuestion sAppVersion;
constinit FirstStartQuestion sSystemVersion;
constinit FirstStartQuestion sSystemBuild;
constinit FirstStartQuestion sQuickTimeVersion;

bool isDebugBuild() { return InfoDictionary::buildStyle() == kKVBuildStyleDebug; }

QVariant storedValue(QLatin1StringView key)
{
    return NSUserDefaults::standardUserDefaults().objectForKey(QString(key));
}

void store(const QVariant &value, QLatin1StringView key)
{
    if (!isNil(value))
        NSUserDefaults::standardUserDefaults().setObject(value, QString(key));
}

QVariant currentSystemVersion()
{
    std::int32_t version = 0;
    if (Service<SystemVersions>::current()->gestalt(kGestaltSystemVersion, &version) != 0)
        return {};
    return static_cast<qlonglong>(version);
}

/// The media framework's version has no sign.
QVariant currentQuickTimeVersion()
{
    std::int32_t version = 0;
    if (Service<SystemVersions>::current()->gestalt(kGestaltQuickTimeVersion, &version) != 0)
        return {};
    return static_cast<qlonglong>(static_cast<std::uint32_t>(version));
}

QVariant currentSystemBuild()
{
    const QString build = Service<SystemVersions>::current()->productBuildVersion();
    return build.isNull() ? QVariant() : QVariant(build);
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

} // namespace

bool numbersDiffer(const QVariant &current, const QVariant &stored)
{
    if (!isNumber(current) || !isNumber(stored))
        return false;
    if (stored.typeId() == QMetaType::Double)
        return stored.toDouble() != current.toDouble();
    if (stored.typeId() == QMetaType::ULongLong)
        return current.toLongLong() < 0 || stored.toULongLong() != current.toULongLong();
    return stored.toLongLong() != current.toLongLong();
}

bool textsDiffer(const QVariant &current, const QVariant &stored)
{
    return current.typeId() == QMetaType::QString && stored.typeId() == QMetaType::QString &&
           current.toString() != stored.toString();
}

bool decideAppVersion(FirstStartQuestion &question, const QVariant &currentVersion)
{
    if (isNil(currentVersion)) {
        KVLog("WARNING: No internal app version specified!");
        return question.decide(false);
    }
    return question.decide(numbersDiffer(currentVersion, storedValue(kLastVersion)));
}

bool KVAppVersionUtils::firstStartOfAppVersion()
{
    if (isDebugBuild())
        return false;
    if (sAppVersion.isDecided())
        return sAppVersion.answer();
    return decideAppVersion(sAppVersion, InfoDictionary::bundleVersionAsNumber());
}

bool KVAppVersionUtils::firstStartWithSystemVersion()
{
    if (sSystemVersion.isDecided())
        return sSystemVersion.answer();
    return sSystemVersion.decide(numbersDiffer(currentSystemVersion(), storedValue(kLastSystemVersion)));
}

bool KVAppVersionUtils::firstStartWithSystemBuild()
{
    if (sSystemBuild.isDecided())
        return sSystemBuild.answer();
    return sSystemBuild.decide(textsDiffer(currentSystemBuild(), storedValue(kLastSystemBuild)));
}

bool KVAppVersionUtils::firstStartWithQuickTimeVersion()
{
    if (sQuickTimeVersion.isDecided())
        return sQuickTimeVersion.answer();
    return sQuickTimeVersion.decide(
        numbersDiffer(currentQuickTimeVersion(), storedValue(kLastQuickTimeVersion)));
}

void KVAppVersionUtils::registerAppVersion()
{
    if (isDebugBuild())
        return;
    store(InfoDictionary::bundleVersionAsNumber(), kLastVersion);
    store(currentQuickTimeVersion(), kLastQuickTimeVersion);
    store(currentSystemBuild(), kLastSystemBuild);
    store(currentSystemVersion(), kLastSystemVersion);
}

KVAppVersionChange KVAppVersionUtils::appVersionChange()
{
    if (isDebugBuild())
        return KVAppVersionChange::Unchanged;
    const QVariant stored = storedValue(kLastVersion);
    if (!isNumber(stored))
        return KVAppVersionChange::New;
    const QVariant current = InfoDictionary::bundleVersionAsNumber();
    if (!numbersDiffer(current, stored))
        return KVAppVersionChange::Unchanged;
    return current.toDouble() > stored.toDouble() ? KVAppVersionChange::Upgraded
                                                  : KVAppVersionChange::Downgraded;
}

} // namespace KVBase
