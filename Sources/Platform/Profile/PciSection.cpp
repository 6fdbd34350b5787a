#include "Platform/Profile/Sections.h"

namespace KVBase::Profile
{

namespace
{

const char kPciFolder[] = "/sys/bus/pci/devices/";

QString numbersText(qulonglong vendor, qulonglong device)
{
    return QStringLiteral("PCI device %1:%2").arg(identifierText(vendor), identifierText(device));
}

} // namespace

QString pciDeviceName(const SystemFiles &files, DeviceNames *names, const QString &folder)
{
    const qulonglong vendor = files.number(folder + QStringLiteral("/vendor"));
    const qulonglong device = files.number(folder + QStringLiteral("/device"));
    const QString name = names->pciDevice(static_cast<int>(vendor), static_cast<int>(device));
    return name.isEmpty() ? numbersText(vendor, device) : name;
}

QVariantList pciItems(const SystemFiles &files, DeviceNames *names)
{
    QVariantList items;
    const QStringList places = files.names(QLatin1StringView(kPciFolder));
    for (const QString &slot : places) {
        const QString folder = QLatin1StringView(kPciFolder) + slot;
        const qulonglong vendor = files.number(folder + QStringLiteral("/vendor"));
        const int deviceClass =
            static_cast<int>(files.number(folder + QStringLiteral("/class")) >> 8 & 0xffff);
        QVariantMap item{
            {QStringLiteral("_name"), pciDeviceName(files, names, folder)},
            {QStringLiteral("Slot"), slot},
            {QStringLiteral("Vendor ID"), identifierText(vendor)},
            {QStringLiteral("Device ID"), identifierText(files.number(folder + QStringLiteral("/device")))}};
        setUnlessEmpty(&item, QStringLiteral("Vendor"), names->pciVendor(static_cast<int>(vendor)));
        setUnlessEmpty(&item, QStringLiteral("Type"), names->pciClass(deviceClass));
        setUnlessEmpty(&item, QStringLiteral("Driver"), files.linkName(folder + QStringLiteral("/driver")));
        setUnlessEmpty(&item, QStringLiteral("Revision"), files.text(folder + QStringLiteral("/revision")));
        items.append(item);
    }
    return items;
}

} // namespace KVBase::Profile
