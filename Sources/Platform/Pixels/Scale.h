#pragma once

#include "Platform/Pixels/Pixels.h"

namespace KVBase::Pixels
{

/// Scales all of `source` to all of `target`, each channel by itself, with a windowed sinc of `lobes` lobes
/// whose ends are extended. Neither may have a side of 0. Accurate to one level. Memory for a few rows comes
/// from the allocator; false: there is none.
KV_EXPORT bool scale(const ConstRows &source, const Rows &target, unsigned lobes);

} // namespace KVBase::Pixels
