#include <KVBase/CSRegex.h>
#include <KVBase/Email.h>
#include <KVBase/KVComparison.h>
#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

TEST(CSRegexContractTest, OptionsReachEachOfTheListFunctions)
{
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("aXbxc"), QStringLiteral("x"), REG_ICASE),
              QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("aXbxc"), QStringLiteral("x")),
              QStringList({QStringLiteral("aXb"), QStringLiteral("c")}));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("..AB"), QStringLiteral("ab"), REG_ICASE),
              (NSRange{2, 2}));
    EXPECT_FALSE(CSRegex::substringsCapturedByPattern(QStringLiteral("B"), QStringLiteral("(b)")));
}

TEST(CSRegexContractTest, AnExpressionAnswersAgainAndAgain)
{
    const Ref<CSRegex> regex = CSRegex::regexWithPattern(QStringLiteral("([a-c])[0-9]+"), REG_ICASE);
    const QString subject = QStringLiteral("A1-b22-x3-C333");
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(regex->matchesString(subject));
        EXPECT_EQ(regex->rangeOfMatchInString(subject), (NSRange{0, 2}));
        EXPECT_EQ(regex->matchedSubstringOfString(subject), QStringLiteral("A1"));
        EXPECT_EQ(regex->allMatchedSubstringsOfString(subject),
                  QStringList({QStringLiteral("A1"), QStringLiteral("b22"), QStringLiteral("C333")}));
        EXPECT_EQ(regex->splitString(subject), QStringList({QStringLiteral(""), QStringLiteral("-"),
                                                            QStringLiteral("-x3-"), QStringLiteral("")}));
        EXPECT_EQ(regex->capturedSubstringsOfString(subject),
                  QStringList({QStringLiteral("A1"), QStringLiteral("A")}));
    }
    EXPECT_FALSE(regex->matchesString(QStringLiteral("x3")));
    EXPECT_EQ(regex->rangeOfMatchInString(QStringLiteral("x3")), (NSRange{0x7fffffff, 0}));
    EXPECT_TRUE(regex->matchedSubstringOfString(QStringLiteral("x3")).isNull());
    EXPECT_EQ(regex->allMatchedSubstringsOfString(QStringLiteral("x3")), QStringList());
    EXPECT_EQ(regex->splitString(QStringLiteral("x3")), QStringList(QStringLiteral("x3")));
    EXPECT_FALSE(regex->capturedSubstringsOfString(QStringLiteral("x3")).has_value());
}

TEST(CSRegexContractTest, AGroupThatMatchesNothingIsAnEmptyTextToo)
{
    const auto captures =
        CSRegex::substringsCapturedByPattern(QStringLiteral("aba"), QStringLiteral("(a)(x)?(b)*(z*)"));
    ASSERT_TRUE(captures.has_value());
    EXPECT_EQ(*captures, QStringList({QStringLiteral("ab"), QStringLiteral("a"), QStringLiteral(""),
                                      QStringLiteral("b"), QStringLiteral("")}));
    for (const QString &capture : *captures)
        EXPECT_FALSE(capture.isNull());
    const auto empty = CSRegex::substringsCapturedByPattern(QStringLiteral(""), QStringLiteral("x*"));
    ASSERT_TRUE(empty.has_value());
    EXPECT_EQ(*empty, QStringList(QStringLiteral("")));
    EXPECT_FALSE(empty->at(0).isNull());
}

TEST(CSRegexContractTest, WithoutSlotsEachCaptureIsTheEmptyTextAtTheStart)
{
    EXPECT_EQ(
        CSRegex::substringsCapturedByPattern(QStringLiteral("xab"), QStringLiteral("(a)(b)"), REG_NOSUB),
        QStringList({QStringLiteral(""), QStringLiteral(""), QStringLiteral("")}));
    EXPECT_FALSE(
        CSRegex::substringsCapturedByPattern(QStringLiteral("xb"), QStringLiteral("(a)(b)"), REG_NOSUB)
            .has_value());
}

TEST(CSRegexContractTest, SplittingLeavesATextAloneWhoseMatchLiesBehindANul)
{
    const QString text = QStringLiteral("a") + QChar(0) + QStringLiteral(",b");
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(text, QStringLiteral(",")), QStringList(text));
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("x,") + text, QStringLiteral(",")),
              QStringList({QStringLiteral("x"), text}));
}

TEST(CSRegexContractTest, EveryConvenienceThrowsForAPatternThatDoesNotCompile)
{
    const QString text = QStringLiteral("text");
    const QString pattern = QStringLiteral("a(b");
    const auto expectThrow = [](const auto &function) {
        try {
            function();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const NSException &exception) {
            EXPECT_EQ(exception.name(), QStringLiteral("CSRegexException"));
            EXPECT_TRUE(exception.reason().startsWith(QStringLiteral("Could not compile regex \"a(b\": ")));
        }
    };
    expectThrow([&] { CSRegex::matchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::substringMatchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::rangeMatchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::componentsSeparatedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::allSubstringsMatchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::substringsCapturedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::regexWithPattern(pattern); });
}

struct AddressRow {
    const char *address;
    int code;
};

TEST(EmailContractTest, TheTopLevelHasTwoToSixLetters)
{
    const AddressRow rows[] = {
        {"a@b.d", 1305},
        {"a@b.de", 0},
        {"a@b.com", 0},
        {"a@b.info", 0},
        {"a@b.local", 0},
        {"a@b.museum", 0},
        {"a@b.abcdefg", 1306},
        {"a@b.DE", 0},
        {"a@b.d1", 1302},
        {"a@b.1", 1305},
        {"a@b.d-", 1311},
        {"a@b.d1-", 1302},
        {"a@b.12345678", 1306},
        {"a@b.d,e", 1312},
        {"a@b .de", 1210},
        {"\x0b"
         "a@b.de\x0c",
         0},
        {"a@b.de\xe2\x80\x8b", 1312},
    };
    for (const AddressRow &row : rows) {
        NSError error(QStringLiteral("before"), 0, {});
        const QString address = QString::fromUtf8(row.address);
        EXPECT_EQ(Email::isValidEmailAddressWithError(address, &error), row.code == 0) << row.address;
        EXPECT_EQ(error.code(), row.code) << row.address;
        EXPECT_EQ(error.domain() == QStringLiteral("before"), row.code == 0) << row.address;
    }
}

TEST(EmailContractTest, TheCharacterThatComesFirstInThePartIsQuoted)
{
    const auto messageFor = [](const char *address) {
        NSError error;
        EXPECT_FALSE(Email::isValidEmailAddressWithError(QString::fromUtf8(address), &error));
        return error.localizedFailureReason();
    };
    EXPECT_EQ(messageFor("a,!>(@b.de@"),
              QStringLiteral("The e-mail address you provided contains the unallowed character \"!\".\n\n"
                             "Please enter a valid e-mail address."));
    EXPECT_EQ(messageFor("a@b,~_.de"),
              QStringLiteral("The e-mail addressy you provided contains the unallowed character \"~\".\n\n"
                             "Please enter a valid e-mail address."));
    EXPECT_EQ(messageFor("a@b.d;%-"),
              QStringLiteral("The e-mail address you provided contains the unallowed character \"%\".\n\n"
                             "Please enter a valid e-mail address."));
}

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
