#pragma once

#include "Platform/Services/Service.h"

#include <KVBase/KVExport.h>
#include <KVBase/Platform/NSBundle.h>

#include <vector>

namespace KVBase
{

/// Which bundles this process knows.
class KV_EXPORT Bundles {
public:
    static Bundles *makeDefault();
    virtual ~Bundles();

    virtual Ref<NSBundle> mainBundle() = 0;
    virtual Ref<NSBundle> frameworkBundle() = 0;

    /// The bundles made from a path that somebody holds, in the order in which they were made.
    virtual std::vector<Ref<NSBundle>> knownBundles() = 0;
};

extern template class KV_EXPORT Service<Bundles>;

} // namespace KVBase
