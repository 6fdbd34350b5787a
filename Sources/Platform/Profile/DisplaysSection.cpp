#include "Platform/Profile/Sections.h"

namespace KVBase::Profile
{

namespace
{

constexpr qulonglong kDisplayController = 0x03;

/// The monitor's name in its identification block: one of four descriptors of 18 bytes from byte 54 on, those
/// of type 0xfc holding up to 13 characters that end with a line break.
QString monitorName(const QByteArray &edid)
{
    for (qsizetype at = 54; at + 18 <= edid.size() && at < 126; at += 18) {
        const QByteArray descriptor = edid.mid(at, 18);
        if (descriptor.startsWith(QByteArray("\0\0\0\xfc", 4)))
            return QString::fromLatin1(descriptor.mid(5)).simplified();
    }
    return {};
}

QVariantMap connectorItem(const SystemFiles &files, const QString &folder, const QString &connector)
{
    const QString name = monitorName(files.bytes(folder + QStringLiteral("/edid")));
    QVariantMap item{{QStringLiteral("_name"), name.isEmpty() ? QStringLiteral("Display") : name},
                     {QStringLiteral("Connection"), connector}};
    const QByteArray modes = files.bytes(folder + QStringLiteral("/modes"));
    setUnlessEmpty(&item, QStringLiteral("Resolution"),
                   QString::fromLatin1(modes.split('\n').first()).simplified());
    return item;
}

QVariantList connectedDisplays(const SystemFiles &files, const QString &card)
{
    QVariantList displays;
    const QString folder = QStringLiteral("/sys/class/drm/");
    const QStringList entries = files.names(folder);
    for (const QString &entry : entries) {
        if (!entry.startsWith(card + u'-') ||
            files.text(folder + entry + QStringLiteral("/status")) != u"connected")
            continue;
        displays.append(connectorItem(files, folder + entry, entry.mid(card.size() + 1)));
    }
    return displays;
}

void addDriver(const SystemFiles &files, const QString &device, QVariantMap *item)
{
    setUnlessEmpty(item, QStringLiteral("Driver"), files.linkName(device + QStringLiteral("/driver")));
    const qulonglong memory = files.number(device + QStringLiteral("/mem_info_vram_total"));
    if (memory > 0)
        item->insert(QStringLiteral("Video Memory"), sizeText(static_cast<double>(memory)));
}

QVariantMap adapterItem(const SystemFiles &files, DeviceNames *names, const QString &device)
{
    QVariantMap item;
    const qulonglong vendor = files.number(device + QStringLiteral("/vendor"));
    if (vendor != 0) {
        item.insert(QStringLiteral("_name"), pciDeviceName(files, names, device));
        setUnlessEmpty(&item, QStringLiteral("Vendor"), names->pciVendor(static_cast<int>(vendor)));
    } else {
        item.insert(QStringLiteral("_name"), QStringLiteral("Display adapter"));
    }
    addDriver(files, device, &item);
    return item;
}

} // namespace

QVariantList displayItems(const SystemFiles &files, DeviceNames *names)
{
    QVariantList items;
    QStringList described;
    const QString cards = QStringLiteral("/sys/class/drm/");
    const QStringList entries = files.names(cards);
    for (const QString &card : entries) {
        if (!card.startsWith(u"card") || card.contains(u'-'))
            continue;
        const QString device = cards + card + QStringLiteral("/device");
        QVariantMap item = adapterItem(files, names, device);
        const QVariantList displays = connectedDisplays(files, card);
        if (!displays.isEmpty())
            item.insert(QStringLiteral("Displays"), displays);
        items.append(item);
        described.append(files.resolved(device));
    }
    // An adapter that no driver of the kernel's drawing layer has taken is still there on its bus.
    const QString bus = QStringLiteral("/sys/bus/pci/devices/");
    const QStringList devices = files.names(bus);
    for (const QString &device : devices) {
        const bool isAdapter =
            files.number(bus + device + QStringLiteral("/class")) >> 16 == kDisplayController;
        if (isAdapter && !described.contains(files.resolved(bus + device)))
            items.append(adapterItem(files, names, bus + device));
    }
    return items;
}

} // namespace KVBase::Profile
