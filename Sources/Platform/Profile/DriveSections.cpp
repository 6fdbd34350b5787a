#include "Platform/Profile/Sections.h"

namespace KVBase::Profile
{

namespace
{

constexpr qulonglong kSerialAtaController = 0x0106;
constexpr double kSectorBytes = 512;

/// The number of the port in a device path such as ".../ata3/host2/...": 0 when the device hangs on no such
/// port.
int portNumber(const QString &path)
{
    const qsizetype start = path.indexOf(u"/ata");
    if (start < 0)
        return 0;
    const qsizetype end = path.indexOf(u'/', start + 1);
    return path.mid(start + 4, end < 0 ? -1 : end - start - 4).toInt();
}

QVariantMap driveItem(const SystemFiles &files, const QString &drive, int port)
{
    const QString folder = QStringLiteral("/sys/block/") + drive;
    const QString model = files.text(folder + QStringLiteral("/device/model"));
    QVariantMap item{{QStringLiteral("_name"), model.isEmpty() ? drive : model},
                     {QStringLiteral("Port"), static_cast<qlonglong>(port)}};
    setUnlessEmpty(&item, QStringLiteral("Revision"), files.text(folder + QStringLiteral("/device/rev")));
    const qulonglong sectors = files.number(folder + QStringLiteral("/size"));
    item.insert(QStringLiteral("Capacity"), sizeText(static_cast<double>(sectors) * kSectorBytes));
    const bool rotates = files.number(folder + QStringLiteral("/queue/rotational")) != 0;
    item.insert(QStringLiteral("Medium"),
                rotates ? QStringLiteral("Rotational") : QStringLiteral("Solid state"));
    const QString link = QStringLiteral("/sys/class/ata_link/link%1/sata_spd").arg(port);
    setUnlessEmpty(&item, QStringLiteral("Link Speed"), files.text(link));
    return item;
}

/// The drives whose device path lies below that of the controller.
QVariantList drivesOf(const SystemFiles &files, const QString &controllerPath)
{
    QVariantList drives;
    const QStringList entries = files.names(QStringLiteral("/sys/block"));
    for (const QString &entry : entries) {
        const QString path = files.resolved(QStringLiteral("/sys/block/") + entry);
        const int port = portNumber(path.mid(controllerPath.size()));
        if (path.startsWith(controllerPath + u'/') && port > 0)
            drives.append(driveItem(files, entry, port));
    }
    return drives;
}

QVariantMap fireWireItem(const SystemFiles &files, const QString &folder, const QString &entry)
{
    const QString model = files.text(folder + QStringLiteral("/model_name"));
    QVariantMap item{{QStringLiteral("_name"), model.isEmpty() ? QStringLiteral("Device ") + entry : model}};
    setUnlessEmpty(&item, QStringLiteral("Vendor"), files.text(folder + QStringLiteral("/vendor_name")));
    setUnlessEmpty(&item, QStringLiteral("Vendor ID"), files.text(folder + QStringLiteral("/vendor")));
    setUnlessEmpty(&item, QStringLiteral("Model ID"), files.text(folder + QStringLiteral("/model")));
    return item;
}

} // namespace

QVariantList serialAtaItems(const SystemFiles &files, DeviceNames *names)
{
    QVariantList items;
    const QString bus = QStringLiteral("/sys/bus/pci/devices/");
    const QStringList devices = files.names(bus);
    for (const QString &device : devices) {
        if (files.number(bus + device + QStringLiteral("/class")) >> 8 != kSerialAtaController)
            continue;
        QVariantMap item{{QStringLiteral("_name"), pciDeviceName(files, names, bus + device)},
                         {QStringLiteral("Slot"), device}};
        setUnlessEmpty(&item, QStringLiteral("Driver"),
                       files.linkName(bus + device + QStringLiteral("/driver")));
        const QVariantList drives = drivesOf(files, files.resolved(bus + device));
        if (!drives.isEmpty())
            item.insert(QStringLiteral("Drives"), drives);
        items.append(item);
    }
    return items;
}

QVariantList fireWireItems(const SystemFiles &files)
{
    QVariantList items;
    const QString bus = QStringLiteral("/sys/bus/firewire/devices/");
    const QStringList entries = files.names(bus);
    for (const QString &entry : entries) {
        // "fw1" is a device, "fw1.0" one of its units.
        if (entry.startsWith(u"fw") && !entry.contains(u'.'))
            items.append(fireWireItem(files, bus + entry, entry));
    }
    return items;
}

} // namespace KVBase::Profile
