#include "Text/WhirlpoolBlock.h"
#include "Text/WhirlpoolTables.h"

#include <QtCore/QtEndian>

#ifdef __x86_64__
#include <emmintrin.h>
#endif

namespace KVBase
{

namespace
{

using WhirlpoolTables::kRoundConstants;
using WhirlpoolTables::kTables;
using WhirlpoolTables::Table;

// Where the two highest bytes of a stored word are.
constexpr bool kLittleEndian = Q_BYTE_ORDER == Q_LITTLE_ENDIAN;
constexpr std::size_t kFirstByte = kLittleEndian ? 7 : 0;
constexpr std::size_t kSecondByte = kLittleEndian ? 6 : 1;

#ifdef __x86_64__

/// A row of the result that is being added up. The vector unit does it, since the integer unit has enough to
/// do with the indices; the empty statement keeps the compiler from adding up one row after the other, for
/// which it would need the bytes of eight words at once.
class Row {
public:
    explicit Row(std::uint64_t word) : sum(_mm_cvtsi64_si128(static_cast<long long>(word))) {}
    [[gnu::always_inline]] void add(const std::uint64_t &word)
    {
        sum = _mm_xor_si128(sum, _mm_loadl_epi64(reinterpret_cast<const __m128i *>(&word)));
        asm("" : "+x"(sum));
    }
    void store(std::uint64_t *word) const { _mm_storel_epi64(reinterpret_cast<__m128i *>(word), sum); }

private:
    __m128i sum;
};

/// In one instruction, for which compilers take two.
inline std::uint64_t secondByte(std::uint64_t word)
{
    std::uint64_t byte;
    asm("movzbl %h1, %k0" : "=R"(byte) : "Q"(word));
    return byte;
}

#else

class Row {
public:
    explicit Row(std::uint64_t word) : sum(word) {}
    [[gnu::always_inline]] void add(std::uint64_t word) { sum ^= word; }
    void store(std::uint64_t *word) const { *word = sum; }

private:
    std::uint64_t sum;
};

inline std::uint64_t secondByte(std::uint64_t word) { return (word >> 8) & 0xFF; }

#endif

/// Adds what a word becomes, whose byte in column j goes to the row j places below. The two highest bytes are
/// read where the word is stored, which leaves fewer shifts for the other six.
[[gnu::always_inline]] inline void addWord(const Table *tables, const std::uint64_t &stored, Row &row0,
                                           Row &row1, Row &row2, Row &row3, Row &row4, Row &row5, Row &row6,
                                           Row &row7)
{
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(&stored);
    std::uint64_t word = stored;
    row0.add(tables[0][bytes[kFirstByte]]);
    row1.add(tables[1][bytes[kSecondByte]]);
    row7.add(tables[7][word & 0xFF]);
    row6.add(tables[6][secondByte(word)]);
    word >>= 16;
    row5.add(tables[5][word & 0xFF]);
    row4.add(tables[4][secondByte(word)]);
    word >>= 16;
    row3.add(tables[3][word & 0xFF]);
    row2.add(tables[2][secondByte(word)]);
}

/// The eight rows of a round's result, each in a register.
struct Rows {
    Row a, b, c, d, e, f, g, h;

    /// Puts the substituted and mixed words, on top of what the rows hold, in the place of `words`.
    [[gnu::always_inline]] inline void mix(const Table *tables, std::uint64_t (&words)[8])
    {
        addWord(tables, words[0], a, b, c, d, e, f, g, h);
        addWord(tables, words[1], b, c, d, e, f, g, h, a);
        addWord(tables, words[2], c, d, e, f, g, h, a, b);
        addWord(tables, words[3], d, e, f, g, h, a, b, c);
        addWord(tables, words[4], e, f, g, h, a, b, c, d);
        addWord(tables, words[5], f, g, h, a, b, c, d, e);
        addWord(tables, words[6], g, h, a, b, c, d, e, f);
        addWord(tables, words[7], h, a, b, c, d, e, f, g);
        a.store(&words[0]);
        b.store(&words[1]);
        c.store(&words[2]);
        d.store(&words[3]);
        e.store(&words[4]);
        f.store(&words[5]);
        g.store(&words[6]);
        h.store(&words[7]);
        // The next round is to read them from memory and not from the rows' registers.
        asm("" : : : "memory");
    }
};

void encrypt(std::uint64_t (&key)[8], std::uint64_t (&state)[8])
{
    const Table *tables = kTables.data();
    // One address for all tables instead of eight.
    asm("" : "+r"(tables));
    for (const std::uint64_t constant : kRoundConstants) {
        Rows rows{Row(constant), Row(0), Row(0), Row(0), Row(0), Row(0), Row(0), Row(0)};
        rows.mix(tables, key);
        // The rows hold the new key, to which the state is added.
        rows.mix(tables, state);
    }
}

} // namespace

void whirlpoolBlocksByTables(std::uint64_t *hash, const std::uint8_t *blocks, std::size_t count) noexcept
{
    for (; count > 0; --count, blocks += 64) {
        std::uint64_t key[8];
        std::uint64_t state[8];
        for (int i = 0; i < 8; ++i) {
            key[i] = hash[i];
            state[i] = hash[i] ^ qFromBigEndian<std::uint64_t>(blocks + 8 * i);
        }
        encrypt(key, state);
        for (int i = 0; i < 8; ++i)
            hash[i] ^= state[i] ^ qFromBigEndian<std::uint64_t>(blocks + 8 * i);
    }
}

} // namespace KVBase
