#include <KVBase/Runtime.h>

#include "Files/ReleaseTest.h"
#include "Files/VersionCache.h"

namespace KVBase::Runtime
{

namespace
{

constinit VersionCache sSystemVersion{kGestaltSystemVersion};
constinit VersionCache sQuickTimeVersion{kGestaltQuickTimeVersion};

} // namespace

std::int32_t systemVersion() { return gestaltOrZero(kGestaltSystemVersion); }

bool runningOnSystemVersion(std::int32_t version) { return sSystemVersion.value() >= version; }

std::uint32_t quickTimeVersion() { return static_cast<std::uint32_t>(sQuickTimeVersion.value()); }

bool runningOnPantherOrHigher() { return isRelease10OrLater(3); }

bool runningOnTigerOrHigher() { return isRelease10OrLater(4); }

bool runningOnLeopardOrHigher() { return isRelease10OrLater(5); }

bool runningOnSnowLeopardOrHigher() { return isRelease10OrLater(6); }

} // namespace KVBase::Runtime
