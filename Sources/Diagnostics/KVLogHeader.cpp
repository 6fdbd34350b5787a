#include "Diagnostics/KVLogHeader.h"

#include <KVBase/KVBuildStyle.h>
#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSBundle.h>

#include "Platform/NSPathUtilities.h"
#include "Platform/Services/Clock.h"
#include "Platform/Services/SystemVersions.h"
#include "Platform/Services/UserIdentity.h"

namespace KVBase
{

namespace
{

/// A field's text; what is missing shows as nothing.
QString shown(const QVariant &value)
{
    return isNil(value) ? QStringLiteral("") : stringWithFormat("%@", value);
}

/// A value of a bundle's info dictionary; "-" without a bundle or a dictionary.
QString infoText(const Ref<NSBundle> &bundle, const QString &key)
{
    const std::optional<QVariantMap> info = bundle != nullptr ? bundle->infoDictionary() : std::nullopt;
    return info.has_value() ? shown(info->value(key)) : QStringLiteral("-");
}

QString revisionOf(const Ref<NSBundle> &bundle)
{
    const QString revision = infoText(bundle, QStringLiteral("CFBundleVersion"));
    return revision == kKVRevisionPlaceholderString ? QString(kMaxRevisionNumber) : revision;
}

/// The first letter of the build style; "*" when the application has none.
QString buildStyleLetter(const Ref<NSBundle> &bundle)
{
    const std::optional<QVariantMap> info = bundle != nullptr ? bundle->infoDictionary() : std::nullopt;
    const QVariant value = info.has_value() ? info->value(kKVBuildStyleKey) : QVariant();
    if (isNil(value))
        return QStringLiteral("*");
    QString style = shown(value);
    if (style == kKVBuildStylePlaceholderString)
        style = kKVBuildStyleDebug;
    const bool pairFirst = style.size() >= 2 && style.at(0).isHighSurrogate() && style.at(1).isLowSurrogate();
    return style.left(pairFirst ? 2 : 1);
}

QString versionLine()
{
    const Ref<NSBundle> application = NSBundle::mainBundle();
    const Ref<NSBundle> framework = NSBundle::bundleWithIdentifier(kKVBaseBundleIdentifier);
    return stringWithFormat("Version: %@ (Rev. %@-F%@-%@)\n",
                            infoText(application, QStringLiteral("CFBundleShortVersionString")),
                            revisionOf(application), revisionOf(framework), buildStyleLetter(application));
}

QString systemLines()
{
    SystemVersions *const system = Service<SystemVersions>::current();
    std::int32_t mediaVersion = 0;
    system->gestalt(kGestaltQuickTimeVersion, &mediaVersion);
    return stringWithFormat("System: %@ (%@)\nQuickTime: %08X\n", shown(system->productVersion()),
                            shown(system->productBuildVersion()), mediaVersion);
}

} // namespace

QByteArray logSessionHeader(const QString &path)
{
    const QString opening =
        stringWithFormat("\n\n-------------------------------------------------------------------------\n"
                         "New session: %@\n",
                         NSPathUtilities::lastPathComponent(path));
    const QString closing = stringWithFormat("Date: %@\nUser: %@\n\n", Service<Clock>::current()->now(),
                                             shown(Service<UserIdentity>::current()->fullName()));
    return (opening + versionLine() + systemLines() + closing).toUtf8();
}

} // namespace KVBase
