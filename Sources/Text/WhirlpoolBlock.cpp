#include "Text/WhirlpoolBlock.h"

#include "Text/WhirlpoolTables.h"

#include <QtCore/QtEndian>

namespace KVBase
{

namespace
{

using WhirlpoolTables::kRoundConstants;
using WhirlpoolTables::kTables;

struct Words {
    std::uint64_t word[8];
};

/// One row of the round's result: column j comes from the row j places above it.
template <unsigned Row>
inline std::uint64_t mixedRow(const Words &in)
{
    return kTables[0][in.word[Row] >> 56] ^ kTables[1][(in.word[(Row + 7) % 8] >> 48) & 0xFF] ^
           kTables[2][(in.word[(Row + 6) % 8] >> 40) & 0xFF] ^
           kTables[3][(in.word[(Row + 5) % 8] >> 32) & 0xFF] ^
           kTables[4][(in.word[(Row + 4) % 8] >> 24) & 0xFF] ^
           kTables[5][(in.word[(Row + 3) % 8] >> 16) & 0xFF] ^
           kTables[6][(in.word[(Row + 2) % 8] >> 8) & 0xFF] ^ kTables[7][in.word[(Row + 1) % 8] & 0xFF];
}

inline Words mixed(const Words &in)
{
    return {{mixedRow<0>(in), mixedRow<1>(in), mixedRow<2>(in), mixedRow<3>(in), mixedRow<4>(in),
             mixedRow<5>(in), mixedRow<6>(in), mixedRow<7>(in)}};
}

inline void add(Words &to, const Words &from)
{
    for (int i = 0; i < 8; ++i)
        to.word[i] ^= from.word[i];
}

inline void processBlock(Words &hash, const std::uint8_t *bytes)
{
    Words block;
    for (int i = 0; i < 8; ++i)
        block.word[i] = qFromBigEndian<std::uint64_t>(bytes + 8 * i);
    Words key = hash;
    Words state = block;
    add(state, key);
    for (const std::uint64_t constant : kRoundConstants) {
        key = mixed(key);
        key.word[0] ^= constant;
        state = mixed(state);
        add(state, key);
    }
    add(hash, state);
    add(hash, block);
}

} // namespace

void whirlpoolBlocks(std::uint64_t *hash, const std::uint8_t *blocks, std::size_t count) noexcept
{
    Words chaining;
    for (int i = 0; i < 8; ++i)
        chaining.word[i] = hash[i];
    for (; count > 0; --count, blocks += 64)
        processBlock(chaining, blocks);
    for (int i = 0; i < 8; ++i)
        hash[i] = chaining.word[i];
}

} // namespace KVBase
