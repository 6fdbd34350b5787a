#include <KVBase/PreRelease.h>

#include <KVBase/InfoDictionary.h>
#include <KVBase/Platform/NSApplication.h>
#include <KVBase/Platform/NSObject.h>

namespace KVBase::PreRelease
{

namespace
{

bool looksLikePreRelease(const QString &version)
{
    for (const QChar letter : {u'd', u'a', u'b'}) {
        if (version.contains(letter, Qt::CaseInsensitive))
            return true;
    }
    return version.startsWith(QLatin1StringView("0."));
}

} // namespace

bool isPreReleaseVersion()
{
    const NSApplication *const application = NSApplication::sharedApplication();
    QObject *const delegate = application != nullptr ? application->delegate() : nullptr;
    const KVSelector isBetaVersion("isBetaVersion");
    if (respondsToSelector(delegate, isBetaVersion))
        return performSelector(delegate, isBetaVersion).toBool();
    return looksLikePreRelease(InfoDictionary::shortVersionString());
}

} // namespace KVBase::PreRelease
