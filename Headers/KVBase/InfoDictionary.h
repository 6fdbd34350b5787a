#pragma once

#include <KVBase/KVBuildStyle.h>
#include <KVBase/KVExport.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>
#include <optional>

namespace KVBase
{

/// Keys of an Info.plist. The spellings are part of the interface.
inline constexpr QLatin1StringView kNSBundleNameKey{"CFBundleName"};
inline constexpr QLatin1StringView KNSBundleDisplayNameKey{"CFBundleDisplayName"};
inline constexpr QLatin1StringView kNSBundleExecutalbeKey{"CFBundleExecutable"};
inline constexpr QLatin1StringView kNSBundleVersionKey{"CFBundleVersion"};
inline constexpr QLatin1StringView kNSShortVersionStringKey{"CFBundleShortVersionString"};
inline constexpr QLatin1StringView kNSBundleIconFileKey{"CFBundleIconFile"};
inline constexpr QLatin1StringView kNSBundleHelpBookNameKey{"CFBundleHelpBookName"};
inline constexpr QLatin1StringView kKVAppStoreProductNameKey{"AppStoreProductName"};
inline constexpr QLatin1StringView kKVAppStoreProductLogoKey{"AppStoreProductLogo"};

/// The company word that stands in front of every product's name.
inline constexpr QLatin1StringView kCompanyName{"Kelvo"};

/// What the bundles' Info.plist files say. Each value has two forms: one for the main bundle, which looks the
/// main bundle's identifier up and asks the other, and one for a known bundle's identifier. An unknown
/// identifier, and a main bundle without one, give nil for every value. A value that is no string is given as
/// its text.
///
/// Nothing here logs, throws or needs an application object; no state; any thread.
namespace InfoDictionary
{

KV_EXPORT std::optional<QVariantMap> infoDict();
KV_EXPORT std::optional<QVariantMap> infoDictForBundleWithIdentifier(const QString &identifier);
KV_EXPORT std::optional<QVariantMap> localizedInfoDict();
KV_EXPORT std::optional<QVariantMap> localizedInfoDictForBundleWithIdentifier(const QString &identifier);

/// The main bundle's identifier.
KV_EXPORT QString bundleIdentifier();

/// "CFBundleName".
KV_EXPORT QString bundleName();
KV_EXPORT QString bundleNameForBundleWithIdentifier(const QString &identifier);

/// "CFBundleName" in the user's language, else `bundleName`.
KV_EXPORT QString localizedBundleName();
KV_EXPORT QString localizedBundleNameForBundleWithIdentifier(const QString &identifier);

/// "CFBundleDisplayName", else `bundleName`.
KV_EXPORT QString bundleDisplayName();
KV_EXPORT QString bundleDisplayNameForBundleWithIdentifier(const QString &identifier);

/// "CFBundleDisplayName" in the user's language, else `bundleDisplayName`.
KV_EXPORT QString localizedBundleDisplayName();
KV_EXPORT QString localizedBundleDisplayNameForBundleWithIdentifier(const QString &identifier);

/// "CFBundleExecutable".
KV_EXPORT QString bundleExecutable();
KV_EXPORT QString bundleExecutableForBundleWithIdentifier(const QString &identifier);

/// "CFBundleVersion"; "999999" for a build that was not stamped.
KV_EXPORT QString bundleVersion();
KV_EXPORT QString bundleVersionForBundleWithIdentifier(const QString &identifier);

/// A `qlonglong`: the leading integer of `bundleVersion`, 0 when there is none.
KV_EXPORT QVariant bundleVersionAsNumber();
KV_EXPORT QVariant bundleVersionAsNumberForBundleWithIdentifier(const QString &identifier);

/// "CFBundleShortVersionString".
KV_EXPORT QString shortVersionString();
KV_EXPORT QString shortVersionStringForBundleWithIdentifier(const QString &identifier);

/// "CFBundleIconFile".
KV_EXPORT QString bundleIconFile();
KV_EXPORT QString bundleIconFileForBundleWithIdentifier(const QString &identifier);

/// "CFBundleHelpBookName".
KV_EXPORT QString bundleHelpBookName();
KV_EXPORT QString bundleHelpBookNameForBundleWithIdentifier(const QString &identifier);

/// "KVBuildStyle"; "Debug" for a build that was not stamped.
KV_EXPORT QString buildStyle();
KV_EXPORT QString buildStyleForBundleWithIdentifier(const QString &identifier);

/// The same as `localizedBundleDisplayName`.
KV_EXPORT QString appStoreProductName();
KV_EXPORT QString appStoreProductNameForBundleWithIdentifier(const QString &identifier);

/// The last piece of an identifier that has four or more, separated by dots; nil for a shorter one.
KV_EXPORT QString appStoreLastBundleComponent();
KV_EXPORT QString appStoreLastBundleComponentForBundleIdentifier(const QString &identifier);

/// The leading integer of the application's short version string; 0 when there is none.
KV_EXPORT std::int32_t majorVersion();

/// The localised bundle name, with the company word and a space in front unless it begins with that word.
KV_EXPORT QString fullProductName();

/// The same over the localised display name.
KV_EXPORT QString appStoreFullProductName();

/// The version line: "Version 2.1 (Rev. 12345-F23456-R)". Stars stand for what is missing.
KV_EXPORT QString versionString();

} // namespace InfoDictionary

} // namespace KVBase
