#pragma once

namespace KVBase
{

/// The function `symbol` of the companion library `libKVBase<name>.so`, which lies beside this library and is
/// loaded on first use; null when there is no such library or function. A companion is never unloaded. Any
/// thread.
void *companionFunction(const char *name, const char *symbol);

} // namespace KVBase
