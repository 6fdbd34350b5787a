#include "Text/WhirlpoolBlock.h"
#include "Text/WhirlpoolTables.h"

#include <QtCore/QtEndian>

#ifdef __x86_64__
#if defined(__GNUC__) && !defined(__clang__)
// The compiler's own header hands on registers that it leaves undefined on purpose.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#endif

namespace KVBase
{

#ifdef __x86_64__

namespace
{

#define KV_WHIRLPOOL_VECTORS __attribute__((target("avx512f,avx512bw,avx512vbmi,gfni")))

using WhirlpoolTables::kCirculant;
using WhirlpoolTables::kRoundConstants;
using WhirlpoolTables::kRounds;
using WhirlpoolTables::kSubstitution;
using WhirlpoolTables::multiply;

// The state lies in a register byte after byte, row after row. The elements 1, 1, 4, 1, 8, 5, 2, 9 of the
// circulant are sums of 1, 2, 4 and 8: for each of these four the instruction that multiplies bit matrices is
// used twice, with a row as the matrix. The first use multiplies the row's bytes by 2^n and transposes the
// row; the second transposes it back and adds up, for each column, those to which the circulant gives 2^n.

/// For the first use: byte i picks bit 7 - i of the product of a byte and 2^`power`.
constexpr std::uint64_t productMatrix(unsigned power)
{
    std::uint64_t matrix = 0;
    for (unsigned i = 0; i < 8; ++i) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const unsigned product = multiply(1u << bit, 1u << power);
            matrix |= static_cast<std::uint64_t>((product >> (7 - i)) & 1u) << (8 * i + bit);
        }
    }
    return matrix;
}

/// For the second use: byte j picks the columns whose 2^`power`-fold is part of column j.
constexpr std::uint64_t columnMatrix(unsigned power)
{
    std::uint64_t matrix = 0;
    for (unsigned j = 0; j < 8; ++j) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const unsigned column = 7 - bit;
            const unsigned element = kCirculant[(j + 8 - column) % 8];
            matrix |= static_cast<std::uint64_t>((element >> power) & 1u) << (8 * j + bit);
        }
    }
    return matrix;
}

/// Where each byte comes from when every column is moved down by its number.
constexpr std::array<std::uint8_t, 64> makeShift()
{
    std::array<std::uint8_t, 64> shift{};
    for (unsigned i = 0; i < shift.size(); ++i)
        shift[i] = static_cast<std::uint8_t>((i / 8 + 8 - i % 8) % 8 * 8 + i % 8);
    return shift;
}

constexpr std::array<std::uint8_t, 64> kShift = makeShift();

/// The constants of a round in registers.
struct Constants {
    __m512i box[4];
    __m512i shift;
    __m512i product[4];
    __m512i column[4];
};

KV_WHIRLPOOL_VECTORS inline __m512i broadcast(std::uint64_t matrix)
{
    return _mm512_set1_epi64(static_cast<long long>(matrix));
}

KV_WHIRLPOOL_VECTORS inline Constants loadConstants()
{
    return {{_mm512_loadu_si512(kSubstitution.data()), _mm512_loadu_si512(kSubstitution.data() + 64),
             _mm512_loadu_si512(kSubstitution.data() + 128), _mm512_loadu_si512(kSubstitution.data() + 192)},
            _mm512_loadu_si512(kShift.data()),
            {broadcast(productMatrix(0)), broadcast(productMatrix(1)), broadcast(productMatrix(2)),
             broadcast(productMatrix(3))},
            {broadcast(columnMatrix(0)), broadcast(columnMatrix(1)), broadcast(columnMatrix(2)),
             broadcast(columnMatrix(3))}};
}

KV_WHIRLPOOL_VECTORS inline __m512i substituted(const Constants &constants, __m512i state)
{
    const __m512i low = _mm512_permutex2var_epi8(constants.box[0], state, constants.box[1]);
    const __m512i high = _mm512_permutex2var_epi8(constants.box[2], state, constants.box[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(state), low, high);
}

/// The share of 2^`Power` in the mixed rows.
template <unsigned Power>
KV_WHIRLPOOL_VECTORS inline __m512i share(const Constants &constants, __m512i state)
{
    const __m512i products = _mm512_gf2p8affine_epi64_epi8(constants.product[Power], state, 0);
    return _mm512_gf2p8affine_epi64_epi8(constants.column[Power], products, 0);
}

KV_WHIRLPOOL_VECTORS inline __m512i sum(__m512i a, __m512i b, __m512i c)
{
    return _mm512_ternarylogic_epi64(a, b, c, 0x96);
}

KV_WHIRLPOOL_VECTORS inline __m512i round(const Constants &constants, __m512i state, __m512i key)
{
    state = _mm512_permutexvar_epi8(constants.shift, substituted(constants, state));
    return sum(sum(share<0>(constants, state), share<1>(constants, state), key), share<2>(constants, state),
               share<3>(constants, state));
}

/// The constant of a round in the first row, zeros in the others.
KV_WHIRLPOOL_VECTORS inline __m512i roundConstant(int index)
{
    const auto bytes = qToBigEndian(kRoundConstants[static_cast<std::size_t>(index)]);
    return _mm512_maskz_set1_epi64(1, static_cast<long long>(bytes));
}

/// Between the words of the chaining value and the bytes of the state, either way.
KV_WHIRLPOOL_VECTORS inline __m512i swapped(__m512i words)
{
    const __m128i order = _mm_set_epi8(8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7);
    return _mm512_shuffle_epi8(words, _mm512_broadcast_i32x4(order));
}

} // namespace

bool hasWhirlpoolVectors() noexcept
{
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
           __builtin_cpu_supports("avx512vbmi") != 0 && __builtin_cpu_supports("gfni") != 0;
}

KV_WHIRLPOOL_VECTORS void whirlpoolBlocksByVectors(std::uint64_t *hash, const std::uint8_t *blocks,
                                                   std::size_t count) noexcept
{
    const Constants constants = loadConstants();
    __m512i chaining = swapped(_mm512_loadu_si512(hash));
    for (; count > 0; --count, blocks += 64) {
        const __m512i block = _mm512_loadu_si512(blocks);
        __m512i key = chaining;
        __m512i state = _mm512_xor_si512(block, key);
        for (int i = 0; i < kRounds; ++i) {
            key = round(constants, key, roundConstant(i));
            state = round(constants, state, key);
        }
        chaining = sum(chaining, state, block);
    }
    _mm512_storeu_si512(hash, swapped(chaining));
}

#undef KV_WHIRLPOOL_VECTORS

#else

bool hasWhirlpoolVectors() noexcept { return false; }

void whirlpoolBlocksByVectors(std::uint64_t *hash, const std::uint8_t *blocks, std::size_t count) noexcept
{
    whirlpoolBlocksByTables(hash, blocks, count);
}

#endif

} // namespace KVBase
