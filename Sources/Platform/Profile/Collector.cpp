#include "Platform/Profile/Sections.h"

namespace KVBase::Profile
{

void setUnlessEmpty(QVariantMap *item, const QString &key, const QString &value)
{
    if (!value.isEmpty())
        item->insert(key, value);
}

bool collect(const QString &root, QVariantList *profile)
{
    profile->clear();
    const SystemFiles files(root);
    if (!files.isFolder(QStringLiteral("/proc/self")) && !files.isFolder(QStringLiteral("/sys")))
        return false;
    DeviceNames names;
    const auto append = [profile](const char *type, const QVariantList &items) {
        profile->append(QVariantMap{{QStringLiteral("_dataType"), QString::fromLatin1(type)},
                                    {QStringLiteral("_items"), items}});
    };
    append("SPHardwareDataType", hardwareItems(files));
    append("SPSoftwareDataType", softwareItems(files));
    append("SPDisplaysDataType", displayItems(files, &names));
    append("SPSerialATADataType", serialAtaItems(files, &names));
    append("SPPCIDataType", pciItems(files, &names));
    append("SPFireWireDataType", fireWireItems(files));
    append("SPUSBDataType", usbItems(files, &names));
    return true;
}

} // namespace KVBase::Profile
