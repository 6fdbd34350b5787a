#include "Platform/ByteSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace KVBase;

namespace
{

std::ptrdiff_t find(const std::string &bytes, const std::string &pattern)
{
    const char *const found = findBytes(bytes.data(), bytes.size(), pattern.data(), pattern.size());
    return found == nullptr ? -1 : found - bytes.data();
}

} // namespace

TEST(ByteSearchTest, FindsTheFirstPlace)
{
    EXPECT_EQ(find("xAAAAyAAAA", "AAAA"), 1);
    EXPECT_EQ(find("AAAA", "AAAA"), 0);
    EXPECT_EQ(find("AAA", "AAAA"), -1);
    EXPECT_EQ(find("", "A"), -1);
    EXPECT_EQ(find("abc", ""), -1);
    EXPECT_EQ(find(std::string("a\0b\0c", 5), std::string("b\0c", 3)), 2);
    EXPECT_EQ(find("first and last agree: abca abda", "abda"), 27);
}

TEST(ByteSearchTest, FindsEveryPlaceInEveryLength)
{
    for (std::size_t size = 1; size <= 300; ++size) {
        for (const std::size_t length : {std::size_t{1}, std::size_t{2}, std::size_t{5}, std::size_t{33}}) {
            if (length > size)
                continue;
            for (std::size_t place = 0; place + length <= size; place += size < 80 ? 1 : 7) {
                std::string bytes(size, '.');
                std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(place), length, 'A');
                ASSERT_EQ(find(bytes, std::string(length, 'A')), static_cast<std::ptrdiff_t>(place))
                    << size << ' ' << length;
            }
        }
    }
}

TEST(ByteSearchTest, NearMissesDoNotCount)
{
    std::string bytes;
    for (int round = 0; round < 200; ++round)
        bytes += "AxxB";
    EXPECT_EQ(find(bytes, "AxyB"), -1);
    EXPECT_EQ(find(bytes + "AxyB", "AxyB"), 800);
}
