#include <KVBase/InfoDictionary.h>

#include <KVBase/KVBuildStyle.h>
#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSBundle.h>

#include <QtCore/QStringList>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace KVBase::InfoDictionary
{

namespace
{

/// The text under `key`; nil when there is none. Numbers and dates are shown as texts, containers are none.
QString textIn(const std::optional<QVariantMap> &dictionary, QLatin1StringView key)
{
    const QVariant value = dictionary.value_or(QVariantMap()).value(key);
    const bool hasText = value.canConvert<QString>() && value.typeId() != QMetaType::QByteArray;
    return hasText && !isNil(value) ? stringWithFormat("%@", value) : QString();
}

QString infoText(const QString &identifier, QLatin1StringView key)
{
    return textIn(infoDictForBundleWithIdentifier(identifier), key);
}

QString localizedText(const QString &identifier, QLatin1StringView key)
{
    return textIn(localizedInfoDictForBundleWithIdentifier(identifier), key);
}

/// The integer that `text` begins with behind blanks, saturating; 0 when there is none.
std::int64_t leadingInteger(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    return std::strtoll(bytes.constData(), nullptr, 10);
}

QString withCompanyName(const QString &name)
{
    if (name.startsWith(kCompanyName))
        return name;
    return stringWithFormat("%@ %@", kCompanyName, name);
}

QString revisionField(const QString &revision)
{
    if (revision.isEmpty())
        return QStringLiteral("****");
    return revision.size() >= 6 ? revision.left(5) : revision;
}

QString styleField(const QString &style)
{
    if (style.isEmpty())
        return QStringLiteral("*");
    return style.size() >= 2 ? style.left(1) : style;
}

} // namespace

std::optional<QVariantMap> infoDict() { return infoDictForBundleWithIdentifier(bundleIdentifier()); }

std::optional<QVariantMap> infoDictForBundleWithIdentifier(const QString &identifier)
{
    const Ref<NSBundle> bundle = NSBundle::bundleWithIdentifier(identifier);
    return bundle != nullptr ? bundle->infoDictionary() : std::nullopt;
}

std::optional<QVariantMap> localizedInfoDict()
{
    return localizedInfoDictForBundleWithIdentifier(bundleIdentifier());
}

std::optional<QVariantMap> localizedInfoDictForBundleWithIdentifier(const QString &identifier)
{
    const Ref<NSBundle> bundle = NSBundle::bundleWithIdentifier(identifier);
    return bundle != nullptr ? bundle->localizedInfoDictionary() : std::nullopt;
}

QString bundleIdentifier()
{
    const Ref<NSBundle> bundle = NSBundle::mainBundle();
    return bundle != nullptr ? bundle->bundleIdentifier() : QString();
}

QString bundleName() { return bundleNameForBundleWithIdentifier(bundleIdentifier()); }

QString bundleNameForBundleWithIdentifier(const QString &identifier)
{
    return infoText(identifier, kNSBundleNameKey);
}

QString localizedBundleName() { return localizedBundleNameForBundleWithIdentifier(bundleIdentifier()); }

QString localizedBundleNameForBundleWithIdentifier(const QString &identifier)
{
    const QString name = localizedText(identifier, kNSBundleNameKey);
    return name.isNull() ? bundleNameForBundleWithIdentifier(identifier) : name;
}

QString bundleDisplayName() { return bundleDisplayNameForBundleWithIdentifier(bundleIdentifier()); }

QString bundleDisplayNameForBundleWithIdentifier(const QString &identifier)
{
    const QString name = infoText(identifier, KNSBundleDisplayNameKey);
    return name.isNull() ? bundleNameForBundleWithIdentifier(identifier) : name;
}

QString localizedBundleDisplayName()
{
    return localizedBundleDisplayNameForBundleWithIdentifier(bundleIdentifier());
}

QString localizedBundleDisplayNameForBundleWithIdentifier(const QString &identifier)
{
    const QString name = localizedText(identifier, KNSBundleDisplayNameKey);
    return name.isNull() ? bundleDisplayNameForBundleWithIdentifier(identifier) : name;
}

QString bundleExecutable() { return bundleExecutableForBundleWithIdentifier(bundleIdentifier()); }

QString bundleExecutableForBundleWithIdentifier(const QString &identifier)
{
    return infoText(identifier, kNSBundleExecutalbeKey);
}

QString bundleVersion() { return bundleVersionForBundleWithIdentifier(bundleIdentifier()); }

QString bundleVersionForBundleWithIdentifier(const QString &identifier)
{
    const QString version = infoText(identifier, kNSBundleVersionKey);
    return version == kKVRevisionPlaceholderString ? QString(kMaxRevisionNumber) : version;
}

QVariant bundleVersionAsNumber() { return bundleVersionAsNumberForBundleWithIdentifier(bundleIdentifier()); }

QVariant bundleVersionAsNumberForBundleWithIdentifier(const QString &identifier)
{
    return static_cast<qlonglong>(leadingInteger(bundleVersionForBundleWithIdentifier(identifier)));
}

QString shortVersionString() { return shortVersionStringForBundleWithIdentifier(bundleIdentifier()); }

QString shortVersionStringForBundleWithIdentifier(const QString &identifier)
{
    return infoText(identifier, kNSShortVersionStringKey);
}

QString bundleIconFile() { return bundleIconFileForBundleWithIdentifier(bundleIdentifier()); }

QString bundleIconFileForBundleWithIdentifier(const QString &identifier)
{
    return infoText(identifier, kNSBundleIconFileKey);
}

QString bundleHelpBookName() { return bundleHelpBookNameForBundleWithIdentifier(bundleIdentifier()); }

QString bundleHelpBookNameForBundleWithIdentifier(const QString &identifier)
{
    return infoText(identifier, kNSBundleHelpBookNameKey);
}

QString buildStyle() { return buildStyleForBundleWithIdentifier(bundleIdentifier()); }

QString buildStyleForBundleWithIdentifier(const QString &identifier)
{
    const QString style = infoText(identifier, kKVBuildStyleKey);
    return style == kKVBuildStylePlaceholderString ? QString(kKVBuildStyleDebug) : style;
}

QString appStoreProductName() { return appStoreProductNameForBundleWithIdentifier(bundleIdentifier()); }

QString appStoreProductNameForBundleWithIdentifier(const QString &identifier)
{
    return localizedBundleDisplayNameForBundleWithIdentifier(identifier);
}

QString appStoreLastBundleComponent()
{
    return appStoreLastBundleComponentForBundleIdentifier(bundleIdentifier());
}

QString appStoreLastBundleComponentForBundleIdentifier(const QString &identifier)
{
    const QStringList pieces = identifier.split(u'.');
    if (pieces.size() < 4)
        return {};
    return pieces.constLast().isNull() ? QStringLiteral("") : pieces.constLast();
}

std::int32_t majorVersion()
{
    const std::int64_t number = leadingInteger(shortVersionString());
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(
        number, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

QString fullProductName() { return withCompanyName(localizedBundleName()); }

QString appStoreFullProductName() { return withCompanyName(localizedBundleDisplayName()); }

QString versionString()
{
    const QString version = shortVersionString();
    const QString revision = revisionField(bundleVersion());
    const QString framework =
        revisionField(bundleVersionForBundleWithIdentifier(QString(kKVBaseBundleIdentifier)));
    return stringWithFormat("Version %@ (Rev. %@-F%@-%@)",
                            version.isEmpty() ? QStringLiteral("*.*") : version, revision, framework,
                            styleField(buildStyle()));
}

} // namespace KVBase::InfoDictionary
