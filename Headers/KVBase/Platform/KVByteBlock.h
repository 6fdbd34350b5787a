#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace KVBase
{

/// Gives a block back with `free`, so that the owner may `release()` it to C code.
struct FreeDeleter {
    void operator()(void *block) const noexcept { std::free(block); }
};

/// A block of bytes from `malloc` that its holder owns; a null one stands for NULL.
using KVByteBlock = std::unique_ptr<std::uint8_t[], FreeDeleter>;

} // namespace KVBase
