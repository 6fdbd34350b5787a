#include "Threads/CallableChain.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace KVBase
{
namespace
{

/// More than a chunk holds.
constexpr int kMany = 1000;

void addNumbers(CallableChain &chain, std::vector<int> &noted, int from, int to)
{
    for (int number = from; number < to; ++number)
        chain.add([&noted, number] { noted.push_back(number); });
}

void takeAndCall(CallableChain &chain, int count)
{
    for (int call = 0; call < count; ++call)
        chain.takeFirst()();
}

bool isAscending(const std::vector<int> &numbers, int count)
{
    for (int number = 0; number < count; ++number)
        if (numbers.at(static_cast<std::size_t>(number)) != number)
            return false;
    return numbers.size() == static_cast<std::size_t>(count);
}

TEST(CallableChainTest, AnswersInTheOrderOfAdding)
{
    CallableChain chain;
    std::vector<int> noted;
    EXPECT_TRUE(chain.isEmpty());
    addNumbers(chain, noted, 0, kMany);
    EXPECT_FALSE(chain.isEmpty());
    takeAndCall(chain, kMany);
    EXPECT_TRUE(chain.isEmpty());
    EXPECT_TRUE(isAscending(noted, kMany));
}

TEST(CallableChainTest, KeepsTheOrderWhileItGrowsAndShrinksAndUsesItsMemoryAgain)
{
    CallableChain chain;
    CallableChain other;
    std::vector<int> noted;
    int added = 0;
    for (int round = 0; round < 50; ++round) {
        addNumbers(chain, noted, added, added + 3 * round + 200);
        added += 3 * round + 200;
        takeAndCall(chain, round % 2 == 0 ? 150 : 200);
        if (round % 10 == 0)
            chain.shrink();
        other.takeUnused(chain);
        chain.takeUnused(other);
    }
    takeAndCall(chain, added - static_cast<int>(noted.size()));
    EXPECT_TRUE(chain.isEmpty());
    EXPECT_TRUE(isAscending(noted, added));
}

TEST(CallableChainTest, SwapsWhatIsInIt)
{
    CallableChain chain;
    CallableChain other;
    std::vector<int> noted;
    addNumbers(chain, noted, 0, 300);
    other.swapContents(chain);
    EXPECT_TRUE(chain.isEmpty());
    addNumbers(chain, noted, 300, 500);
    takeAndCall(other, 300);
    EXPECT_TRUE(other.isEmpty());
    chain.takeUnused(other);
    other.takeUnused(chain);
    chain.takeUnused(other);
    addNumbers(chain, noted, 500, kMany);
    takeAndCall(chain, kMany - 300);
    EXPECT_TRUE(isAscending(noted, kMany));
}

TEST(CallableChainTest, ReleasesWhatWasTakenAndWhatIsLeft)
{
    const auto argument = std::make_shared<int>(1);
    {
        CallableChain chain;
        for (int number = 0; number < 400; ++number)
            chain.add([argument] {});
        EXPECT_EQ(argument.use_count(), 401);
        for (int number = 0; number < 200; ++number)
            chain.takeFirst();
        EXPECT_EQ(argument.use_count(), 201);
    }
    EXPECT_EQ(argument.use_count(), 1);
}

} // namespace
} // namespace KVBase
