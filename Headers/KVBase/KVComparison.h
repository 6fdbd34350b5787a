#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <cstdint>

namespace KVBase::KVComparison
{

/// Orders two names for the user, in the current locale: -1 when `text` comes first, 1 when `other` does, 0
/// only for equal texts. Runs of digits compare by value, longer ones than 254 digits in pieces of that size;
/// case and width make no difference; texts that differ in nothing else are ordered by their code units, so
/// that the order is total. 0 for a nil `text`; every text comes after a nil `other`.
KV_EXPORT std::int32_t caseInsensitiveNumericCompare(const QString &text, const QString &other);

} // namespace KVBase::KVComparison
