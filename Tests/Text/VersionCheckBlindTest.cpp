#include <KVBase/VersionCheck.h>

#include <gtest/gtest.h>

#include <QtCore/QChar>
#include <QtCore/QStringList>

using namespace KVBase;

namespace
{

struct Comparison {
    const char *name;
    QString first;
    QString second;
    std::int32_t expected;
};

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

const std::vector<Comparison> &comparisons()
{
    static const std::vector<Comparison> rows = {
        {"both nil", QString(), QString(), 0},
        {"nil before a version", QString(), text("1.0"), -1},
        {"nil before the empty text", QString(), text(""), -1},
        {"the same", text("1.0"), text("1.0"), 0},
        {"no padding", text("1.0"), text("1.0.0"), -1},
        {"one component is shorter", text("1"), text("1.0"), -1},
        {"numbers, not texts", text("1.10"), text("1.9"), 1},
        {"development before alpha", text("1.0d5"), text("1.0a1"), -1},
        {"alpha before beta", text("1.0a1"), text("1.0b1"), -1},
        {"alpha with a greater trailing number", text("1.0a9"), text("1.0b1"), -1},
        {"beta before release candidate", text("1.0b1"), text("1.0rc1"), -1},
        {"release candidate before final", text("1.0rc1"), text("1.0"), -1},
        {"fc equals rc", text("1.0fc2"), text("1.0rc2"), 0},
        {"fc1 before rc2", text("1.0fc1"), text("1.0rc2"), -1},
        {"rc1 before fc2", text("1.0rc1"), text("1.0fc2"), -1},
        {"case is ignored", text("1.0B2"), text("1.0b2"), 0},
        {"case is ignored in candidates", text("1.0RC2"), text("1.0fC2"), 0},
        {"a marker without a number", text("2.0b"), text("2.0b1"), -1},
        {"a marker without a number counts 0", text("2.0b"), text("2.0b0"), 0},
        {"number before marker", text("2b1"), text("1"), 1},
        {"number before marker inside", text("1.2b5"), text("1.1"), 1},
        {"trailing numbers are numbers", text("1.5d12"), text("1.5d2"), 1},
        {"1rc3 has the trailing number 3", text("1rc3"), text("1b3"), 1},
        {"1rc3 against 1rc2", text("1rc3"), text("1rc2"), 1},
        {"other letters are looked through", text("2x5"), text("2"), 0},
        {"other letters hide a number", text("2x5"), text("2x9"), 0},
        {"a lone c is no marker", text("1c5"), text("1c9"), 0},
        {"a lone f is no marker", text("1f5"), text("1"), 0},
        {"a lone r is no marker", text("1r5"), text("1f9"), 0},
        {"cf is no marker", text("1cf1"), text("1cf2"), 0},
        {"frc is one", text("1frc1"), text("1fc2"), -1},
        {"a final beats a candidate although it holds an r", text("1r1"), text("1rc1"), 1},
        {"the lowest rank wins", text("1b1d1"), text("1a9"), -1},
        {"alphabet is an alpha", text("alphabet"), text("b"), -1},
        {"alphabet against beta without a", text("1alphabet"), text("1bet"), -1},
        {"beta holds an a", text("beta"), text("a"), 0},
        {"beta counts 0", text("beta"), text("0b"), -1},
        {"final holds an a", text("1final"), text("1b"), -1},
        {"a candidate holds a d", text("1candidate"), text("1d"), 0},
        {"last piece only", text("1b5d7"), text("1d7"), 0},
        {"the last piece is empty", text("1b2c"), text("1b1"), -1},
        {"the last piece is cut after its number", text("1b2x3"), text("1b2"), 0},
        {"a sign in the trailing number", text("1b-3"), text("1b"), -1},
        {"a plus in the trailing number", text("1b+3"), text("1b3"), 0},
        {"blanks before the trailing number", text("1b  3"), text("1b3"), 0},
        {"later components do not undo a marker", text("1b1.9"), text("1.0"), -1},
        {"markers equal, later component decides", text("1b1.2"), text("1b1.10"), -1},
        {"empty against empty", text(""), text(""), 0},
        {"empty against 1", text(""), text("1"), -1},
        {"empty against 0", text(""), text("0"), 0},
        {"empty against 0.0", text(""), text("0.0"), -1},
        {"a dot against nothing", text("."), text(""), 1},
        {"two dots against one", text(".."), text("."), 1},
        {"a dot at the end", text("1."), text("1"), 1},
        {"a dot at the beginning", text(".1"), text("0.1"), 0},
        {"empty component inside counts 0", text("1..2"), text("1.0.2"), 0},
        {"empty component is kept", text("1..2"), text("1.2"), -1},
        {"leading zeros", text("1.007"), text("1.7"), 0},
        {"a leading blank", text(" 5"), text("5"), 0},
        {"leading blanks inside", text("1.  5"), text("1.5"), 0},
        {"a leading tab", text("\t5"), text("5"), 0},
        {"a plus", text("+5"), text("5"), 0},
        {"a minus", text("-5"), text("0"), -1},
        {"minus against minus", text("1.-5"), text("1.-4"), -1},
        {"a blank after the sign is no number", text("- 5"), text("0"), 0},
        {"two signs are no number", text("--5"), text("0"), 0},
        {"a lone sign", text("-"), text("0"), 0},
        {"a word counts 0", text("x"), text("1"), -1},
        {"a v in front hides the number", text("v2"), text("v9"), 0},
        {"33 bits", text("4294967296"), text("1"), 1},
        {"32 bits signed", text("2147483648"), text("2147483647"), 1},
        {"largest 64-bit number", text("9223372036854775807"), text("9223372036854775806"), 1},
        {"saturates above", text("9223372036854775808"), text("9223372036854775807"), 0},
        {"saturates far above", text("99999999999999999999999999"), text("9223372036854775807"), 0},
        {"saturates below", text("-99999999999999999999999999"), text("-9223372036854775808"), 0},
        {"saturation keeps the sign", text("-99999999999999999999"), text("99999999999999999999"), -1},
        {"saturates in the trailing number", text("1b99999999999999999999"), text("1b99999999999999999998"),
         0},
        {"leading zeros beyond 64 digits", QString(100, QLatin1Char('0')) + text("7"), text("7"), 0},
        {"full-width digits are no number", text("\uFF11\uFF12"), text("0"), 0},
        {"arabic digits are no number", text("\u0661"), text("1"), -1},
        {"a full-width letter is no marker", text("1\uFF42"), text("1"), 0},
        {"an accented letter is no marker", text("1\u00E4"), text("1"), 0},
        {"a comma is no separator", text("1,5"), text("1"), 0},
        {"a hyphen is no separator", text("1-5"), text("1"), 0},
        {"10.4.11b3 before 10.4.11b4", text("10.4.11b3"), text("10.4.11b4"), -1},
    };
    return rows;
}

TEST(KVVersionCheckBlindTest, ordersVersions)
{
    for (const Comparison &row : comparisons())
        EXPECT_EQ(VersionCheck::compareVersion(row.first, row.second), row.expected) << row.name;
}

TEST(KVVersionCheckBlindTest, turnsRoundWithItsArguments)
{
    for (const Comparison &row : comparisons())
        EXPECT_EQ(VersionCheck::compareVersion(row.second, row.first), -row.expected) << row.name;
}

TEST(KVVersionCheckBlindTest, readsPastZeroCharacters)
{
    QString first = text("1.2");
    first.insert(1, QChar(u'\0'));
    EXPECT_EQ(VersionCheck::compareVersion(first, text("1.2")), 0);
    EXPECT_EQ(VersionCheck::compareVersion(first, text("1.3")), -1);
    EXPECT_EQ(VersionCheck::compareVersion(first, text("1")), 1);
}

TEST(KVVersionCheckBlindTest, livesThroughHugeTexts)
{
    const QString dots = text("1.").repeated(500000);
    EXPECT_EQ(VersionCheck::compareVersion(dots, dots), 0);
    EXPECT_EQ(VersionCheck::compareVersion(dots, dots + text("1")), -1);
    EXPECT_EQ(VersionCheck::compareVersion(dots, dots + text(".")), -1);
    const QString digits(1000000, QLatin1Char('9'));
    EXPECT_EQ(VersionCheck::compareVersion(digits, text("9223372036854775807")), 0);
    const QString markers(1000000, QLatin1Char('b'));
    EXPECT_EQ(VersionCheck::compareVersion(markers, markers + text("1")), -1);
}

TEST(KVVersionCheckBlindTest, takesBrokenText)
{
    EXPECT_EQ(VersionCheck::compareVersion(QString(QChar(0xD800)), text("0")), 0);
    EXPECT_EQ(VersionCheck::compareVersion(text("1.") + QChar(0xDC00), text("1.0")), 0);
}

} // namespace
