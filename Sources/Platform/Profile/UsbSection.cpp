#include "Platform/Profile/Sections.h"

namespace KVBase::Profile
{

namespace
{

int hexadecimal(const QString &text) { return text.toInt(nullptr, 16); }

QVariantMap deviceItem(const SystemFiles &files, DeviceNames *names, const QString &folder,
                       const QString &place)
{
    const int vendor = hexadecimal(files.text(folder + QStringLiteral("/idVendor")));
    const int product = hexadecimal(files.text(folder + QStringLiteral("/idProduct")));
    QString name = files.text(folder + QStringLiteral("/product"));
    if (name.isEmpty())
        name = names->usbProduct(vendor, product);
    QString maker = files.text(folder + QStringLiteral("/manufacturer"));
    if (maker.isEmpty())
        maker = names->usbVendor(vendor);

    QVariantMap item{{QStringLiteral("_name"), name.isEmpty() ? QStringLiteral("USB device") : name},
                     {QStringLiteral("Location"), place},
                     {QStringLiteral("Vendor ID"), identifierText(static_cast<qulonglong>(vendor))},
                     {QStringLiteral("Product ID"), identifierText(static_cast<qulonglong>(product))}};
    setUnlessEmpty(&item, QStringLiteral("Manufacturer"), maker);
    setUnlessEmpty(&item, QStringLiteral("Current Required"),
                   files.text(folder + QStringLiteral("/bMaxPower")));
    const QString speed = files.text(folder + QStringLiteral("/speed"));
    if (!speed.isEmpty())
        item.insert(QStringLiteral("Speed"), speed + QStringLiteral(" Mb/s"));
    return item;
}

} // namespace

QVariantList usbItems(const SystemFiles &files, DeviceNames *names)
{
    QVariantList items;
    const QString bus = QStringLiteral("/sys/bus/usb/devices/");
    const QStringList entries = files.names(bus);
    for (const QString &entry : entries) {
        // "1-4" is a device, "1-4:1.0" one of its interfaces.
        if (!entry.contains(u':') && !files.text(bus + entry + QStringLiteral("/idVendor")).isEmpty())
            items.append(deviceItem(files, names, bus + entry, entry));
    }
    return items;
}

} // namespace KVBase::Profile
