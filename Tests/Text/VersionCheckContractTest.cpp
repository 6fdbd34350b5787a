#include <KVBase/VersionCheck.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

struct VersionRow {
    const char *what;
    const char *first;
    const char *second;
    std::int32_t order;
};

TEST(VersionCheckContractTest, TheStatedStepsDecideInTheirOrder)
{
    const VersionRow rows[] = {
        {"rank before trailing number", "1.0a9", "1.0b1", -1},
        {"a marker inside other letters", "1frc1", "1fc2", -1},
        {"a lone r makes no candidate", "1r1", "1rc1", 1},
        {"the lowest rank wins", "1b1d1", "1a9", -1},
        {"beta is an alpha", "beta", "a", 0},
        {"final is an alpha", "1final", "1b", -1},
        {"a candidate is a development build", "1candidate", "1d", 0},
        {"a plus in the trailing number", "1b+3", "1b3", 0},
        {"blanks before the trailing number", "1b  3", "1b3", 0},
        {"later components do not undo a marker", "1b1.9", "1.0", -1},
        {"later components decide between equal markers", "1b1.2", "1b1.10", -1},
        {"an empty component counts", "1..2", "1.2", -1},
        {"a component before the first dot", ".1", "0.1", 0},
        {"saturation keeps the sign", "-99999999999999999999", "99999999999999999999", -1},
        {"leading zeros do not saturate", "00000000000000000000000000000000000007", "7", 0},
        {"a full-width letter is no marker", "1ｂ", "1", 0},
        {"an accented letter is no marker", "1ä", "1", 0},
        {"a comma does not divide", "1,5", "1", 0},
        {"a hyphen does not divide", "1-5", "1", 0},
    };
    for (const VersionRow &row : rows) {
        const QString first = QString::fromUtf8(row.first);
        const QString second = QString::fromUtf8(row.second);
        EXPECT_EQ(VersionCheck::compareVersion(first, second), row.order) << row.what;
        EXPECT_EQ(VersionCheck::compareVersion(second, first), -row.order) << row.what;
    }
    EXPECT_EQ(VersionCheck::compareVersion(QString(QChar(0xd800)), QStringLiteral("0")), 0);
}

} // namespace
} // namespace KVBase
