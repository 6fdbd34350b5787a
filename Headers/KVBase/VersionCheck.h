#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <cstdint>

namespace KVBase::VersionCheck
{

/// Orders two dotted version strings: -1 when `first` is older than `second`, 1 when it is newer, 0 when they
/// count as equal. nil is older than everything but nil.
///
/// Component by component: first the leading integer (0 without one, held within 64 bits), then the
/// pre-release marker anywhere in the component ("d" before "a" before "b" before "fc" and "rc", which are
/// equal, before none; the lowest present counts; case is ignored), then, among equal markers, the integer
/// after the last letter of "dabfcr". When all common components are equal the version with fewer components
/// is older: "1.0" is older than "1.0.0".
KV_EXPORT std::int32_t compareVersion(const QString &first, const QString &second);

} // namespace KVBase::VersionCheck
