#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

struct pci_access;

namespace KVBase::Profile
{

/// Vendor and product names by their numbers, from the lists pci.ids and usb.ids. An unknown one is empty.
/// The lists are read at the first question. One thread at a time.
class DeviceNames {
public:
    DeviceNames();
    ~DeviceNames();
    DeviceNames(const DeviceNames &) = delete;
    DeviceNames &operator=(const DeviceNames &) = delete;

    QString pciVendor(int vendor);
    QString pciDevice(int vendor, int device);
    QString pciClass(int deviceClass);
    QString usbVendor(int vendor);
    QString usbProduct(int vendor, int product);

private:
    pci_access *pci;
    QByteArray usbList;
    bool usbListRead = false;

    const QByteArray &usbIds();
};

/// The name of `vendor`, or with `product` >= 0 of that vendor's product, in the text of a usb.ids file.
KV_EXPORT QString nameInDeviceList(const QByteArray &list, int vendor, int product);

} // namespace KVBase::Profile
