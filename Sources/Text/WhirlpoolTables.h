#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The constants of the final Whirlpool function (ISO/IEC 10118-3), computed by the compiler from the
/// standard's definitions: the substitution box from its three small boxes, the diffusion from the circulant
/// matrix.
namespace KVBase::WhirlpoolTables
{

inline constexpr int kRounds = 10;

using Box = std::array<std::uint8_t, 256>;
using SmallBox = std::array<std::uint8_t, 16>;
using Table = std::array<std::uint64_t, 256>;

constexpr SmallBox kExponential{0x1, 0xB, 0x9, 0xC, 0xD, 0x6, 0xF, 0x3,
                                0xE, 0x8, 0x7, 0x4, 0xA, 0x2, 0x5, 0x0};
constexpr SmallBox kRandom{0x7, 0xC, 0xB, 0xD, 0xE, 0x4, 0x9, 0xF, 0x6, 0x3, 0x8, 0xA, 0x2, 0x5, 0x1, 0x0};

constexpr SmallBox inverse(const SmallBox &box)
{
    SmallBox result{};
    for (std::size_t i = 0; i < box.size(); ++i)
        result[box[i]] = static_cast<std::uint8_t>(i);
    return result;
}

constexpr Box makeSubstitution()
{
    constexpr SmallBox back = inverse(kExponential);
    Box box{};
    for (std::size_t i = 0; i < box.size(); ++i) {
        const std::uint8_t high = kExponential[i >> 4];
        const std::uint8_t low = back[i & 15];
        const std::uint8_t mixed = kRandom[high ^ low];
        box[i] = static_cast<std::uint8_t>((kExponential[high ^ mixed] << 4) | back[low ^ mixed]);
    }
    return box;
}

inline constexpr Box kSubstitution = makeSubstitution();

/// The product in the field of 256 elements with x^8 + x^4 + x^3 + x^2 + 1.
constexpr std::uint8_t multiply(unsigned a, unsigned b)
{
    unsigned product = 0;
    for (; b != 0; b >>= 1) {
        if ((b & 1u) != 0)
            product ^= a;
        a = (a << 1) ^ ((a & 0x80u) != 0 ? 0x11Du : 0u);
    }
    return static_cast<std::uint8_t>(product);
}

/// The first row of the diffusion's matrix.
inline constexpr std::array<std::uint8_t, 8> kCirculant{1, 1, 4, 1, 8, 5, 2, 9};

/// Substitution and diffusion of a byte in column `column` of a row, as the eight bytes of the row that it
/// becomes.
constexpr Table makeTable(unsigned column)
{
    Table table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        std::uint64_t row = 0;
        for (std::size_t j = 0; j < kCirculant.size(); ++j)
            row = (row << 8) | multiply(kSubstitution[i], kCirculant[(j + 8 - column) % 8]);
        table[i] = row;
    }
    return table;
}

inline constexpr std::array<Table, 8> kTables{makeTable(0), makeTable(1), makeTable(2), makeTable(3),
                                              makeTable(4), makeTable(5), makeTable(6), makeTable(7)};

constexpr std::array<std::uint64_t, kRounds> makeRoundConstants()
{
    std::array<std::uint64_t, kRounds> constants{};
    for (std::size_t i = 0; i < constants.size() * 8; ++i)
        constants[i / 8] = (constants[i / 8] << 8) | kSubstitution[i];
    return constants;
}

inline constexpr std::array<std::uint64_t, kRounds> kRoundConstants = makeRoundConstants();

} // namespace KVBase::WhirlpoolTables
