#pragma once

#include <KVBase/KVExport.h>

#include <cstddef>

namespace KVBase
{

/// The first place in `size` bytes from `bytes` where the `length` bytes of `pattern` stand; null when there
/// is none or `length` is 0. Compares the first and the last byte of the pattern at many places at once, and
/// the rest only where both agree.
KV_EXPORT const char *findBytes(const char *bytes, std::size_t size, const char *pattern, std::size_t length);

} // namespace KVBase
