#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KVBase::MD5Extensions
{

/// The MD5 digest of the text's UTF-8 bytes as 32 lower-case hexadecimal digits; nil for nil. A text that has
/// no UTF-8 form, because it holds half a surrogate pair, counts as empty.
KV_EXPORT QString md5(const QString &text);

/// The MD5 digest of `data` as 32 lower-case hexadecimal digits. Never nil.
KV_EXPORT QString stringWithMD5OfData(const QByteArray &data);

} // namespace KVBase::MD5Extensions
