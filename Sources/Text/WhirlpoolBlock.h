#pragma once

#include <KVBase/KVExport.h>

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// Takes `count` blocks of 64 bytes into the chaining value `hash` of eight words: the block cipher keyed
/// with the chaining value, whose result is added to it together with the block. In the fastest form that
/// the processor has.
void whirlpoolBlocks(std::uint64_t *hash, const std::uint8_t *blocks, std::size_t count) noexcept;

/// The same from the eight tables, on any processor.
KV_EXPORT void whirlpoolBlocksByTables(std::uint64_t *hash, const std::uint8_t *blocks,
                                       std::size_t count) noexcept;

/// Whether the processor has the instructions that `whirlpoolBlocksByVectors` is made of.
KV_EXPORT bool hasWhirlpoolVectors() noexcept;

/// The same with the whole state in one register of 64 bytes. Only where `hasWhirlpoolVectors`.
KV_EXPORT void whirlpoolBlocksByVectors(std::uint64_t *hash, const std::uint8_t *blocks,
                                        std::size_t count) noexcept;

} // namespace KVBase
