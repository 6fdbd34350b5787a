#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

namespace KVBase::Whirlpool_Hash
{

/// 128 upper-case hexadecimal digits; nil for nil.
///
/// The number of bytes of the text's UTF-8 form, up to the first NUL, is taken as the number of message bits:
/// the digest is that of the low (length mod 8) bits of the first byte followed by the next (length / 8)
/// whole bytes, or of the first (length / 8) bytes when length is a multiple of 8. Digests that were stored
/// before stay valid this way; for the digest of the text itself use `NESSIEadd`. A text that has no UTF-8
/// form, because it holds half a surrogate pair, counts as empty.
KV_EXPORT QString whirlpoolHash(const QString &text);

} // namespace KVBase::Whirlpool_Hash
