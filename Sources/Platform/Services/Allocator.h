#pragma once

#include "Platform/Services/Service.h"

#include <cstddef>

namespace KVBase
{

/// Where blocks of pixels come from, so that a test can make memory run out. Any thread.
struct KV_EXPORT Allocator {
    virtual ~Allocator();

    /// A block to be given back with `free`; null: no memory. A size of 0 gives a block as well.
    virtual void *allocate(std::size_t size) = 0;

    /// The same, filled with zeros; unless overridden a block of `allocate` that is cleared.
    virtual void *allocateZeroed(std::size_t size);

    /// Answers from `malloc` and `calloc`.
    static Allocator *makeDefault();
};

extern template class KV_EXPORT Service<Allocator>;

} // namespace KVBase
