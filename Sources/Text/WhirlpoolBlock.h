#pragma once

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// Takes `count` blocks of 64 bytes into the chaining value `hash` of eight words: the block cipher keyed
/// with the chaining value, whose result is added to it together with the block.
void whirlpoolBlocks(std::uint64_t *hash, const std::uint8_t *blocks, std::size_t count) noexcept;

} // namespace KVBase
