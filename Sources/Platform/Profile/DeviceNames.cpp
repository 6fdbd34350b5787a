#include "Platform/Profile/DeviceNames.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>

extern "C" {
#include <pci/pci.h>
}

#include <array>
#include <cstdlib>

namespace KVBase::Profile
{

namespace
{

using NameBuffer = std::array<char, 256>;

/// Without a known name libpci answers null, since the numbers are not asked for.
QString nameOrNothing(const char *name)
{
    return name != nullptr ? QString::fromUtf8(name).simplified() : QString();
}

void keepQuiet(char *, ...) {}

// The attribute is part of the type that libpci expects, which the standard spelling is not.
__attribute__((noreturn)) void outOfMemory(char *, ...) { std::abort(); }

QByteArray numberKey(int number) { return QByteArray::number(number, 16).rightJustified(4, '0') + "  "; }

/// The rest of the line that begins with `key` right after a line break, between `from` and `end`; -1 in
/// `*position` when there is none.
QByteArray lineAfter(const QByteArray &list, const QByteArray &key, qsizetype from, qsizetype end,
                     qsizetype *position)
{
    const qsizetype found = list.indexOf('\n' + key, from);
    *position = found >= 0 && found < end ? found + 1 + key.size() : -1;
    if (*position < 0)
        return {};
    const qsizetype lineEnd = list.indexOf('\n', *position);
    return list.mid(*position, lineEnd < 0 ? -1 : lineEnd - *position);
}

/// Where the lines that belong to a vendor end: at the next line that is neither indented nor a comment.
qsizetype endOfVendor(const QByteArray &list, qsizetype from)
{
    for (qsizetype line = list.indexOf('\n', from); line >= 0; line = list.indexOf('\n', line + 1)) {
        if (line + 1 < list.size() && list[line + 1] != '\t' && list[line + 1] != '#')
            return line;
    }
    return list.size();
}

} // namespace

QString nameInDeviceList(const QByteArray &list, int vendor, int product)
{
    qsizetype position = -1;
    const QByteArray vendorName = lineAfter(list, numberKey(vendor), 0, list.size(), &position);
    if (position < 0 || product < 0)
        return QString::fromUtf8(vendorName).simplified();
    const qsizetype end = endOfVendor(list, position);
    return QString::fromUtf8(lineAfter(list, '\t' + numberKey(product), position, end, &position))
        .simplified();
}

// The bus is never scanned through libpci, which ends the process where there is none: only its names are
// used. What the scan would have prepared has to be there all the same.
DeviceNames::DeviceNames() : pci(pci_alloc())
{
    pci->debug = keepQuiet;
    pci->warning = keepQuiet;
    pci->error = outOfMemory;
}

DeviceNames::~DeviceNames() { pci_cleanup(pci); }

QString DeviceNames::pciVendor(int vendor)
{
    NameBuffer buffer;
    return nameOrNothing(pci_lookup_name(pci, buffer.data(), static_cast<int>(buffer.size()),
                                         PCI_LOOKUP_VENDOR | PCI_LOOKUP_NO_NUMBERS, vendor));
}

QString DeviceNames::pciDevice(int vendor, int device)
{
    NameBuffer buffer;
    return nameOrNothing(pci_lookup_name(pci, buffer.data(), static_cast<int>(buffer.size()),
                                         PCI_LOOKUP_DEVICE | PCI_LOOKUP_NO_NUMBERS, vendor, device));
}

QString DeviceNames::pciClass(int deviceClass)
{
    NameBuffer buffer;
    return nameOrNothing(pci_lookup_name(pci, buffer.data(), static_cast<int>(buffer.size()),
                                         PCI_LOOKUP_CLASS | PCI_LOOKUP_NO_NUMBERS, deviceClass));
}

QString DeviceNames::usbVendor(int vendor) { return nameInDeviceList(usbIds(), vendor, -1); }

QString DeviceNames::usbProduct(int vendor, int product)
{
    return nameInDeviceList(usbIds(), vendor, product);
}

const QByteArray &DeviceNames::usbIds()
{
    const QStringList places = {QStringLiteral("/usr/share/misc/usb.ids"),
                                QStringLiteral("/usr/share/hwdata/usb.ids"),
                                QStringLiteral("/var/lib/usbutils/usb.ids")};
    for (const QString &place : places) {
        QFile file(place);
        if (usbListRead || !file.open(QIODevice::ReadOnly))
            continue;
        usbList = file.readAll();
        usbListRead = true;
    }
    usbListRead = true;
    return usbList;
}

} // namespace KVBase::Profile
