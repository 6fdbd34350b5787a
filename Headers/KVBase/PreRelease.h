#pragma once

#include <KVBase/KVExport.h>

namespace KVBase
{

namespace PreRelease
{

/// Whether the running version is a pre-release. The application delegate's `Q_INVOKABLE bool
/// isBetaVersion()` decides when there is one. Otherwise the short version string does: "d", "a" or "b"
/// anywhere in it, in either case ("1.0 Final" has an "a"), or "0." at its start. false without a version.
/// Main thread.
KV_EXPORT bool isPreReleaseVersion();

} // namespace PreRelease

} // namespace KVBase
