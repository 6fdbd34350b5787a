#pragma once

#include <KVBase/Platform/NSPropertyListSerialization.h>

namespace KVBase::PropertyLists
{

/// The form that `data` begins like; it need not be readable.
NSPropertyListFormat formOf(const QByteArray &data);

} // namespace KVBase::PropertyLists
