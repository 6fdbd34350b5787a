#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

namespace KVBase::MacAddress
{

/// The hardware address of the machine's primary wired interface as "0a:1b:2c:3d:4e:5f", lower-case, 17
/// characters; nil when there is none. "00:00:00:00:00:00" means unknown. Writes its progress and failures to
/// the console. The system is asked at every call, and nothing is kept. Any thread.
KV_EXPORT QString primaryMacAddress();

} // namespace KVBase::MacAddress
