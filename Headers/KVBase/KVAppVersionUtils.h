#pragma once

#include <KVBase/KVExport.h>

#include <cstdint>

namespace KVBase
{

/// How the application's version stands to the one that ran last.
enum class KVAppVersionChange : std::int32_t {
    Unchanged,  ///< the same version, or nothing to compare with
    New,        ///< no version is on record
    Upgraded,   ///< the version on record is lower
    Downgraded, ///< the version on record is higher
};

/// Whether this is the first start since something changed. An application asks its questions early in its
/// launch and calls `registerAppVersion` afterwards. Each answer is fixed by its first question until the
/// process ends. Where nothing is on record, which is the very first launch, every answer is no. Main thread.
class KV_EXPORT KVAppVersionUtils {
public:
    KVAppVersionUtils() = delete;

    /// Whether the application's version differs from the one that ran last. Always false, and nothing fixed,
    /// in a build whose style is "Debug".
    static bool firstStartOfAppVersion();

    /// Whether the system's packed version differs from the one of the last launch.
    static bool firstStartWithSystemVersion();

    /// Whether the system's build differs from the one of the last launch.
    static bool firstStartWithSystemBuild();

    /// Whether the media framework's version differs from the one of the last launch.
    static bool firstStartWithQuickTimeVersion();

    /// Records the current values in the user defaults, which write them in their own time. Stores nothing in
    /// a build whose style is "Debug", and leaves a record alone whose current value is not known.
    static void registerAppVersion();

    /// Extension: tells the ways apart in which the application's version differs from the one on record. Not
    /// fixed by the first question: after `registerAppVersion` it is unchanged. A "Debug" build is always
    /// unchanged. A record that is no number counts as none.
    static KVAppVersionChange appVersionChange();
};

} // namespace KVBase
