#include "Platform/Services/Allocator.h"

#include <algorithm>
#include <cstdlib>

namespace KVBase
{

namespace
{

struct LibraryAllocator final : Allocator {
    void *allocate(std::size_t size) override { return std::malloc(std::max<std::size_t>(size, 1)); }
    void *allocateZeroed(std::size_t size) override { return std::calloc(std::max<std::size_t>(size, 1), 1); }
};

} // namespace

Allocator::~Allocator() = default;

Allocator *Allocator::makeDefault() { return new LibraryAllocator; }

template class Service<Allocator>;

} // namespace KVBase
