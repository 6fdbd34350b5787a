#include "Platform/Services/Allocator.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

/// The C library gives blocks of this size a mapping of their own, which `free` ends.
constexpr std::size_t kOwnMapping = std::size_t{32} << 20;

/// Asks for large pages: providing the pixels of a photograph in small ones takes longer than scaling it.
void *inLargePages(void *block, std::size_t size)
{
    if (block == nullptr || size <= kOwnMapping)
        return block;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(block) + page - 1) / page * page;
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(block) + size) / page * page;
    // Only advice: where it is not taken the block is as good.
    static_cast<void>(madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE));
    return block;
}

struct LibraryAllocator final : Allocator {
    void *allocate(std::size_t size) override
    {
        return inLargePages(std::malloc(std::max<std::size_t>(size, 1)), size);
    }
    void *allocateZeroed(std::size_t size) override
    {
        return inLargePages(std::calloc(std::max<std::size_t>(size, 1), 1), size);
    }
};

} // namespace

Allocator::~Allocator() = default;

void *Allocator::allocateZeroed(std::size_t size)
{
    void *block = allocate(size);
    return block == nullptr ? nullptr : std::memset(block, 0, size);
}

Allocator *Allocator::makeDefault() { return new LibraryAllocator; }

template class Service<Allocator>;

} // namespace KVBase
