#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>
#include <QtCore/QVariantList>

namespace KVBase
{

/// Collects the description of the machine: hardware, software, displays, serial ATA, PCI, FireWire and USB.
///
/// Each section is a dictionary: "_dataType" is its name ("SPHardwareDataType", ...), "_items" an array of
/// dictionaries, each with a "_name". A kind of hardware that the machine lacks has no items; its section is
/// there.
class KV_EXPORT HardwareProfile {
public:
    virtual ~HardwareProfile();

    /// Stores the seven sections in their order in `*profile`. False when the collector cannot be started at
    /// all.
    virtual bool sections(QVariantList *profile) = 0;

    /// The same as text to read: a heading for each section, indented "name: value" lines below it.
    virtual QString text(const QVariantList &sections) = 0;

    static HardwareProfile *makeDefault();
};

extern template class KV_EXPORT Service<HardwareProfile>;

} // namespace KVBase
