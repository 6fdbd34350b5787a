#include <KVBase/KVComparison.h>

#include <gtest/gtest.h>

#include <clocale>

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

TEST(KVComparisonContractTest, WidthAndCaseMatterOnlyBetweenTextsThatAreOtherwiseEqual)
{
    const char *const pairs[][2] = {
        {"ITEM 9", "item 10"},
        {"file2.txt", "FILE10.txt"},
        {"1.9", "1.10"},
        {"x9007199254740993", "x9007199254740994"},
        {"x18446744073709551615", "x18446744073709551616"},
        {"ｆｉｌｅ2", "file10"},
        {"file2", "ｆｉｌｅ10"},
        {"file２", "file10"},
        {"file2", "file１０"},
        {"FILE", "file"},
        {"é", "f"},
        {"9", "10a"},
    };
    const QByteArray before = std::setlocale(LC_ALL, nullptr);
    for (const char *locale : {before.constData(), "C"}) {
        std::setlocale(LC_ALL, locale);
        for (const auto &pair : pairs) {
            const QString first = QString::fromUtf8(pair[0]);
            const QString second = QString::fromUtf8(pair[1]);
            EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(first, second), -1) << pair[0] << pair[1];
            EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(second, first), 1) << pair[1] << pair[0];
        }
    }
    std::setlocale(LC_ALL, before.constData());
}

} // namespace
} // namespace KVBase
