#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace KVBase::KVAffixes
{

/// `text` without the first of `suffixes`, in their order, that it ends with; `text` itself when there is
/// none. The comparison is exact, only one suffix is removed, and an empty one matches and removes nothing.
/// nil for nil.
KV_EXPORT QString stringByRemovingFirstSuffixFromArray(const QString &text, const QStringList &suffixes);

} // namespace KVBase::KVAffixes
