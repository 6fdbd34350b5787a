#include "Text/WhirlpoolBlock.h"

namespace KVBase
{

void whirlpoolBlocks(std::uint64_t *hash, const std::uint8_t *blocks, std::size_t count) noexcept
{
    static const bool vectors = hasWhirlpoolVectors();
    if (vectors)
        whirlpoolBlocksByVectors(hash, blocks, count);
    else
        whirlpoolBlocksByTables(hash, blocks, count);
}

} // namespace KVBase
