#pragma once

#include <KVBase/KVExport.h>

#include <cstdint>

namespace KVBase
{

/// The application object's questions about the system's release. They need no application object. Any
/// thread.
namespace Runtime
{

/// The packed system version, 0x1058 for 10.5.8; 0 when the system does not say. Not cached.
KV_EXPORT std::int32_t systemVersion();

/// Whether the packed version is at least `version`. The first version other than 0 is kept until the process
/// ends, apart from the one that `UEnvironment` keeps.
KV_EXPORT bool runningOnSystemVersion(std::int32_t version);

/// The media framework's version; 0 when there is none. Kept once known.
KV_EXPORT std::uint32_t quickTimeVersion();

/// Whether the major release is 10 or more and the minor release at least 3, 4, 5 and 6. The minor number
/// alone decides from major 10 on.
KV_EXPORT bool runningOnPantherOrHigher();
KV_EXPORT bool runningOnTigerOrHigher();
KV_EXPORT bool runningOnLeopardOrHigher();
KV_EXPORT bool runningOnSnowLeopardOrHigher();

} // namespace Runtime

} // namespace KVBase
