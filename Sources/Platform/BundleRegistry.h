#pragma once

#include <KVBase/Platform/NSBundle.h>

#include <vector>

namespace KVBase
{

/// The bundles made from a path that somebody holds, in the order in which they were made.
std::vector<Ref<NSBundle>> liveBundles();

} // namespace KVBase
