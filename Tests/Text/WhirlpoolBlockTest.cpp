#include "Text/WhirlpoolBlock.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace KVBase
{
namespace
{

using Hash = std::array<std::uint64_t, 8>;

/// The state of an empty message's only block, whose padding is one bit.
constexpr Hash kHashOfEmpty{0x19FA61D75522A466, 0x9B44E39C1D2E1726, 0xC530232130D407F8, 0x9AFEE0964997F7A7,
                            0x3E83BE698B288FEB, 0xCF88E3E03C4F0757, 0xEA8964E59B63D937, 0x08B138CC42A66EB3};

std::array<std::uint8_t, 64> paddingOfEmpty()
{
    std::array<std::uint8_t, 64> block{};
    block[0] = 0x80;
    return block;
}

TEST(WhirlpoolBlockTest, TheTablesGiveThePublishedValue)
{
    Hash hash{};
    whirlpoolBlocksByTables(hash.data(), paddingOfEmpty().data(), 1);
    EXPECT_EQ(hash, kHashOfEmpty);
}

TEST(WhirlpoolBlockTest, NoBlocksChangeNothing)
{
    Hash hash = kHashOfEmpty;
    whirlpoolBlocksByTables(hash.data(), nullptr, 0);
    EXPECT_EQ(hash, kHashOfEmpty);
}

TEST(WhirlpoolBlockTest, TheVectorsGiveThePublishedValue)
{
    if (!hasWhirlpoolVectors())
        GTEST_SKIP() << "the processor has not got the instructions";
    Hash hash{};
    whirlpoolBlocksByVectors(hash.data(), paddingOfEmpty().data(), 1);
    EXPECT_EQ(hash, kHashOfEmpty);
}

TEST(WhirlpoolBlockTest, TheVectorsGiveTheSameAsTheTables)
{
    if (!hasWhirlpoolVectors())
        GTEST_SKIP() << "the processor has not got the instructions";
    std::mt19937_64 random(20031);
    for (int round = 0; round < 2000; ++round) {
        const std::size_t count = random() % 5;
        // One byte further, so that nothing is aligned.
        std::vector<std::uint8_t> bytes(count * 64 + 1);
        for (std::uint8_t &byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        Hash byTables;
        for (std::uint64_t &word : byTables)
            word = random();
        Hash byVectors = byTables;
        whirlpoolBlocksByTables(byTables.data(), bytes.data() + 1, count);
        whirlpoolBlocksByVectors(byVectors.data(), bytes.data() + 1, count);
        ASSERT_EQ(byVectors, byTables) << "round " << round << ", " << count << " blocks";
    }
}

TEST(WhirlpoolBlockTest, EachByteOfTheBlockIsTakenTheSame)
{
    if (!hasWhirlpoolVectors())
        GTEST_SKIP() << "the processor has not got the instructions";
    for (unsigned at = 0; at < 64; ++at) {
        for (unsigned value = 0; value < 256; ++value) {
            std::array<std::uint8_t, 64> block{};
            block[at] = static_cast<std::uint8_t>(value);
            Hash byTables{};
            Hash byVectors{};
            whirlpoolBlocksByTables(byTables.data(), block.data(), 1);
            whirlpoolBlocksByVectors(byVectors.data(), block.data(), 1);
            ASSERT_EQ(byVectors, byTables) << at << ", " << value;
        }
    }
}

} // namespace
} // namespace KVBase
