#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

namespace KVBase::Ptr
{

/// The address as "0x" and lower-case hexadecimal digits without leading zeros; "0x0" for null.
KV_EXPORT QString stringWithPtr(const void *pointer);

/// Reads an address: an optional "0x" (lower-case x only), then hexadecimal digits of either case up to the
/// first other character; digits beyond a pointer's width shift out at the top. Null without a digit, for nil
/// and for a text that has no UTF-8 form.
KV_EXPORT void *ptrValue(const QString &text);

} // namespace KVBase::Ptr
