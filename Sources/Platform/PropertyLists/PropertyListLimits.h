#pragma once

#include <QtCore/QtGlobal>

namespace KVBase::PropertyLists
{

/// Bounds that keep a hostile property list from exhausting the stack or the memory. They are far above what
/// any real list needs.
inline constexpr qsizetype kMaximumBytes = qsizetype{64} * 1024 * 1024;
inline constexpr int kMaximumDepth = 512;
inline constexpr quint64 kMaximumValues = 16'000'000;

} // namespace KVBase::PropertyLists
