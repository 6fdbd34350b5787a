#pragma once

#include "Platform/Services/SystemVersions.h"

#include <cstdint>

namespace KVBase
{

/// Whether the major release is at least 10 and the minor release at least `minor`. Both are asked for on
/// every call and count as 0 when the system does not say.
inline bool isRelease10OrLater(std::int32_t minor)
{
    std::int32_t majorRelease = 0;
    std::int32_t minorRelease = 0;
    Service<SystemVersions>::current()->gestalt(kGestaltSystemVersionMajor, &majorRelease);
    Service<SystemVersions>::current()->gestalt(kGestaltSystemVersionMinor, &minorRelease);
    return majorRelease >= 10 && minorRelease >= minor;
}

/// The answer to `selector`; 0 when the system does not say.
inline std::int32_t gestaltOrZero(OSType selector)
{
    std::int32_t answer = 0;
    return Service<SystemVersions>::current()->gestalt(selector, &answer) == 0 ? answer : 0;
}

} // namespace KVBase
