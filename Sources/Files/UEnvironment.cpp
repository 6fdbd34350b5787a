#include <KVBase/UEnvironment.h>

#include "Files/ReleaseTest.h"
#include "Files/VersionCache.h"
#include "Platform/Services/Folders.h"

#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Platform/NSClass.h>
#include <KVBase/Platform/NSObject.h>

namespace KVBase
{

namespace
{

constinit VersionCache sSystemVersion{kGestaltSystemVersion};
constinit VersionCache sQuickTimeVersion{kGestaltQuickTimeVersion};

} // namespace

std::int32_t UEnvironment::SystemVersion() { return gestaltOrZero(kGestaltSystemVersion); }

bool UEnvironment::RunningOnSystem(std::int32_t version) { return sSystemVersion.value() >= version; }

bool UEnvironment::RunningOnJaguarOrBetter() { return isRelease10OrLater(2); }

bool UEnvironment::RunningOnPantherOrBetter() { return isRelease10OrLater(3); }

bool UEnvironment::RunningOnTigerOrBetter() { return isRelease10OrLater(4); }

bool UEnvironment::RunningOnLeopardOrBetter() { return isRelease10OrLater(5); }

std::uint32_t UEnvironment::QuickTimeVersion()
{
    return static_cast<std::uint32_t>(sQuickTimeVersion.value());
}

bool UEnvironment::HasFramework(const QString &identifier)
{
    if (identifier.isNull())
        return false;
    if (NSBundle::bundleWithIdentifier(identifier) != nullptr)
        return true;
    const QString name = identifier.section(u'.', -1);
    const QString folder = Service<Folders>::current()->frameworksFolder();
    return NSBundle::bundleWithPath(folder + u'/' + name + QStringLiteral(".framework")) != nullptr;
}

bool UEnvironment::HasClass(const QString &name) { return NSClassFromString(name) != nullptr; }

bool UEnvironment::ClassHasMethod(const QObject *classObject, const KVSelector &selector)
{
    return respondsToSelector(classObject, selector);
}

bool UEnvironment::ObjectHasMethod(const QObject *object, const KVSelector &selector)
{
    return respondsToSelector(NSClassOfObject(object), selector);
}

} // namespace KVBase
