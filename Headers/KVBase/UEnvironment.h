#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVSelector.h>

#include <QtCore/QObject>
#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// Questions about the system's release, frameworks and classes. Versions are binary-coded decimals: 0x1058
/// is release 10.5.8. Any thread.
class KV_EXPORT UEnvironment {
public:
    UEnvironment() = delete;

    /// The packed system version; 0 when the system does not say. Not cached.
    static std::int32_t SystemVersion();

    /// Whether the system's packed version is at least `version`. The first version other than 0 is kept
    /// until the process ends.
    static bool RunningOnSystem(std::int32_t version);

    /// Whether the major release is 10 or more and the minor release at least 2, 3, 4 and 5. The minor number
    /// alone decides from major 10 on: a release 11.0 is "no". Asked anew on every call.
    static bool RunningOnJaguarOrBetter();
    static bool RunningOnPantherOrBetter();
    static bool RunningOnTigerOrBetter();
    static bool RunningOnLeopardOrBetter();

    /// The media framework's version, its top 16 bits in binary-coded decimal; 0 when there is none. Kept
    /// like the system version.
    static std::uint32_t QuickTimeVersion();

    /// Whether a bundle of that identifier is known, or the system's frameworks folder holds one named after
    /// the identifier's last piece. false for nil.
    static bool HasFramework(const QString &identifier);

    /// Whether a class of that name is registered (`NSClassFromString`).
    static bool HasClass(const QString &name);

    /// Whether the class object answers the selector: class methods count. false for null.
    static bool ClassHasMethod(const QObject *classObject, const KVSelector &selector);

    /// Asks the object's class object: methods that only its instances have do not count. false for null.
    static bool ObjectHasMethod(const QObject *object, const KVSelector &selector);
};

} // namespace KVBase
