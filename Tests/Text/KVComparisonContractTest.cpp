#include <KVBase/KVComparison.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

TEST(KVComparisonContractTest, DigitsOfAnyWidthAndManyLeadingZerosCompareByValue)
{
    const auto compare = [](const QString &a, const QString &b) {
        return KVComparison::caseInsensitiveNumericCompare(a, b);
    };
    EXPECT_EQ(compare(QStringLiteral(u"file\uff19"), QStringLiteral("file10")), -1);
    EXPECT_EQ(compare(QStringLiteral(u"file\uff11\uff10"), QStringLiteral("FILE9")), 1);
    EXPECT_EQ(compare(QStringLiteral("x") + QString(400, u'0') + QStringLiteral("9"), QStringLiteral("x10")),
              -1);
}

} // namespace
} // namespace KVBase
