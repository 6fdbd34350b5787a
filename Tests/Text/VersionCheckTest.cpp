#include <KVBase/VersionCheck.h>

#include <gtest/gtest.h>

#include <QtCore/QString>

namespace KVBase
{
namespace
{

std::int32_t compare(const char *first, const char *second)
{
    return VersionCheck::compareVersion(QString::fromUtf8(first), QString::fromUtf8(second));
}

struct Row {
    const char *first;
    const char *second;
    std::int32_t order;
};

TEST(VersionCheckTest, RanksNilBeforeEverything)
{
    EXPECT_EQ(VersionCheck::compareVersion(QString(), QString()), 0);
    EXPECT_EQ(VersionCheck::compareVersion(QString(), QStringLiteral("1.0")), -1);
    EXPECT_EQ(VersionCheck::compareVersion(QStringLiteral("1.0"), QString()), 1);
    EXPECT_EQ(VersionCheck::compareVersion(QString(), QStringLiteral("")), -1);
    EXPECT_EQ(VersionCheck::compareVersion(QStringLiteral(""), QString()), 1);
}

TEST(VersionCheckTest, OrdersBothWays)
{
    const Row rows[] = {
        {"1.0", "1.0", 0},
        // No zero padding: the shorter version is older.
        {"1.0", "1.0.0", -1},
        {"1", "1.0", -1},
        {"", "1.0", -1},
        {"1.", "1", 1},
        {"1.", "1.0", 0},
        {"1..2", "1.0.2", 0},
        {".", "", 1},
        // Numeric, not textual.
        {"1.10", "1.9", 1},
        {"1.010", "1.10", 0},
        // Development, alpha, beta, candidates, final.
        {"1.0d5", "1.0a1", -1},
        {"1.0a1", "1.0b1", -1},
        {"1.0b1", "1.0rc1", -1},
        {"1.0rc1", "1.0", -1},
        {"1.0d5", "1.0", -1},
        {"1.0fc2", "1.0rc2", 0},
        {"1.0fc1", "1.0rc2", -1},
        {"1.0fc1", "1.0", -1},
        {"1.5d12", "1.5d2", 1},
        // Case is ignored.
        {"1.0B2", "1.0b2", 0},
        {"1.0D1", "1.0a1", -1},
        {"1.0RC1", "1.0fc1", 0},
        {"1.0Rc1", "1.0", -1},
        // The number after the marker; none counts as 0.
        {"2.0b", "2.0b1", -1},
        {"2.0b", "2.0b0", 0},
        {"2b", "2b1", -1},
        {"1rc3", "1rc10", -1},
        {"1rc3", "1fc3", 0},
        // The number comes before the marker.
        {"2b1", "1", 1},
        {"1.2b5", "1.1", 1},
        // Letters are matched anywhere, and the lowest rank wins.
        {"beta", "0a", 0},
        {"beta", "0b", -1},
        {"alphabet", "0a", 0},
        {"dab", "0d", 0},
        {"1bd3", "1d3", 0},
        {"1beta2", "1alpha2", 0},
        {"1ab7", "1a7", 0},
        {"1xrc2", "1rc2", 0},
        // The last piece of the split counts, and it has to begin with the number.
        {"1b2d3", "1d3", 0},
        {"1b3x", "1b3", 0},
        {"1b x3", "1b0", 0},
        {"1b 3", "1b3", 0},
        {"1b-3", "1b0", -1},
        {"1b2c3", "1b3", 0},
        {"1b2f9", "1b9", 0},
        {"1d9r", "1d0", 0},
        // Other letters are no markers, and "f", "r", "c" alone are none either.
        {"2x5", "2", 0},
        {"2x5", "2x6", 0},
        {"2c5", "2", 0},
        {"2f5", "2r9", 0},
        {"2cf5", "2", 0},
        {"2rfc5", "2rc5", 0},
        // Blanks and signs before a number.
        {" 5", "5", 0},
        {"\t 5", "5", 0},
        {"+5", "5", 0},
        {"-5", "0", -1},
        {"-5", "-4", -1},
        {"- 5", "0", 0},
        {"--5", "0", 0},
        {"x5", "0", 0},
        {"", "0", 0},
        {"", "", 0},
        {"", "1", -1},
        // Digits of other scripts are no numbers.
        {"\xd9\xa1", "0", 0},
        {"\xef\xbc\x91", "0", 0},
        // Numbers are held within 64 bits.
        {"4294967297", "4294967296", 1},
        {"9223372036854775807", "9223372036854775806", 1},
        {"9223372036854775808", "9223372036854775807", 0},
        {"99999999999999999999999", "9223372036854775807", 0},
        {"-9223372036854775809", "-9223372036854775808", 0},
        {"-99999999999999999999999", "-9223372036854775807", -1},
        {"1b99999999999999999999999", "1b9223372036854775807", 0},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(compare(row.first, row.second), row.order)
            << '"' << row.first << "\" \"" << row.second << '"';
        EXPECT_EQ(compare(row.second, row.first), -row.order)
            << '"' << row.second << "\" \"" << row.first << '"';
    }
}

TEST(VersionCheckTest, ReadsVersionsOfAMegabyte)
{
    const QString dots(1 << 20, u'.');
    EXPECT_EQ(VersionCheck::compareVersion(dots, dots + u'.'), -1);
    EXPECT_EQ(VersionCheck::compareVersion(dots, dots), 0);
    const QString digits(1 << 20, u'9');
    EXPECT_EQ(VersionCheck::compareVersion(digits, digits + u'1'), 0);
    EXPECT_EQ(VersionCheck::compareVersion(digits, digits + u'b'), 1);
}

TEST(VersionCheckTest, ReadsOnPastNul)
{
    const QString version = QStringLiteral("1") + QChar(0) + QStringLiteral("b2");
    EXPECT_EQ(VersionCheck::compareVersion(version, QStringLiteral("1")), -1);
    EXPECT_EQ(VersionCheck::compareVersion(version, QStringLiteral("1b2")), 0);
}

} // namespace
} // namespace KVBase
