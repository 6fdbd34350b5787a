#pragma once

#include "Platform/PropertyLists/StringTable.h"

#include <KVBase/Platform/NSBundle.h>

namespace KVBase
{

/// One string table of a bundle in the language chosen, for those who look many texts up.
struct BundleStrings {
    /// Read at the first question and kept with the bundle; nil and empty names stand for "Localizable".
    /// Never null.
    static Ref<const BundleStrings> of(const NSBundle &bundle, const QString &table);

    PropertyLists::StringTable texts;

    /// Whether the bundle has a file for the table.
    bool exists = false;
};

} // namespace KVBase
