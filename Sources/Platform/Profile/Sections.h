#pragma once

#include "Platform/Profile/DeviceNames.h"
#include "Platform/Profile/SystemFiles.h"

#include <KVBase/KVExport.h>

#include <QtCore/QVariantList>
#include <QtCore/QVariantMap>

namespace KVBase::Profile
{

/// The items of each section of the machine's description. An item without a value for a key lacks the key.
QVariantList hardwareItems(const SystemFiles &files);
QVariantList softwareItems(const SystemFiles &files);
QVariantList displayItems(const SystemFiles &files, DeviceNames *names);
QVariantList serialAtaItems(const SystemFiles &files, DeviceNames *names);
QVariantList pciItems(const SystemFiles &files, DeviceNames *names);
QVariantList fireWireItems(const SystemFiles &files);
QVariantList usbItems(const SystemFiles &files, DeviceNames *names);

/// Sets `key` unless `value` is empty.
void setUnlessEmpty(QVariantMap *item, const QString &key, const QString &value);

/// The name of the PCI device whose folder is `folder`, or its numbers when the list does not know it.
QString pciDeviceName(const SystemFiles &files, DeviceNames *names, const QString &folder);

/// The seven sections of the machine whose file system begins at `root` ("" for this one), as a property
/// list. False when neither /proc nor /sys is there.
KV_EXPORT bool collect(const QString &root, QVariantList *profile);

} // namespace KVBase::Profile
