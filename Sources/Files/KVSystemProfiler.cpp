#include <KVBase/KVSystemProfiler.h>

#include "Platform/AsciiText.h"
#include "Platform/Services/HardwareProfile.h"
#include "Platform/Services/SystemVersions.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>

namespace KVBase
{

std::optional<QByteArray> KVSystemProfiler::createSystemProfileDataAsXML(bool xml)
{
    HardwareProfile *const collector = Service<HardwareProfile>::current();
    QVariantList sections;
    if (!collector->sections(&sections))
        throw NSException(NSInvalidArgumentException, QStringLiteral("launch path not accessible"));
    if (!xml)
        return collector->text(sections).toUtf8();
    return NSPropertyListSerialization::dataFromPropertyList(sections, NSPropertyListFormat::XML, nullptr);
}

QString KVSystemProfiler::generateSystemProfileAsXML(bool xml)
{
    const std::optional<QByteArray> data = createSystemProfileDataAsXML(xml);
    if (isNil(data) || data->isEmpty())
        return QStringLiteral("No data provided by system profiler.");
    return textFromAscii(*data);
}

std::optional<QVariantList> KVSystemProfiler::generateSystemProfileArray()
{
    const std::optional<QByteArray> data = createSystemProfileDataAsXML(true);
    QString errorText;
    const QVariant profile =
        NSPropertyListSerialization::propertyListFromData(data.value_or(QByteArray()), nullptr, &errorText);
    if (!isNil(errorText))
        KVLog("Error creating dict from system profile XML: %@", errorText);
    if (profile.typeId() != QMetaType::QVariantList)
        return std::nullopt;
    return profile.toList();
}

QString KVSystemProfiler::quickTimeVersionString()
{
    std::int32_t response = 0;
    if (Service<SystemVersions>::current()->gestalt(kGestaltQuickTimeVersion, &response) != 0)
        return QStringLiteral("QuickTime not found.");
    const auto version = static_cast<std::uint32_t>(response);
    return stringWithFormat("%d.%d.%d", version >> 24, version >> 20 & 0xf, version >> 16 & 0xf);
}

} // namespace KVBase
