#pragma once

#include <QtCore/QString>

namespace KVBase
{

/// The Info.plist key under which an application names its build style.
inline constexpr QLatin1StringView kKVBuildStyleKey{"KVBuildStyle"};

/// What an Info.plist holds until the build fills in the revision, and the number that is shown then.
inline constexpr QLatin1StringView kKVRevisionPlaceholderString{"REVISION_NUMBER_PLACEHOLDER"};
inline constexpr QLatin1StringView kMaxRevisionNumber{"999999"};

/// What an Info.plist holds until the build fills in the style, and the styles.
inline constexpr QLatin1StringView kKVBuildStylePlaceholderString{"BUILD_STYLE_PLACEHOLDER"};
inline constexpr QLatin1StringView kKVBuildStyleDebug{"Debug"};
inline constexpr QLatin1StringView kKVBuildStyleTest{"Test"};
inline constexpr QLatin1StringView kKVBuildStyleRelease{"Release"};

} // namespace KVBase
