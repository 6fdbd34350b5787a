#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

namespace KVBase::UUID
{

/// A fresh UUID: 36 characters, upper-case hexadecimal digits in groups of 8, 4, 4, 4 and 12 with hyphens.
KV_EXPORT QString UUIDString();

} // namespace KVBase::UUID
