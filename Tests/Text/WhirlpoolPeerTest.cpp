#include <KVBase/Whirlpool.h>
#include <KVBase/Whirlpool_Hash.h>

#include <gtest/gtest.h>

#include <gcrypt.h>

#include <array>
#include <cstdint>
#include <random>
#include <vector>

namespace KVBase
{
namespace
{

using Digest = std::array<std::uint8_t, 64>;

Digest ours(const std::vector<std::uint8_t> &message, std::size_t firstPart)
{
    WhirlpoolState state;
    NESSIEinit(&state);
    NESSIEadd(message.data(), static_cast<std::uint32_t>(firstPart * 8), &state);
    NESSIEadd(message.data() + firstPart, static_cast<std::uint32_t>((message.size() - firstPart) * 8),
              &state);
    Digest digest{};
    NESSIEfinalize(&state, digest.data());
    return digest;
}

Digest theirs(const std::vector<std::uint8_t> &message)
{
    Digest digest{};
    gcry_md_hash_buffer(GCRY_MD_WHIRLPOOL, digest.data(), message.data(), message.size());
    return digest;
}

TEST(WhirlpoolPeerTest, AgreesWithAnotherLibraryOnRandomMessages)
{
    ASSERT_NE(gcry_check_version("1.8.0"), nullptr);
    std::mt19937 random(20261122);
    for (std::size_t round = 0; round < 2000; ++round) {
        // Every length up to some blocks comes twice, and then lengths at random.
        const std::size_t size = round < 600 ? round / 2 : random() % 20000;
        std::vector<std::uint8_t> message(size);
        for (std::uint8_t &byte : message)
            byte = static_cast<std::uint8_t>(random());
        const std::size_t firstPart = size == 0 ? 0 : random() % size;
        ASSERT_EQ(ours(message, firstPart), theirs(message)) << size << " bytes, cut at " << firstPart;
    }
}

} // namespace
} // namespace KVBase
