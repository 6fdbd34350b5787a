#pragma once

#include "Platform/Services/Service.h"

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// Which release of the operating system this is.
class KV_EXPORT SystemVersions {
public:
    static SystemVersions *makeDefault();
    virtual ~SystemVersions();

    /// The number behind a selector: 'sysv' the packed release, 'sys1' its major and 'sys2' its minor part,
    /// 'qtim' the media framework's version. A status other than 0 leaves `response` alone.
    virtual OSStatus gestalt(OSType selector, std::int32_t *response) = 0;

    /// The release as the system's maker writes it, and its build; nil when the system does not say.
    virtual QString productVersion() = 0;
    virtual QString productBuildVersion() = 0;

    /// Versions of the foundation and of the application framework.
    virtual double foundationVersionNumber() = 0;
    virtual double appKitVersionNumber() = 0;
};

/// Selectors of `gestalt`.
inline constexpr OSType kGestaltSystemVersion = 0x73797376;      // 'sysv'
inline constexpr OSType kGestaltSystemVersionMajor = 0x73797331; // 'sys1'
inline constexpr OSType kGestaltSystemVersionMinor = 0x73797332; // 'sys2'
inline constexpr OSType kGestaltQuickTimeVersion = 0x7174696d;   // 'qtim'

/// The status of a selector that the system does not know.
inline constexpr OSStatus kGestaltUndefinedSelector = -5551;

extern template class KV_EXPORT Service<SystemVersions>;

} // namespace KVBase
