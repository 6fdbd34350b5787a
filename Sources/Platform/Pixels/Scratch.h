#pragma once

#include "Platform/Services/Allocator.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace KVBase::Pixels
{

/// Zeroed working memory for `count` values, from the allocator; null where there is none.
template <class T>
class Scratch {
public:
    Scratch() = default;
    explicit Scratch(std::size_t count)
    {
        if (count <= SIZE_MAX / sizeof(T))
            block.reset(static_cast<T *>(Service<Allocator>::current()->allocateZeroed(count * sizeof(T))));
    }

    explicit operator bool() const { return block != nullptr; }
    T *get() const { return block.get(); }
    T &operator[](std::size_t index) const { return block.get()[index]; }

private:
    struct Free {
        void operator()(T *memory) const noexcept { std::free(memory); }
    };
    std::unique_ptr<T, Free> block;
};

} // namespace KVBase::Pixels
